// Requests through a proxy that wants credentials of its own, to a site that wants others.
#include <gtest/gtest.h>

#include <cstdlib>

#include "http/session.h"
#include "tests/support/loopback/loopback_test_server.h"

namespace {

using Http::Session;
using Request = LoopbackTestServer::Request;

constexpr char kOfProxy[] = "Basic cHJveDp3b3Jk";
constexpr char kOfSite[] = "Basic YWxpY2U6c2VjcmV0";
constexpr char kProxyChallenge[] = "Proxy-Authenticate: Basic realm=\"proxy\"\r\n";
constexpr char kSiteChallenge[] = "WWW-Authenticate: Basic realm=\"site\"\r\n";

// A proxy that answers in place of the site behind it. Some proxies send the site's kind of challenge, too.
class Proxy : public ::testing::Test {
protected:
    Proxy() {
        const std::string address = "http://127.0.0.1:" + std::to_string(m_server.Port());
        setenv("http_proxy", address.c_str(), 1);
        unsetenv("no_proxy");
    }
    ~Proxy() override { unsetenv("http_proxy"); }

    std::shared_ptr<Session> Connect(const Session::Credentials& of_proxy) {
        auto session = Session::Create(u"http://", u"portal.test", 80, {u"alice", u"secret"}, of_proxy);
        // The process remembers what was accepted earlier; no test may live on another one's sign-in.
        session->ResetAuthorizationData({u"alice", u"secret"});
        m_server.Forget();
        session->SetOnCredentials([this](Session::Credentials&, const char16_t*, const char16_t*) {
            ++m_site_prompts;
            throw HResultException(E_CANCELED);
        });
        session->SetOnProxyCredentials(
            [this](Session::Credentials& record, const char16_t* host, const char16_t* status_text) {
                m_proxy_prompts.push_back(record.user + u"@" + host + u": " + status_text);
                record = {u"prox", u"word"};
            });
        return session;
    }
    uint32_t Get(Session& session) {
        return session.SendRequest(u"GET", u"doc", nullptr, nullptr, nullptr, 0, false).GetStatus();
    }
    // Neither gets to see what belongs to the other.
    void ExpectCredentialsApart() const {
        for (const Request& request : m_server.Requests()) {
            EXPECT_TRUE(!request.Has("authorization") || request.Header("authorization") == kOfSite);
            EXPECT_TRUE(!request.Has("proxy-authorization") ||
                        request.Header("proxy-authorization") == kOfProxy);
        }
    }

    std::string m_refusal = std::string(kProxyChallenge) + kSiteChallenge;
    LoopbackTestServer m_server{[this](const Request& request) {
        if (request.Header("proxy-authorization") != kOfProxy)
            return Answer("407 Not Through Me", "", m_refusal);
        if (request.Header("authorization") != kOfSite) return Answer("401 Not You", "", kSiteChallenge);
        return Answer("200 OK", "hello");
    }};
    std::vector<std::u16string> m_proxy_prompts;
    int m_site_prompts = 0;
};

TEST_F(Proxy, IsAnsweredWithItsStoredCredentialsAndTheSiteWithItsOwn) {
    const auto session = Connect({u"prox", u"word"});
    EXPECT_EQ(Get(*session), 200u);
    EXPECT_TRUE(m_proxy_prompts.empty());
    EXPECT_EQ(m_site_prompts, 0);
    ExpectCredentialsApart();
    EXPECT_FALSE(m_server.Requests().front().Has("proxy-authorization"));
}

TEST_F(Proxy, WithoutStoredCredentialsIsAskedForByThePromptOfProxies) {
    const auto session = Connect({});
    EXPECT_EQ(Get(*session), 200u);
    EXPECT_EQ(m_proxy_prompts, std::vector<std::u16string>{u"@portal.test: Not Through Me"});
    EXPECT_EQ(m_site_prompts, 0);
    ExpectCredentialsApart();
    session->ResetAuthorizationData({});
    EXPECT_THROW(Get(*session), HResultException) << "the site's user is forgotten";
    EXPECT_EQ(m_site_prompts, 1);
    EXPECT_EQ(m_proxy_prompts.size(), 1u) << "the proxy's stays";
}

TEST_F(Proxy, IsNamedWithTheWayOutAndNeverSignedInToAtTheSite) {
    m_refusal = kProxyChallenge;
    const auto session = Connect({});
    session->SetOnProxyCredentials(nullptr);
    int sign_ins = 0;
    session->SetOnAuthToken([&](std::u16string&, const char16_t*) { ++sign_ins; });
    session->SetOnAuthCookies(
        [&](Session::AuthCookies&, const char16_t*, const char16_t*, const char16_t*) { ++sign_ins; });
    try {
        session->SendRequest(u"GET", u"doc", nullptr, nullptr, nullptr, 0, true);
        ADD_FAILURE() << "the proxy's refusal counted as an answer";
    } catch (const Http::HttpException& failure) {
        EXPECT_EQ(failure.status, 407);
        EXPECT_NE(failure.message.find(u"the proxy asks for a name and a password"), std::u16string::npos);
    }
    EXPECT_EQ(m_server.Requests().size(), 1u);
    EXPECT_EQ(sign_ins + m_site_prompts, 0);
    for (const Request& request : m_server.Requests()) {
        EXPECT_FALSE(request.Has("authorization")) << "the site's password is none of the proxy's business";
        EXPECT_FALSE(request.Has("proxy-authorization"));
    }
}

}  // namespace
