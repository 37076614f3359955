// Every kind of fault, as a client sees it; and the request log.
// Owner: devserver/faults and devserver/admin.
#include <curl/curl.h>
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace devserver::test {
namespace {

class Faults : public ::testing::Test {
protected:
    Faults() {
        seed.write("a.pdf", std::string(100'000, 'x'));
        server.emplace(std::vector<std::string>{"--seed", seed.path()});
        alice.emplace(*server, "alice");
    }

    void inject(const std::string& rule) const {
        auto reply = server->send({.method = "POST", .path = "/_dev/faults", .body = rule});
        ASSERT_EQ(reply.status, 200) << reply.body;
    }
    // One fault on the document's content.
    void spoil_content(const std::string& fault) const {
        inject(R"({"match":{"path":"$value"},"fault":)" + fault + "}");
    }
    Reply get_content(long timeout = 2'000) const {
        return server->send({.method = "GET",
                             .path = file_url("a.pdf") + "/$value",
                             .headers = {alice->authorization()},
                             .body = {},
                             .timeout_milliseconds = timeout});
    }
    Reply put_content(const std::string& bytes, long timeout = 2'000) const {
        return server->send(
            {.method = "PUT",
             .path = file_url("a.pdf") + "/$value",
             .headers = {alice->authorization(), "X-RequestDigest: " + alice->digest(), "Expect:"},
             .body = bytes,
             .timeout_milliseconds = timeout});
    }

    TemporaryFolder seed;
    std::optional<ServerProcess> server;
    std::optional<Client> alice;
};

TEST_F(Faults, StallsEndWithTheClientsTimeout) {
    for (const char* fault :
         {R"({"kind":"stall"})", R"({"kind":"stall-headers"})", R"({"kind":"stall-body","after":5000})"}) {
        spoil_content(fault);
        auto reply = get_content(400);
        EXPECT_EQ(reply.curl_code, CURLE_OPERATION_TIMEDOUT) << fault;
        EXPECT_EQ(reply.body.size(), std::string(fault).find("body") != std::string::npos ? 5000u : 0u);
        EXPECT_EQ(get_content().body.size(), 100'000u) << "the fault was for one request";
    }
    spoil_content(R"({"kind":"stall-upload","after":1000})");
    EXPECT_EQ(put_content(std::string(5'000'000, 'y'), 400).curl_code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(get_content().body[0], 'x') << "a broken upload changes nothing";
    inject(R"({"fault":{"kind":"stall-connect"}})");
    EXPECT_EQ(get_content(400).curl_code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(get_content().status, 200);
}

TEST_F(Faults, DropsAndWrongLengthsBreakTheTransfer) {
    spoil_content(R"({"kind":"drop-body","after":30000})");
    auto dropped = get_content();
    EXPECT_NE(dropped.curl_code, 0);
    EXPECT_LE(dropped.body.size(), 30000u);
    spoil_content(R"({"kind":"close"})");
    EXPECT_NE(get_content().curl_code, 0);
    spoil_content(R"({"kind":"length","delta":10})");
    EXPECT_EQ(get_content().curl_code, CURLE_PARTIAL_FILE);
    spoil_content(R"({"kind":"length","delta":-10})");
    EXPECT_EQ(get_content().body.size(), 99'990u);
    spoil_content(R"({"kind":"drop-upload","after":1000})");
    EXPECT_NE(put_content(std::string(5'000'000, 'y')).curl_code, 0);
    EXPECT_EQ(get_content().body[0], 'x');
    spoil_content(R"({"kind":"truncate","after":12})");
    auto truncated = get_content();
    EXPECT_EQ(truncated.curl_code, 0);
    EXPECT_EQ(truncated.body.size(), 12u);
}

TEST_F(Faults, AnswersAreReplaced) {
    spoil_content(R"({"kind":"sign-in-page"})");
    auto page = get_content();
    EXPECT_EQ(page.status, 200);
    EXPECT_TRUE(page.header("Content-Type").starts_with("text/html"));
    spoil_content(R"({"kind":"status","status":401})");
    EXPECT_TRUE(get_content().header("WWW-Authenticate").starts_with("Bearer realm="));
    spoil_content(R"({"kind":"status","status":429,"retry_after":7})");
    auto throttled = get_content();
    EXPECT_EQ(throttled.status, 429);
    EXPECT_EQ(throttled.header("Retry-After"), "7");
    inject(
        R"({"match":{"path":"a.pdf"},"fault":{"kind":"status","status":500,"code":"-5, X","message":"no"}})");
    EXPECT_EQ(alice->get(file_url("a.pdf")).body,
              "{\"error\":{\"code\":\"-5, X\",\"message\":{\"lang\":\"en-US\",\"value\":\"no\"}}}");
    spoil_content(R"({"kind":"forms-403"})");
    EXPECT_FALSE(get_content().header("X-Forms_Based_Auth_Required").empty());
    spoil_content(R"({"kind":"nested","depth":100000})");
    EXPECT_EQ(get_content().body.size(), 100'000u * 6 + 4);
    spoil_content(R"({"kind":"header-bomb","count":20,"size":1000})");
    EXPECT_EQ(get_content().header("X-Filler-19").size(), 1000u);
    inject(R"({"match":{"path":"$value","times":0},"fault":{"kind":"redirect","loop":true}})");
    auto loop = server->send({.method = "GET",
                              .path = file_url("a.pdf") + "/$value",
                              .headers = {alice->authorization()},
                              .body = {},
                              .follow = true});
    EXPECT_EQ(loop.curl_code, CURLE_TOO_MANY_REDIRECTS);
}

TEST_F(Faults, DocumentsChangeDuringARequest) {
    auto put = [&](const std::string& text) { return put_content(text).status; };
    spoil_content(R"({"kind":"stale-digest"})");
    EXPECT_EQ(put("lost"), 403);
    spoil_content(R"({"kind":"rewrite-upload","text":"rewritten","modified":"2031-02-03T04:05:06Z"})");
    EXPECT_EQ(put("mine"), 204);
    EXPECT_EQ(get_content().body, "rewritten");
    EXPECT_STREQ(alice->get(file_url("a.pdf"), Client::plain).json()["TimeLastModified"].GetString(),
                 "2031-02-03T04:05:06Z");
    inject(
        R"({"match":{"path":"CheckOut("},"fault":{"kind":"newer-version","user":"bob","text":"bob was here"}})");
    EXPECT_EQ(alice->change("POST", file_url("a.pdf") + "/CheckOut()").status, 200);
    EXPECT_EQ(get_content().body, "bob was here");
    spoil_content(R"({"kind":"status","status":503,"run_first":true})");
    EXPECT_EQ(put("arrived all the same"), 503);
    EXPECT_EQ(get_content().body, "arrived all the same");
}

TEST_F(Faults, RulesCountRequestsAndAreCheckedFirst) {
    inject(
        R"([{"match":{"method":"GET","path_regex":"a\\.pdf'\\)/\\$value$","nth":2,"times":2},"fault":{"kind":"status","status":503}}])");
    std::vector<int> seen;
    for (int i = 0; i < 4; ++i) seen.push_back(get_content().status);
    EXPECT_EQ(seen, (std::vector<int>{200, 503, 503, 200}));
    for (const char* bad :
         {"[", "[1]", R"([{"fault":{"kind":"nonsense"}}])",
          R"([{"match":{"path":1},"fault":{"kind":"stall"}}])", R"([{"fault":{"kind":"stall","afterr":1}}])",
          R"({"match":{"path_regex":"("},"fault":{"kind":"stall"}})"})
        EXPECT_EQ(server->send({.method = "POST", .path = "/_dev/faults", .body = bad}).status, 400) << bad;
    server->send({.method = "DELETE", .path = "/_dev/faults"});
    EXPECT_EQ(server->send({.method = "GET", .path = "/_dev/faults"}).body, "[]");
}

TEST_F(Faults, TheRequestLogHasSizesAndNamesButNoSecrets) {
    server->send({.method = "DELETE", .path = "/_dev/requests"});
    auto digest = alice->digest();
    put_content("12345");
    get_content();
    auto reply = server->send({.method = "GET", .path = "/_dev/requests"});
    auto log = reply.json();
    ASSERT_TRUE(log.IsArray());
    ASSERT_EQ(log.Size(), 4u) << reply.body;
    EXPECT_STREQ(log[2]["method"].GetString(), "PUT");
    EXPECT_EQ(log[2]["bytes_in"].GetInt(), 5);
    EXPECT_EQ(log[2]["status"].GetInt(), 204);
    EXPECT_EQ(log[3]["bytes_out"].GetInt(), 5);
    EXPECT_STREQ(log[3]["user"].GetString(), "alice");
    EXPECT_NE(reply.body.find("X-RequestDigest"), std::string::npos);
    EXPECT_EQ(reply.body.find(digest.substr(0, 20)), std::string::npos);
    EXPECT_EQ(reply.body.find(alice->token()), std::string::npos);
}

}  // namespace
}  // namespace devserver::test
