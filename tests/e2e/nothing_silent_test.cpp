// What a person hears of refusals and waits: each with a sentence and the right exit status.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "tests/support/row_name.h"
#include "tests/support/sphost.h"

namespace {

using namespace testing_support;

// A server of a generation with a few documents, and a place on it.
class Site : public ::testing::Test {
protected:
    void Start(const std::string& generation, const std::vector<std::string>& options = {}) {
        WriteText(m_seed / "report.txt", "first");
        std::vector<std::string> words{"--generation", generation};
        words.insert(words.end(), options.begin(), options.end());
        m_server.emplace(words, m_seed.Path());
        m_host.AddPlace(*m_server, "alice");
    }
    // Every listing of the library meets the fault, the look-ups before it don't.
    void FailListings(const std::string& fault) {
        const std::string match = m_server->IsModern()
                                      ? R"("path":"$expand=Folders","times":0)"
                                      : R"("method":"PROPFIND","path":"Shared Documents","nth":2,"times":0)";
        m_server->SetFaults("[{\"match\":{" + match + "},\"fault\":{" + fault + "}}]");
    }
    std::string Library() const {
        const std::string url = m_server->Url("");
        return url.substr(0, url.size() - 1);
    }
    std::string Url(const std::string& name = "report.txt") const { return m_server->Url(name); }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

struct ListingFault {
    std::string what;
    std::string generation;
    std::string fault;
    friend void PrintTo(const ListingFault& row, std::ostream* out) { *out << row.what; }
};

std::vector<ListingFault> ListingFaults() {
    static constexpr const char* kFailure =
        R"("kind":"status","status":500,"code":"-2147467259, Microsoft.SharePoint.SPException",)"
        R"("message":"Cannot complete this action.")";
    std::vector<ListingFault> rows;
    for (const std::string generation : {"modern", "2013", "2010"}) {
        const bool is_modern = generation == "modern";
        rows.push_back({generation + " busy", generation, R"("kind":"status","status":503,"text":"no")"});
        rows.push_back(
            {generation + " throttled", generation, R"("kind":"status","status":429,"text":"no")"});
        rows.push_back(
            {generation + " forbidden", generation, R"("kind":"status","status":403,"text":"no")"});
        rows.push_back({generation + " truncated", generation, R"("kind":"truncate","after":60)"});
        rows.push_back({generation + " sign-in page", generation, R"("kind":"sign-in-page")"});
        if (is_modern) rows.push_back({generation + " failure", generation, kFailure});
    }
    return rows;
}

class RefusedListing : public Site, public ::testing::WithParamInterface<ListingFault> {};

TEST_P(RefusedListing, IsAFailureAndNoEmptyFolder) {
    Start(GetParam().generation);
    FailListings(GetParam().fault);
    const ProcessResult listed = m_host.Run({"ls", Library()});
    EXPECT_EQ(listed.status, 1);
    EXPECT_EQ(listed.out, "");
    EXPECT_EQ(std::count(listed.err.begin(), listed.err.end(), '\n'), 1) << listed.err;
    if (GetParam().fault.find("complete") != std::string::npos) {
        EXPECT_NE(listed.err.find("Cannot complete this action"), std::string::npos) << listed.err;
    }
    EXPECT_EQ(m_host.Run({"ls", Library(), "--json"}).status, 1);
    EXPECT_EQ(m_host.Run({"rm", Library()}).status, 1) << "it isn't known to be empty";
    m_server->ClearFaults();
    EXPECT_EQ(m_server->Document("report.txt"), "first");
}

INSTANTIATE_TEST_SUITE_P(Faults, RefusedListing, ::testing::ValuesIn(ListingFaults()), RowName());

class OnTheTerminal : public Site {};

TEST_F(OnTheTerminal, AWaitAndATransferAreShown) {
    Start("modern");
    WriteText(m_seed / "big", std::string(3 << 20, 'x'));
    m_server->SetFaults(
        R"([{"match":{"path":"$expand=Folders"},"fault":{"kind":"delay","milliseconds":1500}}])");
    const ProcessResult listed = m_host.RunAtTerminal({"ls", Library()});
    EXPECT_EQ(listed.status, 0);
    EXPECT_NE(listed.out.find("sphost ls: 1 s"), std::string::npos) << listed.out;
    const ProcessResult quiet = m_host.Run({"ls", Library()});
    EXPECT_EQ(quiet.err, "") << "no terminal, no status line";
    // A slow line in each direction.
    m_server->SetFaults(R"([{"match":{"path":"$value","times":0},)"
                        R"("fault":{"kind":"slow","bytes_per_second":2000000}}])");
    m_server->WriteAs("bob", "big", ReadText(m_seed / "big"));
    const ProcessResult got = m_host.RunAtTerminal({"get", Url("big"), (m_host.Folder() / "big").string()});
    EXPECT_EQ(got.status, 0);
    EXPECT_NE(got.out.find(" % of 3.0 MiB, "), std::string::npos) << got.out;
    EXPECT_NE(got.out.find("MiB/s"), std::string::npos) << got.out;
}

TEST_F(OnTheTerminal, RecoverShowsWhatIsHereBeforeItAsksTheServer) {
    Start("modern");
    WriteText(m_host.Folder() / "mine", "second");
    m_server->SetFaults(R"([{"match":{"method":"PUT","times":0},"fault":{"kind":"status","status":503}}])");
    EXPECT_EQ(m_host.Run({"put", (m_host.Folder() / "mine").string(), Url()}).status, 1);
    m_server->SetFaults(R"([{"match":{"times":0},"fault":{"kind":"delay","milliseconds":3000}}])");
    m_host.environment["PLATFORM_RECEIVE_TIMEOUT_MS"] = "20000";
    const auto recovering = m_host.Start({"recover"});
    EXPECT_TRUE(Comes([&] { return m_host.LastOutput().find("unsent, 6 bytes") != std::string::npos; }));
    EXPECT_TRUE(recovering->IsRunning()) << "the server has not answered yet";
}

TEST_F(OnTheTerminal, ALostSignInFailsAtOnceWithoutOne) {
    Start("modern");
    m_server->SetFaults(
        R"([{"match":{"path":"/sites/team","times":0},"fault":{"kind":"status","status":401}}])");
    m_host.environment["https_proxy"] = "http://127.0.0.1:9";
    const auto start = std::chrono::steady_clock::now();
    const ProcessResult listed = m_host.Run({"ls", Library()});
    EXPECT_EQ(listed.status, 1) << listed.err;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

class ExitStatus : public Site {};

TEST_F(ExitStatus, TellsACancelledCheckInAndANo) {
    Start("modern");
    EXPECT_EQ(m_host.Run({"checkout", Url()}).status, 0);
    const ProcessResult canceled =
        m_host.Run({"checkin", Url(), "--answer", "sp.msg.checkInDialogMessage=sp.btn.keepCkeckedOut"});
    EXPECT_EQ(canceled.status, 3) << canceled.err;
    EXPECT_EQ(m_server->CheckedOutBy("report.txt").empty(), false);
    EXPECT_EQ(m_host.Run({"checkin", Url(), "--type", "major"}).status, 0);
    EXPECT_EQ(m_host.Run({"detect", m_server->Site()}).status, 0);
    m_server->SetFaults(R"([{"match":{"times":0},"fault":{"kind":"status","status":404}}])");
    const ProcessResult no = m_host.Run({"detect", m_server->Site()});
    EXPECT_EQ(no.status, 4);
    EXPECT_EQ(no.out, "not SharePoint\n");
}

TEST_F(ExitStatus, EveryCommandPrintsOneJsonDocument) {
    Start("modern");
    WriteText(m_host.Folder() / "mine", "second");
    const std::string local = (m_host.Folder() / "mine").string();
    const std::vector<std::vector<std::string>> commands{
        {"place", "list"},
        {"ls", Library()},
        {"stat", Url()},
        {"put", local, Url()},
        {"get", Url(), (m_host.Folder() / "copy").string()},
        {"checkout", Url()},
        {"fields", Url()},
        {"checkin", Url(), "--type", "major"},
        {"checkout", Url()},
        {"discard", Url()},
        {"edit", Url(), "--answer", "askForCheckOutOnOpen=btn.open", "--", "true"},
        {"mkdir", Url("new")},
        {"cp", Url(), Url("copy.txt")},
        {"mv", Url("copy.txt"), Url("new")},
        {"rename", Url("new"), Url("old")},
        {"rm", Url("old"), "--yes"},
        {"recover"},
        {"recover", "--send"},
        {"cache"},
        {"prefs"},
        {"detect", m_server->Site()},
        {"signout", m_server->Site()},
        {"place", "remove", m_server->Site()},
    };
    for (std::vector<std::string> words : commands) {
        SCOPED_TRACE(::testing::PrintToString(words));
        words.insert(words.begin(), "--json");
        const ProcessResult result = m_host.Run(words);
        EXPECT_EQ(result.status, 0) << result.err;
        rapidjson::Document json;
        json.Parse(result.out.c_str());
        EXPECT_FALSE(json.HasParseError()) << result.out;
    }
}

}  // namespace
