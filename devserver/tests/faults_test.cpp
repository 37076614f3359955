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
        seed.Write("a.pdf", std::string(100'000, 'x'));
        server.emplace(std::vector<std::string>{"--seed", seed.path()});
        alice.emplace(*server, "alice");
    }

    void Inject(const std::string& rule) const {
        auto reply = server->Send({.method = "POST", .path = "/_dev/faults", .body = rule});
        ASSERT_EQ(reply.status, 200) << reply.body;
    }
    // One fault on the document's content.
    void SpoilContent(const std::string& fault) const {
        Inject(R"({"match":{"path":"$value"},"fault":)" + fault + "}");
    }
    Reply GetContent(long timeout = 2'000) const {
        return server->Send({.method = "GET",
                             .path = FileUrl("a.pdf") + "/$value",
                             .headers = {alice->authorization()},
                             .body = {},
                             .timeout_milliseconds = timeout});
    }
    Reply PutContent(const std::string& bytes, long timeout = 2'000) const {
        return server->Send(
            {.method = "PUT",
             .path = FileUrl("a.pdf") + "/$value",
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
        SpoilContent(fault);
        auto reply = GetContent(400);
        EXPECT_EQ(reply.curl_code, CURLE_OPERATION_TIMEDOUT) << fault;
        EXPECT_EQ(reply.body.size(), std::string(fault).find("body") != std::string::npos ? 5000u : 0u);
        EXPECT_EQ(GetContent().body.size(), 100'000u) << "the fault was for one request";
    }
    SpoilContent(R"({"kind":"stall-upload","after":1000})");
    EXPECT_EQ(PutContent(std::string(5'000'000, 'y'), 400).curl_code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(GetContent().body[0], 'x') << "a broken upload changes nothing";
    Inject(R"({"fault":{"kind":"stall-connect"}})");
    EXPECT_EQ(GetContent(400).curl_code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(GetContent().status, 200);
}

TEST_F(Faults, DropsAndWrongLengthsBreakTheTransfer) {
    SpoilContent(R"({"kind":"drop-body","after":30000})");
    auto dropped = GetContent();
    EXPECT_NE(dropped.curl_code, 0);
    EXPECT_LE(dropped.body.size(), 30000u);
    SpoilContent(R"({"kind":"close"})");
    EXPECT_NE(GetContent().curl_code, 0);
    SpoilContent(R"({"kind":"length","delta":10})");
    EXPECT_EQ(GetContent().curl_code, CURLE_PARTIAL_FILE);
    SpoilContent(R"({"kind":"length","delta":-10})");
    EXPECT_EQ(GetContent().body.size(), 99'990u);
    SpoilContent(R"({"kind":"drop-upload","after":1000})");
    EXPECT_NE(PutContent(std::string(5'000'000, 'y')).curl_code, 0);
    EXPECT_EQ(GetContent().body[0], 'x');
    SpoilContent(R"({"kind":"truncate","after":12})");
    auto truncated = GetContent();
    EXPECT_EQ(truncated.curl_code, 0);
    EXPECT_EQ(truncated.body.size(), 12u);
}

TEST_F(Faults, AnswersAreReplaced) {
    SpoilContent(R"({"kind":"sign-in-page"})");
    auto page = GetContent();
    EXPECT_EQ(page.status, 200);
    EXPECT_TRUE(page.header("Content-Type").starts_with("text/html"));
    SpoilContent(R"({"kind":"status","status":401})");
    EXPECT_TRUE(GetContent().header("WWW-Authenticate").starts_with("Bearer realm="));
    SpoilContent(R"({"kind":"status","status":429,"retry_after":7})");
    auto throttled = GetContent();
    EXPECT_EQ(throttled.status, 429);
    EXPECT_EQ(throttled.header("Retry-After"), "7");
    Inject(
        R"({"match":{"path":"a.pdf"},"fault":{"kind":"status","status":500,"code":"-5, X","message":"no"}})");
    EXPECT_EQ(alice->get(FileUrl("a.pdf")).body,
              "{\"error\":{\"code\":\"-5, X\",\"message\":{\"lang\":\"en-US\",\"value\":\"no\"}}}");
    SpoilContent(R"({"kind":"forms-403"})");
    EXPECT_FALSE(GetContent().header("X-Forms_Based_Auth_Required").empty());
    SpoilContent(R"({"kind":"nested","depth":100000})");
    EXPECT_EQ(GetContent().body.size(), 100'000u * 6 + 4);
    SpoilContent(R"({"kind":"header-bomb","count":20,"size":1000})");
    EXPECT_EQ(GetContent().header("X-Filler-19").size(), 1000u);
    Inject(R"({"match":{"path":"$value","times":0},"fault":{"kind":"redirect","loop":true}})");
    auto loop = server->Send({.method = "GET",
                              .path = FileUrl("a.pdf") + "/$value",
                              .headers = {alice->authorization()},
                              .body = {},
                              .follow = true});
    EXPECT_EQ(loop.curl_code, CURLE_TOO_MANY_REDIRECTS);
}

TEST_F(Faults, DocumentsChangeDuringARequest) {
    auto put = [&](const std::string& text) { return PutContent(text).status; };
    SpoilContent(R"({"kind":"stale-digest"})");
    EXPECT_EQ(put("lost"), 403);
    SpoilContent(R"({"kind":"rewrite-upload","text":"rewritten","modified":"2031-02-03T04:05:06Z"})");
    EXPECT_EQ(put("mine"), 204);
    EXPECT_EQ(GetContent().body, "rewritten");
    EXPECT_STREQ(alice->get(FileUrl("a.pdf"), Client::kPlain).json()["TimeLastModified"].GetString(),
                 "2031-02-03T04:05:06Z");
    Inject(
        R"({"match":{"path":"CheckOut("},"fault":{"kind":"newer-version","user":"bob","text":"bob was here"}})");
    EXPECT_EQ(alice->Change("POST", FileUrl("a.pdf") + "/CheckOut()").status, 200);
    EXPECT_EQ(GetContent().body, "bob was here");
    SpoilContent(R"({"kind":"status","status":503,"run_first":true})");
    EXPECT_EQ(put("arrived all the same"), 503);
    EXPECT_EQ(GetContent().body, "arrived all the same");
}

TEST_F(Faults, RulesCountRequestsAndAreCheckedFirst) {
    Inject(
        R"([{"match":{"method":"GET","path_regex":"a\\.pdf'\\)/\\$value$","nth":2,"times":2},"fault":{"kind":"status","status":503}}])");
    std::vector<int> seen;
    for (int i = 0; i < 4; ++i) seen.push_back(GetContent().status);
    EXPECT_EQ(seen, (std::vector<int>{200, 503, 503, 200}));
    for (const char* bad :
         {"[", "[1]", R"([{"fault":{"kind":"nonsense"}}])",
          R"([{"match":{"path":1},"fault":{"kind":"stall"}}])", R"([{"fault":{"kind":"stall","afterr":1}}])",
          R"({"match":{"path_regex":"("},"fault":{"kind":"stall"}})"})
        EXPECT_EQ(server->Send({.method = "POST", .path = "/_dev/faults", .body = bad}).status, 400) << bad;
    server->Send({.method = "DELETE", .path = "/_dev/faults"});
    EXPECT_EQ(server->Send({.method = "GET", .path = "/_dev/faults"}).body, "[]");
}

TEST_F(Faults, TheRequestLogHasSizesAndNamesButNoSecrets) {
    server->Send({.method = "DELETE", .path = "/_dev/requests"});
    auto digest = alice->digest();
    PutContent("12345");
    GetContent();
    auto reply = server->Send({.method = "GET", .path = "/_dev/requests"});
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
