// The sign-in pages: the site's own, which sets cookies, and the authority's, which gives a code.
// Owner: devserver/auth.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/crypto.h"
#include "base/text.h"
#include "tests/harness.h"

namespace devserver::test {
namespace {

constexpr const char* page = "/_forms/default.aspx";
constexpr const char* web = "/sites/team/Shared%20Documents";

// "Cookie: rtFa=...; FedAuth=..." out of an answer.
std::string cookie_line(const Reply& reply) {
    std::string line = "Cookie: x=1";
    auto [first, last] = reply.headers.equal_range("set-cookie");
    for (auto cookie = first; cookie != last; ++cookie)
        line += "; " + cookie->second.substr(0, cookie->second.find(';'));
    return line;
}

class Forms : public ::testing::Test {
protected:
    Reply sign_in(const std::string& fields, const std::string& query = {}) const {
        return server.send({.method = "POST", .path = page + query, .body = fields});
    }
    int status(const std::string& cookies) const {
        return server.send({.method = "PROPFIND", .path = web, .headers = {"Depth: 0", cookies}}).status;
    }

    ServerProcess server{{"--generation", "2013", "--auth", "forms"}};
};

TEST_F(Forms, ClientsGetTheAddressOfThePageAndBrowsersARedirectToIt) {
    auto refused = server.send({.method = "PROPFIND", .path = web});
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.header("X-Forms_Based_Auth_Required"),
              server.url() + page + "?ReturnUrl=/_layouts/15/error.aspx");
    EXPECT_EQ(refused.header("X-Forms_Based_Auth_Return_Url"), server.url() + "/_layouts/15/error.aspx");
    EXPECT_EQ(refused.header("WWW-Authenticate"), "");
    auto led = server.send({.path = std::string(web) + "/a.txt",
                            .headers = {"User-Agent: Mozilla/5.0", "Accept: text/html,*/*"}});
    EXPECT_EQ(led.status, 302);
    EXPECT_EQ(led.header("Location"),
              server.url() + page + "?ReturnUrl=/sites/team/Shared%2520Documents/a.txt");
    ServerProcess silent({"--generation", "2013", "--auth", "forms", "--no-return-url"});
    EXPECT_EQ(silent.send({.path = web}).header("X-Forms_Based_Auth_Return_Url"), "");
}

TEST_F(Forms, TheRightPasswordSetsCookiesThatSignInUntilSignOut) {
    auto wrong = sign_in("username=alice&password=bob");
    EXPECT_EQ(wrong.status, 200);
    EXPECT_EQ(wrong.header("Set-Cookie"), "");
    EXPECT_NE(wrong.body.find("incorrect"), std::string::npos);
    auto right = sign_in("username=alice&password=alice&keep=1");
    EXPECT_EQ(right.status, 302);
    EXPECT_EQ(right.header("Location"), server.url() + "/_layouts/15/error.aspx");
    auto [first, last] = right.headers.equal_range("set-cookie");
    EXPECT_EQ(std::distance(first, last), 2);
    for (auto cookie = first; cookie != last; ++cookie) {
        EXPECT_NE(cookie->second.find("; HttpOnly"), std::string::npos) << cookie->second;
        EXPECT_NE(cookie->second.find("; expires="), std::string::npos) << cookie->second;
        EXPECT_EQ(cookie->second.find("secure"), std::string::npos) << "this is no TLS";
    }
    auto cookies = cookie_line(right);
    EXPECT_EQ(status(cookies), 207);
    auto back = server.send({.path = std::string(page) + "?ReturnUrl=/a", .headers = {cookies}});
    EXPECT_EQ(back.header("Location"), server.url() + "/a") << "whoever is signed in isn't asked";
    EXPECT_EQ(status(cookies.substr(0, cookies.find("; FedAuth"))), 403) << "rtFa alone signs in nobody";
    EXPECT_EQ(status("Cookie: FedAuth=nonsense"), 403);
    EXPECT_EQ(server.send({.path = "/sites/team/_layouts/15/SignOut.aspx", .headers = {cookies}}).status,
              200);
    EXPECT_EQ(status(cookies), 403);
    auto again = cookie_line(sign_in("username=CONTOSO%5Calice&password=alice"));
    EXPECT_EQ(server.send({.path = "/logout.srf", .headers = {again}}).status, 200);
    EXPECT_EQ(status(again), 403);
}

TEST_F(Forms, CookiesExpireAndBrowsersKeepThemOnlyWhenAsked) {
    auto reply = sign_in("username=alice&password=alice");
    EXPECT_EQ(reply.header("Set-Cookie").find("expires"), std::string::npos) << "nobody asked to keep it";
    auto cookies = cookie_line(reply);
    EXPECT_EQ(status(cookies), 207);
    EXPECT_EQ(server.send({.method = "POST", .path = "/_dev/expire-cookies", .body = ""}).status, 200);
    EXPECT_EQ(status(cookies), 403);
    ServerProcess brief({"--generation", "2013", "--auth", "forms", "--cookie-lifetime", "1"});
    auto short_lived =
        cookie_line(brief.send({.method = "POST", .path = page, .body = "username=alice&password=alice"}));
    int last = 207;
    for (int tries = 0; tries < 100 && last == 207; ++tries) {
        last = brief.send({.method = "PROPFIND", .path = web, .headers = {"Depth: 0", short_lived}}).status;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_EQ(last, 403);
}

TEST_F(Forms, CookiesSurviveARestartAndTheDatabaseHasOnlyTheirHashes) {
    TemporaryFolder data;
    const std::vector<std::string> options{"--generation", "2013", "--auth", "forms"};
    std::string cookies;
    {
        ServerProcess first(options, data.path());
        cookies = cookie_line(
            first.send({.method = "POST", .path = page, .body = "username=alice&password=alice"}));
    }
    auto value = cookies.substr(cookies.find("FedAuth=") + 8);
    ASSERT_GT(value.size(), 60u);
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(data.path())) {
        if (!entry.is_regular_file()) continue;
        ++files;
        std::ifstream stream(entry.path(), std::ios::binary);
        std::string content{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_EQ(content.find(value), std::string::npos) << entry.path();
    }
    EXPECT_GT(files, 0);
    ServerProcess second(options, data.path());
    auto reply = second.send({.method = "PROPFIND", .path = web, .headers = {"Depth: 0", cookies}});
    EXPECT_EQ(reply.status, 207);
}

TEST(FormsBesideOthers, TheHeaderAboutSignInPagesDecides) {
    for (const char* list : {"basic,forms", "forms,basic"}) {
        ServerProcess server({"--generation", "2013", "--auth", list});
        auto ask = [&](std::vector<std::string> headers) {
            return server.send({.method = "OPTIONS", .path = web, .headers = std::move(headers)});
        };
        auto page_wanted = ask({"X-FORMS_BASED_AUTH_ACCEPTED: T"});
        EXPECT_EQ(page_wanted.status, 403) << list;
        EXPECT_NE(page_wanted.header("X-Forms_Based_Auth_Required"), "") << list;
        auto no_page = ask({"X-FORMS_BASED_AUTH_ACCEPTED: f"});
        EXPECT_EQ(no_page.status, 401) << list;
        EXPECT_EQ(no_page.header("X-Forms_Based_Auth_Required"), "") << list;
        EXPECT_NE(no_page.header("WWW-Authenticate"), "") << list;
        auto silent = ask({});
        EXPECT_EQ(silent.status, std::string(list).starts_with("forms") ? 403 : 401) << list;
        EXPECT_NE(silent.header("WWW-Authenticate"), "") << list;
        EXPECT_EQ(ask({"Authorization: Basic YWxpY2U6YWxpY2U="}).status, 200) << list;
    }
    ServerProcess alone({"--generation", "2013", "--auth", "forms"});
    EXPECT_EQ(alone.send({.path = web, .headers = {"X-FORMS_BASED_AUTH_ACCEPTED: f"}}).status, 403);
}

TEST_F(Forms, ThePageRedirectsToThisServerAloneAndEscapesItsTexts) {
    for (const char* elsewhere :
         {"https://evil.example/", "//evil.example/", "/%5Cevil.example", "%09//evil.example",
          "/a%0d%0aX-Evil:%201", "javascript:1", "http://127.0.0.1@evil.example/", ""}) {
        auto reply = sign_in("username=alice&password=alice", std::string("?ReturnUrl=") + elsewhere);
        EXPECT_EQ(reply.header("Location"), server.url() + "/_layouts/15/error.aspx") << elsewhere;
        EXPECT_EQ(reply.header("X-Evil"), "");
    }
    EXPECT_EQ(sign_in("username=alice&password=alice", "?ReturnUrl=/sites/team?a=1").header("Location"),
              server.url() + "/sites/team?a=1");
    auto script = sign_in("username=%22%3E%3Cscript%3E&password=x", "?ReturnUrl=/%22%3E%3Cscript%3E");
    EXPECT_EQ(script.body.find("<script"), std::string::npos) << script.body;
    EXPECT_EQ(script.header("Content-Security-Policy"), "default-src 'none'");
}

constexpr const char* verifier = "a-verifier-of-forty-three-characters-or-more";

class Authorize : public ::testing::Test {
protected:
    static std::string query(const std::string& redirect, const std::string& method = "S256") {
        return "/organizations/oauth2/v2.0/authorize?client_id=app&response_type=code&scope=files&state=s%26t"
               "&redirect_uri=" +
               percent_encode(redirect) + "&code_challenge_method=" + method +
               "&code_challenge=" + base64url_encode(sha256(verifier));
    }
    Reply answer(const std::string& fields, const std::string& redirect = "http://127.0.0.1:9/x") const {
        return server->send({.method = "POST", .path = query(redirect), .body = fields});
    }
    std::string code() const {
        auto location = answer("username=alice&password=alice&decision=approve").header("Location");
        EXPECT_TRUE(location.starts_with("http://127.0.0.1:9/x?code=")) << location;
        EXPECT_TRUE(location.ends_with("&state=s%26t")) << location;
        auto begin = location.find("code=") + 5;
        return location.substr(begin, location.find('&') - begin);
    }
    Reply redeem(const std::string& code_value, const std::string& proof = verifier,
                 const std::string& client = "app",
                 const std::string& redirect = "http://127.0.0.1:9/x") const {
        return server->send({.method = "POST",
                             .path = "/organizations/oauth2/v2.0/token",
                             .body = "grant_type=authorization_code&client_id=" + client +
                                     "&redirect_uri=" + percent_encode(redirect) + "&code_verifier=" + proof +
                                     "&code=" + code_value});
    }

    TemporaryFolder data;
    std::optional<ServerProcess> server{std::in_place, std::vector<std::string>{}, data.path()};
};

TEST_F(Authorize, ACodeSurvivesARestart) {
    auto value = code();
    EXPECT_EQ(server->stop(), 0);
    server.emplace(std::vector<std::string>{}, data.path());
    EXPECT_EQ(redeem(value).status, 200);
    EXPECT_EQ(redeem(value).status, 400);
}

TEST_F(Authorize, ThePageRedirectsWithACodeThatWorksOnce) {
    EXPECT_EQ(answer("username=alice&password=bob&decision=approve").status, 200);
    auto value = code();
    auto granted = redeem(value);
    ASSERT_EQ(granted.status, 200) << granted.body;
    auto json = granted.json();
    auto token = std::string("Authorization: Bearer ") + json["access_token"].GetString();
    EXPECT_EQ(server->send({.path = "/sites/team/_api/web", .headers = {token}}).status, 200);
    EXPECT_TRUE(json.HasMember("refresh_token"));
    EXPECT_EQ(redeem(value).status, 400) << "a second time";
    auto declined = answer("decision=decline").header("Location");
    EXPECT_TRUE(declined.starts_with("http://127.0.0.1:9/x?error=access_denied&")) << declined;
}

TEST_F(Authorize, ACodeIsValidForItsClientItsRedirectAndItsProofAlone) {
    EXPECT_EQ(redeem(code(), "another-verifier-of-forty-three-characters-or-so").json()["error"],
              "invalid_grant");
    EXPECT_EQ(redeem(code(), verifier, "other").status, 400);
    EXPECT_EQ(redeem(code(), verifier, "app", "http://127.0.0.1:9/y").status, 400);
    auto tried = code();
    EXPECT_EQ(redeem(tried, "wrong").status, 400);
    EXPECT_EQ(redeem(tried).status, 400) << "a wrong proof ends the code";
    auto bare = server->send({.method = "POST",
                              .path = "/organizations/oauth2/v2.0/token",
                              .body = "grant_type=authorization_code&client_id=app&code=" + code()});
    EXPECT_EQ(bare.json()["error"], "invalid_request") << "no proof at all";
    auto plain = server->send({.path = query("http://127.0.0.1:9/", "plain")});
    EXPECT_TRUE(plain.header("Location").starts_with("http://127.0.0.1:9/?error=invalid_request"));
}

TEST_F(Authorize, CodesAreSentToThisMachineAlone) {
    for (const char* elsewhere :
         {"https://evil.example/", "http://127.0.0.1.evil.example/", "http://127.0.0.1@evil.example/",
          "http://localhost:9@evil.example", "http://127.0.0.1:9/\r\nX-Evil: 1", "", "myapp://x"}) {
        auto reply = answer("username=alice&password=alice&decision=approve", elsewhere);
        EXPECT_EQ(reply.status, 400) << elsewhere;
        EXPECT_EQ(reply.header("Location"), "") << elsewhere;
    }
    for (const char* here : {"http://localhost/", "http://[::1]:8/a", "http://127.0.0.1"})
        EXPECT_EQ(answer("username=alice&password=alice&decision=approve", here).status, 302) << here;
    ServerProcess at_once({"--approve", "bob"});
    EXPECT_TRUE(at_once.send({.path = query("http://localhost:1/")})
                    .header("Location")
                    .starts_with("http://localhost:1/?code="));
    EXPECT_EQ(at_once.send({.path = query("https://evil.example/")}).status, 400);
}

TEST_F(Authorize, ThePageEscapesTheTextsOfTheRequest) {
    auto shown = server->send({.path = query("http://localhost/") + "&login_hint=%22%3E%3Cscript%3E"});
    EXPECT_EQ(shown.status, 200);
    EXPECT_EQ(shown.body.find("<script"), std::string::npos) << shown.body;
    auto typed = server->send({.method = "POST",
                               .path = query("http://localhost/") + "&x=%22><script>",
                               .body = "username=%22%3E%3Cscript%3E&password=x&decision=approve"});
    EXPECT_EQ(typed.status, 200);
    EXPECT_EQ(typed.body.find("<script"), std::string::npos) << typed.body;
}

}  // namespace
}  // namespace devserver::test
