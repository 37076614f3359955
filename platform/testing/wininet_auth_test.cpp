// Challenges of servers and proxies, and what a session remembers of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <set>

#include "testing/client.h"
#include "tests/support/loopback/raw_server.h"

namespace testing_support {
namespace {

constexpr DWORD kRetry = ERROR_INTERNET_FORCE_RETRY;
constexpr char kBasic[] = "Basic YWxpY2U6cHc=";       // alice:pw
constexpr char kBasicOfBob[] = "Basic Ym9iOnNpdGU=";  // bob:site

// Accepts alice by Basic or Digest, and offers the schemes of `offers`.
struct ProtectedServer {
    explicit ProtectedServer(const std::string& offers)
        : server([this, offers](Exchange& exchange) {
              const std::lock_guard lock(mutex);
              const std::string authorization = exchange.header("Authorization");
              seen.push_back(authorization);
              const bool digest = authorization.find("Digest username=\"alice\"") == 0 &&
                                  authorization.find("nonce=\"n1\"") != std::string::npos;
              if (!locked && (authorization == kBasic || digest)) {
                  exchange.answer("200 OK", "", "in:" + exchange.body);
              } else {
                  exchange.answer("401 Unauthorized", offers, "who?");
              }
          }) {}
    ~ProtectedServer() { EndBrowserSession(); }

    std::vector<std::string> seen;
    bool locked = false;  // accepts nobody
    std::mutex mutex;
    RawServer server;
};

// Signs alice in, so that the session remembers her.
void SignIn(ProtectedServer& site, HINTERNET session) {
    Client client(site.server.port(), u"127.0.0.1", session);
    const Handle request = client.Open(u"GET", u"/");
    SetLogin(request, u"alice", u"pw");
    ASSERT_EQ(Send(request), 0u);
}

// The status of a request that sets no credentials; 0 for none.
DWORD Ask(ProtectedServer& site, HINTERNET session) {
    Client client(site.server.port(), u"127.0.0.1", session);
    const Handle request = client.Open(u"GET", u"/");
    return Send(request) ? 0 : Status(request);
}

const char kBasicOffer[] = "WWW-Authenticate: Basic realm=\"r\"\r\n";
const char kBothOffers[] =
    "WWW-Authenticate: Basic realm=\"r\"\r\nWWW-Authenticate: Digest realm=\"r\", nonce=\"n1\", "
    "qop=\"auth\"\r\n";

TEST(Challenge, ReachesTheCallerAndTakesTheOptionsAfterwards) {
    ProtectedServer site(kBasicOffer);
    Client client(site.server.port());
    const Handle request = client.Open(u"GET", u"/");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 401u);
    char16_t header[64] = u"WWW-Authenticate";
    DWORD size = sizeof header, index = 0;
    EXPECT_TRUE(HttpQueryInfoW(request, HTTP_QUERY_CUSTOM, header, &size, &index));
    SetLogin(request, u"alice", u"wrong");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 401u);
    SetLogin(request, u"alice", u"pw");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 200u);
    EXPECT_EQ(site.seen.size(), 3u);
    EXPECT_EQ(site.seen.front(), "");
    EXPECT_EQ(site.server.connections(), 1);
}

TEST(Challenge, IsAnsweredAtOnceWhenTheOptionsWereSetBefore) {
    ProtectedServer site(kBasicOffer);
    Client client(site.server.port());
    const Handle request = client.Open(u"POST", u"/");
    SetLogin(request, u"alice", u"pw");
    char body[] = "text";
    ASSERT_TRUE(HttpSendRequestW(request, nullptr, 0, body, 4));
    DWORD error = 0;
    EXPECT_EQ(ReadAll(request, error), "in:text");
    EXPECT_EQ(site.seen, (std::vector<std::string>{"", kBasic}));
}

TEST(Challenge, BasicIsNeverSentWhereDigestIsOffered) {
    ProtectedServer site(kBothOffers);
    Client client(site.server.port());
    for (const bool first : {true, false}) {
        const Handle request = client.Open(u"GET", u"/");
        if (first) SetLogin(request, u"alice", u"pw");
        ASSERT_EQ(Send(request), 0u);
        EXPECT_EQ(Status(request), 200u);
    }
    for (const std::string& authorization : site.seen) EXPECT_NE(authorization.substr(0, 5), "Basic");
}

TEST(Credentials, AreRememberedForTheHostUntilTheSessionEnds) {
    ProtectedServer site(kBasicOffer);
    RawServer other(
        [](Exchange& exchange) { exchange.answer("200 OK", "", exchange.header("Authorization")); });
    Client client(site.server.port());
    SignIn(site, client.session);
    const Handle later = client.Open(u"GET", u"/later");
    ASSERT_EQ(Send(later), 0u);
    EXPECT_EQ(Status(later), 200u);
    EXPECT_EQ(Upload(client.Open(u"PUT", u"/doc"), "bytes"), 0u);
    Client elsewhere(other.port(), u"127.0.0.1", client.session);
    const Handle foreign = elsewhere.Open(u"GET", u"/");
    DWORD error = 0;
    ASSERT_EQ(Send(foreign), 0u);
    EXPECT_EQ(ReadAll(foreign, error), "");
    const int connections = site.server.connections();
    EndBrowserSession();
    const Handle after = client.Open(u"GET", u"/after");
    ASSERT_EQ(Send(after), 0u);
    EXPECT_EQ(Status(after), 401u);
    EXPECT_EQ(site.server.connections(), connections + 1);
}

TEST(Credentials, BelongToTheSessionThatSentThem) {
    ProtectedServer site(kBasicOffer);
    const Handle alices(Client::OpenSession());
    const Handle another(Client::OpenSession());
    SignIn(site, alices);
    EXPECT_EQ(Ask(site, another), 401u);
    EXPECT_EQ(site.seen.back(), "");
    EXPECT_EQ(Ask(site, alices), 200u) << "a refusal elsewhere forgets nothing here";
}

TEST(Credentials, DoNotFollowARedirectToAnotherPort) {
    ProtectedServer other(kBasicOffer);
    const std::string place = "Location: http://127.0.0.1:" + std::to_string(other.server.port()) + "/\r\n";
    RawServer server([&](Exchange& exchange) {
        if (exchange.header("Authorization").empty()) return void(exchange.answer("401 No", kBasicOffer));
        exchange.answer("302 Found", place);
    });
    Client client(server.port());
    const Handle request = client.Open(u"GET", u"/");
    SetLogin(request, u"alice", u"pw");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 401u);
    EXPECT_EQ(other.seen, std::vector<std::string>{""});
}

TEST(Credentials, ThatFailAreNotRemembered) {
    ProtectedServer site(kBasicOffer);
    Client client(site.server.port());
    const Handle request = client.Open(u"GET", u"/");
    SetLogin(request, u"alice", u"wrong");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 401u);
    ASSERT_EQ(Send(client.Open(u"GET", u"/")), 0u);
    EXPECT_EQ(site.seen.back(), "");
}

TEST(Credentials, ARefusalForgetsThoseOfItsHostAlone) {
    ProtectedServer refusing(kBasicOffer), other(kBasicOffer);
    const Handle session(Client::OpenSession());
    SignIn(refusing, session);
    SignIn(other, session);
    refusing.locked = true;
    EXPECT_EQ(Ask(refusing, session), 401u);
    EXPECT_EQ(refusing.seen.back(), kBasic);
    refusing.locked = false;
    EXPECT_EQ(Ask(refusing, session), 401u) << "refused credentials are sent again";
    EXPECT_EQ(Ask(other, session), 200u) << "another host's credentials are gone";
    SignIn(refusing, session);
    EndBrowserSession();
    EXPECT_EQ(Ask(refusing, session), 401u);
    EXPECT_EQ(Ask(other, session), 401u);
}

TEST(Upload, AChallengedBodyIsAskedForOnceMore) {
    for (const char* offers : {kBasicOffer, kBothOffers}) {
        ProtectedServer site(offers);
        Client client(site.server.port());
        const Handle request = client.Open(u"PUT", u"/doc");
        SetLogin(request, u"alice", u"pw");
        EXPECT_EQ(Upload(request, "bytes"), kRetry);
        EXPECT_EQ(Upload(request, "bytes"), 0u);
        DWORD error = 0;
        EXPECT_EQ(Status(request), 200u);
        EXPECT_EQ(ReadAll(request, error), "in:bytes");
        EXPECT_EQ(site.seen.size(), 2u);
    }
}

TEST(Upload, ADigestRememberedFromElsewhereNeedsOneRetryAtMost) {
    ProtectedServer site(kBothOffers);
    Client client(site.server.port());
    SignIn(site, client.session);
    const Handle request = client.Open(u"PUT", u"/doc");
    const std::string body(500'000, 'x');
    DWORD error = Upload(request, body);
    if (error == kRetry) error = Upload(request, body);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(Status(request), 200u);
}

TEST(Upload, WithoutCredentialsTheChallengeIsTheAnswer) {
    ProtectedServer site(kBasicOffer);
    Client client(site.server.port());
    const Handle request = client.Open(u"PUT", u"/doc");
    EXPECT_EQ(Upload(request, "bytes"), 0u);
    EXPECT_EQ(Status(request), 401u);
}

// Makes a server the proxy of the process while it lives.
struct ProxySetting {
    explicit ProxySetting(const RawServer& proxy) {
        const std::string address = "http://127.0.0.1:" + std::to_string(proxy.port());
        setenv("http_proxy", address.c_str(), 1);
        setenv("https_proxy", address.c_str(), 1);
    }
    ~ProxySetting() {
        unsetenv("http_proxy");
        unsetenv("https_proxy");
        EndBrowserSession();
    }
};

TEST(Proxy, ItsChallengeReachesTheCallerAndTakesItsOwnOptions) {
    std::vector<std::string> seen;
    const char* refusal = "407 Proxy";
    RawServer proxy([&](Exchange& exchange) {
        seen.push_back(exchange.header("Proxy-Authorization"));
        if (exchange.method == "CONNECT" || seen.back() != kBasic) {
            exchange.answer(refusal, "Proxy-Authenticate: Basic realm=\"p\"\r\n");
        } else {
            exchange.answer("200 OK", "", exchange.target + exchange.header("Authorization"));
        }
    });
    const ProxySetting setting(proxy);
    Client client(80, u"site.invalid");
    const Handle request = client.Open(u"GET", u"/x");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 407u);
    SetLogin(request, u"alice", u"pw", true);
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 200u);
    DWORD error = 0;
    EXPECT_EQ(ReadAll(request, error), "http://site.invalid/x");
    // A tunnel that the proxy refuses is its answer too.
    const Handle tunnel = client.Open(u"GET", u"/x", INTERNET_FLAG_SECURE);
    EXPECT_EQ(Send(tunnel), 0u);
    EXPECT_EQ(Status(tunnel), 407u);
    refusal = "403 Forbidden";
    EXPECT_EQ(Send(client.Open(u"GET", u"/x", INTERNET_FLAG_SECURE)),
              static_cast<DWORD>(ERROR_INTERNET_CANNOT_CONNECT));
}

TEST(Proxy, ItsLoginIsRememberedForAllSitesOfTheSessionThoughTheyRefuse) {
    int refusals = 0;
    RawServer proxy([&](Exchange& exchange) {
        if (exchange.header("Proxy-Authorization") == kBasic)
            return void(exchange.answer("401 Unauthorized", kBasicOffer));
        ++refusals;
        exchange.answer("407 Proxy", "Proxy-Authenticate: Basic realm=\"p\"\r\n");
    });
    const ProxySetting setting(proxy);
    Client client(80, u"site.invalid");
    const Handle request = client.Open(u"GET", u"/x");
    SetLogin(request, u"alice", u"pw", true);
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 401u);
    EXPECT_EQ(refusals, 1);
    Client other(80, u"other.invalid", client.session);
    const Handle later = other.Open(u"GET", u"/x");
    ASSERT_EQ(Send(later), 0u);
    EXPECT_EQ(Status(later), 401u);
    EXPECT_EQ(refusals, 1);
    Client stranger(80, u"site.invalid");
    const Handle unknown = stranger.Open(u"GET", u"/x");
    ASSERT_EQ(Send(unknown), 0u);
    EXPECT_EQ(Status(unknown), 407u);
}

struct CredentialsRow {
    const char* name;
    bool proxy_is_open;  // to everybody
    bool for_proxy, for_site;
    DWORD status;
    std::set<std::string> proxy_was_shown, site_was_shown;
};

class ProxyCredentials : public testing::TestWithParam<CredentialsRow> {};

// Alice may use the proxy, bob the site behind it.
TEST_P(ProxyCredentials, GoToTheOneThatTheyAreFor) {
    std::mutex mutex;
    std::set<std::string> proxy_was_shown, site_was_shown;
    RawServer proxy([&](Exchange& exchange) {
        const std::lock_guard lock(mutex);
        const std::string for_proxy = exchange.header("Proxy-Authorization");
        const std::string for_site = exchange.header("Authorization");
        proxy_was_shown.insert(for_proxy);
        site_was_shown.insert(for_site);
        if (for_proxy != kBasic && !GetParam().proxy_is_open) {
            exchange.answer("407 Proxy", "Proxy-Authenticate: Basic realm=\"p\"\r\n");
        } else if (for_site != kBasicOfBob) {
            exchange.answer("401 Unauthorized", kBasicOffer);
        } else {
            exchange.answer("200 OK");
        }
    });
    const ProxySetting setting(proxy);
    Client client(80, u"site.invalid");
    const Handle request = client.Open(u"GET", u"/x");
    if (GetParam().for_proxy) SetLogin(request, u"alice", u"pw", true);
    if (GetParam().for_site) SetLogin(request, u"bob", u"site");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), GetParam().status);
    // The next request has no more than what is remembered.
    const Handle later = client.Open(u"GET", u"/later");
    ASSERT_EQ(Send(later), 0u);
    if (GetParam().status == 200) {
        EXPECT_EQ(Status(later), 200u);
    }
    const std::lock_guard lock(mutex);
    EXPECT_EQ(proxy_was_shown, GetParam().proxy_was_shown);
    EXPECT_EQ(site_was_shown, GetParam().site_was_shown);
}

INSTANTIATE_TEST_SUITE_P(Proxy, ProxyCredentials,
                         testing::Values(CredentialsRow{.name = "BothSignIn",
                                                        .proxy_is_open = false,
                                                        .for_proxy = true,
                                                        .for_site = true,
                                                        .status = 200,
                                                        .proxy_was_shown = {"", kBasic},
                                                        .site_was_shown = {"", kBasicOfBob}},
                                         CredentialsRow{.name = "AnOpenProxyIsShownNone",
                                                        .proxy_is_open = true,
                                                        .for_proxy = false,
                                                        .for_site = true,
                                                        .status = 200,
                                                        .proxy_was_shown = {""},
                                                        .site_was_shown = {"", kBasicOfBob}},
                                         CredentialsRow{.name = "TheSitesAreNoAnswerToTheProxy",
                                                        .proxy_is_open = false,
                                                        .for_proxy = false,
                                                        .for_site = true,
                                                        .status = 407,
                                                        .proxy_was_shown = {""},
                                                        .site_was_shown = {""}},
                                         CredentialsRow{.name = "TheProxysAreNoAnswerToTheSite",
                                                        .proxy_is_open = false,
                                                        .for_proxy = true,
                                                        .for_site = false,
                                                        .status = 401,
                                                        .proxy_was_shown = {"", kBasic},
                                                        .site_was_shown = {""}}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace testing_support
