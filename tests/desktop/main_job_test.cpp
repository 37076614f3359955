// What a person does with a document of a site in the window: open, check out, change, save, check in, close.
#include <QElapsedTimer>
#include <QLineEdit>
#include <QRadioButton>
#include <QTest>

#include "tests/desktop/editor_test.h"
#include "tests/support/row_name.h"

namespace desktop_tests {
namespace {

struct MainJobRow {
    std::string what;
    std::string generation;
    desktop::Bars bars = desktop::Bars::ribbon;
    friend std::ostream& operator<<(std::ostream& stream, const MainJobRow& row) {
        return stream << row.what;
    }
};

class MainJob : public EditorTest, public ::testing::WithParamInterface<MainJobRow> {
protected:
    MainJob() : EditorTest({"--generation", GetParam().generation}) {}
};

TEST_P(MainJob, ChecksOutRotatesSavesAndChecksIn) {
    // A save keeps the document checked out, for the check-in that the person asks for.
    ASSERT_EQ(m_sphost.Run({"prefs", "on_after_save=8"}).status, 0);
    const StoredDocument first = m_server->Look(kName);
    Start({.bars = GetParam().bars});
    m_editor->Open(m_server->Url(kName));
    EXPECT_EQ(m_editor->Bar(), kNotCheckedOut);
    EXPECT_FALSE(m_editor->Action("cmd.page.rotateRight")->isEnabled());
    m_editor->Click("sp.cmd.checkOut");
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->Bar() == "The file is checked out to you."; }))
        << m_editor->Bar();
    EXPECT_NE(m_server->CheckedOutBy(kName).find("alice"), std::string::npos);
    EXPECT_FALSE(m_editor->Action("sp.cmd.checkOut")->isEnabled());
    Rotate();
    m_editor->Save();
    EXPECT_FALSE(m_editor->tab()->IsModified());
    EXPECT_EQ(Rotations(), "90 0 0");
    m_editor->Answer("sp.msg.checkInDialogMessage", [](QDialog& dialog) {
        for (auto* const radio : dialog.findChildren<QRadioButton*>())
            if (radio->text().contains("major")) radio->click();
        QTest::keyClicks(dialog.findChild<QLineEdit*>(), "Turned");
        Press(dialog, "sp.btn.checkIn");
    });
    m_editor->Trigger("sp.cmd.checkIn");
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->Bar() == kNotCheckedOut; })) << m_editor->Bar();
    const StoredDocument stored = m_server->Look(kName);
    EXPECT_EQ(std::stoi(stored.version), std::stoi(first.version) + 1)
        << stored.version << " " << first.version;
    EXPECT_TRUE(stored.version.ends_with(".0")) << stored.version;
    EXPECT_EQ(stored.comment, "Turned");
    EXPECT_EQ(stored.checked_out_by, "");
    CloseTab();
    EXPECT_TRUE(IsGone());
}

INSTANTIATE_TEST_SUITE_P(All, MainJob,
                         ::testing::Values(MainJobRow{"ModernRibbon", "modern"},
                                           MainJobRow{"ModernMenus", "modern", desktop::Bars::menus},
                                           MainJobRow{"Server2013Ribbon", "2013"}),
                         RowName());

TEST_F(EditorTest, KeepsARestrictedDocumentReadable) {
    Start();
    m_editor->Open(m_server->Url(kName));
    for (const char* name :
         {"cmd.page.rotateLeft", "cmd.page.delete", "cmd.page.duplicate", "cmd.page.insert", "cmd.info"})
        EXPECT_FALSE(m_editor->Action(name)->isEnabled()) << name;
    for (const char* name : {"cmd.print", "cmd.find", "cmd.saveCopy"})
        EXPECT_TRUE(m_editor->Action(name)->isEnabled()) << name;
    m_editor->tab()->view()->SelectAll();
    EXPECT_TRUE(m_editor->Comes([this] { return m_editor->Action("cmd.copy")->isEnabled(); }));
    EXPECT_EQ(m_editor->BarButtons(), "sp.cmd.checkOut sp.cmd.enableEditing sp.cmd.fileProperties");
}

TEST_F(EditorTest, ShowsALocalFileWithoutTheSitesBarAndSavesIt) {
    const auto path = m_seed / "local.pdf";
    WriteText(path, MakePdf(2));
    Start();
    m_editor->Open(path.string());
    EXPECT_EQ(m_editor->Bar(), "");
    EXPECT_FALSE(m_editor->Action("sp.cmd.checkOut")->isEnabled());
    Rotate();
    m_editor->Save();
    EXPECT_EQ(RotationsOf(ReadText(path)), "90 0");
    m_server->ClearRequests();
    CloseTab();
    EXPECT_TRUE(IsGone());
    EXPECT_TRUE(m_server->Requests().empty());
}

TEST_F(EditorTest, ASaveOverAnothersVersionAsksAndNeverOverwritesUnasked) {
    Start();
    OpenForEditing();
    const std::string theirs = MakePdf(1, "theirs");
    m_server->WriteAs("bob", kName, theirs);
    Rotate();
    m_editor->Answer("sp.msg.outdatedFileOnWrite.question", "sp.btn.cancelSaving");
    m_editor->Save();
    EXPECT_EQ(m_editor->TakeAnswered(), std::vector<std::string>{"sp.msg.outdatedFileOnWrite.question"});
    EXPECT_TRUE(m_editor->tab()->IsModified());
    EXPECT_TRUE(m_server->Document(kName) == theirs);
    m_editor->Answer("sp.msg.outdatedFileOnWrite.question", "sp.btn.overwrite");
    m_editor->Save();
    EXPECT_FALSE(m_editor->tab()->IsModified());
    EXPECT_EQ(Rotations(), "90 0 0");
}

TEST_F(EditorTest, AFailedSaveSaysSoAndKeepsTheChanges) {
    Start();
    OpenForEditing();
    m_server->SetFaults(
        R"([{"match":{"method":"POST","path":"$value","times":0},"fault":{"kind":"status","status":507}},
        {"match":{"method":"PUT","times":0},"fault":{"kind":"status","status":507}}])");
    Rotate();
    m_editor->Answer("editor.failure", "btn.close");
    m_editor->Save();
    EXPECT_EQ(m_editor->TakeAnswered(), std::vector<std::string>{"editor.failure"});
    EXPECT_TRUE(m_editor->tab()->IsModified());
    EXPECT_TRUE(m_editor->host().cache()->Unsent().size() == 1);
    m_server->ClearFaults();
    m_editor->Save();
    EXPECT_EQ(Rotations(), "90 0 0");
    EXPECT_TRUE(m_editor->host().cache()->Unsent().empty());
}

TEST_F(EditorTest, ACheckInSavesFirstAndStaysAwayWhenThatFails) {
    Start();
    m_editor->Open(m_server->Url(kName));
    m_editor->Click("sp.cmd.checkOut");
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->Action("cmd.page.rotateRight")->isEnabled(); }));
    Rotate();
    m_server->SetFaults(
        R"([{"match":{"method":"POST","path":"$value","times":0},"fault":{"kind":"status","status":507}},
        {"match":{"method":"PUT","times":0},"fault":{"kind":"status","status":507}}])");
    m_editor->Answer("editor.failure", "btn.close");
    m_editor->Trigger("sp.cmd.checkIn");
    EXPECT_EQ(m_editor->TakeAnswered(), std::vector<std::string>{"editor.failure"});
    EXPECT_NE(m_server->CheckedOutBy(kName), "");
    m_server->ClearFaults();
    m_editor->Answer("sp.msg.checkInDialogMessage", "sp.btn.checkIn");
    m_editor->Trigger("sp.cmd.checkIn");
    EXPECT_EQ(m_editor->TakeAnswered(), std::vector<std::string>{"sp.msg.checkInDialogMessage"});
    EXPECT_EQ(m_server->CheckedOutBy(kName), "");
    EXPECT_EQ(Rotations(), "90 0 0");
}

TEST_F(EditorTest, ClosingAChangedDocumentAsks) {
    Start();
    OpenForEditing();
    Rotate();
    m_editor->Answer("editor.unsaved.question", "btn.cancel");
    CloseTab();
    ASSERT_TRUE(m_editor->IsOpen());
    EXPECT_TRUE(m_editor->tab()->IsModified());
    m_editor->Answer("editor.unsaved.question", "btn.dontSave");
    CloseTab();
    ASSERT_TRUE(IsGone());
    EXPECT_EQ(Rotations(), "0 0 0");
    EXPECT_TRUE(m_editor->host().cache()->Unsent().empty());
    OpenForEditing();
    Rotate();
    m_editor->Answer("editor.unsaved.question", "btn.save");
    m_editor->window().close();
    EXPECT_TRUE(m_editor->Comes([this] { return !m_editor->window().isVisible(); }));
    EXPECT_EQ(Rotations(), "90 0 0");
}

TEST_F(EditorTest, ClosingKeepsACheckOutFromBeforeUnlessToldOtherwise) {
    m_server->CheckOutAs("alice", kName);
    Start();
    for (const char* answer : {"btn.cancel", "btn.keep"}) {
        m_editor->Open(m_server->Url(kName));
        m_editor->Answer("editor.earlierCheckOut.question", answer);
        CloseTab();
        EXPECT_TRUE(m_editor->Comes([&] { return !m_editor->tab() || m_editor->IsOpen(); }));
        EXPECT_NE(m_server->CheckedOutBy(kName), "") << answer;
    }
    EXPECT_TRUE(IsGone());
    m_editor->Open(m_server->Url(kName));
    m_editor->Answer("editor.earlierCheckOut.question", "btn.discard");
    CloseTab();
    EXPECT_TRUE(IsGone());
    EXPECT_EQ(m_server->CheckedOutBy(kName), "");
}

TEST_F(EditorTest, CancelEndsAStalledOpeningAtOnce) {
    Start();
    m_server->SetFaults(
        R"([{"match":{"path":"$value","times":0},"fault":{"kind":"stall-body","after":100}}])");
    m_editor->window().OpenAddress(QString::fromStdString(m_server->Url(kName)));
    auto* const strip = m_editor->tab()->findChild<desktop::BusyStrip*>();
    EXPECT_FALSE(strip->isVisible());
    ASSERT_TRUE(m_editor->Comes([&] { return strip->isVisible(); }));
    QElapsedTimer time;
    time.start();
    Press(*strip, "btn.cancel");
    ASSERT_TRUE(IsGone());
    EXPECT_LT(time.elapsed(), 500);
    m_server->ClearFaults();
    m_editor->Open(m_server->Url(kName));
    EXPECT_EQ(m_editor->Bar(), kNotCheckedOut);
}

TEST_F(EditorTest, OffersUnsavedChangesAfterItsEnd) {
    Start({.autosave_ms = 50});
    OpenForEditing();
    Rotate();
    const auto folder = m_sphost.Profile() / "autosave";
    const auto has_copy = [&] {
        for (const auto& file : std::filesystem::directory_iterator(folder))
            if (file.path().extension() == ".json") return true;
        return false;
    };
    ASSERT_TRUE(m_editor->Comes(has_copy));
    {
        // Another window does not offer what this one has open.
        EditorDriver other(m_sphost.Profile());
        other.window().OfferUnsent();
        EXPECT_TRUE(other.TakeAnswered().empty());
    }
    m_editor.reset();
    Start();
    m_editor->Answer("unsentWindow", "btn.open");
    m_editor->window().OfferUnsent();
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->IsOpen(); }));
    EXPECT_TRUE(m_editor->tab()->IsModified());
    m_editor->Save();
    EXPECT_EQ(Rotations(), "90 0 0");
    EXPECT_FALSE(has_copy());
}

TEST_F(EditorTest, SendsWhatAnEarlierRunLeftUnsent) {
    Start();
    OpenForEditing();
    Rotate();
    m_server->SetFaults(R"([{"match":{"method":"POST","times":0},"fault":{"kind":"status","status":507}},
        {"match":{"method":"PUT","times":0},"fault":{"kind":"status","status":507}}])");
    m_editor->Answer("editor.failure", "btn.close");
    m_editor->Save();
    m_editor.reset();
    m_server->ClearFaults();
    Start();
    m_editor->Answer("unsentWindow", "btn.send");
    m_editor->window().OfferUnsent();
    EXPECT_TRUE(m_editor->Comes([this] { return Rotations() == "90 0 0"; }));
    EXPECT_TRUE(m_editor->Comes([this] { return m_editor->host().cache()->Unsent().empty(); }));
}

class SignIn : public ::testing::Test {
protected:
    SignIn() {
        WriteText(m_seed / kName, MakePdf(1));
        m_server.emplace(std::vector<std::string>{}, m_seed.Path());
    }
    void FillPlace(QDialog& dialog) {
        dialog.findChild<QLineEdit*>("authority")
            ->setText(QString::fromStdString(m_server->Origin() + "/organizations/"));
        Press(dialog, "btn.ok");
    }
    TempFolder m_seed;
    TempFolder m_profile;
    std::optional<DevServer> m_server;
};

TEST_F(SignIn, CancellingItLeavesNoPlaceAndNoTab) {
    EditorDriver editor(m_profile / "profile");
    editor.Answer("editor.noPlace.question", "btn.addPlace");
    editor.Answer("addPlace.window", [this](QDialog& dialog) { FillPlace(dialog); });
    editor.Answer("signInCode", "btn.cancel");
    editor.window().OpenAddress(QString::fromStdString(m_server->Url(kName)));
    EXPECT_TRUE(editor.Comes([&] { return editor.AnsweredCount() == 3 && editor.JobCount() == 0; }));
    EXPECT_EQ(editor.tab(), nullptr);
    EXPECT_TRUE(editor.host().accounts().Load(editor.host().FileSystem().get()).empty());
}

}  // namespace
}  // namespace desktop_tests
