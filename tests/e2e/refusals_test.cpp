// Answers that a server refuses or breaks: each ends with a clear line, changes no document and no local
// copy, and loses nothing that was saved.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/row_name.h"
#include "tests/support/sphost.h"

namespace {

using namespace testing_support;

constexpr char kDocument[] = "report.txt";

struct Fault {
    std::string what;
    std::string json;

    friend void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.what; }
};

// Every fault of an answer, each for all requests of its kind.
std::vector<Fault> Faults() {
    std::vector<Fault> faults = {
        {"stall before the answer", R"({"kind":"stall"})"},
        {"stall in the headers", R"({"kind":"stall-headers"})"},
        {"closed connection", R"({"kind":"close"})"},
        {"sign-in page", R"({"kind":"sign-in-page"})"},
        {"redirect loop", R"({"kind":"redirect","loop":true,"status":302})"},
        {"endless headers", R"({"kind":"header-bomb","count":100000,"size":100})"},
        {"SharePoint error", R"({"kind":"status","status":500,"code":"-1, x","message":"boom"})"},
    };
    for (const int status : {401, 403, 404, 423, 429, 500, 503}) {
        faults.push_back({"status " + std::to_string(status),
                          R"({"kind":"status","text":"no","status":)" + std::to_string(status) + "}"});
    }
    return faults;
}

std::vector<Fault> AnswerFaults() {
    std::vector<Fault> faults = Faults();
    faults.push_back({"truncated answer", R"({"kind":"truncate","after":40})"});
    faults.push_back({"deep answer", R"({"kind":"nested","depth":100000})"});
    return faults;
}

std::vector<Fault> DownloadFaults() {
    std::vector<Fault> faults = Faults();
    faults.push_back({"stall in the body", R"({"kind":"stall-body","after":1000})"});
    faults.push_back({"drop in the body", R"({"kind":"drop-body","after":1000})"});
    faults.push_back({"too long a length", R"({"kind":"length","delta":500})"});
    faults.push_back({"too short a length", R"({"kind":"length","delta":-500})"});
    faults.push_back({"short body", R"({"kind":"truncate","after":1000})"});
    return faults;
}

class Refusals : public ::testing::Test {
protected:
    Refusals() {
        WriteText(m_seed / kDocument, m_first);
        m_server.emplace(std::vector<std::string>{}, m_seed.Path());
        m_host.environment["PLATFORM_RECEIVE_TIMEOUT_MS"] = "500";
        m_host.environment["PLATFORM_CONNECT_TIMEOUT_MS"] = "500";
        // A sign-in that nobody answers must not leave this machine.
        m_host.environment["https_proxy"] = "http://127.0.0.1:9";
        m_host.AddPlace(*m_server, "alice");
        WriteText(Local(), "second");
    }

    std::filesystem::path Local() const { return m_host.Folder() / "local"; }
    std::string Url() const { return m_server->Url(kDocument); }

    void SetFault(const std::string& match, const std::string& fault) {
        m_server->SetFaults(R"([{"match":{)" + match + R"("times":0},"fault":)" + fault + "}]");
    }

    // Runs under the fault: it has to fail with one line, and the server's document has to stay.
    void ExpectRefused(const std::vector<std::string>& arguments) {
        SCOPED_TRACE(arguments[0]);
        const ProcessResult result = m_host.Run(arguments);
        m_server->ClearFaults();
        EXPECT_TRUE(result.status == 1 || result.status == 3) << result.status << " " << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_NE(result.err.find("0x8"), std::string::npos) << result.err;
        EXPECT_TRUE(m_server->Document(kDocument) == m_first) << "the document changed";
    }

    const std::string m_first = std::string(200000, 'A');
    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

class RefusedDownload : public Refusals, public ::testing::WithParamInterface<Fault> {};

TEST_P(RefusedDownload, LeavesTheTargetAndNeverBecomesADocument) {
    WriteText(Local(), "old");
    SetFault(R"("method":"GET","path":"/$value",)", GetParam().json);
    ExpectRefused({"get", Url(), Local().string()});
    EXPECT_EQ(ReadText(Local()), "old");
    ASSERT_EQ(m_host.Run({"get", Url(), Local().string()}).status, 0);
    EXPECT_TRUE(ReadText(Local()) == m_first);
}

INSTANTIATE_TEST_SUITE_P(Fault, RefusedDownload, ::testing::ValuesIn(DownloadFaults()), RowName());

class RefusedUpload : public Refusals, public ::testing::WithParamInterface<Fault> {};

TEST_P(RefusedUpload, KeepsTheLocalCopyForALaterTry) {
    SetFault(R"("method":"PUT",)", GetParam().json);
    ExpectRefused({"put", Local().string(), Url()});
    const ProcessResult unsent = m_host.Run({"recover"});
    EXPECT_NE(unsent.out.find(kDocument), std::string::npos) << unsent.out << unsent.err;
    const ProcessResult sent = m_host.Run({"recover", "--send"});
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_EQ(m_server->Document(kDocument), "second");
}

INSTANTIATE_TEST_SUITE_P(
    Fault, RefusedUpload,
    ::testing::Values(Fault{.what = "drop", .json = R"({"kind":"drop-upload","after":3})"},
                      Fault{.what = "stall", .json = R"({"kind":"stall-upload","after":3})"},
                      Fault{.what = "sign-in page", .json = R"({"kind":"sign-in-page"})"},
                      Fault{.what = "not taken", .json = R"({"kind":"body","status":200,"text":"{}"})"},
                      Fault{.what = "locked", .json = R"({"kind":"status","status":423})"},
                      Fault{.what = "busy", .json = R"({"kind":"status","status":503})"},
                      Fault{.what = "refused digest", .json = R"({"kind":"stale-digest"})"}),
    RowName());

class RefusedAnswer : public Refusals, public ::testing::WithParamInterface<Fault> {};

TEST_P(RefusedAnswer, LeavesTheDocumentWhole) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"ls", m_server->Url("")},
          {"get", Url(), (m_host.Folder() / "out").string()},
          {"put", Local().string(), Url()},
          {"checkout", Url()},
          {"edit", Url(), "--", "sh", "-c", "echo x >> \"$0\""}}) {
        SetFault(R"("path":"/_api/web/",)", GetParam().json);
        ExpectRefused(arguments);
    }
    EXPECT_EQ(m_host.Run({"put", Local().string(), Url()}).status, 0);
    EXPECT_EQ(m_server->Document(kDocument), "second");
}

TEST_P(RefusedAnswer, ToALookupDoesNotEmptyTheDocument) {
    if (GetParam().what == "status 404") return;  // means that there is no document
    SetFault(R"("method":"GET","path":"report.txt",)", GetParam().json);
    ExpectRefused({"put", Local().string(), Url()});
}

INSTANTIATE_TEST_SUITE_P(Fault, RefusedAnswer, ::testing::ValuesIn(AnswerFaults()), RowName());

TEST_F(Refusals, AFailedConnectionEndsInTime) {
    EXPECT_EQ(
        m_host.Run({"place", "add", "http://127.0.0.1:9/sites/x", "--api", "modern", "--token-stdin"}, "t\n")
            .status,
        1);
    EXPECT_EQ(
        m_host
            .Run({"place", "add", "https://name.invalid/sites/x", "--api", "modern", "--token-stdin"}, "t\n")
            .status,
        1);
}

}  // namespace
