// Showing and changing preferences, with the real plug-in and all versions of stored ones.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/support/dev_server.h"
#include "tests/support/sphost.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace testing_support;

class StoredPreferences : public ::testing::Test {
protected:
    // The settings file is named by the plug-in's id, so a first change creates it.
    StoredPreferences() {
        EXPECT_EQ(sphost.Run({"prefs", "on_after_save=0"}).status, 0);
        for (const auto& file : std::filesystem::directory_iterator(sphost.Profile()))
            if (file.path().filename().string().starts_with("settings-")) m_file = file.path();
    }
    void Store(const std::string& dictionaries) { WriteText(m_file, "{" + dictionaries + "}"); }
    std::string Shown(const std::string& name) { return sphost.Run({"prefs", name}).out; }

    Sphost sphost;

private:
    std::filesystem::path m_file;
};

// A version 5 that was never saved, below each of the older ones.
constexpr char kOlder[] =
    R"("PreferencesV1":{"on_after_save":11},
       "PreferencesV2":{"default":%V2,"on_after_save":12,"log_level":2},
       "PreferencesV3":{"version":%V3,"on_after_save":13,"log_level":3,"default_check_in_type":2},
       "PreferencesV4":{"version":%V4,"on_after_save":14,"log_level":4,"default_check_in_type":0,
                        "default_check_in_message":"four","hide_paths":true,"hidden_paths":"a||b|"},
       "PreferencesV5":{"on_after_save":15,"api_version":1})";

TEST_F(StoredPreferences, OfEachVersionAreShownAsInUseAndKeptByAChange) {
    struct Case {
        const char *v2, *v3, *v4;
        const char *after_save, *log_level, *type, *message, *hidden;
    };
    const Case cases[] = {
        {"true", "0", "0", "11", "0", "1", "", "_catalogs"},
        {"false", "0", "0", "12", "2", "1", "", "_catalogs"},
        {"false", "3", "0", "13", "3", "2", "", "_catalogs"},
        {"false", "3", "4", "14", "4", "0", "four", "a|b"},
        {"false", "3", "6", "13", "3", "2", "", "_catalogs"},  // newer than the dictionary's version
        {"false", "7", "6", "12", "2", "1", "", "_catalogs"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.v2) + " " + c.v3 + " " + c.v4);
        std::string stored = kOlder;
        for (const auto& [mark, value] : {std::pair{"%V2", c.v2}, {"%V3", c.v3}, {"%V4", c.v4}})
            stored.replace(stored.find(mark), 3, value);
        Store(stored);
        const auto expect_rest = [&] {
            EXPECT_EQ(Shown("log_level"), std::string("log_level=") + c.log_level + "\n");
            EXPECT_EQ(Shown("default_check_in_type"), std::string("default_check_in_type=") + c.type + "\n");
            EXPECT_EQ(Shown("default_check_in_message"),
                      std::string("default_check_in_message=") + c.message + "\n");
            EXPECT_TRUE(Shown("hidden_paths").starts_with(std::string("hidden_paths=") + c.hidden));
            EXPECT_EQ(Shown("api_version"), "api_version=0\n");
        };
        EXPECT_EQ(Shown("on_after_save"), std::string("on_after_save=") + c.after_save + "\n");
        expect_rest();
        EXPECT_EQ(sphost.Run({"prefs", "on_after_save=25"}).out, "on_after_save=25\n");
        EXPECT_EQ(Shown("on_after_save"), "on_after_save=25\n");
        expect_rest();
    }
}

TEST_F(StoredPreferences, HaveAFixedOrderAndTheirKinds) {
    Store(
        R"("PreferencesV5":{"version":5,"log_level":9,"default_check_in_message":"<b>","show_hidden_items":true})");
    const std::string lines = sphost.Run({"prefs"}).out;
    EXPECT_TRUE(lines.starts_with("on_open_without_write_permissions=0\n")) << lines;
    EXPECT_NE(lines.find("\ndays_to_store_logs=0\nlog_level=0\ndefault_check_in_type=0\n"), std::string::npos)
        << lines;
    EXPECT_TRUE(lines.ends_with("\nhidden_paths=\napi_version=0\nshow_hidden_items=true\n")) << lines;
    rapidjson::Document json;
    json.Parse(sphost.Run({"prefs", "--json"}).out.c_str());
    ASSERT_TRUE(json.IsObject());
    EXPECT_EQ(json.MemberCount(), 16u);
    EXPECT_TRUE(json["log_level"].IsInt());
    EXPECT_TRUE(json["show_hidden_items"].IsBool());
    EXPECT_STREQ(json["default_check_in_message"].GetString(), "<b>");
}

TEST_F(StoredPreferences, BadValuesAreRefusedAndNothingChanges) {
    const std::string before = sphost.Run({"prefs"}).out;
    for (const auto& [argument, why] :
         {std::pair{"log_level=5", "log_level takes a number from 0 to 4, not '5'"},
          {"log_level=-1", "a number from 0 to 4"},
          {"on_after_save=x", "a number from 0 to 2147483647"},
          {"api_version=2", "a number from 0 to 1"},
          {"hide_paths=yes", "hide_paths takes true or false, not 'yes'"},
          {"show_hidden_items=2", "true or false"},
          {"no_such_thing=1", "there is no preference 'no_such_thing'"},
          {"no_such_thing", "there is no preference 'no_such_thing'"}}) {
        const ProcessResult result = sphost.Run({"prefs", argument});
        EXPECT_EQ(result.status, 2) << argument;
        EXPECT_NE(result.err.find(why), std::string::npos) << result.err;
    }
    EXPECT_EQ(sphost.Run({"prefs"}).out, before);
    EXPECT_EQ(sphost.Run({"prefs", "hidden_paths=|x||y z"}).out, "hidden_paths=x|y z\n");
    EXPECT_EQ(sphost.Run({"prefs", "show_hidden_items=1"}).out, "show_hidden_items=true\n");
}

TEST_F(StoredPreferences, ChangedByManyProcessesAtOnceAreAllKept) {
    const std::vector<std::string> changes{"on_after_save=25",   "default_check_in_type=2",
                                           "hide_paths=true",    "default_check_in_message=many",
                                           "hidden_paths=_x|_y", "log_level=1"};
    std::vector<std::unique_ptr<Process>> running;
    for (const std::string& change : changes) running.push_back(sphost.Start({"prefs", change}));
    for (const auto& process : running) EXPECT_EQ(process->Wait(), 0);
    for (const std::string& change : changes)
        EXPECT_EQ(Shown(change.substr(0, change.find('='))), change + "\n");
}

TEST_F(StoredPreferences, ALogLevelForOneRunIsNeverStored) {
    ASSERT_EQ(sphost.Run({"prefs", "log_level=1"}).status, 0);
    EXPECT_EQ(sphost.Run({"prefs", "log_level", "--log-level", "4"}).out, "log_level=4\n");
    EXPECT_EQ(Shown("log_level"), "log_level=1\n");
    EXPECT_NE(sphost.TraceLog().find("Plugin::Init"), std::string::npos);
    EXPECT_EQ(sphost.Run({"prefs", "on_after_save=25", "--log-level", "3"}).status, 0);
    const std::filesystem::path fifo = sphost.Folder() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto killed = sphost.Start({"put", fifo.string(), "https://host/a", "--log-level", "4"});
    const int end = open(fifo.c_str(), O_WRONLY);  // the run has come to its source
    killed->Signal(SIGKILL);
    killed->Wait();
    close(end);
    EXPECT_EQ(Shown("log_level"), "log_level=1\n");
    EXPECT_EQ(Shown("on_after_save"), "on_after_save=25\n");
}

}  // namespace
