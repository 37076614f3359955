// Signing in to an older generation by name and password: what each sign-in costs, that an upload survives a
// challenge, and where a password never goes.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/sphost.h"

namespace {

using namespace testing_support;

auto CountStatus(const std::vector<LoggedRequest>& log, int status) {
    return std::count_if(log.begin(), log.end(),
                         [&](const LoggedRequest& entry) { return entry.status == status; });
}

class Passwords : public ::testing::TestWithParam<const char*> {
protected:
    Passwords() {
        m_server.emplace(std::vector<std::string>{"--generation", "2013", "--auth", GetParam()});
        m_server->WriteAs("alice", "a.txt", "one");
        m_host.environment["https_proxy"] = "http://127.0.0.1:9";
    }

    std::string Url() const { return m_server->Url("a.txt"); }
    std::string ProfileText() const {
        std::string text;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_host.Profile()))
            if (entry.is_regular_file()) text += ReadText(entry.path());
        return text;
    }

    std::optional<DevServer> m_server;
    Sphost m_host;
};

TEST_P(Passwords, OneChallengeServesAWholeRun) {
    m_host.AddPlace(*m_server, "alice");
    m_server->ClearRequests();
    const ProcessResult listed = m_host.Run({"ls", m_server->Url("")});
    ASSERT_EQ(listed.status, 0) << listed.err;
    const auto log = m_server->Log();
    ASSERT_GT(log.size(), 3u);
    EXPECT_EQ(CountStatus(log, 401), 1) << "the first request goes out without a password";
    EXPECT_FALSE(log.front().Has("Authorization"));
    for (size_t i = 1; i < log.size(); ++i) EXPECT_EQ(log[i].user, "alice") << log[i].method << log[i].path;
}

TEST_P(Passwords, AWrongOneEndsAndLeavesTheAccountAsItWas) {
    m_host.AddPlace(*m_server, "alice");
    ASSERT_EQ(m_host.Run({"signout", m_server->Site()}).status, 0);
    const std::string before = ProfileText();
    const ProcessResult refused =
        m_host.Run({"ls", m_server->Url(""), "--password-stdin"}, "not-the-password\n");
    EXPECT_EQ(refused.status, 3);
    EXPECT_NE(refused.err.find("refused the user name or the password"), std::string::npos) << refused.err;
    EXPECT_TRUE(ProfileText() == before);
    EXPECT_EQ(m_host.Run({"ls", m_server->Url("")}).status, 3) << "nobody is there to be asked";
    const ProcessResult listed = m_host.Run({"ls", m_server->Url(""), "--password-stdin"}, "alice\n");
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_EQ(m_host.Run({"ls", m_server->Url("")}).status, 0) << "what signed in is kept";
}

TEST_P(Passwords, AnUploadThatIsChallengedArrivesWholeOrIsKept) {
    m_host.AddPlace(*m_server, "alice");
    const std::string bytes(3 * 1024 * 1024 + 5, 'u');
    WriteText(m_host.Folder() / "up", bytes);
    for (const int times : {1, 2, 0}) {
        SCOPED_TRACE(times);
        m_server->SetFaults(R"([{"match":{"method":"PUT","times":)" + std::to_string(times) +
                            R"(},"fault":{"kind":"status","status":401,"text":"no"}}])");
        m_server->ClearRequests();
        const ProcessResult put = m_host.Run({"put", (m_host.Folder() / "up").string(), Url(), "--yes"});
        const auto log = m_server->Log();
        const auto uploads = std::count_if(log.begin(), log.end(),
                                           [](const LoggedRequest& entry) { return entry.method == "PUT"; });
        EXPECT_LE(uploads, 4) << "three retries at most";
        // A digest can be asked for with another nonce; a plain password that was sent and refused is wrong.
        const bool is_answerable = times == 1 && GetParam() != std::string("basic");
        EXPECT_EQ(put.status, is_answerable ? 0 : 1) << put.err;
        if (put.status != 0) {
            EXPECT_TRUE(m_server->Document("a.txt") == "one");
            m_server->ClearFaults();
            const ProcessResult sent = m_host.Run({"recover", "--send", "--yes"});
            EXPECT_EQ(sent.status, 0) << sent.err;
        }
        m_server->ClearFaults();
        EXPECT_TRUE(m_server->Document("a.txt") == bytes);
        m_server->WriteAs("alice", "a.txt", "one");
    }
}

TEST_P(Passwords, GoToNoOtherHost) {
    m_host.AddPlace(*m_server, "alice");
    // The other host asks for the same kind of sign-in, and doesn't know this user.
    const DevServer other({"--generation", "2013", "--auth", GetParam(), "--user", "zoe:zoe"});
    const std::string elsewhere = "http://localhost" + other.Origin().substr(other.Origin().rfind(':'));
    for (const int status : {302, 307}) {
        for (const char* match : {R"("method":"GET")", R"("method":"PROPFIND")", R"("path":"Webs.asmx")"}) {
            SCOPED_TRACE(match + std::to_string(status));
            m_server->SetFaults(std::string(R"([{"match":{)") + match +
                                R"(,"times":0},"fault":{"kind":"redirect","status":)" +
                                std::to_string(status) + R"(,"location":")" + elsewhere +
                                R"(/sites/team/a.txt"}}])");
            m_host.Run({"get", Url(), (m_host.Folder() / "down").string()});
            m_server->ClearFaults();
        }
    }
    const auto log = other.Log();
    EXPECT_FALSE(log.empty()) << "the redirects led nowhere, so this shows nothing";
    for (const LoggedRequest& entry : log) {
        EXPECT_FALSE(entry.Has("Authorization")) << entry.method << entry.path;
        EXPECT_FALSE(entry.Has("Cookie"));
    }
}

TEST_P(Passwords, AreNeverWrittenInPlainText) {
    m_server.reset();
    m_server.emplace(std::vector<std::string>{"--generation", "2013", "--auth", GetParam(), "--user",
                                              "alice:Xyzzy-Plugh"});
    const ProcessResult added = m_host.Run({"place", "add", m_server->Site(), "--api", "compatible", "--user",
                                            "alice", "--password-stdin", "--log-level", "4"},
                                           "Xyzzy-Plugh\n");
    ASSERT_EQ(added.status, 0) << added.err;
    m_server->WriteAs("alice", "a.txt", "one");
    for (const char* command : {"ls", "stat", "checkout", "discard"}) {
        EXPECT_EQ(m_host.Run({command, Url(), "--log-level", "4"}).status,
                  command == std::string("ls") ? 1 : 0)
            << command;
    }
    ASSERT_GT(m_host.TraceLog().size(), 1000u);
    for (const std::string& text : {m_host.TraceLog(), ProfileText()}) {
        EXPECT_EQ(text.find("Xyzzy"), std::string::npos);
        EXPECT_EQ(text.find("WHl6enktUGx1Z2"), std::string::npos)
            << "nor in the form that goes over the wire";
    }
}

INSTANTIATE_TEST_SUITE_P(Schemes, Passwords, ::testing::Values("basic", "digest", "digest,basic"),
                         [](const auto& test) {
                             std::string name = test.param;
                             std::replace(name.begin(), name.end(), ',', '_');
                             return name;
                         });

}  // namespace
