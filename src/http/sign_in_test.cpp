// The loop around refused requests, against a real server: who is asked, what is sent again, when it ends.
#include <gtest/gtest.h>

#include <optional>

#include "base/text/encoding.h"
#include "http/session.h"
#include "tests/support/loopback/loopback_test_server.h"

namespace {

using Http::Session;
using Request = LoopbackTestServer::Request;

constexpr char kBasicChallenge[] = "WWW-Authenticate: Basic realm=\"site\"\r\n";
constexpr char kAliceSecret[] = "Basic YWxpY2U6c2VjcmV0";
constexpr char kAliceWrong[] = "Basic YWxpY2U6d3Jvbmc=";

std::string Protected(const Request& request) {
    if (request.Header("authorization") == kAliceSecret) return Answer("200 OK", "hello");
    return Answer("401 Not You", "", kBasicChallenge);
}

std::shared_ptr<Session> Connect(const LoopbackTestServer& server,
                                 const Session::Credentials& credentials = {}) {
    auto session = Session::Create(u"http://", u"127.0.0.1", server.Port(), credentials, {});
    // The process remembers what was accepted earlier; no test may live on another one's sign-in.
    session->ResetAuthorizationData(credentials);
    return session;
}

Http::Response Get(Session& session, const char16_t* headers = nullptr, bool check_status = false) {
    return session.SendRequest(u"GET", u"doc", nullptr, headers, nullptr, 0, check_status);
}

// A server, a session to it, and what its callbacks were given. The request of the set-up is forgotten.
struct Fixture {
    explicit Fixture(LoopbackTestServer::Handler handler, const Session::Credentials& credentials = {})
        : server(std::move(handler)), session(Connect(server, credentials)) {
        server.Forget();
    }

    void AnswerPrompts(const std::vector<Session::Credentials>& answers) {
        session->SetOnCredentials(
            [this, answers](Session::Credentials& record, const char16_t* host, const char16_t* status_text) {
                prompts.push_back(record.user + u"/" + record.password + u"@" + host + u": " + status_text);
                if (prompts.size() > answers.size()) throw HResultException(E_CANCELED);
                record = answers[prompts.size() - 1];
            });
    }
    void AnswerBrowser(const Session::AuthCookies& cookies) {
        session->SetOnAuthCookies([this, cookies](Session::AuthCookies& out, const char16_t* server_url,
                                                  const char16_t* required, const char16_t* returns) {
            forms.push_back(std::u16string(server_url) + u" " + required + u" " + returns);
            out = cookies;
        });
    }
    void AnswerToken(const std::vector<std::u16string>& tokens) {
        session->SetOnAuthToken([this, tokens](std::u16string& token, const char16_t* url) {
            token_urls.emplace_back(url);
            token = tokens[std::min(tokens.size(), token_urls.size()) - 1];
        });
    }

    LoopbackTestServer server;
    std::shared_ptr<Session> session;
    std::vector<std::u16string> prompts;
    std::vector<std::u16string> forms;
    std::vector<std::u16string> token_urls;
};

TEST(SignIn, AsksNobodyWhenTheFirstAnswerIsGood) {
    Fixture fixture([](const Request&) { return Answer("200 OK"); });
    fixture.AnswerPrompts({{u"x", u"y"}});
    fixture.AnswerBrowser({});
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(fixture.server.Requests().size(), 1u);
    EXPECT_TRUE(fixture.prompts.empty());
    EXPECT_TRUE(fixture.forms.empty());
}

TEST(SignIn, UsesStoredCredentialsWithoutAPrompt) {
    Fixture fixture(Protected, {u"alice", u"secret"});
    fixture.AnswerPrompts({});
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(fixture.server.Requests().size(), 2u);
    EXPECT_TRUE(fixture.prompts.empty());
}

TEST(SignIn, PromptsWithTheStoredCredentialsThatFailed) {
    Fixture fixture(Protected, {u"alice", u"wrong"});
    fixture.AnswerPrompts({{u"alice", u"secret"}});
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(fixture.prompts, std::vector<std::u16string>{u"alice/wrong@127.0.0.1: Not You"});
}

TEST(SignIn, PromptsAgainForWrongAnswersAndKeepsNoneOfThem) {
    Fixture fixture(Protected);
    fixture.AnswerPrompts({{u"alice", u"wrong"}, {u"bob", u"wrong"}, {u"alice", u"secret"}});
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    const std::u16string empty_prompt = u"/@127.0.0.1: Not You";
    EXPECT_EQ(fixture.prompts, (std::vector<std::u16string>{empty_prompt, empty_prompt, empty_prompt}));
    EXPECT_EQ(fixture.server.Requests()[1].Header("authorization"), kAliceWrong);
}

TEST(SignIn, RemembersTheAnswerThatWasGood) {
    bool revoked = false;
    Fixture fixture([&](const Request& request) {
        return revoked ? Answer("401 Not You", "", kBasicChallenge) : Protected(request);
    });
    fixture.AnswerPrompts({{u"alice", u"secret"}});
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(fixture.prompts.size(), 1u);
    revoked = true;
    EXPECT_THROW(Get(*fixture.session), HResultException);
    EXPECT_EQ(fixture.prompts.back(), u"alice/secret@127.0.0.1: Not You");
}

TEST(SignIn, LetsACancelledPromptFly) {
    Fixture fixture(Protected);
    fixture.AnswerPrompts({});
    try {
        Get(*fixture.session);
        FAIL() << "no exception";
    } catch (const HResultException& failure) {
        EXPECT_EQ(failure.code, E_CANCELED);
    }
    EXPECT_EQ(fixture.server.Requests().size(), 1u);
}

TEST(SignIn, EndsWhereNobodyCanBeAsked) {
    const struct {
        const char* status;
        const char* headers;
        size_t requests;
    } rows[] = {
        {"401 No", kBasicChallenge, 1},  // no callback, nothing stored
        {"407 No", kBasicChallenge, 1},
        {"401 No", "", 2},  // the forms branch sends once more, to the same end
        {"403 No", "", 2},
        {"403 No", kBasicChallenge, 2},
        {"500 No", "", 1},
    };
    for (const auto& row : rows) {
        Fixture fixture([&](const Request&) { return Answer(row.status, "", row.headers); });
        EXPECT_EQ(Get(*fixture.session).GetStatus(), static_cast<uint32_t>(std::stoi(row.status)));
        EXPECT_EQ(fixture.server.Requests().size(), row.requests) << row.status << row.headers;
    }
}

TEST(SignIn, RunsTheBrowserForAChallengeWithoutAScheme) {
    Fixture fixture([](const Request& request) {
        return request.Header("cookie") == "FedAuth=1; rtFa=2" ? Answer("200 OK") : Answer("401 No");
    });
    fixture.AnswerBrowser({{u"FedAuth", u"1"}, {u"rtFa", u"2"}});
    EXPECT_EQ(Get(*fixture.session, u"X-Caller: 1\n").GetStatus(), 200u);
    const std::u16string uri = fixture.session->GetUri();
    EXPECT_EQ(fixture.forms, std::vector<std::u16string>{u"http://127.0.0.1 " + uri + u" "});
    EXPECT_EQ(fixture.session->GetCookies().size(), 2u);
    const std::vector<Request> requests = fixture.server.Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].Header("x-caller"), "1");

    // Later requests bring the cookies along.
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(fixture.forms.size(), 1u);
}

TEST(SignIn, HandsTheBrowserWhatTheServerRequires) {
    Fixture fixture([](const Request&) {
        return Answer("403 Forbidden", "",
                      "X-Forms_Based_Auth_Required: http://login/a\r\n"
                      "X-Forms_Based_Auth_Required: http://login/b\r\n"
                      "X-Forms_Based_Auth_Return_Url: http://site/back\r\n");
    });
    fixture.AnswerBrowser({{u"FedAuth", u"1"}});
    try {
        Get(*fixture.session, nullptr, true);
        FAIL() << "no exception";
    } catch (const Http::HttpException& failure) {
        EXPECT_EQ(failure.status, 403);
        EXPECT_EQ(failure.message, u"HTTP 403: Forbidden");
    }
    EXPECT_EQ(fixture.forms,
              std::vector<std::u16string>{u"http://127.0.0.1 http://login/a http://site/back"});
    EXPECT_EQ(fixture.server.Requests().size(), 2u);
    EXPECT_TRUE(fixture.session->GetCookies().empty()) << "cookies that changed nothing were kept";
}

TEST(SignIn, PutsTheTokenBeforeEverythingElse) {
    Fixture fixture([](const Request& request) {
        return request.Header("authorization") == "Bearer good" ? Answer("200 OK")
                                                                : Answer("401 No", "", kBasicChallenge);
    });
    fixture.AnswerToken({u"good"});
    fixture.AnswerPrompts({});
    fixture.session->SetCookies({{u"FedAuth", u"old"}});
    EXPECT_EQ(Get(*fixture.session, u"X-RequestDigest:abc").GetStatus(), 200u);
    EXPECT_EQ(fixture.token_urls, std::vector<std::u16string>{u"http://127.0.0.1"});
    EXPECT_EQ(fixture.session->GetAuthToken(), u"good");
    EXPECT_TRUE(fixture.session->GetCookies().empty()) << "a token takes the place of the cookies";
    EXPECT_EQ(fixture.server.Requests()[1].Header("x-requestdigest"), "abc");

    fixture.server.Forget();
    EXPECT_EQ(Get(*fixture.session, u"X-RequestDigest:abc").GetStatus(), 200u);
    ASSERT_EQ(fixture.server.Requests().size(), 1u);
    EXPECT_EQ(fixture.server.Requests()[0].Header("authorization"), "Bearer good");
    EXPECT_EQ(fixture.server.Requests()[0].Header("x-requestdigest"), "abc");
}

TEST(SignIn, GivesUpOnATokenThatIsRefusedAndKeepsTheOldOne) {
    Fixture fixture([](const Request&) { return Answer("401 No"); });
    fixture.AnswerToken({u"bad"});
    fixture.session->SetAuthToken(u"expired");
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 401u);
    EXPECT_EQ(fixture.server.Requests().size(), 2u);
    EXPECT_EQ(fixture.session->GetAuthToken(), u"expired");
}

TEST(SignIn, GoesOnWhileTheAnswersChange) {
    Fixture fixture([](const Request& request) {
        const std::string token = request.Header("authorization");
        if (token.empty()) return Answer("401 No");
        return token == "Bearer one" ? Answer("403 No") : Answer("200 OK");
    });
    fixture.AnswerToken({u"one", u"two"});
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(fixture.server.Requests().size(), 3u);
    EXPECT_EQ(fixture.session->GetAuthToken(), u"two");
}

TEST(SignIn, AsksForTheHostThatARedirectLedTo) {
    std::string target;
    Fixture fixture([&](const Request& request) {
        if (request.Header("host").starts_with("127.0.0.1")) {
            return Answer("302 Found", "", "Location: " + target + "\r\n");
        }
        return Protected(request);
    });
    target = "http://localhost:" + std::to_string(fixture.server.Port()) + "/elsewhere";
    fixture.AnswerPrompts({{u"alice", u"secret"}});
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(fixture.prompts, std::vector<std::u16string>{u"/@localhost: Not You"});
}

TEST(SignIn, AnotherPortOfTheHostNeverGetsThePasswordWithoutAQuestion) {
    const LoopbackTestServer other(Protected);
    const std::string port = std::to_string(other.Port());
    Fixture fixture(
        [&](const Request&) {
            return Answer("302 Found", "", "Location: http://127.0.0.1:" + port + "/elsewhere\r\n");
        },
        {u"alice", u"secret"});
    fixture.AnswerPrompts({});
    const std::u16string asked = u"/@127.0.0.1:" + Widen(port) + u": Not You";
    EXPECT_THROW(Get(*fixture.session), HResultException);
    EXPECT_EQ(fixture.prompts, std::vector<std::u16string>{asked});
    for (const Request& request : other.Requests()) EXPECT_FALSE(request.Has("authorization"));
    fixture.prompts.clear();
    fixture.AnswerPrompts({{u"alice", u"secret"}});
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(Get(*fixture.session).GetStatus(), 200u);
    EXPECT_EQ(fixture.prompts, std::vector<std::u16string>{asked})
        << "what was typed there is kept for there";
}

TEST(SignIn, SendsTheBodyAgain) {
    Fixture fixture(Protected);
    fixture.AnswerPrompts({{u"alice", u"secret"}});
    EXPECT_EQ(
        fixture.session->SendRequest(u"POST", u"doc", nullptr, nullptr, "the body", 0, true).GetStatus(),
        200u);
    const std::vector<Request> requests = fixture.server.Requests();
    EXPECT_EQ(requests.front().body, "the body");
    EXPECT_EQ(requests.back().body, "the body");
}

}  // namespace
