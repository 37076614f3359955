// Challenges of servers and proxies, and what the process remembers of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>

#include "testing/client.h"
#include "tests/support/raw_server.h"

namespace testing_support {
namespace {

constexpr DWORD kRetry = ERROR_INTERNET_FORCE_RETRY;
constexpr char kBasic[] = "Basic YWxpY2U6cHc=";  // alice:pw

// Lets alice in by Basic, or by whoever can answer a Digest challenge in her name.
struct Gate {
    explicit Gate(std::string offers)
        : server([this, offers](Exchange& exchange) {
              const std::lock_guard lock(mutex);
              const std::string authorization = exchange.header("Authorization");
              seen.push_back(authorization);
              const bool digest = authorization.find("Digest username=\"alice\"") == 0 &&
                                  authorization.find("nonce=\"n1\"") != std::string::npos;
              if (authorization == kBasic || digest)
                  exchange.answer("200 OK", "", "in:" + exchange.body);
              else
                  exchange.answer("401 Unauthorized", offers, "who?");
          }) {}
    ~Gate() { end_browser_session(); }

    std::vector<std::string> seen;
    std::mutex mutex;
    RawServer server;
};

const char kBasicOffer[] = "WWW-Authenticate: Basic realm=\"r\"\r\n";
const char kBothOffers[] =
    "WWW-Authenticate: Basic realm=\"r\"\r\nWWW-Authenticate: Digest realm=\"r\", nonce=\"n1\", "
    "qop=\"auth\"\r\n";

TEST(Challenge, ReachesTheCallerAndTakesTheOptionsAfterwards) {
    Gate gate(kBasicOffer);
    Client client(gate.server.port());
    const Handle request = client.open(u"GET", u"/");
    ASSERT_EQ(send(request), 0u);
    EXPECT_EQ(status(request), 401u);
    char16_t header[64] = u"WWW-Authenticate";
    DWORD size = sizeof header, index = 0;
    EXPECT_TRUE(HttpQueryInfoW(request, HTTP_QUERY_CUSTOM, header, &size, &index));
    set_login(request, u"alice", u"wrong");
    ASSERT_EQ(send(request), 0u);
    EXPECT_EQ(status(request), 401u);
    set_login(request, u"alice", u"pw");
    ASSERT_EQ(send(request), 0u);
    EXPECT_EQ(status(request), 200u);
    EXPECT_EQ(gate.seen.size(), 3u);
    EXPECT_EQ(gate.seen.front(), "");
    EXPECT_EQ(gate.server.connections(), 1);
}

TEST(Challenge, IsMetAtOnceWhenTheOptionsCameFirst) {
    Gate gate(kBasicOffer);
    Client client(gate.server.port());
    const Handle request = client.open(u"POST", u"/");
    set_login(request, u"alice", u"pw");
    char body[] = "text";
    ASSERT_TRUE(HttpSendRequestW(request, nullptr, 0, body, 4));
    DWORD error = 0;
    EXPECT_EQ(read_all(request, error), "in:text");
    EXPECT_EQ(gate.seen, (std::vector<std::string>{"", kBasic}));
}

TEST(Challenge, BasicIsNeverSentWhereDigestIsOffered) {
    Gate gate(kBothOffers);
    Client client(gate.server.port());
    for (const bool first : {true, false}) {
        const Handle request = client.open(u"GET", u"/");
        if (first) set_login(request, u"alice", u"pw");
        ASSERT_EQ(send(request), 0u);
        EXPECT_EQ(status(request), 200u);
    }
    for (const std::string& authorization : gate.seen) EXPECT_NE(authorization.substr(0, 5), "Basic");
}

TEST(Credentials, AreRememberedForTheHostUntilTheSessionEnds) {
    Gate gate(kBasicOffer);
    RawServer other(
        [](Exchange& exchange) { exchange.answer("200 OK", "", exchange.header("Authorization")); });
    {
        Client client(gate.server.port());
        const Handle request = client.open(u"GET", u"/");
        set_login(request, u"alice", u"pw");
        ASSERT_EQ(send(request), 0u);
    }
    Client client(gate.server.port());
    const Handle later = client.open(u"GET", u"/later");
    ASSERT_EQ(send(later), 0u);
    EXPECT_EQ(status(later), 200u);
    EXPECT_EQ(upload(client.open(u"PUT", u"/doc"), "bytes"), 0u);
    Client elsewhere(other.port());
    const Handle foreign = elsewhere.open(u"GET", u"/");
    DWORD error = 0;
    ASSERT_EQ(send(foreign), 0u);
    EXPECT_EQ(read_all(foreign, error), "");
    const int connections = gate.server.connections();
    end_browser_session();
    const Handle after = client.open(u"GET", u"/after");
    ASSERT_EQ(send(after), 0u);
    EXPECT_EQ(status(after), 401u);
    EXPECT_EQ(gate.server.connections(), connections + 1);
}

TEST(Credentials, ThatFailAreNotRemembered) {
    Gate gate(kBasicOffer);
    Client client(gate.server.port());
    const Handle request = client.open(u"GET", u"/");
    set_login(request, u"alice", u"wrong");
    ASSERT_EQ(send(request), 0u);
    EXPECT_EQ(status(request), 401u);
    ASSERT_EQ(send(client.open(u"GET", u"/")), 0u);
    EXPECT_EQ(gate.seen.back(), "");
}

TEST(Upload, AChallengedBodyIsAskedForOnceMore) {
    for (const char* offers : {kBasicOffer, kBothOffers}) {
        Gate gate(offers);
        Client client(gate.server.port());
        const Handle request = client.open(u"PUT", u"/doc");
        set_login(request, u"alice", u"pw");
        EXPECT_EQ(upload(request, "bytes"), kRetry);
        EXPECT_EQ(upload(request, "bytes"), 0u);
        DWORD error = 0;
        EXPECT_EQ(status(request), 200u);
        EXPECT_EQ(read_all(request, error), "in:bytes");
        EXPECT_EQ(gate.seen.size(), 2u);
    }
}

TEST(Upload, ADigestRememberedFromElsewhereNeedsOneRetryAtMost) {
    Gate gate(kBothOffers);
    {
        Client client(gate.server.port());
        const Handle request = client.open(u"GET", u"/");
        set_login(request, u"alice", u"pw");
        ASSERT_EQ(send(request), 0u);
    }
    Client client(gate.server.port());
    const Handle request = client.open(u"PUT", u"/doc");
    const std::string body(500'000, 'x');
    DWORD error = upload(request, body);
    if (error == kRetry) error = upload(request, body);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(status(request), 200u);
}

TEST(Upload, WithoutCredentialsTheChallengeIsTheAnswer) {
    Gate gate(kBasicOffer);
    Client client(gate.server.port());
    const Handle request = client.open(u"PUT", u"/doc");
    EXPECT_EQ(upload(request, "bytes"), 0u);
    EXPECT_EQ(status(request), 401u);
}

TEST(Proxy, ItsChallengeReachesTheCallerAndTakesItsOwnOptions) {
    std::vector<std::string> seen;
    const char* refusal = "407 Proxy";
    RawServer proxy([&](Exchange& exchange) {
        seen.push_back(exchange.header("Proxy-Authorization"));
        if (exchange.method == "CONNECT" || seen.back() != kBasic)
            exchange.answer(refusal, "Proxy-Authenticate: Basic realm=\"p\"\r\n");
        else
            exchange.answer("200 OK", "", exchange.target + exchange.header("Authorization"));
    });
    const std::string address = "http://127.0.0.1:" + std::to_string(proxy.port());
    setenv("http_proxy", address.c_str(), 1);
    setenv("https_proxy", address.c_str(), 1);
    Client client(80, u"site.invalid");
    const Handle request = client.open(u"GET", u"/x");
    ASSERT_EQ(send(request), 0u);
    EXPECT_EQ(status(request), 407u);
    set_login(request, u"alice", u"pw", true);
    ASSERT_EQ(send(request), 0u);
    EXPECT_EQ(status(request), 200u);
    DWORD error = 0;
    EXPECT_EQ(read_all(request, error), "http://site.invalid/x");
    // A tunnel that the proxy refuses is its answer too.
    const Handle tunnel = client.open(u"GET", u"/x", INTERNET_FLAG_SECURE);
    EXPECT_EQ(send(tunnel), 0u);
    EXPECT_EQ(status(tunnel), 407u);
    refusal = "403 Forbidden";
    EXPECT_EQ(send(client.open(u"GET", u"/x", INTERNET_FLAG_SECURE)),
              static_cast<DWORD>(ERROR_INTERNET_CANNOT_CONNECT));
    unsetenv("http_proxy");
    unsetenv("https_proxy");
    end_browser_session();
}

}  // namespace
}  // namespace testing_support
