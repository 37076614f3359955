// The preferences' way through the host's settings tree: which stored version is read, and what is saved.
#include <gtest/gtest.h>

#include <functional>

#include "tests/interfaces/inside_host.h"
#include "tests/support/plugin/clock_ahead.h"
#include "tests/support/plugin/forwarding_host.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_log.h"

namespace interfaces {

namespace {

using Items = std::vector<std::pair<const char16_t*, Variant>>;

Variant Number(LONG value) {
    return Variant(value);
}
Variant Flag(bool value) {
    return Variant(value);
}
Variant Text(const char16_t* value) {
    return Variant(value);
}

// Counts the times that the settings are asked for anywhere but in a call on the main thread.
class MainThreadOnly final : public testing_support::ForwardingHost {
public:
    using ForwardingHost::ForwardingHost;
    HRESULT RunOnMainThread(TMK::ITMK_ThreadSafeCallback* callback, DWORD, VARIANT_BOOL) override {
        m_is_inside = true;
        const HRESULT result = callback->Call();
        m_is_inside = false;
        return result;
    }
    HRESULT GetPluginSettings(TMK::ITMK_Plugin* plugin, VARIANT_BOOL create, TMK::ITMK_Cab** out) override {
        ++(m_is_inside ? inside : outside);
        return ForwardingHost::GetPluginSettings(plugin, create, out);
    }
    int inside = 0, outside = 0;

private:
    bool m_is_inside = false;
};

TEST(PreferencesOfADocument, ChangeOnTheMainThreadWhicheverThreadAsked) {
    const DevServer server;
    server.Upload("alice", "a.txt", "first");
    InsideHost inside;
    host::PromptAnswer answer;
    answer.button = "sp.btn.checkIn";
    inside.host().prompts().AddAnswer("sp.msg.checkInDialogMessage", answer);
    Plugin& plugin = inside.plugin();
    const auto files = inside.host().FileSystem();
    const auto account = MakeAccount(inside.host(), server.Site(), LoginOf(server, "alice"));
    ComPtr<TMK::IAFS_Name> root, name;
    ASSERT_EQ(inside.host().Bind(account.account.get(), nullptr, root), S_OK);
    ASSERT_EQ(files->StringToName(u"Shared Documents/a.txt", 0, root.get(), name.put()), S_OK);
    const auto recorder = MakeObject<MainThreadOnly>(inside.host().instance());
    plugin.m_tmk_inst = recorder;
    ComPtr<TMK::IAFS_File> file;
    ASSERT_EQ(files->OpenFile(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_Write, nullptr, nullptr,
                              file.put()),
              S_OK);
    EXPECT_EQ(file->Exec(u"CheckInWithUi", Variant(), nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(recorder->inside, 1);
    EXPECT_EQ(recorder->outside, 0);
    file.reset();
    plugin.m_tmk_inst = ComPtr<TMK::ITMK_Inst>(inside.host().instance());
}

class PreferencesChain : public ::testing::Test {
protected:
    ComPtr<TMK::ITMK_CabNode> Item(const char16_t* dictionary, const char16_t* id) {
        ComPtr<TMK::ITMK_CabNode> item;
        host::ChildOf(m_inside->host().PluginSettings().get(), dictionary)->get_Item(id, item.put());
        EXPECT_TRUE(item);
        return item;
    }
    void Store(const char16_t* dictionary, const Items& items) {
        for (const auto& [id, value] : items) EXPECT_EQ(Item(dictionary, id)->put_v(value), S_OK);
    }
    const Preferences& Load() {
        m_inside->plugin().m_preferences_manager.Load();
        return m_inside->plugin().m_preferences_manager.m_preferences;
    }
    Preferences& Live() { return m_inside->plugin().m_preferences_manager.m_preferences; }

    std::unique_ptr<InsideHost> m_inside = std::make_unique<InsideHost>();
};

TEST_F(PreferencesChain, ANewUserHasTheDefaultsOfTheFirstVersion) {
    Preferences expected;
    expected.on_after_save = 24;
    EXPECT_EQ(Load(), expected);
    EXPECT_EQ(expected.hidden_paths.size(), 24u);
    EXPECT_EQ(expected.hidden_paths.front(), u"_catalogs");
    EXPECT_EQ(expected.hidden_paths.back(), u"*/blog.xsl");
}

TEST_F(PreferencesChain, TheNewestVersionThatWasSavedIsRead) {
    struct Case {
        const char* what;
        std::vector<std::pair<const char16_t*, Items>> stored;
        std::function<void(Preferences&)> change;  // of a record that holds no actions
    };
    const Items newest{{u"version", Number(5)}};
    const Case cases[] = {
        {"v2 of the user's own",
         {{u"PreferencesV2",
           {{u"default", Flag(false)},
            {u"log_level", Number(3)},
            {u"on_after_save", Number(16)},
            {u"days_to_store_logs", Number(4)}}}},
         [](Preferences& p) { p.log_level = 3, p.on_after_save = 16, p.days_to_store_logs = 4; }},
        {"v3",
         {{u"PreferencesV2", {{u"default", Flag(false)}, {u"on_after_save", Number(1)}}},
          {u"PreferencesV3",
           {{u"version", Number(3)},
            {u"default_check_in_type", Number(2)},
            {u"default_check_in_message", Text(u"as ever")},
            {u"log_level", Number(4)}}}},
         [](Preferences& p) {
             p.default_check_in_type = 2, p.default_check_in_message = u"as ever", p.log_level = 4;
         }},
        {"v3 out of range",
         {{u"PreferencesV3",
           {{u"version", Number(3)},
            {u"default_check_in_type", Number(3)},
            {u"log_level", Number(5)},
            {u"on_save_conflict", Number(77)}}}},
         [](Preferences& p) { p.on_save_conflict = 77; }},
        {"v4",
         {{u"PreferencesV4",
           {{u"version", Number(4)}, {u"hide_paths", Flag(true)}, {u"hidden_paths", Text(u"|a||b|")}}},
          {u"PreferencesV5", {{u"api_version", Number(1)}, {u"show_hidden_items", Flag(true)}}}},
         [](Preferences& p) {
             p.hide_paths = true, p.hidden_paths = {u"a", u"b"}, p.default_check_in_type = 0;
         }},
        {"v5",
         {{u"PreferencesV4", {{u"version", Number(4)}, {u"on_after_save", Number(1)}}},
          {u"PreferencesV5",
           {{u"version", Number(6)},
            {u"api_version", Number(1)},
            {u"log_level", Number(7)},
            {u"show_hidden_items", Flag(true)},
            {u"hidden_paths", Text(u"x y")}}}},
         [](Preferences& p) {
             p.api_version = 1, p.show_hidden_items = 1, p.hidden_paths = {u"x y"};
             p.default_check_in_type = 0;
         }},
        {"v5 with no hidden paths",
         {{u"PreferencesV5", newest}},
         [](Preferences& p) {
             p.hidden_paths.clear();
             p.default_check_in_type = 0;
         }},
        {"an old flag turns no log on",
         {{u"PreferencesV1", {{u"write_logs", Flag(true)}, {u"on_after_save", Number(8)}}}},
         [](Preferences& p) {
             const Preferences own;
             p = own;
             p.on_after_save = 8;
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        m_inside.reset();
        m_inside = std::make_unique<InsideHost>();
        for (const auto& [dictionary, items] : c.stored) Store(dictionary, items);
        Preferences expected;
        for (auto field :
             {&Preferences::on_open_without_write_permissions, &Preferences::on_open_checked_out_none,
              &Preferences::on_open_checked_out_me, &Preferences::on_open_checked_out_other,
              &Preferences::on_after_save, &Preferences::on_save_conflict,
              &Preferences::on_close_checked_out_need_check_in,
              &Preferences::on_close_checked_out_no_need_check_in, &Preferences::days_to_store_logs})
            expected.*field = 0;
        c.change(expected);
        EXPECT_EQ(Load(), expected);
    }
}

TEST_F(PreferencesChain, WhatIsSavedIsLoaded) {
    uint32_t next = 1;
    Preferences& live = Live();
    for (auto field : {&Preferences::on_open_without_write_permissions,
                       &Preferences::on_open_checked_out_none, &Preferences::on_open_checked_out_me,
                       &Preferences::on_open_checked_out_other, &Preferences::on_after_save,
                       &Preferences::on_save_conflict, &Preferences::on_close_checked_out_need_check_in,
                       &Preferences::on_close_checked_out_no_need_check_in, &Preferences::days_to_store_logs})
        live.*field = next++;
    live.default_check_in_type = 2;
    live.default_check_in_message = u"\u00E4 \u6587 | \U0001F600";
    live.hide_paths = true;
    live.hidden_paths = {u"a b", u"*/c"};
    live.log_level = 4;
    live.api_version = 1;
    live.show_hidden_items = 1;
    const Preferences saved = live;
    m_inside->plugin().m_preferences_manager.Save();
    live = Preferences();
    EXPECT_EQ(Load(), saved);
    Variant version;
    EXPECT_EQ(Item(u"PreferencesV5", u"version")->get_v(version.put()), S_OK);
    EXPECT_EQ(version.get().lVal, 5);
    Variant older;
    EXPECT_EQ(Item(u"PreferencesV1", u"on_after_save")->get_v(older.put()), S_OK);
    EXPECT_EQ(older.get().lVal, 24);
    live.hidden_paths.clear();
    m_inside->plugin().m_preferences_manager.Save();
    EXPECT_TRUE(Load().hidden_paths.empty());
}

TEST_F(PreferencesChain, OlderLogsAreKeptForTheStoredNumberOfDays) {
    Live().days_to_store_logs = 3;
    m_inside->plugin().m_preferences_manager.Save();
    const std::filesystem::path old_log = LogFolder() / "TSMK-SharePoint_2020-01-02_03.04.05.006.log";
    const std::filesystem::path beside = LogFolder().parent_path() / old_log.filename();
    for (const auto& log : {old_log, beside}) WriteText(log, "x");
    {
        const ClockAhead clock(std::chrono::hours(71));
        m_inside->Restart();
        EXPECT_TRUE(exists(old_log));
    }
    const ClockAhead clock(std::chrono::hours(73));
    m_inside->Restart();
    EXPECT_FALSE(exists(old_log));
    EXPECT_FALSE(exists(LogFolder())) << "nothing is left in it";
    EXPECT_TRUE(exists(beside)) << "only the log's own folder is swept";
    std::filesystem::remove(beside);
}

TEST_F(PreferencesChain, WithoutATreeTheRecordStays) {
    Live().on_after_save = 77;
    const ComPtr<TMK::ITMK_Inst> inst = std::exchange(m_inside->plugin().m_tmk_inst, nullptr);
    EXPECT_EQ(Load().on_after_save, 77u);
    m_inside->plugin().m_preferences_manager.Save();
    m_inside->plugin().m_tmk_inst = inst;
    EXPECT_EQ(Load().on_after_save, 24u);
}

}  // namespace

}  // namespace interfaces
