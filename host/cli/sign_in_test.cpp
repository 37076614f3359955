// Signing in to a real server, at the terminal and in the browser's window: questions, answers, and what is
// stored.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "tests/support/sphost.h"

namespace {

using namespace testing_support;

struct Answer {
    std::string prompt;  // what to wait for
    std::string text;
    bool hidden = false;  // the terminal must not show what is typed
};

struct Talk {
    int status = -1;
    std::string shown;
};

// sphost at a terminal, with a person who types the answers as the prompts come up.
Talk AtTerminal(const Sphost& sphost, std::vector<std::string> arguments,
                const std::vector<Answer>& answers) {
    arguments.insert(arguments.begin(),
                     {SPHOST_PROGRAM, "--profile", sphost.Profile().string(), "--check-leaks"});
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        std::vector<char*> words;
        for (std::string& argument : arguments) words.push_back(argument.data());
        words.push_back(nullptr);
        execv(words[0], words.data());
        _exit(126);
    }
    Talk talk;
    std::size_t seen = 0;
    auto next = answers.begin();
    for (;;) {
        pollfd watched{terminal, POLLIN, 0};
        if (poll(&watched, 1, 60000) <= 0) {
            ADD_FAILURE() << "nothing more after: " << talk.shown;
            kill(child, SIGKILL);
            break;
        }
        char block[512];
        const ssize_t got = read(terminal, block, sizeof(block));
        if (got <= 0) break;
        talk.shown.append(block, static_cast<std::size_t>(got));
        if (next == answers.end()) continue;
        const std::size_t at = talk.shown.find(next->prompt, seen);
        if (at == std::string::npos) continue;
        seen = talk.shown.size();
        termios mode{};
        tcgetattr(terminal, &mode);
        EXPECT_EQ((mode.c_lflag & ECHO) == 0, next->hidden) << next->prompt;
        EXPECT_EQ(write(terminal, next->text.data(), next->text.size()),
                  static_cast<ssize_t>(next->text.size()));
        ++next;
    }
    EXPECT_TRUE(next == answers.end()) << "never asked: " << (next == answers.end() ? "" : next->prompt);
    int status = 0;
    waitpid(child, &status, 0);
    close(terminal);
    if (WIFEXITED(status)) talk.status = WEXITSTATUS(status);
    return talk;
}

class SignIn : public ::testing::Test {
protected:
    std::vector<std::string> Add(std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"place", "add", server.Site(), "--api", "compatible"});
        return more;
    }
    std::vector<std::string> List(std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"ls", server.Site() + "/Shared Documents", "--check-leaks"});
        return more;
    }
    std::string Accounts() const { return ReadText(sphost.Profile() / "accounts.json"); }

    DevServer server{{"--generation", "2013"}};
    Sphost sphost;
};

TEST_F(SignIn, AfterAWrongAnswerTheQuestionComesAgainAndNoPasswordIsShown) {
    const Talk talk = AtTerminal(sphost, Add(),
                                 {{"User name for 127.0.0.1: ", "alice\n"},
                                  {"Password: ", "wrong-secret\n", true},
                                  {"User name for 127.0.0.1 [alice]: ", "\n"},
                                  {"Password: ", "alice\n", true}});
    EXPECT_EQ(talk.status, 0) << talk.shown;
    EXPECT_EQ(talk.shown.find("secret"), std::string::npos) << talk.shown;
    EXPECT_EQ(sphost.Run(List()).status, 0) << "without being asked again";
    EXPECT_EQ(Accounts().find("alice"), std::string::npos) << "only enciphered";
}

TEST_F(SignIn, DecliningCancelsAndTheAccountStays) {
    const std::string ctrl_c = "\x03";
    const std::string ctrl_d = "\x04";
    const std::string name = "User name for 127.0.0.1: ";
    for (const std::string& no : {ctrl_c, ctrl_d, std::string("\n")}) {
        EXPECT_EQ(AtTerminal(sphost, Add(), {{name, no}}).status, 3);
    }
    for (const std::string& no : {ctrl_c, ctrl_d}) {
        EXPECT_EQ(AtTerminal(sphost, Add(), {{name, "alice\n"}, {"Password: ", no, true}}).status, 3);
    }
    EXPECT_EQ(Accounts(), "");
    ASSERT_EQ(sphost.Run(Add({"--user", "alice", "--password-stdin"}), "alice\n").status, 0);
    ASSERT_EQ(sphost.Run({"signout", server.Site()}).status, 0);
    const std::string before = Accounts();
    EXPECT_EQ(AtTerminal(sphost, List(), {{"User name", ctrl_d}}).status, 3);
    EXPECT_EQ(sphost.Run(List()).status, 3) << "nobody to ask";
    EXPECT_EQ(Accounts(), before);
    // The answer of another user is stored.
    EXPECT_EQ(AtTerminal(sphost, List(),
                         {{"User name",
                           "\x15"
                           "bob\n"},
                          {"Password: ", "bob\n", true}})
                  .status,
              0);
    EXPECT_NE(sphost.Run({"place", "list"}).out.find("bob"), std::string::npos);
    EXPECT_EQ(sphost.Run(List()).status, 0);
}

TEST_F(SignIn, AGivenPasswordIsTriedOnceAndNeverAgainstTheServersRefusal) {
    ASSERT_EQ(sphost.Run(Add({"--user", "alice", "--password-stdin"}), "alice\n").status, 0);
    ASSERT_EQ(sphost.Run({"signout", server.Site()}).status, 0);
    const std::string before = Accounts();
    server.ClearRequests();
    const ProcessResult refused = sphost.Run(List({"--user", "alice", "--password-stdin"}), "wrong\n");
    EXPECT_EQ(refused.status, 3);
    EXPECT_NE(refused.err.find("the server refused the user name or the password"), std::string::npos)
        << refused.err;
    // Without a password, with it, and no more than one repetition of either by the transport.
    EXPECT_LE(server.Requests().size(), 4u);
    EXPECT_EQ(Accounts(), before);
    EXPECT_EQ(sphost.Run(List({"--user", "bob", "--password-stdin"}), "bob\n").status, 0);
    EXPECT_EQ(sphost.Run(List({"--password-stdin"})).status, 1) << "no line to read";
}

// The server asks for its forms page once, and a script plays the browser.
class FormsSignIn : public SignIn {
protected:
    ProcessResult AddWith(const std::string& pages) {
        WriteText(sphost.Folder() / "script",
                  "{\"pages\":[" + pages + "],\"log\":\"" + (sphost.Folder() / "log").string() + "\"}");
        server.SetFaults(R"([{"match":{},"fault":{"kind":"forms-403"}}])");
        return sphost.Run(Add({"--check-leaks", "--user", "alice", "--password-stdin", "--web-view-script",
                               (sphost.Folder() / "script").string()}),
                          "alice\n");
    }
    std::string Log() const { return ReadText(sphost.Folder() / "log"); }

    const std::string cookies = R"("cookies":[{"name":"rtFa","value":"secret-rt","domain":"127.0.0.1"},
                                  {"name":"FedAuth","value":"secret-fed","domain":"127.0.0.1"}])";
    const std::string returned = R"({"url":")" + server.Origin() + R"(/_layouts/15/error.aspx")";
};

TEST_F(FormsSignIn, TheWindowEndsAtTheReturnPageAndItsCookiesAreKeptUntilSignOut) {
    // Only the cookies at the return page count.
    const ProcessResult added = AddWith("{" + cookies + "}, " + returned + "," + cookies + "}, {}");
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(Log(), "{\"window\":\"ds\"}\n{\"navigate\":\"" + server.Origin() +
                         "/_forms/default.aspx?ReturnUrl=/_layouts/15/error.aspx\"}\n{\"visible\":\"no\"}\n");
    EXPECT_EQ(Accounts().find("secret"), std::string::npos) << "only enciphered";
    EXPECT_EQ(sphost.Run(List()).status, 0);
    const ProcessResult out =
        sphost.Run({"signout", server.Site(), "--web-view-script", (sphost.Folder() / "script").string()});
    EXPECT_EQ(out.status, 0) << out.err;
    EXPECT_NE(Log().find("{\"hidden\":\"ds\"}\n{\"delete\":\"127.0.0.1\"}\n"), std::string::npos) << Log();
    EXPECT_EQ(Log().rfind("{\"window\""), 0u) << "no second window";
}

TEST_F(FormsSignIn, AWindowThatIsClosedOrBringsNoCookiesCancels) {
    for (const std::string& pages : {std::string(), "{" + cookies + "}", returned + ",\"cookies\":[]}",
                                     returned + ",\"success\":false," + cookies + "}"}) {
        const ProcessResult result = AddWith(pages);
        EXPECT_EQ(result.status, 3) << pages << ": " << result.err;
        EXPECT_EQ(Accounts(), "") << pages;
    }
    server.SetFaults(R"([{"match":{},"fault":{"kind":"forms-403"}}])");
}

// On a machine without a desktop, or without the browser.
TEST_F(FormsSignIn, WithoutABrowserOrADisplayTheMessageNamesWhatIsMissing) {
    sphost.environment = {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}};
    for (const auto& [program, reason] :
         {std::pair("/missing/sphost-browser", "the program sphost-browser, which shows it, is not here"),
          std::pair("/bin/true", "there is no display to show it on")}) {
        server.SetFaults(R"([{"match":{},"fault":{"kind":"forms-403"}}])");
        sphost.environment["SPHOST_BROWSER"] = program;
        const ProcessResult without = sphost.Run(Add());
        EXPECT_EQ(without.status, 1);
        EXPECT_NE(without.err.find(reason), std::string::npos) << without.err;
        EXPECT_EQ(Accounts(), "");
    }
    // A browser that ends at once counts as a closed window.
    server.SetFaults(R"([{"match":{},"fault":{"kind":"forms-403"}}])");
    sphost.environment["QT_QPA_PLATFORM"] = "offscreen";
    const ProcessResult ended = sphost.Run(Add());
    EXPECT_EQ(ended.status, 3) << ended.err;
    EXPECT_NE(ended.err.find("the browser window ended by itself"), std::string::npos) << ended.err;
}

TEST(Places, OfTokensOverPlainHttpNeedTheirOwnWord) {
    const Sphost sphost;
    std::vector<std::string> add{"place", "add", "http://localhost.invalid/sites/x", "--token-stdin"};
    const ProcessResult refused = sphost.Run(add, "secret\n");
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("0x80070005"), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find("--insecure-http"), std::string::npos) << refused.err;
    add.emplace_back("--insecure-http");
    const ProcessResult tried = sphost.Run(add, "secret\n");
    EXPECT_EQ(tried.status, 1);
    EXPECT_NE(tried.err.find("0x80072EE7"), std::string::npos) << "it looked for the server: " << tried.err;
    // A password's way is the server's choice.
    const ProcessResult older = sphost.Run({"place", "add", "http://localhost.invalid/sites/x", "--api",
                                            "compatible", "--user", "a", "--password-stdin"},
                                           "secret\n");
    EXPECT_NE(older.err.find("0x80072EE7"), std::string::npos) << older.err;
}

TEST(Places, OnTwoPortsOfOneHostAreTwo) {
    const DevServer one;
    const DevServer other;
    const Sphost sphost;
    sphost.AddPlace(one, "alice");
    one.ClearRequests();
    EXPECT_EQ(sphost.Run({"ls", other.Site()}).status, 1);
    for (const std::string& url : {other.Site(), one.Site() + "/sub", one.Origin()}) {
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"place", "remove", url}, {"signout", url}}) {
            const ProcessResult refused = sphost.Run(command);
            EXPECT_EQ(refused.status, 1) << command[0] << " " << url;
            EXPECT_NE(refused.err.find("no place"), std::string::npos) << refused.err;
        }
    }
    EXPECT_TRUE(one.Requests().empty()) << "nothing meant for the other reaches this one";
    sphost.AddPlace(other, "bob");
    EXPECT_EQ(sphost.Run({"ls", other.Site()}).status, 0);
    EXPECT_EQ(sphost.Run({"place", "remove", other.Site()}).status, 0);
    EXPECT_EQ(sphost.Run({"ls", one.Site()}).status, 0);
    EXPECT_EQ(sphost.Run({"ls", other.Site()}).status, 1);
}

}  // namespace
