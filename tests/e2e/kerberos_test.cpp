// Signing in by Kerberos with a real KDC: the ticket of the log-in is enough, goes to the realm's servers
// alone, and what goes wrong with it is told.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/e2e/network.h"
#include "tests/e2e/realm.h"
#include "tests/support/sphost.h"

namespace {

using namespace testing_support;

const std::vector<std::string> kBoth{"--auth", "ntlm,negotiate"};

// An older site whose server has a key of the realm, and a person.
class Kerberos : public ::testing::Test {
protected:
    void Begin(const std::vector<std::string>& more, const std::string& service = "HTTP/localhost") {
        m_realm.emplace(service);
        for (const auto& [name, value] : m_realm->Environment()) m_host.environment[name] = value;
        std::vector<std::string> options{"--keytab", m_realm->KeyTable()};
        options.insert(options.end(), more.begin(), more.end());
        if (std::find(more.begin(), more.end(), "--generation") == more.end())
            options.insert(options.end(), {"--generation", "2013"});
        m_server.emplace(options);
        m_server->WriteAs("bob", "a.txt", "one");
        m_server->ClearRequests();
    }

    ProcessResult Add(const std::string& site, const std::vector<std::string>& more = {},
                      const std::string& input = {}) const {
        std::vector<std::string> words{"place", "add", site, "--api", "compatible"};
        words.insert(words.end(), more.begin(), more.end());
        return m_host.Run(words, input);
    }
    std::string Site() const { return Realm::Named(m_server->Site()); }
    std::string Url(const std::string& name) const { return Realm::Named(m_server->Url(name)); }
    // Each request that was let in was the user's.
    void ExpectAllBy(const std::string& user) const {
        for (const LoggedRequest& request : m_server->Log()) {
            if (request.status != 401 && request.path.find("/_dev/") == std::string::npos) {
                EXPECT_EQ(request.user, user) << request.method << " " << request.path;
            }
        }
    }
    long Sent(const std::string& header) const {
        const auto log = m_server->Log();
        return std::count_if(log.begin(), log.end(),
                             [&](const auto& request) { return request.Has(header); });
    }

    std::optional<Realm> m_realm;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

TEST_F(Kerberos, TheTicketOfTheLogInIsEnough) {
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--auth", "ntlm,negotiate"},
          std::vector<std::string>{"--auth", "negotiate,ntlm", "--generation", "2010"}}) {
        Begin(options);
        m_realm->LogIn("alice");
        const ProcessResult added = Add(Site());
        ASSERT_EQ(added.status, 0) << added.err;
        const std::string big(100'000'000, 'b');
        WriteText(m_host.Folder() / "big", big);
        const std::vector<std::vector<std::string>> commands{
            {"ls", Url("")},
            {"put", (m_host.Folder() / "big").string(), Url("big.bin")},
            {"edit", Url("a.txt"), "--yes", "--", "sh", "-c", "printf two > \"$0\""},
            {"checkout", Url("a.txt")},
            {"checkin", Url("a.txt"), "--comment", "by ticket"}};
        for (const auto& command : commands) {
            const ProcessResult result = m_host.Run(command);
            EXPECT_EQ(result.status, 0) << command[0] << ": " << result.err;
            EXPECT_EQ(result.err.find("assword"), std::string::npos) << result.err;
        }
        ExpectAllBy("alice");
        EXPECT_TRUE(m_server->Document("big.bin") == big);
        EXPECT_EQ(m_server->Document("a.txt"), "two");
        m_host.Run({"place", "remove", Site()});
        m_server.reset();
        m_realm.reset();
    }
}

TEST_F(Kerberos, ServersOutsideTheRealmGetNothingOfTheTicket) {
    Begin(kBoth);
    m_realm->LogIn("alice");
    EXPECT_EQ(Add(m_server->Site()).status, 3)
        << "its address is in no realm, and nobody is there to be asked";
    EXPECT_GT(m_server->Log().size(), 0u);
    EXPECT_EQ(Sent("Authorization"), 0);
    EXPECT_EQ(m_realm->Tickets().find("HTTP/"), std::string::npos);
}

TEST_F(Kerberos, AServerThatARedirectLeadsToGetsNothingOfTheTicket) {
    Begin(kBoth);
    m_realm->LogIn("alice");
    DevServer first({"--generation", "2013", "--auth", "basic"});
    first.SetFaults(R"([{"match":{"times":0},"fault":{"kind":"redirect","status":302,"location":")" + Site() +
                    R"("}}])");
    EXPECT_NE(Add(Realm::Named(first.Site())).status, 0);
    first.ClearFaults();
    EXPECT_GT(first.Log().size(), 0u);
    EXPECT_EQ(Sent("Authorization"), 0);
    EXPECT_EQ(m_realm->Tickets().find("HTTP/"), std::string::npos);
}

TEST_F(Kerberos, ATicketOpensTheProxyToo) {
    if (!Proxy::IsInstalled()) GTEST_SKIP() << "squid is not installed";
    const PrivateAuthority authority;
    for (const bool tls : {false, true}) {
        SCOPED_TRACE(tls);
        Begin(tls ? authority.ServerOptions() : std::vector<std::string>{"--auth", "basic"});
        m_realm->LetOthersRead();
        const Proxy proxy(m_realm->KeyTable());
        m_host.environment["SSL_CERT_FILE"] = authority.File();
        const std::string address = Realm::Named(proxy.Url(""));
        m_host.environment["http_proxy"] = m_host.environment["https_proxy"] = address;
        m_host.environment["no_proxy"] = "";
        EXPECT_NE(Add(m_server->Site(), {"--user", "alice", "--password-stdin"}, "alice\n").status, 0)
            << "nobody is logged in";
        m_realm->LogIn("alice");
        const ProcessResult added = Add(m_server->Site(), {"--user", "alice", "--password-stdin"}, "alice\n");
        EXPECT_EQ(added.status, 0) << added.err;
        const ProcessResult listed = m_host.Run({"ls", m_server->Site()});
        EXPECT_EQ(listed.status, 0) << listed.err;
        EXPECT_NE(proxy.AccessLog().find("alice@SAMPLE.TEST"), std::string::npos) << proxy.AccessLog();
        m_host.Run({"place", "remove", m_server->Site()});
        m_server.reset();
        m_realm.reset();
    }
}

TEST_F(Kerberos, AnUploadIsSentOnceAndNeverWithTheFirstToken) {
    Begin(kBoth);
    m_realm->LogIn("alice");
    ASSERT_EQ(Add(Site()).status, 0);
    const std::string big(3'000'000, 'b');
    WriteText(m_host.Folder() / "big", big);
    m_server->ClearRequests();
    ASSERT_EQ(m_host.Run({"put", (m_host.Folder() / "big").string(), Url("big.bin")}).status, 0);
    long sent = 0, refused = 0, sent_in_vain = 0;
    for (const LoggedRequest& request : m_server->Log()) {
        if (request.method == "PUT") sent += request.bytes_in;
        if (request.status != 401) continue;
        ++refused;
        sent_in_vain += request.bytes_in;
    }
    EXPECT_EQ(sent, static_cast<long>(big.size()));
    EXPECT_LT(sent_in_vain, 10'000);
    EXPECT_LE(refused, 2) << "once a connection";
    EXPECT_EQ(m_server->Document("big.bin"), big);
}

// The same ticket through another program, whose token is then used a second time.
TEST_F(Kerberos, ATokenIsGoodOnceWhoeverSendsIt) {
    Begin(kBoth);
    m_realm->LogIn("alice");
    const std::string path = DevServer::PathOf("a.txt");
    const ProcessResult got =
        RunToEnd({.arguments = {"curl", "-sv", "--negotiate", "-u", ":", Url("a.txt")}});
    EXPECT_EQ(got.out, "one") << got.err;
    ExpectAllBy("alice");
    const std::string mark = "Authorization: Negotiate ";
    const auto at = got.err.find(mark);
    ASSERT_NE(at, std::string::npos) << got.err;
    const std::string line = got.err.substr(at, got.err.find_first_of("\r\n", at) - at);
    const std::string again =
        m_server->Raw("GET " + path + " HTTP/1.1\r\nHost: localhost:" + std::to_string(m_server->Port()) +
                      "\r\n" + line + "\r\n\r\n");
    EXPECT_TRUE(again.starts_with("HTTP/1.1 401")) << again;
}

TEST_F(Kerberos, APasswordGetsATicketOfItsOwn) {
    Begin(kBoth);
    const ProcessResult added = Add(Site(), {"--user", "alice", "--password-stdin"}, "alice\n");
    ASSERT_EQ(added.status, 0) << added.err;
    const ProcessResult listed = m_host.Run({"ls", Url("")});
    EXPECT_EQ(listed.status, 0) << listed.err;
    ExpectAllBy("alice");
    EXPECT_NE(m_realm->KdcLog().find("alice@SAMPLE.TEST for HTTP/localhost@SAMPLE.TEST"), std::string::npos);
}

TEST_F(Kerberos, AFailureIsToldAndThePasswordStillWorks) {
    struct Row {
        const char* said;
        void (*spoil)(Realm&);
        const char* service = "HTTP/localhost";
    };
    const Row rows[] = {
        {"Cannot contact any KDC for realm 'SAMPLE.TEST'", [](Realm& realm) { realm.StopKdc(); }},
        {"HTTP/localhost@SAMPLE.TEST not found in Kerberos database", [](Realm&) {}, "HTTP/elsewhere"},
        {"Ticket expired", [](Realm& realm) {
             realm.LogIn("alice", "1s");
             while (RunToEnd({.arguments = {"klist", "-s"}}).status == 0) usleep(100'000);
             sleep(2);  // more than the clocks may differ
         }}};
    for (const Row& row : rows) {
        Begin(kBoth, row.service);
        m_realm->LogIn("alice");
        row.spoil(*m_realm);
        const ProcessResult refused = Add(Site());
        EXPECT_EQ(refused.status, 3) << refused.err;
        EXPECT_NE(refused.err.find(row.said), std::string::npos) << row.said << " in " << refused.err;
        const ProcessResult added = Add(Site(), {"--user", "alice", "--password-stdin"}, "alice\n");
        EXPECT_EQ(added.status, 0) << added.err;
        ExpectAllBy("alice");
        m_host.Run({"place", "remove", Site()});
        m_server.reset();
        m_realm.reset();
    }
}

TEST_F(Kerberos, AClockThatIsAnHourOffIsTold) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer has to be loaded before the false clock";
#endif
    Begin(kBoth);
    m_realm->LogIn("alice", "10h");
    m_host.prefix = {"faketime", "-f", "+1h"};
    const ProcessResult refused = Add(Site());
    m_host.prefix.clear();
    EXPECT_EQ(refused.status, 3) << refused.err;
    EXPECT_NE(refused.err.find("Clock skew too great"), std::string::npos) << refused.err;
    EXPECT_EQ(Add(Site(), {"--user", "alice", "--password-stdin"}, "alice\n").status, 0);
}

TEST_F(Kerberos, ANameThatTheRealmDoesNotKnowIsTold) {
    Begin({"--auth", "negotiate"});
    const ProcessResult refused = Add(Site(), {"--user", "nobody", "--password-stdin"}, "nobody\n");
    EXPECT_NE(refused.status, 0);
    EXPECT_NE(refused.err.find("'nobody@SAMPLE.TEST' not found in Kerberos database"), std::string::npos)
        << refused.err;
}

// The service's key was changed after the ticket was given out.
TEST_F(Kerberos, ARefusedTicketIsTold) {
    Begin(kBoth);
    m_realm->LogIn("alice");
    m_realm->GiveTheServiceAnotherKey();
    const ProcessResult refused = Add(Site());
    EXPECT_EQ(refused.status, 3);
    EXPECT_NE(refused.err.find("localhost refused your Kerberos ticket"), std::string::npos) << refused.err;
}

}  // namespace
