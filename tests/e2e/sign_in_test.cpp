// Every way of signing in, to a real server, with and without TLS under a private authority and through a
// proxy that asks for a password of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/e2e/network.h"
#include "tests/support/sphost.h"

namespace {

using namespace testing_support;

constexpr char kPassword[] = "Xyzzy-Plugh.7";
const std::vector<std::string> kUsers{"--user", std::string("alice:") + kPassword, "--user", "bob:bob"};

enum class Answer { right, wrong, none };

// The value of a cookie in an answer's headers; empty when there is none.
std::string CookieOf(const HttpAnswer& answer, const std::string& name) {
    const auto [first, last] = answer.headers.equal_range("set-cookie");
    for (auto header = first; header != last; ++header) {
        const std::string& cookie = header->second;
        if (cookie.starts_with(name + "=")) {
            const std::size_t begin = name.size() + 1;
            return cookie.substr(begin, cookie.find(';') - begin);
        }
    }
    return {};
}

HttpAnswer FillForm(const DevServer& server) {
    return Http({.method = "POST",
                 .url = server.Origin() + "/_forms/default.aspx",
                 .body = std::string("username=alice&password=") + kPassword});
}

// What a browser's script says of a cookie.
std::string CookieText(const char* name, const std::string& value) {
    return std::string(R"({"domain":"127.0.0.1","name":")") + name + R"(","value":")" + value + "\"}";
}

// One way of signing in: the server's side of it, and the person's.
struct Way {
    const char* name;
    bool modern = false;
    std::vector<std::string> server;

    bool IsForms() const { return name == std::string("forms"); }
    bool IsPassword() const { return !modern && !IsForms(); }
};

const std::vector<Way> kWays{
    {"basic", false, {"--generation", "2013", "--auth", "basic"}},
    {"digest", false, {"--generation", "2013", "--auth", "digest"}},
    {"ntlm", false, {"--generation", "2013", "--auth", "ntlm"}},
    {"negotiate", false, {"--generation", "2013", "--auth", "negotiate"}},
    {"forms", false, {"--generation", "2013", "--auth", "forms"}},
    {"code", true, {"--approve", "alice"}},
    {"device", true, {"--approve", "alice"}},
    {"token", true, {}},
};

// A server, a host and what stands between them, for one way of signing in.
struct Setting {
    Setting(const Way& its_way, bool tls, bool proxied) : way(its_way) {
        std::vector<std::string> options = way.server;
        options.insert(options.end(), kUsers.begin(), kUsers.end());
        if (tls) {
            authority.emplace();
            const auto more = authority->ServerOptions();
            options.insert(options.end(), more.begin(), more.end());
            host.environment["SSL_CERT_FILE"] = authority->File();
        }
        if (proxied) options.insert(options.end(), {"--host-name", Proxy::kNameOfThisMachine});
        server.emplace(options);
        server->WriteAs("bob", "a.txt", "one");
        if (proxied) {
            proxy.emplace();
            SetProxy(proxy->Url());
        }
        host.environment["SPHOST_BROWSER"] = "/missing/sphost-browser";
        // A browser that goes where it is sent.
        WriteText(host.Folder() / "browser", "#!/bin/sh\nexec curl -s -k -L --noproxy '*' \"$1\"\n");
        std::filesystem::permissions(host.Folder() / "browser", std::filesystem::perms::owner_all);
        host.environment["BROWSER"] = (host.Folder() / "browser").string();
    }

    void SetProxy(const std::string& url) {
        for (const char* name : {"http_proxy", "https_proxy"}) host.environment[name] = url;
    }
    void PlayBrowser(const std::string& pages) {
        WriteText(host.Folder() / "script",
                  "{\"pages\":[" + pages + "],\"log\":\"" + (host.Folder() / "browsed").string() + "\"}");
    }
    // The cookies that the server's page sets, on the page that it leads to.
    void PlayGoodBrowser() {
        const HttpAnswer page = FillForm(*server);
        fed_auth = CookieOf(page, "FedAuth");
        PlayBrowser(R"({},{"url":")" + server->Origin() + R"(/_layouts/15/error.aspx","cookies":[)" +
                    CookieText("rtFa", CookieOf(page, "rtFa")) + "," + CookieText("FedAuth", fed_auth) +
                    "]}");
    }
    // With what a person does when the sign-in is asked for.
    ProcessResult Run(std::vector<std::string> arguments, Answer answer) {
        if (way.IsForms()) {
            if (answer == Answer::right) {
                PlayGoodBrowser();
            } else {
                PlayBrowser("{}");
            }
            arguments.insert(arguments.end(), {"--web-view-script", (host.Folder() / "script").string()});
        }
        if (way.IsPassword() && answer != Answer::none) {
            arguments.insert(arguments.end(), {"--user", "alice", "--password-stdin"});
            return host.Run(arguments, answer == Answer::right ? kPassword + std::string("\n") : "wrong\n");
        }
        return host.Run(arguments);
    }
    ProcessResult Add(Answer answer) {
        std::vector<std::string> add{"place",
                                     "add",
                                     server->Site(),
                                     "--log-level",
                                     "4",
                                     "--api",
                                     way.modern ? "modern" : "compatible"};
        if (way.modern && way.name != std::string("token")) {
            add.insert(add.end(),
                       {"--authority", server->Origin() + "/organizations/", "--sign-in", way.name});
        }
        if (way.name == std::string("token")) {
            add.insert(add.end(), {"--token-stdin"});
            return host.Run(add, server->Token("alice") + "\n");
        }
        return Run(add, answer);
    }
    std::string Windows() const { return ReadText(host.Folder() / "browsed"); }
    // The profile as it lies on the disk.
    std::string ProfileText() const {
        std::string text;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(host.Profile()))
            if (entry.is_regular_file()) text += ReadText(entry.path());
        return text;
    }

    const Way way;
    std::optional<PrivateAuthority> authority;
    std::optional<DevServer> server;
    std::optional<Proxy> proxy;
    std::string fed_auth;
    Sphost host;
};

class EveryWay : public ::testing::TestWithParam<std::tuple<int, bool, bool>> {
protected:
    // The password is neither in the log nor readable in the profile.
    static void ExpectNoSecret(const Setting& run) {
        const std::string log = run.host.TraceLog();
        EXPECT_GT(log.size(), 1000u);
        std::vector<std::string> secrets{kPassword,      "WHl6enktUGx1Z2",
                                         "TlRMTVNTUAAD", "eyJ0eXAiOiJKV1QiLCJhbGciOiJub25lIn0",
                                         "p w@",         "p%20w"};
        if (run.way.IsForms()) secrets.push_back(run.fed_auth);
        for (const std::string& secret : secrets) {
            EXPECT_EQ(log.find(secret), std::string::npos) << secret;
            EXPECT_EQ(run.ProfileText().find(secret), std::string::npos) << secret;
        }
    }
    const Way& TheWay() const { return kWays[static_cast<std::size_t>(std::get<0>(GetParam()))]; }
};

TEST_P(EveryWay, SignsInAndWorks) {
    const auto [index, tls, proxied] = GetParam();
    if (proxied && !Proxy::IsInstalled()) GTEST_SKIP() << "squid is not installed";
    Setting run(TheWay(), tls, proxied);
    if (!run.way.modern) {
        for (const Answer answer : {Answer::wrong, Answer::none}) {
            const ProcessResult refused = run.Add(answer);
            EXPECT_EQ(refused.status, 3) << refused.err;
            EXPECT_NE(refused.err.find("0x821704C7"), std::string::npos) << refused.err;
            EXPECT_EQ(run.host.Run({"place", "list"}).out, "");
        }
    }
    const ProcessResult added = run.Add(Answer::right);
    ASSERT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(run.host.Run({"ls", run.server->Url(""), "--log-level", "4"}).status, 0)
        << "without being asked again";
    WriteText(run.host.Folder() / "up", std::string(300'000, 'u'));
    const ProcessResult put =
        run.host.Run({"put", (run.host.Folder() / "up").string(), run.server->Url("b.txt")});
    EXPECT_EQ(put.status, 0) << put.err;
    EXPECT_EQ(run.server->Document("b.txt").size(), 300'000u);
    const ProcessResult edited =
        run.host.Run({"edit", run.server->Url("a.txt"), "--", "sh", "-c", "echo two > \"$0\"", "{}"});
    EXPECT_EQ(edited.status, 0) << edited.err;
    EXPECT_EQ(run.server->Document("a.txt"), "two\n");
    ExpectNoSecret(run);
    if (!proxied) return;
    const std::string log = run.proxy->AccessLog();
    const std::string seen = tls ? "CONNECT 127.0.0.1" : "http://127.0.0.1";
    EXPECT_NE(log.find(seen), std::string::npos) << log;
    EXPECT_NE(log.find(" prox "), std::string::npos) << log;
}

std::string NameOf(const ::testing::TestParamInfo<std::tuple<int, bool, bool>>& test) {
    const auto [index, tls, proxied] = test.param;
    return std::string(kWays[static_cast<std::size_t>(index)].name) + (tls ? "Tls" : "") +
           (proxied ? "Proxy" : "");
}

INSTANTIATE_TEST_SUITE_P(Sites, EveryWay,
                         ::testing::Combine(::testing::Range(0, static_cast<int>(kWays.size())),
                                            ::testing::Bool(), ::testing::Bool()),
                         NameOf);

TEST(ProxyPassword, WithoutItNothingReachesTheSiteAndTheErrorSaysSo) {
    if (!Proxy::IsInstalled()) GTEST_SKIP() << "squid is not installed";
    for (const Way& way : {kWays[0], kWays[4], kWays[6]}) {
        for (const bool tls : {false, true}) {
            Setting run(way, tls, true);
            for (const char* login : {"", "prox:wrong@"}) {
                SCOPED_TRACE(way.name + std::string(login) + (tls ? " tls" : ""));
                run.SetProxy(run.proxy->Url(login));
                run.server->ClearRequests();
                std::vector<std::string> add{
                    "place",  "add",   run.server->Site(), "--api", way.modern ? "modern" : "compatible",
                    "--user", "alice", "--password-stdin"};
                const ProcessResult refused = run.host.Run(add, "alice\n");
                EXPECT_NE(refused.status, 0);
                EXPECT_NE(refused.err.find("proxy"), std::string::npos) << refused.err;
                EXPECT_TRUE(run.server->Requests().empty());
                EXPECT_EQ(run.host.Run({"place", "list"}).out, "");
            }
        }
    }
}

TEST(Tls, AServerOfAnUnknownAuthorityGetsNoPassword) {
    Setting run(kWays[0], true, false);
    run.host.environment["SSL_CERT_FILE"] = "/dev/null";
    run.server->ClearRequests();
    const ProcessResult refused = run.Add(Answer::right);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("certificate"), std::string::npos) << refused.err;
    EXPECT_TRUE(run.server->Requests().empty());
}

// A person on the authority's page: a wrong password brings the page again, and whoever declines is
// cancelled.
TEST(CodeFlow, FollowsThePersonOnThePage) {
    Setting run({"code", true, {}}, false, false);
    const auto answer_with = [&](const std::string& tries) {
        WriteText(run.host.Folder() / "browser", "#!/bin/sh\n" + tries);
        std::filesystem::permissions(run.host.Folder() / "browser", std::filesystem::perms::owner_all);
    };
    const std::string post = "curl -s -o /dev/null -L --noproxy '*' \"$1\" -d ";
    answer_with(post + "decision=decline\n");
    const ProcessResult declined = run.Add(Answer::right);
    EXPECT_EQ(declined.status, 3) << declined.err;
    EXPECT_NE(declined.err.find("0x821704C7"), std::string::npos) << declined.err;
    EXPECT_EQ(run.host.Run({"place", "list"}).out, "");
    const std::string name = "'decision=approve&username=alice&password=";
    answer_with(post + name + "wrong'\n" + post + name + kPassword + "'\n");
    const ProcessResult added = run.Add(Answer::right);
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(run.host.Run({"ls", run.server->Url("")}).status, 0);
}

// Cookies or the token expire while a person is at work.
class InTheMiddle : public ::testing::Test {
protected:
    void Expire(const Setting& run, const char* what) { run.server->Admin(std::string("expire-") + what); }
    static std::ptrdiff_t CountWindows(const Setting& run) {
        const std::string log = run.Windows();
        std::ptrdiff_t count = 0;
        for (auto at = log.find("{\"window\""); at != std::string::npos; at = log.find("{\"window\"", at + 1))
            ++count;
        return count;
    }
};

TEST_F(InTheMiddle, ExpiredCookiesCostOneWindowAndNoWork) {
    Setting run(kWays[4], false, false);
    ASSERT_EQ(run.Add(Answer::right).status, 0);
    Expire(run, "cookies");
    std::filesystem::remove(run.host.Folder() / "browsed");
    const ProcessResult listed = run.Run({"ls", run.server->Url("")}, Answer::right);
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_EQ(CountWindows(run), 1);
    // While the document is edited, and the window is closed first: what was saved waits, and is sent whole.
    const std::string expire =
        "curl -s -X POST " + run.server->Origin() + "/_dev/expire-cookies >/dev/null; ";
    const std::string script = "--web-view-script";
    run.PlayBrowser("{}");
    const ProcessResult edited =
        run.host.Run({script, (run.host.Folder() / "script").string(), "edit", run.server->Url("a.txt"), "--",
                      "sh", "-c", expire + "echo typed > \"$0\"", "{}"});
    EXPECT_NE(edited.status, 0);
    EXPECT_EQ(run.server->Document("a.txt"), "one");
    const ProcessResult sent = run.Run({"recover", "--send"}, Answer::right);
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_EQ(run.server->Document("a.txt"), "typed\n");
    // The upload itself is answered by the sign-in page.
    Expire(run, "cookies");
    const std::string bytes(2'000'000, 'v');
    WriteText(run.host.Folder() / "up", bytes);
    run.server->ClearRequests();
    const ProcessResult put =
        run.Run({"put", (run.host.Folder() / "up").string(), run.server->Url("b.txt")}, Answer::right);
    EXPECT_EQ(put.status, 0) << put.err;
    EXPECT_TRUE(run.server->Document("b.txt") == bytes);
    const auto requests = run.server->Requests();
    EXPECT_LE(std::count_if(requests.begin(), requests.end(),
                            [](const std::string& line) { return line.starts_with("PUT "); }),
              4);
}

TEST_F(InTheMiddle, AnExpiredTokenIsRenewedInSilence) {
    Setting run(kWays[5], false, false);
    ASSERT_EQ(run.Add(Answer::right).status, 0);
    run.host.environment["BROWSER"] = "/bin/false";
    const std::string expire = "curl -s -X POST " + run.server->Origin() + "/_dev/expire-tokens >/dev/null; ";
    const ProcessResult edited = run.host.Run(
        {"edit", run.server->Url("a.txt"), "--", "sh", "-c", expire + "echo typed > \"$0\"", "{}"});
    EXPECT_EQ(edited.status, 0) << edited.err;
    EXPECT_EQ(edited.err.find("To sign in"), std::string::npos) << edited.err;
    EXPECT_EQ(run.server->Document("a.txt"), "typed\n");
}

TEST_F(InTheMiddle, AConnectionThatWasSignedInIsSignedInAnew) {
    for (const int index : {2, 3}) {
        Setting run(kWays[static_cast<std::size_t>(index)], false, false);
        ASSERT_EQ(run.Add(Answer::right).status, 0);
        const std::string bytes(2'000'000, 'v');
        WriteText(run.host.Folder() / "up", bytes);
        // The server ends the connection before the upload begins.
        run.server->SetFaults(R"([{"match":{"method":"PROPFIND","times":1},"fault":{"kind":"close"}}])");
        run.host.Run({"ls", run.server->Url("")});
        run.server->ClearFaults();
        const ProcessResult put =
            run.host.Run({"put", (run.host.Folder() / "up").string(), run.server->Url("b.txt")});
        EXPECT_EQ(put.status, 0) << put.err;
        EXPECT_TRUE(run.server->Document("b.txt") == bytes);
    }
}

// What a sign-in costs: the statuses of a run's requests, one after the other.
class Costs : public ::testing::Test {
protected:
    static std::vector<int> Statuses(const Setting& run, const std::string& path_end = "") {
        std::vector<int> statuses;
        for (const LoggedRequest& request : run.server->Log())
            if (request.path.ends_with(path_end)) statuses.push_back(request.status);
        return statuses;
    }
    static std::ptrdiff_t Refusals(const std::vector<int>& statuses) {
        return std::count_if(statuses.begin(), statuses.end(), [](int status) { return status / 100 == 4; });
    }
};

TEST_F(Costs, StoredCredentialsCostTheirHandshakeAndNoMore) {
    // NTLM learns its challenge from a second refusal; Negotiate begins anew with each request.
    for (const auto& [index, most] : {std::pair(0, 1), std::pair(1, 1), std::pair(2, 2), std::pair(3, 5),
                                      std::pair(4, 0), std::pair(7, 0)}) {
        Setting run(kWays[static_cast<std::size_t>(index)], false, false);
        SCOPED_TRACE(run.way.name);
        ASSERT_EQ(run.Add(Answer::right).status, 0);
        run.server->ClearRequests();
        ASSERT_EQ(run.host.Run({"ls", run.server->Url("")}).status, 0);
        const auto statuses = Statuses(run);
        std::string text;
        for (const int status : statuses) text += std::to_string(status) + " ";
        EXPECT_LE(Refusals(statuses), most) << text;
    }
}

TEST_F(Costs, APageThatDoesNotHelpIsShownOnceForEachQuestion) {
    Setting run(kWays[4], false, false);
    ASSERT_EQ(run.Add(Answer::right).status, 0);
    // The window brings cookies, and the server takes none of them.
    run.server->SetFaults(R"([{"match":{"path":"Webs.asmx","times":0},"fault":{"kind":"forms-403"}}])");
    std::filesystem::remove(run.host.Folder() / "browsed");
    run.server->ClearRequests();
    const ProcessResult refused = run.Run({"ls", run.server->Url("")}, Answer::right);
    EXPECT_EQ(refused.status, 1) << refused.err;
    // A request, its repetition, and a window with its page and its end between them.
    const auto asked = Statuses(run, "Webs.asmx");
    EXPECT_EQ(asked, (std::vector<int>{403, 403}));
    const std::string log = run.Windows();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 3) << log;
}

TEST_F(Costs, ARefusalWithoutASchemeLeadsToTheSitesRoot) {
    Setting run(kWays[4], false, false);
    run.server->SetFaults(R"([{"match":{"times":1},"fault":{"kind":"status","status":401}}])");
    const ProcessResult added = run.Add(Answer::wrong);
    EXPECT_EQ(added.status, 3) << added.err;
    EXPECT_NE(run.Windows().find("{\"navigate\":\"" + run.server->Origin() + "\"}"), std::string::npos)
        << run.Windows();
}

// The target of a redirect gets nothing of the sign-in.
TEST(Redirects, TakeNoPasswordCookieOrTokenToAnotherHost) {
    for (const int index : {2, 3, 4, 7}) {
        Setting run(kWays[static_cast<std::size_t>(index)], false, false);
        SCOPED_TRACE(run.way.name);
        ASSERT_EQ(run.Add(Answer::right).status, 0);
        std::vector<std::string> options = run.way.server;
        options.insert(options.end(), {"--user", "zoe:zoe"});
        const DevServer other(options);
        const std::string elsewhere = "http://localhost" + other.Origin().substr(other.Origin().rfind(':'));
        for (const char* method : {"GET", "POST", "PROPFIND"}) {
            run.server->SetFaults(R"([{"match":{"method":")" + std::string(method) +
                                  R"(","times":0},"fault":{"kind":"redirect","status":307,"location":")" +
                                  elsewhere + R"(/sites/team/a.txt"}}])");
            run.host.Run({"get", run.server->Url("a.txt"), (run.host.Folder() / "down").string()});
            run.server->ClearFaults();
        }
        const auto log = other.Log();
        ASSERT_FALSE(log.empty()) << "the redirects led nowhere, so this shows nothing";
        for (const LoggedRequest& request : log) {
            EXPECT_FALSE(request.Has("Authorization")) << request.path;
            EXPECT_FALSE(request.Has("Cookie")) << request.path;
        }
    }
}

TEST(Detection, KnowsAServerByWhatItAnswersAndNeverAsks) {
    Sphost host;
    host.environment["SPHOST_BROWSER"] = "/bin/false";
    const auto is_sharepoint = [&](const std::string& url) {
        const ProcessResult result =
            host.Run({"detect", url, "--user", "alice", "--password-stdin"}, "wrong\n");
        EXPECT_EQ(result.err.find("password"), std::string::npos) << result.err;
        return result.status == 0 && result.out == "SharePoint\n";
    };
    for (const char* way : {"basic", "digest", "ntlm", "negotiate", "forms", "bearer"}) {
        const DevServer server({"--generation", "2013", "--auth", way});
        EXPECT_TRUE(is_sharepoint(server.Site())) << way;
        EXPECT_TRUE(is_sharepoint(server.Url("a b#c.pdf"))) << way;
        const std::string port = server.Origin().substr(server.Origin().rfind(':') + 1);
        EXPECT_TRUE(is_sharepoint("\\\\127.0.0.1@" + port + "\\DavWWWRoot\\sites\\team")) << way;
    }
    const DevServer server({"--generation", "2013"});
    for (const char* fault :
         {R"({"kind":"status","status":500})", R"({"kind":"status","status":404})", R"({"kind":"close"})"}) {
        server.SetFaults(std::string(R"([{"match":{"times":0},"fault":)") + fault + "}]");
        EXPECT_FALSE(is_sharepoint(server.Site())) << fault;
        server.ClearFaults();
    }
    if (Proxy::IsInstalled()) {
        const Proxy other_product;
        EXPECT_FALSE(is_sharepoint(other_product.Url("")));
    }
    EXPECT_FALSE(is_sharepoint("/etc/passwd"));
}

// Stored secrets that were changed, or come from another profile, are reported and not used.
TEST(StoredSecrets, ThatCannotBeReadAreAskedForAgain) {
    for (const char* change : {"a foreign key", "a foreign account", "other bytes"}) {
        SCOPED_TRACE(change);
        Setting run(kWays[0], false, false), other(kWays[0], false, false);
        ASSERT_EQ(run.Add(Answer::right).status, 0);
        const DevServer* asked = &*run.server;
        const auto accounts = run.host.Profile() / "accounts.json";
        std::string text = ReadText(accounts);
        if (change == std::string("a foreign key")) {
            ASSERT_EQ(other.Add(Answer::right).status, 0);
            std::filesystem::copy_file(other.host.Profile() / "key", run.host.Profile() / "key",
                                       std::filesystem::copy_options::overwrite_existing);
        } else if (change == std::string("a foreign account")) {
            for (auto at = text.find(run.server->Origin()); at != std::string::npos;
                 at = text.find(run.server->Origin(), at + 1))
                text.replace(at, run.server->Origin().size(), other.server->Origin());
            WriteText(accounts, text);
            asked = &*other.server;
        } else {
            for (auto at = text.find("sph1:"); at != std::string::npos; at = text.find("sph1:", at + 1))
                text[at + 30] = text[at + 30] == 'A' ? 'B' : 'A';
            WriteText(accounts, text);
        }
        asked->ClearRequests();
        const ProcessResult refused = run.host.Run({"ls", asked->Url("")});
        EXPECT_EQ(refused.status, 3) << refused.err;
        EXPECT_NE(refused.err.find("can't be read"), std::string::npos) << refused.err;
        EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 2) << refused.err;
        const ProcessResult again = run.Run({"ls", asked->Url("")}, Answer::right);
        EXPECT_EQ(again.status, 0) << again.err;
        EXPECT_EQ(run.host.Run({"ls", asked->Url("")}).status, 0) << "what signed in is kept";
    }
}

TEST(StoredAccounts, APlaceThatSeveralProcessesAddIsOnePlace) {
    Setting run(kWays[0], false, false);
    ASSERT_EQ(run.host.Run({"place", "list"}).status, 0);
    const std::vector<std::string> add{"place",  "add",   run.server->Site(), "--api", "compatible",
                                       "--user", "alice", "--password-stdin"};
    std::vector<std::unique_ptr<Process>> processes;
    for (int i = 0; i < 4; ++i) processes.push_back(run.host.Start(add, kPassword + std::string("\n")));
    EXPECT_EQ(std::count_if(processes.begin(), processes.end(),
                            [](const auto& process) { return process->Wait() == 0; }),
              1);
    const std::string list = run.host.Run({"place", "list"}).out;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 1) << list;
}

// The browser that people see, without a screen: it fills in the page by itself.
class RealBrowser : public ::testing::TestWithParam<std::tuple<bool, bool>> {
protected:
    static bool IsPossible() {
        return std::filesystem::exists(Program()) && (!std::get<1>(GetParam()) || Proxy::IsInstalled());
    }
    static std::string Program() { return ProgramPath("sphost-browser"); }
    static void Fill(Setting& run, const std::string& password) {
        const auto script = run.host.Folder() / "fill";
        WriteText(script, "#!/bin/sh\nexec " + Program() + " --fill user=alice,password=" + password + "\n");
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        run.host.environment["SPHOST_BROWSER"] = script.string();
        run.host.environment["QT_QPA_PLATFORM"] = "offscreen";
    }
};

TEST_P(RealBrowser, SignsInOnTheSitesPageAndForgetsAtSignOut) {
    if (!IsPossible()) GTEST_SKIP() << "sphost-browser isn't built, or there is no proxy";
    const auto [tls, proxied] = GetParam();
    Setting run(kWays[4], tls, proxied);
    Fill(run, kPassword);
    // The engine goes around proxies for this machine's own addresses.
    const auto named = [&, through = proxied](const std::string& url) {
        return through ? Proxy::Named(url) : url;
    };
    const std::string site = named(run.server->Site());
    const std::vector<std::string> add{"place", "add", site, "--api", "compatible"};
    const ProcessResult added = run.host.Run(add);
    ASSERT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(run.ProfileText().find("FedAuth"), std::string::npos) << "only enciphered";
    run.host.environment["SPHOST_BROWSER"] = "/missing/sphost-browser";
    EXPECT_EQ(run.host.Run({"ls", named(run.server->Url(""))}).status, 0) << "the account keeps the cookies";
    // With the cookies of this profile the browser needs no page.
    Fill(run, "wrong");
    ASSERT_EQ(run.host.Run({"place", "remove", site}).status, 0);
    const ProcessResult again = run.host.Run(add);
    EXPECT_EQ(again.status, 0) << again.err;
    ASSERT_EQ(run.host.Run({"signout", site}).status, 0);
    EXPECT_EQ(ReadText(run.host.Profile() / "cookies.json"), "{}");
    run.server->ClearRequests();
    Fill(run, kPassword);
    const ProcessResult after = run.host.Run({"ls", named(run.server->Url(""))});
    EXPECT_EQ(after.status, 0) << after.err;
    const auto requests = run.server->Requests();
    EXPECT_TRUE(std::any_of(requests.begin(), requests.end(), [](const std::string& line) {
        return line.starts_with("POST /_forms/default.aspx");
    })) << "the page asked again";
}

// A display that nobody looks at, with a manager of windows.
class VirtualDisplay {
public:
    static bool IsInstalled() {
        for (const char* program : {"/usr/bin/Xvfb", "/usr/bin/openbox", "/usr/bin/xdotool"}) {
            if (!std::filesystem::exists(program)) return false;
        }
        return true;
    }
    VirtualDisplay() {
        m_server.emplace(ProcessOptions{
            .arguments = {"sh", "-c",
                          "exec Xvfb -displayfd 3 -screen 0 1280x900x24 3>" + (m_folder / "number").string()},
            .out = m_folder / "out",
            .err = m_folder / "err"});
        const auto number = [this] { return ReadText(m_folder / "number"); };
        if (!Comes([&] { return number().ends_with('\n') || !m_server->IsRunning(); }) || number().empty())
            throw std::runtime_error("no display: " + ReadText(m_folder / "err"));
        m_name = ":" + number().substr(0, number().find('\n'));
        m_manager.emplace(ProcessOptions{.arguments = {"openbox", "--sm-disable"},
                                         .environment = {{"DISPLAY", m_name}},
                                         .out = m_folder / "out2",
                                         .err = m_folder / "err2"});
    }
    const std::string& Name() const { return m_name; }
    std::string Do(std::vector<std::string> words) const {
        words.insert(words.begin(), "xdotool");
        return RunToEnd({.arguments = std::move(words), .environment = {{"DISPLAY", m_name}}}).out;
    }

private:
    TempFolder m_folder;
    std::string m_name;
    std::optional<Process> m_server, m_manager;
};

TEST(RealBrowserOnADisplay, ClosingItsWindowCancelsTheSignIn) {
    const std::string program = ProgramPath("sphost-browser");
    if (!std::filesystem::exists(program) || !VirtualDisplay::IsInstalled())
        GTEST_SKIP() << "sphost-browser isn't built, or there is no virtual display";
    const VirtualDisplay display;
    Setting run(kWays[4], false, Proxy::IsInstalled());
    run.host.environment["SPHOST_BROWSER"] = program;
    run.host.environment["DISPLAY"] = display.Name();
    const std::string site = Proxy::IsInstalled() ? Proxy::Named(run.server->Site()) : run.server->Site();
    const auto adding = run.host.Start({"place", "add", site, "--api", "compatible"});
    std::string window;
    ASSERT_TRUE(Comes([&] {
        window = display.Do({"search", "--onlyvisible", "--class", "sphost-browser"});
        const auto pages = run.server->Requests();
        return !window.empty() && std::any_of(pages.begin(), pages.end(), [](const std::string& line) {
            return line.starts_with("GET /_forms/default.aspx");
        });
    })) << run.host.LastError();
    window = window.substr(0, window.find('\n'));
    ASSERT_TRUE(Comes([&] {
        display.Do({"windowactivate", "--sync", window, "key", "alt+F4"});
        return !adding->IsRunning();
    }));
    EXPECT_EQ(adding->Wait(), 3);
    EXPECT_NE(run.host.LastError().find("cancelled"), std::string::npos) << run.host.LastError();
    EXPECT_EQ(run.host.Run({"place", "list"}).out, "");
}

std::string NetworkName(const ::testing::TestParamInfo<std::tuple<bool, bool>>& test) {
    const auto [tls, proxied] = test.param;
    return std::string(tls ? "Tls" : "Plain") + (proxied ? "Proxied" : "");
}

INSTANTIATE_TEST_SUITE_P(Sites, RealBrowser, ::testing::Combine(::testing::Bool(), ::testing::Bool()),
                         NetworkName);

}  // namespace
