// The main job, as a person at a terminal does it: list, open, edit, save and check in, also under names
// with special characters.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/sphost.h"

namespace {

using namespace testing_support;
namespace fs = std::filesystem;

class MainJob : public ::testing::TestWithParam<const char*> {
protected:
    MainJob() {
        WriteText(m_seed / "a.txt", "one");
        WriteText(m_seed / "Folder/b.txt", "two");
        m_server.emplace(std::vector<std::string>{"--generation", GetParam()}, m_seed.Path());
        m_host.AddPlace(*m_server, "alice");
    }

    ProcessResult Run(std::vector<std::string> arguments, const std::string& input = {}) {
        arguments.insert(arguments.begin() + 1, "--check-leaks");
        return m_host.Run(arguments, input);
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

std::vector<std::string> NamesIn(const std::string& json_text) {
    rapidjson::Document json;
    json.Parse(json_text.c_str());
    std::vector<std::string> names;
    if (!json.IsArray()) return {"not an array: " + json_text};
    for (const rapidjson::Value& row : json.GetArray()) names.push_back(row["name"].GetString());
    std::sort(names.begin(), names.end());
    return names;
}

TEST_P(MainJob, ListsALibraryWithOneListingRequest) {
    m_server->ClearRequests();
    const ProcessResult listed = Run({"ls", m_server->Url(""), "--json"});
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_EQ(NamesIn(listed.out), (std::vector<std::string>{"Folder", "a.txt"}));
    EXPECT_EQ(m_server->Listings(), 1u);
    EXPECT_EQ(NamesIn(Run({"ls", m_server->Site(), "--json"}).out),
              std::vector<std::string>{"Shared Documents"});
}

TEST_P(MainJob, EditsSavesAndChecksIn) {
    const ProcessResult edited =
        Run({"edit", m_server->Url("a.txt"), "--answer", "sp.msg.askForCheckOutOnOpen=sp.btn.open", "--",
             "sh", "-c", "printf changed > \"$0\""});
    EXPECT_EQ(edited.status, 0) << edited.err << edited.out;
    EXPECT_EQ(m_server->Document("a.txt"), "changed");
    const ProcessResult checked_out = Run({"checkout", m_server->Url("a.txt")});
    EXPECT_EQ(checked_out.status, 0) << checked_out.err;
    EXPECT_NE(m_server->CheckedOutBy("a.txt").find("alice"), std::string::npos);
    // An edit that changes nothing keeps what was saved and not checked in before.
    for (const char* preference : {"on_after_save=8", "on_close_checked_out_need_check_in=8"}) {
        ASSERT_EQ(Run({"prefs", preference}).status, 0);
    }
    EXPECT_EQ(Run({"edit", m_server->Url("a.txt"), "--", "sh", "-c", "printf draft > \"$0\""}).status, 0);
    const ProcessResult unchanged = Run({"edit", m_server->Url("a.txt"), "--", "true"});
    EXPECT_EQ(unchanged.status, 0) << unchanged.err;
    EXPECT_EQ(m_server->Document("a.txt"), "draft");
    const ProcessResult checked_in =
        Run({"checkin", m_server->Url("a.txt"), "--type", "major", "--comment", "Done"});
    EXPECT_EQ(checked_in.status, 0) << checked_in.err;
    EXPECT_EQ(m_server->CheckedOutBy("a.txt"), "");
    const ProcessResult discarded = Run({"discard", m_server->Url("a.txt")});
    EXPECT_EQ(discarded.status, 1);
    EXPECT_NE(discarded.err.find("is not checked out to you"), std::string::npos) << discarded.err;
}

TEST_P(MainJob, ACheckInWithoutARequiredColumnSaysSoAndKeepsTheDocument) {
    m_server->Admin("column", R"({"name": "Stage", "type": "Text", "required": true})");
    const std::string document = m_server->Url("a.txt");
    ASSERT_EQ(Run({"checkout", document}).status, 0);
    const ProcessResult refused = Run({"checkin", document, "--type", "major"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(m_server->CheckedOutBy("a.txt").find("alice"), std::string::npos);
    if (GetParam() == std::string("2010")) {  // which tells no columns
        EXPECT_NE(refused.err.find("Some required properties are not filled out for the document"),
                  std::string::npos)
            << refused.err;
        return;
    }
    EXPECT_NE(refused.err.find("required columns are empty: Stage; fill them with 'sphost fields " +
                               document + " Stage=VALUE', or with --set here"),
              std::string::npos)
        << refused.err;
    EXPECT_EQ(Run({"checkin", document, "--set", "no column"}).status, 2);
    const ProcessResult filled = Run({"checkin", document, "--type", "major", "--set", "Stage=a & <b>"});
    EXPECT_EQ(filled.status, 0) << filled.err;
    EXPECT_NE(Run({"fields", document}).out.find("Stage * (text): a & <b>"), std::string::npos);
}

TEST_P(MainJob, SpecialNamesSurviveEveryOperation) {
    const std::vector<std::string> names = {
        "C# & more.txt",    "100% sure.txt",   "it's.txt",
        "a+b.txt",          "[x] (y) {z}.txt", "\u00C4\u00D6\u00DC \u00DF.txt",
        "\u6587\u66F8.txt", "\U0001F600.txt",  "%41%20x.txt",
        "a;b,c=d@e!$.txt",  "dots..txt",       "#%'&+.txt"};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const std::string folder = "dir " + name;
        const fs::path local = m_host.Folder() / "local";
        WriteText(local, "content of " + name);
        EXPECT_EQ(Run({"mkdir", m_server->Url(folder)}).status, 0);
        const std::string url = m_server->Url(folder + "/" + name);
        const ProcessResult put = Run({"put", local.string(), url});
        EXPECT_EQ(put.status, 0) << put.err;
        EXPECT_EQ(NamesIn(Run({"ls", m_server->Url(folder), "--json"}).out), std::vector<std::string>{name});
        EXPECT_EQ(Run({"get", url, "-"}).out, "content of " + name);
        EXPECT_EQ(m_server->Document(folder + "/" + name), "content of " + name);
        WriteText(local, "second");
        EXPECT_EQ(Run({"put", local.string(), url}).status, 0);
        EXPECT_EQ(m_server->Document(folder + "/" + name), "second");
        const ProcessResult copied = Run({"cp", url, m_server->Url(folder + "/copy of " + name)});
        EXPECT_EQ(copied.status, 0) << copied.err;
        EXPECT_EQ(Run({"rename", url, m_server->Url(folder + "/new " + name)}).status, 0);
        EXPECT_EQ(Run({"mv", m_server->Url(folder + "/new " + name), m_server->Url("moved " + name)}).status,
                  0);
        EXPECT_EQ(m_server->Document("moved " + name), "second");
        EXPECT_EQ(m_server->Document(folder + "/copy of " + name), "second");
        EXPECT_EQ(Run({"rm", m_server->Url("moved " + name)}).status, 0);
        EXPECT_EQ(Run({"rename", m_server->Url(folder), m_server->Url("renamed " + folder)}).status, 0);
        EXPECT_EQ(NamesIn(Run({"ls", m_server->Url("renamed " + folder), "--json"}).out),
                  std::vector<std::string>{"copy of " + name});
        EXPECT_EQ(Run({"rm", "--yes", m_server->Url("renamed " + folder)}).status, 0);
    }
    EXPECT_EQ(NamesIn(Run({"ls", m_server->Url(""), "--json"}).out),
              (std::vector<std::string>{"Folder", "a.txt"}));
}

TEST_P(MainJob, UrlsOfAListingCanBePassedBack) {
    WriteText(m_host.Folder() / "local", "x");
    ASSERT_EQ(Run({"put", (m_host.Folder() / "local").string(), m_server->Url("100%25 #1.txt")}).status, 0);
    rapidjson::Document json;
    json.Parse(Run({"ls", m_server->Url(""), "--json"}).out.c_str());
    ASSERT_TRUE(json.IsArray());
    for (const rapidjson::Value& row : json.GetArray()) {
        if (row["folder"].GetBool()) continue;
        EXPECT_EQ(Run({"stat", row["url"].GetString()}).status, 0) << row["url"].GetString();
    }
}

TEST_P(MainJob, BadInputGetsOneClearLineAndTheRightStatus) {
    struct Case {
        std::vector<std::string> arguments;
        int status;
    };
    const std::vector<Case> cases = {
        {{"ls", "ftp://host/x"}, 1},
        {{"ls", "http://127.0.0.1:9/unknown"}, 1},
        {{"frobnicate"}, 2},
        {{"ls"}, 2},
        {{"get", m_server->Url("missing.txt"), "-"}, 1},
        {{"put", "/nonexistent/file", m_server->Url("x.txt")}, 1},
        {{"mkdir", m_server->Url("a*b")}, 1},
        {{"place", "add", m_server->Site(), "--api", "modern", "--token-stdin"}, 1},
    };
    for (const Case& c : cases) {
        const ProcessResult result = m_host.Run(c.arguments, m_server->Token("alice") + "\n");
        EXPECT_EQ(result.status, c.status) << c.arguments[0] << ": " << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'),
                  c.status == 2 ? std::count(result.err.begin(), result.err.end(), '\n') : 1)
            << result.err;
        EXPECT_FALSE(result.err.empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Generations, MainJob, ::testing::Values("modern", "2013", "2010"),
                         [](const auto& test) { return std::string("Of") + test.param; });

}  // namespace
