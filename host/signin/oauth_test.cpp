// Signing in by device and by browser, against a small sign-in server: when a token is given out, when it is
// renewed, and when a new sign-in starts.
#include <gtest/gtest.h>
#include <sodium.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "host/base/failure.h"
#include "host/base/json.h"
#include "host/signin/addresses.h"
#include "host/signin/http_form.h"
#include "host/signin/oauth.h"
#include "host/testing/silent_front_end.h"
#include "tests/support/loopback/loopback_socket.h"
#include "tests/support/loopback/loopback_test_server.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using testing_support::ReadText;
using testing_support::TempFolder;
using testing_support::WriteText;

// Answers each form by its grant type; one request after the other.
class SignInServer {
public:
    std::atomic<int> pending{0};  // polls before the person has signed in
    std::atomic<bool> denied{false};
    std::atomic<bool> can_refresh{true};
    std::atomic<int> trouble{0};    // the status of all answers, if any
    std::string lifetime = "3600";  // as JSON
    std::atomic<int> device_codes{0};
    std::atomic<int> refreshes{0};
    std::string last_form;  // read once the answer to it has come

private:
    using Request = LoopbackTestServer::Request;

    std::string Reply(const Request& request) {
        int status = 200;
        const std::string text = Text(request, status);
        return Answer(std::to_string(status) + " X", text, "Connection: close\r\n");
    }
    std::string Text(const Request& request, int& status) {
        if (request.target.ends_with("/devicecode")) {
            ++device_codes;
            return R"({"device_code":"d","user_code":"AB-CD","verification_uri":"http://x/dev","interval":1,"expires_in":60})";
        }
        if (trouble) {
            status = trouble;
            return "<html>busy</html>";
        }
        last_form = request.body;
        const bool is_refresh = request.body.find("grant_type=refresh_token") != std::string::npos;
        status = 400;
        if (is_refresh && !can_refresh) return R"({"error":"invalid_grant"})";
        if (!is_refresh && denied) return R"({"error":"access_denied"})";
        if (!is_refresh && pending-- > 0) return R"({"error":"authorization_pending"})";
        if (is_refresh) ++refreshes;
        status = 200;
        const std::string number = std::to_string(++m_tokens);
        return R"({"access_token":"access)" + number + R"(","refresh_token":"refresh)" + number +
               R"(","expires_in":)" + lifetime + "}";
    }
    int m_tokens = 0;
    LoopbackTestServer m_server{[this](const Request& request) { return Reply(request); }};

public:
    const std::string authority = "http://127.0.0.1:" + std::to_string(m_server.Port()) + "/organizations/";
};

// The value of a form's or a query's member, as it is written there.
std::string Member(const std::string& text, const std::string& name) {
    const std::size_t at = text.find(name + "=");
    if (at == std::string::npos) return {};
    const std::size_t begin = at + name.size() + 1;
    return text.substr(begin, text.find('&', begin) - begin);
}

// A browser whose person completes the sign-in page at once: it opens an unused connection, sends unrelated
// requests, and then follows the redirect with `result` as its query.
class RedirectingBrowser {
public:
    ~RedirectingBrowser() {
        if (m_thread.joinable()) m_thread.join();
    }
    void Open(const std::string& url) {
        opened = url;
        m_thread = std::thread([this] {
            const std::string state = Member(opened, "state");
            const std::string redirect = Member(opened, "redirect_uri");
            m_port = static_cast<std::uint16_t>(std::stoi(redirect.substr(redirect.rfind("%3A") + 3)));
            std::string home = redirect.substr(redirect.find("%2F", redirect.rfind("%3A")));
            for (auto at = home.find("%2F"); at != std::string::npos; at = home.find("%2F"))
                home.replace(at, 3, "/");
            const int idle = testing_support::ConnectToLoopback(m_port);
            for (const std::string& path :
                 {std::string("/favicon.ico"), home + "?code=guessed&state=guessed", home + "?code=guessed",
                  home + "?state=" + state + "&" + result}) {
                answers.push_back(Get(path));
            }
            close(idle);
        });
    }
    void Wait() { m_thread.join(); }

    std::string result;
    std::string opened;
    std::vector<std::string> answers;

private:
    std::string Get(const std::string& path) const {
        const int client = testing_support::ConnectToLoopback(m_port);
        EXPECT_GE(client, 0);
        // In two parts, as over a slow connection.
        const std::string head = "GET " + path + " HT";
        const std::string rest = "TP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
        for (const std::string& part : {head, rest}) {
            EXPECT_EQ(write(client, part.data(), part.size()), static_cast<ssize_t>(part.size()));
        }
        std::string answer;
        char block[1024];
        for (ssize_t got; (got = read(client, block, sizeof(block))) > 0;)
            answer.append(block, static_cast<std::size_t>(got));
        close(client);
        return answer;
    }

    std::uint16_t m_port = 0;
    std::thread m_thread;
};

// Records what is shown and opens pages in the test's browser.
class RecordingPrompts final : public testing::SilentFrontEnd {
public:
    explicit RecordingPrompts(RedirectingBrowser& browser) : m_browser(browser) {}
    std::unique_ptr<SignInNotice> OpenPage(const std::string& url) override {
        m_browser.Open(url);
        return SilentFrontEnd::OpenPage(url);
    }
    std::unique_ptr<SignInNotice> ShowCode(const std::string& page, const std::string& code) override {
        shown = page + " " + code;
        if (!cancels) return SilentFrontEnd::ShowCode(page, code);
        class Canceled final : public SignInNotice {
            bool IsCanceled() const override { return true; }
        };
        return std::make_unique<Canceled>();
    }
    std::string shown;
    bool cancels = false;

private:
    RedirectingBrowser& m_browser;
};

class SignIn : public ::testing::Test {
protected:
    // A process of its own on the same profile.
    struct Process {
        explicit Process(SignIn& test)
            : profile(test.folder.Path(), {}),
              oauth(profile, std::make_shared<const Cipher>(test.folder / "key"), test.prompts) {}
        Profile profile;
        OAuth oauth;
    };
    OAuthRequest Request(const char* flow = "device") const {
        return {server.authority, "client", "http://site/AllSites.Write", "", flow};
    }

    // The token that the browser brings, after all that it does has ended.
    std::string GetTokenByBrowser(Process& process, const OAuthRequest& request) {
        std::string token = process.oauth.GetToken(request);
        browser.Wait();
        return token;
    }

    TempFolder folder;
    SignInServer server;
    RedirectingBrowser browser;
    RecordingPrompts prompts{browser};
};

TEST_F(SignIn, ShowsTheCodePollsAndKeepsTokensEnciphered) {
    server.pending = 1;
    Process process(*this);
    EXPECT_EQ(process.oauth.GetToken(Request()), "access1");
    EXPECT_EQ(prompts.shown, "http://x/dev AB-CD");
    const std::string stored = ReadText(folder / "tokens.json");
    EXPECT_EQ(stored.find("access1"), std::string::npos);
    EXPECT_EQ(stored.find("refresh1"), std::string::npos);
    EXPECT_NE(stored.find("sph1:"), std::string::npos);
}

TEST_F(SignIn, TheBrowserComesBackWithACodeThatOnlyThisSignInCanUse) {
    browser.result = "code=the%2Bcode%20x";
    Process process(*this);
    OAuthRequest request = Request("code");
    request.user = "alice@example.test";
    EXPECT_EQ(GetTokenByBrowser(process, request), "access1");
    EXPECT_TRUE(browser.opened.starts_with(server.authority + "oauth2/v2.0/authorize?")) << browser.opened;
    EXPECT_EQ(Member(browser.opened, "login_hint"), "alice%40example.test");
    EXPECT_EQ(Member(browser.opened, "code_challenge_method"), "S256");
    ASSERT_EQ(browser.answers.size(), 4u);
    for (int i = 0; i < 3; ++i) EXPECT_NE(browser.answers[i].find(" 404 "), std::string::npos) << i;
    EXPECT_NE(browser.answers[3].find("You are signed in"), std::string::npos) << browser.answers[3];

    EXPECT_EQ(Member(server.last_form, "grant_type"), "authorization_code");
    EXPECT_EQ(Member(server.last_form, "code"), "the%2Bcode%20x");
    EXPECT_EQ(Member(server.last_form, "redirect_uri"), Member(browser.opened, "redirect_uri"));
    const std::string verifier = Member(server.last_form, "code_verifier");
    EXPECT_GE(verifier.size(), 43u);
    unsigned char hash[crypto_hash_sha256_BYTES];
    crypto_hash_sha256(hash, reinterpret_cast<const unsigned char*>(verifier.data()), verifier.size());
    char challenge[64];
    sodium_bin2base64(challenge, sizeof(challenge), hash, sizeof(hash),
                      sodium_base64_VARIANT_URLSAFE_NO_PADDING);
    EXPECT_EQ(Member(browser.opened, "code_challenge"), challenge);
    EXPECT_EQ(process.oauth.GetToken(request), "access2") << "renewed without the browser";
    EXPECT_EQ(server.refreshes, 1);
}

TEST_F(SignIn, TheBrowserIsRedirectedToTheRegisteredAddress) {
    browser.result = "code=x";
    Process process(*this);
    OAuthRequest request = Request("code");
    request.redirect = "http://localhost/back/here";
    EXPECT_EQ(GetTokenByBrowser(process, request), "access1");
    const std::string redirect = Member(browser.opened, "redirect_uri");
    EXPECT_TRUE(redirect.starts_with("http%3A%2F%2Flocalhost%3A")) << redirect;
    EXPECT_TRUE(redirect.ends_with("%2Fback%2Fhere")) << redirect;
    EXPECT_EQ(Member(server.last_form, "redirect_uri"), redirect);
    EXPECT_EQ(PortOfRedirect("http://LOCALHOST:8400"), 8400);
    EXPECT_EQ(PortOfRedirect(""), 0);
    for (const char* bad :
         {"https://localhost/", "http://localhost.evil/", "http://127.0.0.1@evil/", "http://127.0.0.1:65536/",
          "http://127.0.0.1/?a", "localhost", "http://10.0.0.1/", "http://localhost:/"}) {
        EXPECT_THROW(PortOfRedirect(bad), Failure) << bad;
    }
}

TEST_F(SignIn, APageThatEndsWithoutACodeEndsTheSignIn) {
    for (const auto& [result, code, text] :
         {std::tuple{"error=access_denied", kCanceled, "declined"},
          std::tuple{"error=server_error&error_description=on+%22fire%22", E_ACCESSDENIED, "on \"fire\""}}) {
        RedirectingBrowser other;
        other.result = result;
        Profile profile(folder.Path(), {});
        RecordingPrompts other_prompts(other);
        OAuth oauth(profile, std::make_shared<const Cipher>(folder / "key"), other_prompts);
        OAuthRequest request = Request("code");
        try {
            oauth.GetToken(request);
            ADD_FAILURE() << result;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), code) << result;
            EXPECT_NE(std::string(failure.what()).find(text), std::string::npos) << failure.what();
        }
        other.Wait();
        EXPECT_NE(other.answers.back().find("without success"), std::string::npos);
    }
}

TEST_F(SignIn, ARefusedTokenIsRenewedOnceThenANewSignInStarts) {
    Process process(*this);
    EXPECT_EQ(process.oauth.GetToken(Request()), "access1");
    EXPECT_EQ(process.oauth.GetToken(Request()), "access2") << "refused: renewed";
    EXPECT_EQ(server.refreshes, 1);
    EXPECT_EQ(process.oauth.GetToken(Request()), "access3") << "refused again: a new sign-in";
    EXPECT_EQ(server.refreshes, 1);
    EXPECT_EQ(server.device_codes, 2);
}

TEST_F(SignIn, ATokenThatAnotherProcessStoredIsUsedUnlessTheServerRefusedIt) {
    Process first(*this);
    Process second(*this);
    Process third(*this);
    const std::string token = first.oauth.GetToken(Request());
    EXPECT_EQ(second.oauth.GetToken(Request()), token);
    third.oauth.NoteInUse("http://other/", token);
    EXPECT_EQ(third.oauth.GetToken(Request()), token) << "another place's server has it";
    third.oauth.NoteInUse(Request().site, token);
    EXPECT_EQ(third.oauth.GetToken(Request()), "access2");
    EXPECT_EQ(server.device_codes, 1);
    server.can_refresh = false;
    Process fourth(*this);
    fourth.oauth.NoteInUse(Request().site, "access2");
    EXPECT_EQ(fourth.oauth.GetToken(Request()), "access3") << "a refused renewal is a new sign-in";
    EXPECT_EQ(server.device_codes, 2);
    fourth.oauth.Forget("http://SITE:8080/sites/a", "");
    Process fifth(*this);
    EXPECT_EQ(fifth.oauth.GetToken(Request()), "access4") << "forgotten";
}

TEST_F(SignIn, EachUserHasATokenOfTheirOwn) {
    OAuthRequest alice = Request(), bob = Request();
    alice.user = "alice";
    bob.user = "bob";
    Process first(*this);
    const std::string hers = first.oauth.GetToken(alice), his = first.oauth.GetToken(bob);
    Process second(*this);
    second.oauth.Forget("http://site/", "bob");
    EXPECT_EQ(ReadText(folder / "tokens.json").find(" bob"), std::string::npos);
    EXPECT_NE(ReadText(folder / "tokens.json").find(" alice"), std::string::npos);
    // A token that is stored as another user's can't be read.
    std::string text = ReadText(folder / "tokens.json");
    WriteText(folder / "tokens.json", text.replace(text.find(" alice"), 6, " bob"));
    EXPECT_EQ(second.oauth.GetToken(bob), "access3");
    EXPECT_EQ(server.device_codes, 3);
    EXPECT_EQ(server.refreshes, 0);
}

TEST_F(SignIn, DamagedFilesAreReportedAndNeverChangeTheAuthority) {
    std::string warnings;
    const Profile profile(folder.Path(), [&](const std::string& line) { warnings += line + "\n"; });
    OAuth oauth(profile, std::make_shared<const Cipher>(profile.file("key")), prompts);
    oauth.SetOverride("http://site/", {"https://login/x", "id"});
    for (const std::string& text : {std::string("{"), std::string("[1]"), std::string(100000, '[')}) {
        WriteText(folder / "oauth.json", text);
        EXPECT_THROW(oauth.FindOverride("http://site/"), Failure);
    }
    oauth.SetOverride("http://site/", {"https://login/x", "id"});
    EXPECT_EQ(oauth.FindOverride("http://site/")->authority, "https://login/x");
    WriteText(folder / "tokens.json", "[]");
    EXPECT_EQ(oauth.GetToken(Request()), "access1");
    for (const char* name : {"oauth.json.bad-1", "tokens.json.bad-1"}) {
        EXPECT_TRUE(fs::exists(folder / name)) << name;
        EXPECT_NE(warnings.find(name), std::string::npos) << warnings;
    }
}

// The server may have refused it although the account never stored it.
TEST_F(SignIn, ATokenOfAnEarlierProcessIsRenewedBeforeItExpires) {
    Process(*this).oauth.GetToken(Request());
    Process second(*this);
    EXPECT_EQ(second.oauth.GetToken(Request()), "access2");
    EXPECT_EQ(server.refreshes, 1);
}

TEST_F(SignIn, AServerErrorStartsNoNewSignIn) {
    Process(*this).oauth.GetToken(Request());
    Process second(*this);
    for (const int status : {429, 500, 503}) {
        server.trouble = status;
        try {
            second.oauth.GetToken(Request());
            ADD_FAILURE() << status;
        } catch (const Failure& failure) {
            EXPECT_NE(std::string(failure.what()).find(std::to_string(status)), std::string::npos);
        }
    }
    EXPECT_EQ(server.device_codes, 1);
    server.trouble = 0;
    EXPECT_EQ(second.oauth.GetToken(Request()), "access2");
}

TEST_F(SignIn, AnExpiredTokenIsNotGivenOut) {
    server.lifetime = "5";
    Process first(*this);
    Process second(*this);
    first.oauth.GetToken(Request());
    EXPECT_EQ(second.oauth.GetToken(Request()), "access2");
    EXPECT_EQ(server.refreshes, 1);
}

TEST_F(SignIn, ALifetimeOfAnyFormGivesAnExpiryThatCanBe) {
    struct Row {
        const char* lifetime;
        std::int64_t seconds;
    };
    constexpr std::int64_t kYear = 366 * 24 * 60 * 60;
    constexpr std::int64_t kUnknown = 900;
    for (const Row& row :
         {Row{"3600", 3600}, Row{"\"7200\"", 7200}, Row{"3599.9", 3599}, Row{"\"1.5e3\"", 1500},
          Row{"9223372036854775807", kYear}, Row{"18446744073709551616", kYear}, Row{"1e300", kYear},
          Row{"\"99999999999999999999999\"", kYear}, Row{"\"inf\"", kYear}, Row{"-1", kUnknown},
          Row{"-9223372036854775808", kUnknown}, Row{"\"nan\"", kUnknown}, Row{"\"soon\"", kUnknown},
          Row{"\"\"", kUnknown}, Row{"null", kUnknown}, Row{"[60]", kUnknown}}) {
        server.lifetime = row.lifetime;
        Process process(*this);
        const auto before = std::time(nullptr);
        process.oauth.GetToken(Request());
        const Json stored = ParseJsonObject(ReadText(folder / "tokens.json"));
        ASSERT_EQ(stored.MemberCount(), 1u);
        const std::int64_t lifetime = stored.MemberBegin()->value["expires"].GetInt64() - before;
        EXPECT_GE(lifetime, row.seconds) << row.lifetime;
        EXPECT_LE(lifetime, row.seconds + 10) << row.lifetime;
    }
}

TEST(Addresses, ThisMachineIsWhereTheHostSaysSo) {
    for (const char* own : {"http://localhost", "http://LOCALHOST:80/x", "https://127.0.0.1:8443/a?b@c",
                            "HTTP://127.1.2.3/", "http://[::1]:8080/x", "http://127.0.0.1/a b#c"})
        EXPECT_TRUE(IsThisMachine(own)) << own;
    for (const char* other :
         {"http://localhost.evil.example", "http://127.0.0.1.evil", "http://user@127.0.0.1:1@evil/",
          "http://127.0.0.1@evil/", "http://evil/127.0.0.1", "http://evil\\@127.0.0.1/",
          "http://127.0.0.1#@evil/", "http://127.0.0.1?@evil/", "http://localhost%2eevil/",
          "http://alice@localhost/", "ftp://localhost/", "http://[::1].evil/", "http://[::ffff:1.2.3.4]/",
          "http://128.0.0.1/", "http://", "localhost", ""}) {
        EXPECT_FALSE(IsThisMachine(other)) << other;
        EXPECT_FALSE(IsPrivateWay(other)) << other;
    }
    EXPECT_TRUE(IsPrivateWay("HTTPS://evil/"));
}

TEST_F(SignIn, NoPageIsOpenedForAnAuthorityInTheClear) {
    Process process(*this);
    OAuthRequest request = Request("code");
    for (const char* authority :
         {"http://localhost.evil.example/x", "http://user@127.0.0.1:1@evil/", "file:///x"}) {
        request.authority = authority;
        EXPECT_THROW(process.oauth.GetToken(request), Failure) << authority;
    }
    EXPECT_EQ(browser.opened, "");
}

TEST_F(SignIn, FailuresHaveDifferentCodes) {
    Process process(*this);
    const auto code = [&](const OAuthRequest& request) {
        try {
            process.oauth.GetToken(request);
            return S_OK;
        } catch (const Failure& failure) {
            EXPECT_FALSE(std::string(failure.what()).empty());
            return failure.code();
        }
    };
    server.pending = 1000;
    prompts.cancels = true;
    EXPECT_EQ(code(Request()), kCanceled) << "by the person, while the server still waits";
    prompts.cancels = false;
    server.pending = 0;
    server.denied = true;
    EXPECT_EQ(code(Request()), kCanceled);
    EXPECT_EQ(code({"http://127.0.0.1:9/x", "c", "s", ""}), HRESULT_FROM_WIN32(12029));
    EXPECT_EQ(code({"http://login.test/x", "c", "s", ""}), E_INVALIDARG) << "secrets travel over TLS alone";
    EXPECT_EQ(code({"http://127.0.0.1.evil.test/x", "c", "s", ""}), E_INVALIDARG);
}

TEST_F(SignIn, OverridesBelongToTheServerOfTheSite) {
    Process process(*this);
    process.oauth.SetOverride("http://Site:8080/sites/a", {"https://login/x", "id"});
    EXPECT_EQ(process.oauth.FindOverride("http://site:8080/other")->authority, "https://login/x");
    EXPECT_EQ(process.oauth.FindOverride("http://site/other"), std::nullopt);
    EXPECT_EQ(ServerOf("HTTPS://user@Host:1/x?y"), "https://host:1");
}

}  // namespace
}  // namespace host
