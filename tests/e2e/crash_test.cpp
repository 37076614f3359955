// A kill at every point of a save, a conflict meanwhile, and a full disk: none of them loses what was saved
// locally or what was there before.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <thread>

#include "tests/support/sphost.h"

namespace {

using namespace testing_support;
namespace fs = std::filesystem;

const std::string kFirst(200000, 'A');
const std::string kSaved = "edited " + std::string(150000, 'B');

// Before the server has done what the request asks for, and after it.
constexpr const char* kMoments[] = {"stall", "stall-headers"};

struct Waiting {
    std::string state;
    std::string server;
    std::string path;
};

class Crash : public ::testing::Test {
protected:
    static constexpr int kDocuments = 120;

    Crash() {
        for (int n = 0; n < kDocuments; ++n) WriteText(m_seed / Name(n), kFirst);
        m_server.emplace(std::vector<std::string>{}, m_seed.Path());
        m_host.environment["PLATFORM_RECEIVE_TIMEOUT_MS"] = "30000";
        m_host.environment["https_proxy"] = "http://127.0.0.1:9";
        m_host.AddPlace(*m_server, "alice");
        WriteText(Source(), kSaved);
    }

    static std::string Name(int n) { return "doc" + std::to_string(n) + ".txt"; }
    std::string Url(int n) const { return m_server->Url(Name(n)); }
    fs::path Source() const { return m_host.Folder() / "source"; }
    fs::path Done() const { return m_host.Folder() / "done"; }

    // Overwrites the document with the source; `then` is more of the program.
    std::vector<std::string> Edit(int n, const std::string& then = "") const {
        return {
            "edit",     Url(n),
            "--answer", "sp.msg.askForCheckOutOnOpen=sp.btn.open",
            "--",       "sh",
            "-c",       "cat '" + Source().string() + "' > \"$0\" && touch '" + Done().string() + "'" + then};
    }
    std::vector<std::string> Put(int n) const { return {"put", Source().string(), Url(n)}; }

    std::optional<Waiting> FindUnsent(int n) const {
        rapidjson::Document json;
        const std::string text = m_host.Unsent();
        json.Parse(text.c_str());
        if (!json.IsArray()) throw std::runtime_error("recover: " + text);
        for (const rapidjson::Value& row : json.GetArray()) {
            if (row["url"].GetString() == Url(n))
                return Waiting{row["state"].GetString(), row["server"].GetString(), row["path"].GetString()};
        }
        return std::nullopt;
    }

    // How many requests to the site a command makes.
    int CountRequests(const std::vector<std::string>& arguments) {
        m_server->ClearRequests();
        const ProcessResult result = m_host.Run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        const std::vector<std::string> requests = m_server->Requests();
        return static_cast<int>(std::count_if(requests.begin(), requests.end(), [](const std::string& r) {
            return r.find("/sites/team") != std::string::npos && r.find("/_dev/") == std::string::npos;
        }));
    }

    // Runs until the n-th request got no answer, and kills.
    void KillAtRequest(const std::vector<std::string>& arguments, int nth, const std::string& fault) {
        fs::remove(Done());
        m_server->SetFaults(R"([{"match":{"path":"/sites/team","times":0,"nth":)" + std::to_string(nth) +
                            R"(},"fault":{"kind":")" + fault + R"("}}])");
        const auto process = m_host.Start(arguments);
        Comes([&] { return m_server->FaultsFired() > 0 || !process->IsRunning(); });
        ASSERT_TRUE(process->IsRunning());
        process->Signal(SIGKILL);
        process->Wait();
        m_server->ClearFaults();
    }

    // The document is the old or the new one, and the new one is never lost once it was saved.
    void ExpectNothingLost(int n, bool was_saved) {
        const std::string now = m_server->Document(Name(n));
        EXPECT_TRUE(now == kFirst || now == kSaved) << now.substr(0, 40);
        const std::optional<Waiting> waiting = FindUnsent(n);
        if (!waiting) {
            EXPECT_TRUE(!was_saved || now == kSaved) << "what was saved is gone";
            return;
        }
        if (waiting->state == "incomplete") {
            EXPECT_FALSE(was_saved);
            EXPECT_EQ(m_host.Run({"recover", "--drop", Url(n)}).status, 0);
            return;
        }
        EXPECT_EQ(waiting->state, "unsent");
        const ProcessResult sent = m_host.Run({"recover", "--send", Url(n)});
        if (waiting->server == "same") {
            EXPECT_EQ(sent.status, 0) << sent.err;
        } else {
            // The upload arrived, its answer did not: the server's version is one's own by its content.
            EXPECT_EQ(waiting->server, "newer");
            EXPECT_EQ(sent.status, 0) << sent.err;
            EXPECT_EQ(now, kSaved);
        }
        EXPECT_TRUE(m_server->Document(Name(n)) == kSaved);
        EXPECT_FALSE(FindUnsent(n));
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

TEST_F(Crash, AtEveryRequestOfAnEditLosesNothing) {
    const int requests = CountRequests(Edit(0));
    ASSERT_LT(2 * requests, kDocuments);
    int saved = 0;
    int number = 0;
    for (const char* fault : kMoments) {
        for (int nth = 1; nth <= requests; ++nth) {
            SCOPED_TRACE(fault + std::to_string(nth));
            KillAtRequest(Edit(++number), nth, fault);
            saved += fs::exists(Done());
            ExpectNothingLost(number, fs::exists(Done()));
        }
    }
    EXPECT_GT(saved, 10) << "the edit's later half was reached";
}

TEST_F(Crash, AtEveryRequestOfAPutLosesNothing) {
    const int requests = CountRequests(Put(0));
    ASSERT_LT(2 * requests, kDocuments);
    int number = 0;
    for (const char* fault : kMoments) {
        for (int nth = 1; nth <= requests; ++nth) {
            SCOPED_TRACE(fault + std::to_string(nth));
            KillAtRequest(Put(++number), nth, fault);
            ExpectNothingLost(number, false);
        }
    }
}

TEST_F(Crash, AtAnyMomentLosesNothing) {
    for (int n = 0; n < 24; ++n) {
        SCOPED_TRACE(std::to_string(n * 7) + " ms");
        fs::remove(Done());
        const auto process = m_host.Start(n % 2 ? Put(n) : Edit(n));
        std::this_thread::sleep_for(std::chrono::milliseconds(n * 7));
        process->Signal(SIGKILL);
        process->Wait();
        ExpectNothingLost(n, fs::exists(Done()));
    }
}

TEST_F(Crash, HalfWayThroughTheUploadKeepsBothTheOldAndTheNew) {
    WriteText(Source(), std::string(3000000, 'N'));
    for (int n = 0; n < 2; ++n) {
        m_server->ClearFaults();
        m_server->SetFaults(
            R"([{"match":{"method":"PUT"},"fault":{"kind":"stall-upload","after":1000000}}])");
        const auto process = m_host.Start(n ? Put(n) : Edit(n));
        Comes([&] { return m_server->FaultsFired() > 0 || !process->IsRunning(); });
        ASSERT_TRUE(process->IsRunning());
        process->Signal(SIGKILL);
        process->Wait();
        EXPECT_TRUE(m_server->Document(Name(n)) == kFirst);
        ASSERT_TRUE(FindUnsent(n));
        EXPECT_EQ(FindUnsent(n)->server, "same");
    }
    m_server->ClearFaults();
    const ProcessResult sent = m_host.Run({"recover", "--send"});
    EXPECT_EQ(sent.status, 0) << sent.err;
    for (int n = 0; n < 2; ++n) EXPECT_TRUE(m_server->Document(Name(n)) == ReadText(Source()));
}

TEST_F(Crash, WhileTheProgramRunsKeepsWhatItSavedSoFar) {
    const fs::path fifo = m_host.Folder() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto process = m_host.Start(Edit(0, "; read line < '" + fifo.string() + "'"));
    Comes([&] { return fs::exists(Done()) || !process->IsRunning(); });
    ASSERT_TRUE(process->IsRunning());
    ASSERT_TRUE(FindUnsent(0)) << "another sphost sees it";
    EXPECT_EQ(FindUnsent(0)->state, "editing");
    EXPECT_EQ(m_host.Run({"recover", "--send"}).status, 1);
    process->Signal(SIGKILL);
    process->Wait();
    const std::optional<Waiting> waiting = FindUnsent(0);
    ASSERT_TRUE(waiting);
    EXPECT_EQ(waiting->state, "editing") << "the program still runs, the host doesn't";
    // Lets the program end.
    int end = -1;
    Comes([&] { return (end = open(fifo.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; });
    close(end);
    EXPECT_TRUE(Comes([&] { return FindUnsent(0)->state == "unsent"; }));
    EXPECT_TRUE(ReadText(waiting->path) == kSaved);
    ExpectNothingLost(0, true);
}

TEST_F(Crash, DoesNotOverwriteALaterSaveOfSomebodyElse) {
    m_server->SetFaults(R"([{"match":{"method":"PUT"},"fault":{"kind":"stall-upload"}}])");
    const auto process = m_host.Start(Put(0));
    Comes([&] { return m_server->FaultsFired() > 0 || !process->IsRunning(); });
    ASSERT_TRUE(process->IsRunning());
    process->Signal(SIGKILL);
    process->Wait();
    m_server->ClearFaults();
    m_server->AdminFor("undo-checkout", "alice", Name(0));
    m_server->WriteAs("bob", Name(0), "of bob");
    ASSERT_TRUE(FindUnsent(0));
    EXPECT_EQ(FindUnsent(0)->server, "newer");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"recover", "--send"},
          {"recover", "--send", "--answer", "sp.msg.outdatedFileOnWrite.question=sp.btn.cancelSaving"}}) {
        const ProcessResult refused = m_host.Run(arguments);
        EXPECT_EQ(refused.status, 1) << refused.err;
        EXPECT_NE(refused.err.find("newer version"), std::string::npos) << refused.err;
        EXPECT_EQ(m_server->Document(Name(0)), "of bob");
    }
    ASSERT_TRUE(FindUnsent(0)) << "a refusal drops nothing";
    const ProcessResult sent =
        m_host.Run({"recover", "--send", "--answer", "sp.msg.outdatedFileOnWrite.question=sp.btn.overwrite"});
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_TRUE(m_server->Document(Name(0)) == kSaved);
}

// A process with a mount namespace of its own, in which a small disk lies over a folder.
class SmallDisk {
public:
    SmallDisk(const fs::path& folder, const fs::path& messages) {
        fs::create_directories(folder);
        ProcessOptions options;
        options.arguments = {"unshare",
                             "--user",
                             "--map-root-user",
                             "--mount",
                             "sh",
                             "-c",
                             "mount -t tmpfs -o size=1m disk '" + folder.string() + "' && touch '" +
                                 folder.string() + "/.mounted' && exec sleep 600"};
        options.out = options.err = messages;
        m_holder.emplace(options);
        Comes([&] { return fs::exists(Inside(folder / ".mounted")) || !m_holder->IsRunning(); });
    }
    bool IsThere() { return m_holder->IsRunning(); }
    // The path as seen from within.
    fs::path Inside(const fs::path& path) const {
        return "/proc/" + std::to_string(m_holder->Id()) + "/root" + path.string();
    }
    // What runs a program within.
    std::vector<std::string> Prefix() const {
        return {"nsenter",  "--user",
                "--mount",  "--preserve-credentials",
                "--target", std::to_string(m_holder->Id()),
                "--"};
    }

private:
    std::optional<Process> m_holder;
};

class FullDisk : public Crash {
protected:
    static bool Holds(const fs::path& folder, const std::string& bytes) {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file() && ReadText(entry.path()) == bytes) return true;
        }
        return false;
    }
    static void ExpectClearLine(const ProcessResult& result, const std::string& code,
                                const std::string& words) {
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_NE(result.err.find(code), std::string::npos) << result.err;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
    }
};

TEST_F(FullDisk, InTheCacheLeavesThePreviousCopy) {
    const fs::path cache = m_host.Profile() / "cache";
    SmallDisk disk(cache, m_host.Folder() / "disk");
    if (!disk.IsThere()) GTEST_SKIP() << "no small disk here: " << ReadText(m_host.Folder() / "disk");
    m_host.prefix = disk.Prefix();
    const fs::path target = m_host.Folder() / "target";
    ASSERT_EQ(m_host.Run({"get", Url(0), target.string()}).status, 0);
    ASSERT_TRUE(Holds(disk.Inside(cache), kFirst));
    const std::string big(3000000, 'C');
    m_server->WriteAs("bob", Name(0), big);
    ExpectClearLine(m_host.Run({"get", Url(0), target.string()}), "0x80070070", "the disk is full");
    EXPECT_TRUE(ReadText(target) == kFirst);
    EXPECT_TRUE(Holds(disk.Inside(cache), kFirst)) << "the previous local copy is gone";
    ExpectClearLine(m_host.Run(Edit(0)), "0x80070070", "the disk is full");
    WriteText(Source(), big);
    ExpectClearLine(m_host.Run(Put(1)), "0x80070070", "the disk is full");
    EXPECT_TRUE(m_server->Document(Name(1)) == kFirst);
    EXPECT_TRUE(m_server->Document(Name(0)) == big);
    EXPECT_FALSE(FindUnsent(1)) << "half a copy is nothing to send";
    WriteText(Source(), kSaved);
    EXPECT_EQ(m_host.Run(Put(1)).status, 0) << "there is room for a small one";
    EXPECT_TRUE(m_server->Document(Name(1)) == kSaved);
}

TEST_F(FullDisk, StopsNoCommandThatOnlyLooksOrChecksIn) {
    const fs::path cache = m_host.Profile() / "cache";
    SmallDisk disk(cache, m_host.Folder() / "disk");
    if (!disk.IsThere()) GTEST_SKIP() << "no small disk here: " << ReadText(m_host.Folder() / "disk");
    m_host.prefix = disk.Prefix();
    ASSERT_EQ(m_host.Run(Edit(1, "; exit 1")).status, 1);
    ASSERT_TRUE(FindUnsent(1));
    ASSERT_EQ(m_host.Run({"checkout", Url(0)}).status, 0);
    std::ofstream filler(disk.Inside(cache / "filler"), std::ios::binary);
    while (filler << kFirst << std::flush) {
    }
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"ls", m_server->Url("")},
                                                      {"stat", Url(0)},
                                                      {"checkin", Url(0), "--type", "major"}}) {
        const ProcessResult result = m_host.Run(arguments);
        EXPECT_EQ(result.status, 0) << arguments[0] << ": " << result.err;
    }
    EXPECT_EQ(m_server->CheckedOutBy(Name(0)), "");
    ASSERT_TRUE(FindUnsent(1)) << "what waits is told";
    EXPECT_EQ(FindUnsent(1)->state, "unsent");
}

TEST_F(FullDisk, FilledWhileTheProgramRunsKeepsWhatItSaved) {
    const fs::path cache = m_host.Profile() / "cache";
    SmallDisk disk(cache, m_host.Folder() / "disk");
    if (!disk.IsThere()) GTEST_SKIP() << "no small disk here: " << ReadText(m_host.Folder() / "disk");
    m_host.prefix = disk.Prefix();
    const fs::path filler = cache / "filler";
    const ProcessResult result =
        m_host.Run(Edit(0, "; cat /dev/zero > '" + filler.string() + "' 2>&-; true"));
    fs::remove(disk.Inside(filler));
    ExpectClearLine(result, "0x80070070", "full");
    ASSERT_TRUE(FindUnsent(0)) << result.err;
    ExpectNothingLost(0, true);
}

TEST_F(FullDisk, AtTheTargetLeavesTheOldFile) {
    const fs::path folder = m_host.Folder() / "target";
    SmallDisk disk(folder, m_host.Folder() / "disk");
    if (!disk.IsThere()) GTEST_SKIP() << "no small disk here: " << ReadText(m_host.Folder() / "disk");
    m_host.prefix = disk.Prefix();
    WriteText(disk.Inside(folder / "file"), "old");
    m_server->WriteAs("bob", Name(0), std::string(3000000, 'C'));
    ExpectClearLine(m_host.Run({"get", Url(0), (folder / "file").string()}), "0x80070070",
                    "the disk is full");
    EXPECT_EQ(ReadText(disk.Inside(folder / "file")), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(disk.Inside(folder)), {}), 2) << "beside the mount's mark";
}

TEST_F(FullDisk, AndAFileSizeLimitAreReportedAndLeaveThePreviousCopy) {
    const fs::path target = m_host.Folder() / "target";
    ASSERT_EQ(m_host.Run({"get", Url(0), target.string()}).status, 0);
    m_server->WriteAs("bob", Name(0), std::string(3000000, 'C'));
    WriteText(Source(), std::string(3000000, 'D'));
    m_host.prefix = {"prlimit", "--fsize=1000000"};
    ExpectClearLine(m_host.Run({"get", Url(0), target.string()}), "0x800700DF", "larger");
    ExpectClearLine(m_host.Run(Put(1)), "0x800700DF", "larger");
    m_host.prefix.clear();
    EXPECT_TRUE(ReadText(target) == kFirst);
    EXPECT_TRUE(Holds(m_host.Profile() / "cache", kFirst));
    EXPECT_TRUE(m_server->Document(Name(1)) == kFirst);
    EXPECT_FALSE(FindUnsent(1));
    EXPECT_EQ(m_host.Run(Put(1)).status, 0);
}

}  // namespace
