// The sentence that a person reads of each failing command, on every generation.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "tests/support/row_name.h"
#include "tests/support/sphost.h"

namespace {

using namespace testing_support;

constexpr char kName[] = "report.txt";

struct Row {
    std::string what;
    std::vector<std::string> arguments;  // LIBRARY, DOCUMENT and LOCAL stand for what the test has
    std::string words;
    std::string user = "bob";
    std::string holder = {};  // who has the document checked out
    std::string fault = {};   // of every request behind the site's own
    std::string older = {};   // the words of the older generations, where they differ
    int status = 1;

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.what; }
};

const Row kRows[] = {
    {.what = "list nothing",
     .arguments = {"ls", "LIBRARY/none"},
     .words = "there is no folder here (0x80070003)"},
    {.what = "list a document",
     .arguments = {"ls", "DOCUMENT"},
     .words = "this is a document; see stat (0x80070057)"},
    {.what = "get nothing",
     .arguments = {"get", "LIBRARY/none", "LOCAL"},
     .words = "nothing was found at this address"},
    {.what = "get a folder", .arguments = {"get", "LIBRARY", "LOCAL"}, .words = "this is a folder"},
    {.what = "an address that is too long",
     .arguments = {"get", "LIBRARY/" + std::string(450, 'x'), "LOCAL"},
     .words = "the address is too long"},
    {.what = "no place",
     .arguments = {"ls", "https://elsewhere.example/sites/x"},
     .words = "no place is known for this address; 'sphost place add URL' adds its site"},
    {.what = "a forbidden character",
     .arguments = {"put", "LOCAL", "LIBRARY/a|b"},
     .words = "a name can't hold any of \" * : < > ? \\ | (0x803D0020)"},
    {.what = "check out what one holds",
     .arguments = {"checkout", "DOCUMENT"},
     .words = "already checked out to you",
     .holder = "bob",
     .status = 0},
    {.what = "check out what another holds",
     .arguments = {"checkout", "DOCUMENT"},
     .words = "checked out to alice@contoso.example; ask for a check-in",
     .holder = "alice"},
    {.what = "put over what another holds",
     .arguments = {"put", "LOCAL", "DOCUMENT"},
     .words = "checked out to the user \"alice@contoso.example\"",
     .holder = "alice",
     .older = "checked out to the user \"Alice <alice@contoso.example>\""},
    {.what = "check in what nobody holds",
     .arguments = {"checkin", "DOCUMENT"},
     .words = "the document is not checked out to you"},
    {.what = "check out as a reader",
     .arguments = {"checkout", "DOCUMENT"},
     .words = "you have no right to do this",
     .user = "carol",
     .older = "you may only read this (0x80071779)"},
    {.what = "delete as a reader",
     .arguments = {"rm", "DOCUMENT"},
     .words = "you have no right to do this",
     .user = "carol"},
    {.what = "a busy server at the upload",
     .arguments = {"put", "LOCAL", "DOCUMENT"},
     .words = "the server is busy (HTTP 503); try again in",
     .fault = R"("method":"PUT")"},
    {.what = "saved and checked in",
     .arguments = {"put", "LOCAL", "DOCUMENT", "--check-in", "major"},
     .words = "saved and checked in as a major version",
     .holder = "bob",
     .status = 0},
};

using Case = std::tuple<std::string, Row>;

class Words : public ::testing::TestWithParam<Case> {
protected:
    std::string Filled(std::string word) const {
        const std::pair<std::string, std::string> names[] = {{"LIBRARY", Library()},
                                                             {"DOCUMENT", m_server->Url(kName)},
                                                             {"LOCAL", (m_host.Folder() / "local").string()}};
        for (const auto& [name, text] : names) {
            const std::size_t at = word.find(name);
            if (at != std::string::npos) word.replace(at, name.size(), text);
        }
        return word;
    }
    std::string Library() const {
        const std::string url = m_server->Url("");
        return url.substr(0, url.size() - 1);
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

TEST_P(Words, TellThePersonWhatHappened) {
    const auto& [generation, row] = GetParam();
    WriteText(m_seed / kName, "first");
    WriteText(m_host.Folder() / "local", "second");
    m_server.emplace(std::vector<std::string>{"--generation", generation}, m_seed.Path());
    m_host.environment["https_proxy"] = "http://127.0.0.1:9";  // no sign-in leaves this machine
    m_host.AddPlace(*m_server, row.user);
    if (!row.holder.empty()) m_server->CheckOutAs(row.holder, kName);
    if (!row.fault.empty()) {
        m_server->SetFaults(
            "[{\"match\":{" + row.fault +
            R"(,"times":0},"fault":{"kind":"status","status":503,"text":"no","retry_after":1}}])");
    }
    std::vector<std::string> arguments;
    for (const std::string& word : row.arguments) arguments.push_back(Filled(word));
    const ProcessResult result = m_host.Run(arguments);
    EXPECT_EQ(result.status, row.status) << result.err;
    const std::string& words = generation != "modern" && !row.older.empty() ? row.older : row.words;
    const std::string& told = row.status == 0 ? result.out : result.err;
    EXPECT_NE(told.find(words), std::string::npos) << told << result.err;
    if (row.status != 0) {
        EXPECT_TRUE(result.err.ends_with(")\n") && result.err.rfind("(0x8") > result.err.rfind(": "))
            << "the code stands at the end: " << result.err;
        EXPECT_EQ(result.err.find("i:0#"), std::string::npos) << result.err;
    }
}

INSTANTIATE_TEST_SUITE_P(Generations, Words,
                         ::testing::Combine(::testing::Values("modern", "2013", "2010"),
                                            ::testing::ValuesIn(kRows)),
                         [](const auto& test) {
                             return ToTestName(std::get<1>(test.param).what + " of " +
                                               std::get<0>(test.param));
                         });

TEST(FirstPlace, AFailureNamesTheOptionsThatAreMissing) {
    const DevServer server({"--generation", "2013"});
    Sphost host;
    host.environment["https_proxy"] = "http://127.0.0.1:9";
    const ProcessResult refused = host.Run({"place", "add", server.Site()});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("--api compatible"), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find("--authority http://HOST:PORT/organizations/"), std::string::npos)
        << refused.err;
    EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
}

class Conflict : public ::testing::TestWithParam<std::string> {};

TEST_P(Conflict, SaysWhatBecomesOfBothVersions) {
    const TempFolder seed;
    WriteText(seed / kName, "first");
    const DevServer server({"--generation", GetParam()}, seed.Path());
    const Sphost host;
    host.AddPlace(server, "alice");
    const auto edit = host.Start(
        {"edit", server.Url(kName), "--answer", "sp.msg.askForCheckOutOnOpen=sp.btn.open", "--", "sh", "-c",
         "echo mine > \"$1\"; touch " + (host.Folder() / "edited").string() + "; while [ ! -e " +
             (host.Folder() / "go").string() + " ]; do sleep 0.05; done",
         "sh"});
    ASSERT_TRUE(Comes([&] { return std::filesystem::exists(host.Folder() / "edited"); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));  // times of servers have seconds
    server.WriteAs("bob", kName, "theirs, which is newer");
    WriteText(host.Folder() / "go", "");
    EXPECT_NE(edit->Wait(), 0);
    const std::string told = host.LastError();
    EXPECT_NE(
        told.find("somebody saved a newer version while you edited; yours is kept. 'sphost recover --send "
                  "--yes " +
                  server.Url(kName) + "' overwrites it, '--drop' gives yours up"),
        std::string::npos)
        << told;
    EXPECT_EQ(server.Document(kName), "theirs, which is newer");
    EXPECT_EQ(host.Run({"recover", "--send", "--yes", server.Url(kName)}).status, 0);
    EXPECT_EQ(server.Document(kName), "mine\n");
}

INSTANTIATE_TEST_SUITE_P(Generations, Conflict, ::testing::Values("modern", "2013", "2010"),
                         [](const auto& test) { return "Of" + test.param; });

}  // namespace
