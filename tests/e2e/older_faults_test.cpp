// Faults of a server of an older generation, in its own dialect: each ends with a clear line, leaves no
// document or local copy half changed, and loses nothing that was saved.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/e2e/fault_fixture.h"

namespace {

using namespace testing_support;

struct Fault {
    const char* json;
    const char* words;  // in the error line
};

constexpr char kRefusal500[] = R"("kind":"status","status":500,"text":"no")";

// Faults of any answer, each for all requests of its kind.
const std::vector<Fault> kOfAnyAnswer = {
    {R"("kind":"stall")", "too long"},
    {R"("kind":"stall-headers")", "too long"},
    {R"("kind":"close")", "connection"},
    {R"("kind":"redirect","loop":true,"status":302)", ""},
    {R"("kind":"header-bomb","count":100000,"size":100)", ""},
    {R"("kind":"status","status":403,"text":"no")", ""},
    {R"("kind":"status","status":404,"text":"no")", ""},
    {R"("kind":"status","status":429,"text":"no")", "429"},
    {kRefusal500, "500"},
    {R"("kind":"status","status":503,"text":"no")", "503"},
    {R"("kind":"locked","user":"i:0#.w|contoso\\bob")", "423"},
};

std::vector<Fault> With(std::vector<Fault> faults, const std::vector<Fault>& more) {
    faults.insert(faults.end(), more.begin(), more.end());
    return faults;
}

class OlderFaults : public FaultFixture, public ::testing::WithParamInterface<const char*> {
protected:
    OlderFaults() : FaultFixture({"--generation", GetParam()}, 500) {
        m_host.environment["https_proxy"] = "http://127.0.0.1:9";
        m_host.AddPlace(*m_server, "alice");
    }

    // One line, a result code, and the words of the fault; nothing of the answer's own text.
    static void ExpectRefusal(const ProcessResult& result, const std::string& words) {
        EXPECT_TRUE(result.status == 1 || result.status == 3) << result.status << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_NE(result.err.find("(0x8"), std::string::npos) << result.err;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
        EXPECT_LT(result.err.size(), 500u);
    }
};

TEST_P(OlderFaults, ADownloadFaultNeverReachesAFile) {
    const auto faults = With(kOfAnyAnswer, {{R"("kind":"stall-body","after":70000)", "too long"},
                                            {R"("kind":"drop-body","after":70000)", "connection"},
                                            {R"("kind":"length","delta":5000)", "connection"},
                                            {R"("kind":"length","delta":-5000)", "ended after"},
                                            {R"("kind":"truncate","after":5000)", "ended after"},
                                            {R"("kind":"sign-in-page")", "sign in"},
                                            {R"("kind":"nested","xml":true,"depth":1000)", ""}});
    WriteText(Target(), "old");
    for (const Fault& fault : faults) {
        SCOPED_TRACE(fault.json);
        SetFault(R"("method":"GET","times":0)", fault.json);
        ExpectRefusal(m_host.Run(Get()), fault.words);
        ExpectRefusal(m_host.Run(Edit()), fault.words);
        EXPECT_EQ(ReadText(Target()), "old");
    }
    m_server->ClearFaults();
    EXPECT_TRUE(m_server->Document(kName) == kFirst);
    EXPECT_EQ(m_host.Run(Get()).status, 0);
    EXPECT_TRUE(ReadText(Target()) == kFirst);
}

TEST_P(OlderFaults, AnUploadFaultKeepsWhatWasSaved) {
    const auto faults = With(kOfAnyAnswer, {{R"("kind":"stall-upload","after":2)", "too long"},
                                            {R"("kind":"drop-upload","after":2)", "connection"},
                                            {R"("kind":"sign-in-page")", "sign in"}});
    int number = 0;
    for (const Fault& fault : faults) {
        SCOPED_TRACE(fault.json);
        const std::string name = std::to_string(++number) + ".txt";
        m_server->WriteAs("alice", name, kFirst);
        SetFault(R"("method":"PUT","times":0)", fault.json);
        ExpectRefusal(m_host.Run(Edit(name)), fault.words);
        m_server->ClearFaults();
        EXPECT_NE(m_host.Unsent().find(name), std::string::npos);
        const std::string stored = m_server->Document(name);
        EXPECT_TRUE(stored == kFirst || stored == kSecond) << "the document is neither the one nor the other";
        const ProcessResult sent = m_host.Run({"recover", "--send", "--yes"});
        EXPECT_EQ(sent.status, 0) << sent.err;
        EXPECT_EQ(m_server->Document(name), kSecond);
    }
}

// Answers that commands depend on; none may change the document or count as "it isn't there".
TEST_P(OlderFaults, AFaultyAnswerLeavesTheDocumentWhole) {
    const auto faults =
        With(kOfAnyAnswer, {{R"("kind":"truncate","after":300)", ""},
                            {R"("kind":"drop-body","after":100)", ""},
                            {R"("kind":"sign-in-page")", ""},
                            {R"("kind":"nested","xml":true,"depth":100000)", ""},
                            {R"("kind":"xml-entities","depth":40)", ""},
                            {R"("kind":"soap-fault","code":"0x80070005","message":"no")", ""},
                            {R"("kind":"soap-fault","message":"no")", ""},
                            {R"("kind":"partial-failure","text":"HTTP/1.1 423 Locked")", ""}});
    for (const Fault& fault : faults) {
        const std::string of_item = R"("method":"PROPFIND","path":"report.txt","times":0)";
        const std::string of_site = R"("path":"/_vti_bin/Webs.asmx","times":0)";
        for (const std::string& match : {of_item, of_site}) {
            SetFault(match, fault.json);
            for (const auto& arguments : {Get(), Put(), Edit(), std::vector<std::string>{"checkout", Url()},
                                          std::vector<std::string>{"checkin", Url(), "--type", "minor"}}) {
                SCOPED_TRACE(arguments[0] + " " + match + " " + fault.json);
                // Without an answer about the site nothing can be said about it.
                ExpectRefusal(m_host.Run(arguments), match == of_item ? fault.words : "");
            }
        }
        m_server->ClearFaults();
        ASSERT_TRUE(m_server->Document(kName) == kFirst) << fault.json;
        ASSERT_EQ(m_server->CheckedOutBy(kName), "") << fault.json;
    }
    EXPECT_EQ(m_host.Run(Put()).status, 0);
    EXPECT_EQ(m_server->Document(kName), kSecond);
}

TEST_P(OlderFaults, AListingOf200MegabytesEndsInItsTime) {
    m_host.environment["PLATFORM_RECEIVE_TIMEOUT_MS"] = "20000";
    SetFault(R"("method":"PROPFIND","path":"Documents","times":0)",
             R"("kind":"huge-multistatus","count":160000)");
    const ProcessResult listed = m_host.Run({"ls", m_server->Url("")});
    if (listed.status == 0) {
        EXPECT_GT(std::count(listed.out.begin(), listed.out.end(), '\n'), 100000);
    } else {
        ExpectRefusal(listed, "");
    }
}

// One request fails, each in its turn, before or after the server has done its work.
TEST_P(OlderFaults, AFaultAtAnyRequestLeavesASaveDoneOrUndone) {
    m_server->WriteAs("alice", "count.txt", kFirst);
    m_server->ClearRequests();
    ASSERT_EQ(m_host.Run(Edit("count.txt")).status, 0);
    const auto count = static_cast<int>(m_server->Requests().size());
    ASSERT_GT(count, 8);
    for (const char* fault : {kRefusal500, R"("kind":"close","run_first":true)"}) {
        for (int nth = 1; nth <= count; ++nth) {
            SCOPED_TRACE(fault + std::string(" at ") + std::to_string(nth));
            const std::string name = "n" + std::to_string(nth) + (fault == kRefusal500 ? "a" : "b") + ".txt";
            m_server->WriteAs("alice", name, kFirst);
            SetFault(R"("nth":)" + std::to_string(nth), fault);
            const ProcessResult result = m_host.Run(Edit(name));
            m_server->ClearFaults();
            const std::string stored = m_server->Document(name);
            if (result.status == 0) {
                EXPECT_EQ(stored, kSecond) << "success was claimed";
                continue;
            }
            ExpectRefusal(result, "");
            EXPECT_TRUE(stored == kFirst || stored == kSecond);
            if (m_host.Unsent().find("\"unsent\"") != std::string::npos) {
                const ProcessResult sent = m_host.Run({"recover", "--send", "--yes"});
                EXPECT_EQ(sent.status, 0) << sent.err;
                EXPECT_EQ(m_server->Document(name), kSecond);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Generations, OlderFaults, ::testing::Values("2013", "2010"),
                         [](const auto& test) { return std::string("Of") + test.param; });

}  // namespace
