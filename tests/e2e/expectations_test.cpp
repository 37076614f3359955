// What people expect of a command that copies: folders with all in them, taken up where it ended, names and
// times kept, short names and a browser's addresses.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <optional>

#include "tests/support/sphost.h"

namespace {

using namespace testing_support;
namespace fs = std::filesystem;

class Expectations : public ::testing::TestWithParam<std::string> {
protected:
    Expectations() {
        WriteText(m_seed / "report.txt", "first");
        fs::create_directories(m_seed / "Plans" / "2026 #1");
        WriteText(m_seed / "Plans" / "a b.txt", "a");
        WriteText(m_seed / "Plans" / "2026 #1" / "c%41.txt", "deep");
        m_server.emplace(std::vector<std::string>{"--generation", GetParam()}, m_seed.Path());
        m_host.AddPlace(*m_server, "alice");
    }
    std::string Library() const {
        const std::string url = m_server->Url("");
        return url.substr(0, url.size() - 1);
    }
    fs::path Local(const std::string& name) const { return m_host.Folder() / name; }
    static time_t TimeOf(const fs::path& file) {
        struct stat status {};
        return stat(file.c_str(), &status) == 0 ? status.st_mtim.tv_sec : 0;
    }
    // How many documents were downloaded or sent since the requests were cleared.
    std::size_t Transfers() const {
        std::size_t count = 0;
        for (const LoggedRequest& request : m_server->Log()) {
            const bool is_download = request.method == "GET" &&
                                     request.path.find(".txt") != std::string::npos &&
                                     (!m_server->IsModern() || request.path.ends_with("$value"));
            if (is_download || request.method == "PUT") ++count;
        }
        return count;
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

TEST_P(Expectations, FoldersAreListedAndCopiedOutWithAllInThem) {
    const std::string listed = m_host.Run({"ls", "-R", Library()}).out;
    EXPECT_NE(listed.find("  Plans/2026 #1/c%41.txt\n"), std::string::npos) << listed;
    fs::create_directory(Local("out"));
    const ProcessResult got =
        m_host.Run({"get", "-r", m_server->Url("Plans"), m_server->Url("report.txt"), Local("out").string()});
    EXPECT_EQ(got.status, 0) << got.err;
    EXPECT_EQ(got.out, "3 copied\n");
    EXPECT_EQ(ReadText(Local("out") / "Plans" / "a b.txt"), "a");
    EXPECT_EQ(ReadText(Local("out") / "Plans" / "2026 #1" / "c%41.txt"), "deep") << "the name is kept";
    EXPECT_EQ(ReadText(Local("out") / "report.txt"), "first");
    const std::string stat = m_host.Run({"stat", m_server->Url("report.txt")}).out;
    char when[32];
    const time_t time = TimeOf(Local("out") / "report.txt");
    strftime(when, sizeof(when), "%Y-%m-%dT%H:%M:%SZ", gmtime(&time));
    EXPECT_NE(stat.find(std::string("modified:  ") + when), std::string::npos) << stat << when;
}

TEST_P(Expectations, WhatFailedIsCopiedByTheSameCommandAndNothingElse) {
    const std::vector<std::string> get{"get", "-r", m_server->Url("Plans"), Local("copy").string()};
    const bool is_modern = m_server->IsModern();
    m_server->SetFaults(std::string(R"([{"match":{"method":"GET","path":")") +
                        (is_modern ? "a b.txt')/$value" : "a b.txt") +
                        R"(","times":0},"fault":{"kind":"status","status":500,"text":"no"}}])");
    const ProcessResult partly = m_host.Run(get);
    EXPECT_EQ(partly.status, 1);
    EXPECT_NE(partly.err.find("1 failed, 1 copied"), std::string::npos) << partly.err;
    EXPECT_NE(partly.err.find("a%20b.txt"), std::string::npos) << partly.err;
    m_server->ClearFaults();
    m_server->ClearRequests();
    const ProcessResult rest = m_host.Run(get);
    EXPECT_EQ(rest.out, "1 copied, 1 there already\n") << rest.err;
    EXPECT_EQ(Transfers(), 1u);
    EXPECT_EQ(ReadText(Local("copy") / "Plans" / "a b.txt"), "a");
}

TEST_P(Expectations, FoldersAreSentWithAllInThem) {
    fs::create_directories(Local("in") / "sub");
    WriteText(Local("in") / "one.txt", "1");
    WriteText(Local("in") / "sub" / "two.txt", "22");
    WriteText(Local("three.txt"), "333");
    const std::vector<std::string> put{"put", "-r", Local("in").string(), Local("three.txt").string(),
                                       Library()};
    const ProcessResult sent = m_host.Run(put);
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_EQ(m_server->Document("in/sub/two.txt"), "22");
    EXPECT_EQ(m_server->Document("three.txt"), "333");
    m_server->ClearRequests();
    EXPECT_EQ(m_host.Run(put).out, "0 copied, 3 there already\n");
    EXPECT_EQ(Transfers(), 0u);
    WriteText(Local("in") / "one.txt", "changed");
    EXPECT_EQ(m_host.Run(put).out, "1 copied, 2 there already\n");
    EXPECT_EQ(m_server->Document("in/one.txt"), "changed");
}

TEST_P(Expectations, ParentsAreMadeOnlyOnRequest) {
    WriteText(Local("file"), "x");
    const std::string deep = m_server->Url("no/such/folder");
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"mkdir", deep}, {"put", Local("file").string(), deep}}) {
        const ProcessResult refused = m_host.Run(words);
        EXPECT_EQ(refused.status, 1);
        EXPECT_NE(refused.err.find("-p makes it"), std::string::npos) << refused.err;
    }
    EXPECT_EQ(m_host.Run({"ls", m_server->Url("no")}).status, 1) << "nothing was made";
    EXPECT_EQ(m_host.Run({"mkdir", "-p", deep}).status, 0);
    EXPECT_EQ(m_host.Run({"put", "-p", Local("file").string(), m_server->Url("other/file")}).status, 0);
    EXPECT_EQ(m_server->Document("other/file"), "x");
    EXPECT_EQ(m_host.Run({"put", "--no-clobber", Local("file").string(), m_server->Url("report.txt")}).status,
              1);
    EXPECT_EQ(m_server->Document("report.txt"), "first");
}

TEST_P(Expectations, PlacesHaveShortNamesAndBrowsersTheirAddresses) {
    const std::string origin = m_server->Origin();
    for (const std::string& address :
         {std::string("team:Shared Documents/Plans/a b.txt"),
          origin +
              "/sites/team/Shared%20Documents/Forms/AllItems.aspx?id=%2Fsites%2Fteam%2FShared%20Documents%2F"
              "Plans%2Fa%20b%2Etxt&parent=%2Fsites%2Fteam",
          origin + "/sites/team/Shared "
                   "Documents/Forms/AllItems.aspx?RootFolder=%2Fsites%2Fteam%2FShared%20Documents"
                   "%2FPlans%2Fa%20b%2Etxt",
          origin + "/:b:/r/sites/team/Shared%20Documents/Plans/a%20b.txt?csf=1&web=1"}) {
        SCOPED_TRACE(address);
        const ProcessResult got = m_host.Run({"get", address, "-"});
        EXPECT_EQ(got.out, "a") << got.err;
        EXPECT_EQ(m_host.Run({"checkout", address}).status, 0);
        EXPECT_EQ(m_host.Run({"discard", address}).status, 0);
    }
    EXPECT_EQ(m_host.Run({"ls", origin + "/sites/team/Shared Documents/Forms/AllItems.aspx"}).out,
              m_host.Run({"ls", Library()}).out);
    EXPECT_NE(m_host.Run({"place", "list"}).out.find("/sites/team  team:"), std::string::npos);
    const ProcessResult unknown = m_host.Run({"ls", "none:Plans"});
    EXPECT_EQ(unknown.status, 1);
}

TEST_P(Expectations, PeopleAndVersionsAreShown) {
    m_server->WriteAs("bob", "report.txt", "by bob");
    m_server->CheckOutAs("bob", "report.txt");
    const std::string listed = m_host.Run({"ls", "--long", Library()}).out;
    const std::string stat = m_host.Run({"stat", m_server->Url("report.txt")}).out;
    for (const std::string& text : {listed, stat}) {
        EXPECT_NE(text.find("bob"), std::string::npos) << text;
        EXPECT_EQ(text.find("i:0#"), std::string::npos) << text;
    }
    EXPECT_NE(stat.find("checked out by: bob"), std::string::npos) << stat;
    if (m_server->IsModern()) {
        EXPECT_NE(stat.find("version:   "), std::string::npos) << stat;
    }
}

// Files beyond a few megabytes are sent from where they are.
class LargeFiles : public Expectations {
protected:
    LargeFiles() {
        WriteText(Local("large"), Content());
        m_server->WriteAs("alice", "large", "old");  // so that the first PUT is the content's
    }
    static std::string Content() {
        std::string content(9 << 20, 'x');
        for (std::size_t i = 0; i < content.size(); i += 4096)
            content[i] = static_cast<char>('a' + i / 4096 % 23);
        return content;
    }
    std::uintmax_t CacheSize() const {
        std::uintmax_t size = 0;
        for (const auto& file : fs::recursive_directory_iterator(m_host.Profile() / "cache")) {
            if (file.is_regular_file() && !file.is_symlink()) size += file.file_size();
        }
        return size;
    }
    std::vector<std::string> Put() const { return {"put", Local("large").string(), m_server->Url("large")}; }
    void FailUploads() const {
        m_server->SetFaults(
            R"([{"match":{"method":"PUT","times":0},"fault":{"kind":"status","status":503,"text":"no"}}])");
    }
};

TEST_P(LargeFiles, AreSentAndFetchedWithoutAnotherCopy) {
    const ProcessResult sent = m_host.Run(Put());
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_TRUE(m_server->Document("large") == Content());
    EXPECT_LT(CacheSize(), 1u << 20);
    EXPECT_EQ(m_host.Run({"get", m_server->Url("large"), Local("back").string()}).status, 0);
    EXPECT_TRUE(ReadText(Local("back")) == Content());
    EXPECT_LT(CacheSize(), 1u << 20);
    EXPECT_EQ(m_host.Run({"recover"}).out, "nothing waits to be sent\n");
    EXPECT_TRUE(ReadText(Local("large")) == Content()) << "the person's file is theirs";
}

TEST_P(LargeFiles, WaitAsACopyWhenTheyCantBeSent) {
    FailUploads();
    EXPECT_EQ(m_host.Run(Put()).status, 1);
    fs::remove(Local("large"));
    m_server->ClearFaults();
    EXPECT_NE(m_host.Unsent().find("\"unsent\""), std::string::npos);
    const ProcessResult sent = m_host.Run({"recover", "--send", "--yes"});
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_TRUE(m_server->Document("large") == Content());
}

TEST_P(LargeFiles, AreSentAfterAKill) {
    m_server->SetFaults(R"([{"match":{"method":"PUT"},"fault":{"kind":"stall-upload","after":1000000}}])");
    const auto put = m_host.Start(Put());
    ASSERT_TRUE(Comes([&] { return m_server->FaultsFired() > 0; }));
    put->Signal(SIGKILL);
    put->Wait();
    m_server->ClearFaults();
    EXPECT_NE(m_host.Unsent().find("\"unsent\""), std::string::npos) << m_host.Unsent();
    const ProcessResult sent = m_host.Run({"recover", "--send", "--yes"});
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_TRUE(m_server->Document("large") == Content());
    EXPECT_TRUE(ReadText(Local("large")) == Content());
    EXPECT_LT(CacheSize(), 1u << 20);
}

INSTANTIATE_TEST_SUITE_P(Generations, LargeFiles, ::testing::Values("modern", "2013"),
                         [](const auto& test) { return "Of" + test.param; });

INSTANTIATE_TEST_SUITE_P(Generations, Expectations, ::testing::Values("modern", "2013", "2010"),
                         [](const auto& test) { return "Of" + test.param; });

}  // namespace
