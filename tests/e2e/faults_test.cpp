// The server's faults, one by one and at every request of a command: each ends in its result code and a clear
// line, leaves nothing half done, and has no effect on later commands.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <functional>

#include "tests/e2e/fault_fixture.h"
#include "tests/support/row_name.h"

namespace {

using namespace testing_support;
namespace fs = std::filesystem;

constexpr char kMarker[] = "NOT-A-DOCUMENT";

class Faults : public FaultFixture {
protected:
    Faults() : FaultFixture({"--approve", "alice"}, 800) {
        m_host.AddPlaceByCode(*m_server);
        WriteText(Target(), "old");
    }

    // Whether an incomplete copy was left behind.
    bool HasPart() const {
        const fs::directory_iterator entries(m_host.Folder().Path());
        return std::any_of(begin(entries), end(entries), [](const fs::directory_entry& entry) {
            return entry.path().filename().string().starts_with(".sphost-");
        });
    }

    static void ExpectRefusal(const ProcessResult& result, const std::string& code = "0x8",
                              const std::string& words = "") {
        EXPECT_EQ(result.status, 1) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_TRUE(result.err.starts_with("sphost: ")) << result.err;
        EXPECT_NE(result.err.find(" (" + code), std::string::npos) << result.err;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
    }

    bool ProfileHolds(const std::string& text) const {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_host.Profile())) {
            if (entry.is_regular_file() && ReadText(entry.path()).find(text) != std::string::npos)
                return true;
        }
        return false;
    }
};

TEST_F(Faults, AStoppedServerIsReported) {
    m_server->Stop();
    for (const auto& arguments :
         {Get(), Put(), Edit(), std::vector<std::string>{"ls", Url("")},
          std::vector<std::string>{"checkout", Url()}, std::vector<std::string>{"checkin", Url()}}) {
        ExpectRefusal(m_host.Run(arguments), "0x80072EFD", "could not be reached");
    }
    EXPECT_EQ(ReadText(Target()), "old");
    m_server->Restart();
    EXPECT_EQ(m_host.Run(Get()).status, 0);
    EXPECT_TRUE(ReadText(Target()) == kFirst);
    ExpectRefusal(m_host.Run({"place", "add", "https://no-such-host.invalid/sites/x", "--api", "modern",
                              "--token-stdin"},
                             "token\n"),
                  "0x80072EE7", "name could not be found");
}

TEST_F(Faults, AConnectionThatIsNeverServedEndsInTime) {
    for (const auto& arguments :
         {Get(), Put(), Edit(), std::vector<std::string>{"ls", Url("")},
          std::vector<std::string>{"checkout", Url()}, std::vector<std::string>{"checkin", Url()}}) {
        m_server->SetFaults(R"([{"match":{"times":0},"fault":{"kind":"stall-connect"}}])");
        // Not through ClearFaults: the server answers no connection.
        ExpectRefusal(m_host.Run(arguments), "0x80072EE2", "too long");
        m_server->Restart();
    }
    EXPECT_EQ(ReadText(Target()), "old");
    EXPECT_TRUE(m_server->Document(kName) == kFirst);
}

struct Row {
    std::string what;
    std::string fault;
    std::string code = "0x80004005";
    std::string words;  // in the error line

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.what; }
};

Row Slow(const std::string& kind, const std::string& more = {}) {
    return {
        .what = kind, .fault = R"("kind":")" + kind + '"' + more, .code = "0x80072EE2", .words = "too long"};
}

Row Broken(const std::string& kind, const std::string& more, const std::string& code) {
    return {.what = kind, .fault = R"("kind":")" + kind + '"' + more, .code = code, .words = "connection"};
}

Row Short(const std::string& what, const std::string& fault) {
    return {.what = what, .fault = fault, .code = "0x8007000D", .words = "ended after"};
}

Row Status(const std::string& status, const std::string& more) {
    return {
        .what = "status " + status, .fault = R"("kind":"status","status":)" + status + more, .words = status};
}

const Row kSignInPage{.what = "sign-in-page", .fault = R"("kind":"sign-in-page")", .words = "sign in"};
const std::string kErrorText = R"(,"text":"NOT-A-DOCUMENT")";
const std::string kErrorOfSharePoint = R"(,"code":"-2147024891, X","message":"NOT-A-DOCUMENT")";

const Row kDownloadRows[] = {
    Slow("stall"),
    Slow("stall-headers"),
    Slow("stall-body", R"(,"after":70000)"),
    Broken("drop-body", R"(,"after":70000)", "0x80072E"),
    {.what = "too long a length",
     .fault = R"("kind":"length","delta":5000)",
     .code = "0x80072E",
     .words = "connection"},
    Short("too short a length", R"("kind":"length","delta":-5000)"),
    Short("truncate", R"("kind":"truncate","after":5000)"),
    kSignInPage,
    Status("401", kErrorText),
    Status("403", kErrorText),
    Status("404", kErrorText),
    Status("423", kErrorText),
    Status("429", kErrorText + R"(,"retry_after":1)"),
    Status("500", kErrorText),
    {.what = "status 500 of sharepoint",
     .fault = R"("kind":"status","status":500)" + kErrorOfSharePoint,
     .words = "500"},
    Status("503", kErrorText),
};

class DownloadFaults : public Faults, public ::testing::WithParamInterface<Row> {};

TEST_P(DownloadFaults, ReportsItsCodeAndNeverReachesAFile) {
    const Row& row = GetParam();
    SetFault(R"("method":"GET","path":"/$value","times":0)", row.fault);
    ExpectRefusal(m_host.Run(Get()), row.code, row.words);
    ExpectRefusal(m_host.Run(Edit()), row.code, row.words);
    EXPECT_EQ(ReadText(Target()), "old");
    EXPECT_FALSE(HasPart());
    EXPECT_FALSE(ProfileHolds(kMarker));
    EXPECT_FALSE(ProfileHolds("<html"));
    // The local copy of a version before stays as it was, too.
    m_server->ClearFaults();
    ASSERT_EQ(m_host.Run(Get()).status, 0);
    m_server->WriteAs("bob", kName, std::string(300000, 'B'));
    SetFault(R"("method":"GET","path":"/$value","times":0)", row.fault);
    ExpectRefusal(m_host.Run(Get()), row.code, row.words);
    EXPECT_TRUE(ReadText(Target()) == kFirst);
    EXPECT_TRUE(ProfileHolds(kFirst)) << "the local copy of the version before is gone";
    m_server->ClearFaults();
    EXPECT_EQ(m_host.Run(Get()).status, 0);
    EXPECT_EQ(ReadText(Target()), std::string(300000, 'B'));
}

INSTANTIATE_TEST_SUITE_P(Fault, DownloadFaults, ::testing::ValuesIn(kDownloadRows), RowName());

const std::string kNo = R"(,"text":"no")";
const Row kUploadRows[] = {
    Slow("stall"),
    Slow("stall-headers"),
    Slow("stall-upload", R"(,"after":2)"),
    Broken("drop-upload", R"(,"after":2)", "0x80072F00"),
    Broken("close", "", "0x80072F00"),
    {.what = "stale-digest", .fault = R"("kind":"stale-digest")", .words = "403"},
    kSignInPage,
    Status("401", kNo),
    Status("403", kNo),
    Status("423", kNo),
    Status("429", kNo),
    Status("500", kNo),
    Status("503", kNo),
};

class UploadFaults : public Faults, public ::testing::WithParamInterface<Row> {};

TEST_P(UploadFaults, ReportsItsCodeAndKeepsWhatWasSaved) {
    const Row& row = GetParam();
    // With these the server has stored the upload already.
    const bool is_taken = row.what == "stall-headers" || row.what == "close";
    for (const std::string name : {"edited.txt", "put.txt"}) {
        SCOPED_TRACE(name);
        m_server->WriteAs("alice", name, kFirst);
        SetFault(R"("method":"PUT","times":0)", row.fault);
        ExpectRefusal(m_host.Run(name == "put.txt" ? Put(name) : Edit(name)), row.code, row.words);
        m_server->ClearFaults();
        EXPECT_TRUE(m_server->Document(name) == (is_taken ? kSecond : kFirst));
        EXPECT_NE(m_host.Unsent().find(name), std::string::npos);
        const ProcessResult sent = m_host.Run({"recover", "--send", is_taken ? "--yes" : Url(name)});
        EXPECT_EQ(sent.status, 0) << sent.err;
        EXPECT_EQ(m_server->Document(name), kSecond);
    }
}

INSTANTIATE_TEST_SUITE_P(Fault, UploadFaults, ::testing::ValuesIn(kUploadRows), RowName());

TEST_F(Faults, ATokenThatExpiredOrIsRefusedIsRenewed) {
    for (const auto& arguments : {Get(), Put(), Edit(), std::vector<std::string>{"ls", Url("")}}) {
        m_server->Admin("expire-tokens");
        const ProcessResult result = m_host.Run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
    }
    // Refused once, at every request of a download.
    for (int nth = 1; nth <= 14; ++nth) {
        SetFault(R"("path":"/sites/team","nth":)" + std::to_string(nth),
                 R"("kind":"status","status":401,"text":"no")");
        const ProcessResult result = m_host.Run(Get());
        EXPECT_EQ(result.status, 0) << nth << result.err;
    }
    EXPECT_EQ(ReadText(Target()), kSecond);
}

TEST_F(Faults, AFailedSignInIsReported) {
    const auto expect = [&](const std::string& fault, int status, const std::string& words) {
        m_server->Admin("expire-tokens");
        SetFault(R"("path":"/oauth2/v2.0/","times":0)", fault);
        const ProcessResult result = m_host.Run(Get());
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
        EXPECT_EQ(ReadText(Target()), "old");
    };
    expect(R"("kind":"status","status":400,"text":"{\"error\":\"access_denied\"}")", 3, "cancelled");
    expect(R"("kind":"status","status":500,"text":"no")", 1, "status 500");
    expect(R"("kind":"sign-in-page")", 1, "sign-in server");
    expect(R"("kind":"nested","depth":100000)", 1, "sign-in server");
    expect(R"("kind":"close")", 1, "0x8");
    m_server->ClearFaults();
    std::vector<std::string> get = Get();
    get.emplace_back("--force");
    const ProcessResult alone = m_host.Run(get);
    EXPECT_EQ(alone.status, 1) << "nobody is there to enter a code";
    EXPECT_NE(alone.err.find("without a terminal nobody can sign in again"), std::string::npos) << alone.err;
    EXPECT_EQ(m_host.RunAtTerminal(get).status, 0);
}

// What a command may leave behind when one of its requests failed, and whether it is done after a retry.
struct Sweep {
    std::vector<std::string> arguments;
    std::function<void()> prepare;
    std::function<bool()> is_undone;
    std::function<bool()> is_done;
    bool is_repeatable = true;
};

class FaultSweep : public Faults {
protected:
    bool Is(const std::string& name, const std::string& content) const {
        return m_server->Document(name) == content;
    }
    bool IsMissing(const std::string& name) const { return m_server->Document(name).starts_with("<status"); }

    void Run(const std::function<Sweep(int)>& make) {
        int number = 0;
        const Sweep first = make(number++);
        first.prepare();
        m_server->ClearRequests();
        const ProcessResult plain = m_host.Run(first.arguments);
        ASSERT_EQ(plain.status, 0) << plain.err;
        ASSERT_TRUE(first.is_done());
        const std::vector<std::string> requests = m_server->Requests();
        const auto count = std::count_if(requests.begin(), requests.end(), [](const std::string& r) {
            return r.find("/sites/team") != std::string::npos && r.find("/_dev/") == std::string::npos;
        });
        ASSERT_GT(count, 3);
        for (const char* fault : {R"("kind":"status","status":500,"code":"-1, x","message":"busy")",
                                  R"("kind":"close","run_first":true)"}) {
            for (int nth = 1; nth <= count; ++nth) {
                SCOPED_TRACE(first.arguments[0] + " " + fault + " at " + std::to_string(nth));
                RunOne(make(number++), fault, nth);
            }
        }
    }

    void RunOne(const Sweep& sweep, const char* fault, int nth) {
        sweep.prepare();
        SetFault(R"("path":"/sites/team","nth":)" + std::to_string(nth), fault);
        const ProcessResult result = m_host.Run(sweep.arguments);
        m_server->ClearFaults();
        if (result.status == 0) {
            EXPECT_TRUE(sweep.is_done()) << "success was claimed";
            return;
        }
        ExpectRefusal(result);
        const bool is_done = sweep.is_done();
        EXPECT_TRUE(is_done || sweep.is_undone()) << result.err;
        if (m_host.Unsent().find("\"unsent\"") != std::string::npos) {
            const ProcessResult sent = m_host.Run({"recover", "--send", "--yes"});
            EXPECT_EQ(sent.status, 0) << sent.err;
        } else if (sweep.is_repeatable || !is_done) {
            const ProcessResult again = m_host.Run(sweep.arguments);
            EXPECT_EQ(again.status, 0) << again.err;
        }
        EXPECT_TRUE(sweep.is_done()) << "after the fault was over";
    }

    static std::string Numbered(int number, const char* what = "") {
        return what + std::to_string(number) + ".txt";
    }
};

TEST_F(FaultSweep, GetTakesAllOrNothing) {
    Run([&](int) {
        return Sweep{Get(),
                     [&] {
                         fs::remove_all(m_host.Profile() / "cache");
                         WriteText(Target(), "old");
                     },
                     [&] { return ReadText(Target()) == "old"; },
                     [&] { return ReadText(Target()) == kFirst; }};
    });
}

TEST_F(FaultSweep, PutReplacesTheWholeDocumentOrNothing) {
    Run([&](int number) {
        const std::string name = Numbered(number);
        return Sweep{Put(name), [&, name] { m_server->WriteAs("alice", name, kFirst); },
                     [&, name] { return Is(name, kFirst); }, [&, name] { return Is(name, kSecond); }};
    });
}

TEST_F(FaultSweep, PutOfANewDocumentLeavesNothingForeign) {
    Run([&](int number) {
        const std::string name = Numbered(number);
        return Sweep{Put(name), [] {}, [&, name] { return IsMissing(name) || Is(name, ""); },
                     [&, name] { return Is(name, kSecond); }};
    });
}

TEST_F(FaultSweep, EditSendsWhatWasSavedOrKeepsIt) {
    Run([&](int number) {
        const std::string name = Numbered(number);
        return Sweep{Edit(name), [&, name] { m_server->WriteAs("alice", name, kFirst); },
                     [&, name] { return Is(name, kFirst); }, [&, name] { return Is(name, kSecond); }, false};
    });
}

TEST_F(FaultSweep, TheWorkflowIsDoneOrNot) {
    Run([&](int number) {
        const std::string name = Numbered(number);
        return Sweep{{"checkout", Url(name)},
                     [&, name] { m_server->WriteAs("alice", name, kFirst); },
                     [&, name] { return m_server->CheckedOutBy(name).empty(); },
                     [&, name] { return m_server->CheckedOutBy(name).find("alice") != std::string::npos; },
                     false};
    });
    Run([&](int number) {
        const std::string name = Numbered(number, "in");
        return Sweep{{"checkin", Url(name), "--type", "major", "--comment", "c"},
                     [&, name] {
                         m_server->WriteAs("alice", name, kFirst);
                         m_server->CheckOutAs("alice", name);
                     },
                     [&, name] { return m_server->CheckedOutBy(name).find("alice") != std::string::npos; },
                     [&, name] { return m_server->CheckedOutBy(name).empty() && Is(name, kFirst); },
                     false};
    });
}

TEST_F(FaultSweep, CopiesAndMovesAreWhole) {
    for (const char* command : {"cp", "mv", "rename"}) {
        const bool source_stays = command == std::string("cp");
        Run([&, command, source_stays](int number) {
            const std::string from = Numbered(number, command);
            const std::string to = "to " + from;
            return Sweep{{command, Url(from), Url(to)},
                         [&, from] { m_server->WriteAs("alice", from, kFirst); },
                         [&, from, to] { return Is(from, kFirst) && IsMissing(to); },
                         [&, from, to, source_stays] {
                             return Is(to, kFirst) && (source_stays ? Is(from, kFirst) : IsMissing(from));
                         },
                         false};
        });
    }
}

TEST_F(FaultSweep, AnItemInTheWayOfACopyOrMoveStays) {
    for (const char* command : {"cp", "mv", "rename"}) {
        for (int nth = 1; nth <= 12; ++nth) {
            SCOPED_TRACE(command + std::to_string(nth));
            m_server->WriteAs("alice", "from.txt", kFirst);
            m_server->WriteAs("alice", "to.txt", kSecond);
            SetFault(R"("path":"/sites/team","nth":)" + std::to_string(nth),
                     R"("kind":"status","status":500,"code":"-1, x","message":"busy")");
            ExpectRefusal(m_host.Run({command, Url("from.txt"), Url("to.txt")}));
            EXPECT_TRUE(Is("to.txt", kSecond) && Is("from.txt", kFirst));
        }
    }
}

TEST_F(FaultSweep, FoldersAndDeletionsAreDoneOrNot) {
    Run([&](int number) {
        const std::string name = "folder" + std::to_string(number);
        const auto is_there = [&, name] {
            return m_server
                       ->Rest("alice", "GET",
                              "/_api/web/GetFolderByServerRelativePath(decodedurl='" +
                                  Escape(DevServer::PathOf(name)) + "')")
                       .status == 200;
        };
        return Sweep{{"mkdir", Url(name)}, [] {}, [is_there] { return !is_there(); }, is_there, false};
    });
    Run([&](int number) {
        const std::string name = Numbered(number, "gone");
        return Sweep{{"rm", Url(name)},
                     [&, name] { m_server->WriteAs("alice", name, kFirst); },
                     [&, name] { return Is(name, kFirst); },
                     [&, name] { return IsMissing(name); },
                     false};
    });
}

}  // namespace
