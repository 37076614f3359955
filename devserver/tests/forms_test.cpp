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

constexpr const char* kPage = "/_forms/default.aspx";
constexpr const char* kWeb = "/sites/team/Shared%20Documents";

// "Cookie: rtFa=...; FedAuth=..." out of an answer.
std::string CookieLine(const Reply& reply) {
    std::string line = "Cookie: x=1";
    auto [first, last] = reply.headers.equal_range("set-cookie");
    for (auto cookie = first; cookie != last; ++cookie)
        line += "; " + cookie->second.substr(0, cookie->second.find(';'));
    return line;
}

class Forms : public ::testing::Test {
protected:
    Reply SignIn(const std::string& fields, const std::string& query = {}) const {
        return server.Send({.method = "POST", .path = kPage + query, .body = fields});
    }
    int status(const std::string& cookies) const {
        return server.Send({.method = "PROPFIND", .path = kWeb, .headers = {"Depth: 0", cookies}}).status;
    }

    ServerProcess server{{"--generation", "2013", "--auth", "forms"}};
};

TEST_F(Forms, ClientsGetTheAddressOfThePageAndBrowsersARedirectToIt) {
    auto refused = server.Send({.method = "PROPFIND", .path = kWeb});
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.header("X-Forms_Based_Auth_Required"),
              server.url() + kPage + "?ReturnUrl=/_layouts/15/error.aspx");
    EXPECT_EQ(refused.header("X-Forms_Based_Auth_Return_Url"), server.url() + "/_layouts/15/error.aspx");
    EXPECT_EQ(refused.header("WWW-Authenticate"), "");
    auto led = server.Send({.path = std::string(kWeb) + "/a.txt",
                            .headers = {"User-Agent: Mozilla/5.0", "Accept: text/html,*/*"}});
    EXPECT_EQ(led.status, 302);
    EXPECT_EQ(led.header("Location"),
              server.url() + kPage + "?ReturnUrl=/sites/team/Shared%2520Documents/a.txt");
    ServerProcess silent({"--generation", "2013", "--auth", "forms", "--no-return-url"});
    EXPECT_EQ(silent.Send({.path = kWeb}).header("X-Forms_Based_Auth_Return_Url"), "");
}

TEST_F(Forms, TheRightPasswordSetsCookiesThatSignInUntilSignOut) {
    auto wrong = SignIn("username=alice&password=bob");
    EXPECT_EQ(wrong.status, 200);
    EXPECT_EQ(wrong.header("Set-Cookie"), "");
    EXPECT_NE(wrong.body.find("incorrect"), std::string::npos);
    auto right = SignIn("username=alice&password=alice&keep=1");
    EXPECT_EQ(right.status, 302);
    EXPECT_EQ(right.header("Location"), server.url() + "/_layouts/15/error.aspx");
    auto [first, last] = right.headers.equal_range("set-cookie");
    EXPECT_EQ(std::distance(first, last), 2);
    for (auto cookie = first; cookie != last; ++cookie) {
        EXPECT_NE(cookie->second.find("; HttpOnly"), std::string::npos) << cookie->second;
        EXPECT_NE(cookie->second.find("; expires="), std::string::npos) << cookie->second;
        EXPECT_EQ(cookie->second.find("secure"), std::string::npos) << "this is no TLS";
    }
    auto cookies = CookieLine(right);
    EXPECT_EQ(status(cookies), 207);
    auto back = server.Send({.path = std::string(kPage) + "?ReturnUrl=/a", .headers = {cookies}});
    EXPECT_EQ(back.header("Location"), server.url() + "/a") << "whoever is signed in isn't asked";
    EXPECT_EQ(status(cookies.substr(0, cookies.find("; FedAuth"))), 403) << "rtFa alone signs in nobody";
    EXPECT_EQ(status("Cookie: FedAuth=nonsense"), 403);
    EXPECT_EQ(server.Send({.path = "/sites/team/_layouts/15/SignOut.aspx", .headers = {cookies}}).status,
              200);
    EXPECT_EQ(status(cookies), 403);
    auto again = CookieLine(SignIn("username=CONTOSO%5Calice&password=alice"));
    EXPECT_EQ(server.Send({.path = "/logout.srf", .headers = {again}}).status, 200);
    EXPECT_EQ(status(again), 403);
}

TEST_F(Forms, CookiesExpireAndBrowsersKeepThemOnlyWhenAsked) {
    auto reply = SignIn("username=alice&password=alice");
    EXPECT_EQ(reply.header("Set-Cookie").find("expires"), std::string::npos) << "nobody asked to keep it";
    auto cookies = CookieLine(reply);
    EXPECT_EQ(status(cookies), 207);
    EXPECT_EQ(server.Send({.method = "POST", .path = "/_dev/expire-cookies", .body = ""}).status, 200);
    EXPECT_EQ(status(cookies), 403);
    ServerProcess brief({"--generation", "2013", "--auth", "forms", "--cookie-lifetime", "1"});
    auto short_lived =
        CookieLine(brief.Send({.method = "POST", .path = kPage, .body = "username=alice&password=alice"}));
    int last = 207;
    for (int tries = 0; tries < 100 && last == 207; ++tries) {
        last = brief.Send({.method = "PROPFIND", .path = kWeb, .headers = {"Depth: 0", short_lived}}).status;
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
        cookies = CookieLine(
            first.Send({.method = "POST", .path = kPage, .body = "username=alice&password=alice"}));
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
    auto reply = second.Send({.method = "PROPFIND", .path = kWeb, .headers = {"Depth: 0", cookies}});
    EXPECT_EQ(reply.status, 207);
}

TEST(FormsBesideOthers, TheHeaderAboutSignInPagesDecides) {
    for (const char* list : {"basic,forms", "forms,basic"}) {
        ServerProcess server({"--generation", "2013", "--auth", list});
        auto ask = [&](std::vector<std::string> headers) {
            return server.Send({.method = "OPTIONS", .path = kWeb, .headers = std::move(headers)});
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
    EXPECT_EQ(alone.Send({.path = kWeb, .headers = {"X-FORMS_BASED_AUTH_ACCEPTED: f"}}).status, 403);
}

TEST_F(Forms, ThePageRedirectsToThisServerAloneAndEscapesItsTexts) {
    for (const char* elsewhere :
         {"https://evil.example/", "//evil.example/", "/%5Cevil.example", "%09//evil.example",
          "/a%0d%0aX-Evil:%201", "javascript:1", "http://127.0.0.1@evil.example/", ""}) {
        auto reply = SignIn("username=alice&password=alice", std::string("?ReturnUrl=") + elsewhere);
        EXPECT_EQ(reply.header("Location"), server.url() + "/_layouts/15/error.aspx") << elsewhere;
        EXPECT_EQ(reply.header("X-Evil"), "");
    }
    EXPECT_EQ(SignIn("username=alice&password=alice", "?ReturnUrl=/sites/team?a=1").header("Location"),
              server.url() + "/sites/team?a=1");
    auto script = SignIn("username=%22%3E%3Cscript%3E&password=x", "?ReturnUrl=/%22%3E%3Cscript%3E");
    EXPECT_EQ(script.body.find("<script"), std::string::npos) << script.body;
    EXPECT_EQ(script.header("Content-Security-Policy"), "default-src 'none'");
}

constexpr const char* kVerifier = "a-verifier-of-forty-three-characters-or-more";

class Authorize : public ::testing::Test {
protected:
    static std::string query(const std::string& redirect, const std::string& method = "S256") {
        return "/organizations/oauth2/v2.0/authorize?client_id=app&response_type=code&scope=files&state=s%26t"
               "&redirect_uri=" +
               PercentEncode(redirect) + "&code_challenge_method=" + method +
               "&code_challenge=" + Base64urlEncode(Sha256(kVerifier));
    }
    Reply Answer(const std::string& fields, const std::string& redirect = "http://127.0.0.1:9/x") const {
        return server->Send({.method = "POST", .path = query(redirect), .body = fields});
    }
    std::string code() const {
        auto location = Answer("username=alice&password=alice&decision=approve").header("Location");
        EXPECT_TRUE(location.starts_with("http://127.0.0.1:9/x?code=")) << location;
        EXPECT_TRUE(location.ends_with("&state=s%26t")) << location;
        auto begin = location.find("code=") + 5;
        return location.substr(begin, location.find('&') - begin);
    }
    Reply Redeem(const std::string& code_value, const std::string& proof = kVerifier,
                 const std::string& client = "app",
                 const std::string& redirect = "http://127.0.0.1:9/x") const {
        return server->Send({.method = "POST",
                             .path = "/organizations/oauth2/v2.0/token",
                             .body = "grant_type=authorization_code&client_id=" + client +
                                     "&redirect_uri=" + PercentEncode(redirect) + "&code_verifier=" + proof +
                                     "&code=" + code_value});
    }

    TemporaryFolder data;
    std::optional<ServerProcess> server{std::in_place, std::vector<std::string>{}, data.path()};
};

TEST_F(Authorize, ACodeSurvivesARestart) {
    auto value = code();
    EXPECT_EQ(server->Stop(), 0);
    server.emplace(std::vector<std::string>{}, data.path());
    EXPECT_EQ(Redeem(value).status, 200);
    EXPECT_EQ(Redeem(value).status, 400);
}

TEST_F(Authorize, ThePageRedirectsWithACodeThatWorksOnce) {
    EXPECT_EQ(Answer("username=alice&password=bob&decision=approve").status, 200);
    auto value = code();
    auto granted = Redeem(value);
    ASSERT_EQ(granted.status, 200) << granted.body;
    auto json = granted.json();
    auto token = std::string("Authorization: Bearer ") + json["access_token"].GetString();
    EXPECT_EQ(server->Send({.path = "/sites/team/_api/web", .headers = {token}}).status, 200);
    EXPECT_TRUE(json.HasMember("refresh_token"));
    EXPECT_EQ(Redeem(value).status, 400) << "a second time";
    auto declined = Answer("decision=decline").header("Location");
    EXPECT_TRUE(declined.starts_with("http://127.0.0.1:9/x?error=access_denied&")) << declined;
}

TEST_F(Authorize, ACodeIsValidForItsClientItsRedirectAndItsProofAlone) {
    EXPECT_EQ(Redeem(code(), "another-verifier-of-forty-three-characters-or-so").json()["error"],
              "invalid_grant");
    EXPECT_EQ(Redeem(code(), kVerifier, "other").status, 400);
    EXPECT_EQ(Redeem(code(), kVerifier, "app", "http://127.0.0.1:9/y").status, 400);
    auto tried = code();
    EXPECT_EQ(Redeem(tried, "wrong").status, 400);
    EXPECT_EQ(Redeem(tried).status, 400) << "a wrong proof ends the code";
    auto bare = server->Send({.method = "POST",
                              .path = "/organizations/oauth2/v2.0/token",
                              .body = "grant_type=authorization_code&client_id=app&code=" + code()});
    EXPECT_EQ(bare.json()["error"], "invalid_request") << "no proof at all";
    auto plain = server->Send({.path = query("http://127.0.0.1:9/", "plain")});
    EXPECT_TRUE(plain.header("Location").starts_with("http://127.0.0.1:9/?error=invalid_request"));
}

TEST_F(Authorize, CodesAreSentToThisMachineAlone) {
    for (const char* elsewhere :
         {"https://evil.example/", "http://127.0.0.1.evil.example/", "http://127.0.0.1@evil.example/",
          "http://localhost:9@evil.example", "http://127.0.0.1:9/\r\nX-Evil: 1", "", "myapp://x"}) {
        auto reply = Answer("username=alice&password=alice&decision=approve", elsewhere);
        EXPECT_EQ(reply.status, 400) << elsewhere;
        EXPECT_EQ(reply.header("Location"), "") << elsewhere;
    }
    for (const char* here : {"http://localhost/", "http://[::1]:8/a", "http://127.0.0.1"})
        EXPECT_EQ(Answer("username=alice&password=alice&decision=approve", here).status, 302) << here;
    ServerProcess at_once({"--approve", "bob"});
    EXPECT_TRUE(at_once.Send({.path = query("http://localhost:1/")})
                    .header("Location")
                    .starts_with("http://localhost:1/?code="));
    EXPECT_EQ(at_once.Send({.path = query("https://evil.example/")}).status, 400);
}

TEST_F(Authorize, ThePageEscapesTheTextsOfTheRequest) {
    auto shown = server->Send({.path = query("http://localhost/") + "&login_hint=%22%3E%3Cscript%3E"});
    EXPECT_EQ(shown.status, 200);
    EXPECT_EQ(shown.body.find("<script"), std::string::npos) << shown.body;
    auto typed = server->Send({.method = "POST",
                               .path = query("http://localhost/") + "&x=%22><script>",
                               .body = "username=%22%3E%3Cscript%3E&password=x&decision=approve"});
    EXPECT_EQ(typed.status, 200);
    EXPECT_EQ(typed.body.find("<script"), std::string::npos) << typed.body;
}

}  // namespace
}  // namespace devserver::test
