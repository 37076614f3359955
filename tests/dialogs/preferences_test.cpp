// The plug-in's page in the window of preferences, and the window behind it.
#include <cstdlib>

#include "tests/dialogs/dialog_driver.h"

namespace dialogs {

namespace {

using host::ToUtf16;
using host::ToUtf8;

bool IsChecked(DialogWindow& window, std::u16string_view id) {
    return window.Find<host::CheckControl>(id)->is_checked();
}

void ClickCheck(DialogWindow& window, std::u16string_view id) {
    window.Find<host::CheckControl>(id)->Click();
}

HRESULT Press(DialogWindow& window, std::u16string_view id) {
    return window.Find<host::ButtonControl>(id)->Click();
}

void TypeIn(DialogWindow& window, std::u16string_view id, const std::string& text) {
    window.Find<host::EditControl>(id)->TypeText(ToUtf16(text));
}

class PreferencesPages : public ::testing::Test {
protected:
    ~PreferencesPages() override {
        if (m_pages) m_pages->Close();
        if (m_driver) {
            EXPECT_EQ(m_driver->front_end().dialogs.problem(), "");
            EXPECT_TRUE(m_driver->front_end().dialogs.IsDone()) << "steps are left";
        }
    }
    Driver& driver(const interfaces::PreferenceValues& preferences = {}) {
        if (!m_driver) m_driver = std::make_unique<Driver>(m_server, "alice", preferences);
        return *m_driver;
    }
    DialogWindow& OpenPage(const interfaces::PreferenceValues& preferences = {}) {
        if (m_pages) m_pages->Close();
        m_pages = driver(preferences).host().dialogs().OpenPreferences();
        return *m_pages->pages().at(0).window;
    }
    void Apply() { EXPECT_EQ(Hex(m_pages->Apply()), Hex(S_OK)); }
    std::string Stored(const std::string& name) { return driver().Preference(name); }
    // The window behind the page.
    void Advanced(DialogWindow& page, const Driver::Action& action) {
        driver().ThenWhen(
            "advanced", [](DialogWindow& w) { return w.shape().id == u"AdvancedPreferencesDialog"; }, action);
        EXPECT_EQ(Press(page, u"btn.advancedPreferences"), S_OK);
    }

    DevServer m_server;
    std::unique_ptr<Driver> m_driver;
    ComPtr<host::PreferencePages> m_pages;
};

TEST_F(PreferencesPages, IsOneWithATitleOfItsOwn) {
    OpenPage();
    ASSERT_EQ(m_pages->pages().size(), 1u);
    EXPECT_EQ(m_pages->pages()[0].title, u"SharePoint");
    EXPECT_EQ(m_pages->pages()[0].name, u"DlgAppPrefs.SharePoint.Name");
}

// A field whose bits go beyond what a control shows.
TEST_F(PreferencesPages, BitsThatNoControlShowsAreKept) {
    DialogWindow& page = OpenPage(
        {{"on_after_save", "57"}, {"on_open_checked_out_none", "6"}, {"on_open_checked_out_other", "42"}});
    EXPECT_EQ(page.Find<host::ComboControl>(u"cb.whenOpenDocumentCheckoutNone")->selected(), 0);
    EXPECT_TRUE(IsChecked(page, u"check.whenOpenDocumentCheckOutNoneDisableEditing"));
    EXPECT_EQ(page.Find<host::ComboControl>(u"cb.afterSave")->selected(), -1) << "no item stands for it";
    Apply();
    EXPECT_EQ(Stored("on_after_save"), "57");
    EXPECT_EQ(Stored("on_open_checked_out_none"), "6");
    page.Find<host::ComboControl>(u"cb.afterSave")->SelectItem(2);
    ClickCheck(page, u"check.whenOpenCheckOutOtherShowWarning");
    Apply();
    EXPECT_EQ(Stored("on_after_save"), "40") << "the highest bit stays";
    EXPECT_EQ(Stored("on_open_checked_out_other"), "43");
}

struct ControlRow {
    std::u16string id;
    LONG item;  // -1: a check box, which is clicked
    std::string preference, before, after;
};

TEST_F(PreferencesPages, EachControlHasItsPreference) {
    const ControlRow rows[] = {
        {u"cb.whenOpenDocumentCheckoutNone", 1, "on_open_checked_out_none", "6", "14"},
        {u"cb.whenSaveConflict", 1, "on_save_conflict", "1", "32"},
        {u"cb.afterSave", 3, "on_after_save", "24", "1"},
        {u"cb.closeNeedCheckIn", 2, "on_close_checked_out_need_check_in", "1", "8"},
        {u"cb.closeDoesNotNeedCheckIn", 2, "on_close_checked_out_no_need_check_in", "0", "1"},
        {u"cb.defaultCheckInType", 2, "default_check_in_type", "1", "2"},
        {u"check.whenOpenDocumentCheckOutNoneDisableEditing", -1, "on_open_checked_out_none", "14", "10"},
        {u"check.whenOpenCheckOutOtherShowWarning", -1, "on_open_checked_out_other", "6", "7"},
        {u"check.whenOpenDocumentCheckOutOtherDisableEditing", -1, "on_open_checked_out_other", "7", "3"},
        {u"check.whenOpenNoPermissionsShowWarning", -1, "on_open_without_write_permissions", "6", "7"},
        {u"check.whenOpenNoPermissionsDisableEditing", -1, "on_open_without_write_permissions", "7", "3"},
    };
    for (const ControlRow& row : rows) {
        SCOPED_TRACE(ToUtf8(row.id));
        DialogWindow& page = OpenPage();
        EXPECT_EQ(Stored(row.preference), row.before);
        if (row.item < 0) {
            ClickCheck(page, row.id);
        } else {
            page.Find<host::ComboControl>(row.id)->SelectItem(row.item);
        }
        EXPECT_EQ(Stored(row.preference), row.before) << "nothing is stored before it is applied";
        Apply();
        EXPECT_EQ(Stored(row.preference), row.after);
        if (row.item < 0) continue;
        EXPECT_EQ(OpenPage().Find<host::ComboControl>(row.id)->selected(), row.item);
    }
    DialogWindow& page = OpenPage();
    TypeIn(page, u"ed.defaultCheckInComment", "a \"comment\"");
    ClickCheck(page, u"check.showHiddenItems");
    Apply();
    EXPECT_EQ(Stored("default_check_in_message"), "a \"comment\"");
    EXPECT_EQ(Stored("show_hidden_items"), "true");
}

TEST_F(PreferencesPages, ResetIsStoredByApplyAlone) {
    DialogWindow& page =
        OpenPage({{"on_after_save", "16"}, {"default_check_in_message", "x"}, {"log_level", "1"}});
    EXPECT_EQ(Press(page, u"btn.resetPreferences"), S_OK);
    EXPECT_EQ(page.Find<host::ComboControl>(u"cb.afterSave")->selected(), 3);
    EXPECT_EQ(TextOf(page, u"ed.defaultCheckInComment"), "");
    m_pages->Close();
    EXPECT_EQ(Stored("on_after_save"), "16") << "closed without";
    DialogWindow& again = OpenPage();
    EXPECT_EQ(again.Find<host::ComboControl>(u"cb.afterSave")->selected(), 0);
    Press(again, u"btn.resetPreferences");
    Apply();
    EXPECT_EQ(Stored("on_after_save"), "1");
    EXPECT_EQ(Stored("log_level"), "0");
    EXPECT_EQ(Stored("days_to_store_logs"), "10");
}

TEST_F(PreferencesPages, TheWindowBehindChangesThePageAlone) {
    DialogWindow& page = OpenPage({{"hide_paths", "false"}, {"days_to_store_logs", "7"}});
    Advanced(page, [](DialogWindow& w) {
        EXPECT_FALSE(IsEnabled(w, u"ed.hiddenPaths"));
        EXPECT_EQ(TextOf(w, u"ed.numberOfDaysToStoreLogs"), "7");
        EXPECT_FALSE(IsEnabled(w, u"btn.openLog")) << "there is no log";
        EXPECT_EQ(TextOf(w, u"ed.currenLogFile"), "");
        ClickCheck(w, u"check.hidePaths");
        EXPECT_TRUE(IsEnabled(w, u"ed.hiddenPaths"));
        TypeIn(w, u"ed.hiddenPaths", " one \n\n\ttwo*\n");
        TypeIn(w, u"ed.numberOfDaysToStoreLogs", "1x2");
        EXPECT_EQ(TextOf(w, u"ed.numberOfDaysToStoreLogs"), "12") << "digits alone";
        w.Find<host::ComboControl>(u"cb.logLevel")->SelectItem(4);
        Press(w, u"btn.ok");
    });
    EXPECT_EQ(Stored("hide_paths"), "false");
    Apply();
    EXPECT_EQ(Stored("hide_paths"), "true");
    EXPECT_EQ(Stored("hidden_paths"), "one|two*");
    EXPECT_EQ(Stored("days_to_store_logs"), "12");
    EXPECT_EQ(Stored("log_level"), "4");
    Advanced(page, [](DialogWindow& w) {
        EXPECT_EQ(TextOf(w, u"ed.hiddenPaths"), "one\ntwo*");
        EXPECT_NE(TextOf(w, u"ed.currenLogFile"), "") << "the level counts at once";
        EXPECT_TRUE(IsEnabled(w, u"btn.openLog"));
        TypeIn(w, u"ed.numberOfDaysToStoreLogs", "");
        w.Find<host::ComboControl>(u"cb.logLevel")->SelectItem(0);
        Press(w, u"btn.cancel");
    });
    Apply();
    EXPECT_EQ(Stored("log_level"), "4") << "cancelled";
    Advanced(page, [](DialogWindow& w) {
        TypeIn(w, u"ed.numberOfDaysToStoreLogs", "");
        w.Find<host::ComboControl>(u"cb.logLevel")->SelectItem(0);
        Press(w, u"btn.ok");
    });
    Apply();
    EXPECT_EQ(Stored("days_to_store_logs"), "0") << "an empty field";
    Advanced(page, [](DialogWindow& w) {
        EXPECT_EQ(TextOf(w, u"ed.currenLogFile"), "") << "the log is closed at once";
        w.CloseByPerson();
    });
}

TEST_F(PreferencesPages, LogsAreOpenedAndCleared) {
    DialogWindow& page = OpenPage({{"log_level", "1"}});
    Advanced(page, [](DialogWindow& w) {
        w.Find<host::ComboControl>(u"cb.logLevel")->SelectItem(4);
        Press(w, u"btn.ok");
    });
    Apply();
    const std::string path = std::getenv("PATH");
    setenv("PATH", "/nowhere", 1);
    std::string log;
    Advanced(page, [&](DialogWindow& w) {
        log = TextOf(w, u"ed.currenLogFile");
        EXPECT_EQ(Press(w, u"btn.openLog"), S_OK);
        EXPECT_EQ(driver().Prompts(), "sp.msg.openFailed") << "no program can show it";
        EXPECT_EQ(Press(w, u"btn.openLogFolder"), S_OK);
        EXPECT_EQ(driver().Prompts(), "sp.msg.openFailed");
        EXPECT_EQ(Press(w, u"btn.clearLogs"), S_OK);
        EXPECT_EQ(TextOf(w, u"ed.currenLogFile"), "");
        EXPECT_FALSE(IsEnabled(w, u"btn.openLog"));
        EXPECT_TRUE(IsEnabled(w, u"btn.openLogFolder")) << "the folder stays: so do files of the newer name";
        Press(w, u"btn.cancel");
    });
    setenv("PATH", path.c_str(), 1);
    Advanced(page, [&](DialogWindow& w) {
        EXPECT_NE(TextOf(w, u"ed.currenLogFile"), log) << "the next line makes a new one";
        Press(w, u"btn.cancel");
    });
}

TEST_F(PreferencesPages, HiddenPathsCountInTheNextListing) {
    m_server.WriteAs("alice", "shown.txt", "x");
    m_server.WriteAs("alice", "secret.txt", "x");
    const auto rows = [&] {
        std::vector<std::string> seen;
        driver().Then("look", [&](DialogWindow& w) {
            seen = Rows(w);
            w.CloseByPerson();
        });
        driver().Open();
        return seen;
    };
    EXPECT_EQ(rows(), (std::vector<std::string>{"../", "secret.txt", "shown.txt"}));
    DialogWindow& page = OpenPage();
    Advanced(page, [](DialogWindow& w) {
        ClickCheck(w, u"check.hidePaths");
        TypeIn(w, u"ed.hiddenPaths", "*/secret.*");
        Press(w, u"btn.ok");
    });
    Apply();
    EXPECT_EQ(rows(), (std::vector<std::string>{"../", "shown.txt"}));
}

}  // namespace

}  // namespace dialogs
