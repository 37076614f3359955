// What comes to the window from outside, in either kind of bars, and its end while something is under way.
#include <QDropEvent>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMimeData>
#include <QPrintDialog>
#include <QPrinter>
#include <QRadioButton>
#include <QTabWidget>
#include <QTest>
#include <QUrl>

#include "tests/desktop/editor_test.h"
#include "tests/support/row_name.h"

namespace desktop_tests {
namespace {

struct BarsRow {
    std::string what;
    desktop::Bars bars;
    friend std::ostream& operator<<(std::ostream& stream, const BarsRow& row) { return stream << row.what; }
};

class WindowTest : public EditorTest, public ::testing::WithParamInterface<BarsRow> {
protected:
    WindowTest() { Start({.bars = GetParam().bars}); }
};

INSTANTIATE_TEST_SUITE_P(All, WindowTest,
                         ::testing::Values(BarsRow{"Ribbon", desktop::Bars::ribbon},
                                           BarsRow{"Menus", desktop::Bars::menus}),
                         RowName());

TEST_P(WindowTest, OpensWhatIsDroppedOnIt) {
    const auto path = m_seed / "a file & more.pdf";
    WriteText(path, MakePdf(2));
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(path.string())),
                  QUrl(QString::fromStdString(m_server->Url(kName)))});
    QDragEnterEvent enter({9, 9}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&m_editor->window(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop({9, 9}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&m_editor->window(), &drop);
    auto* const tabs = m_editor->window().findChild<QTabWidget*>("documents");
    ASSERT_EQ(tabs->count(), 2);
    ASSERT_TRUE(m_editor->Comes([&] {
        for (int i = 0; i < 2; ++i)
            if (qobject_cast<desktop::DocumentTab*>(tabs->widget(i))->IsBusy()) return false;
        return true;
    }));
    EXPECT_EQ(qobject_cast<desktop::DocumentTab*>(tabs->widget(0))->pdf()->PageCount(), 2);
    EXPECT_EQ(m_editor->Bar(), kNotCheckedOut);
    QMimeData text;
    text.setText("words");
    QDragEnterEvent words({9, 9}, Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&m_editor->window(), &words);
    EXPECT_FALSE(words.isAccepted());
}

TEST_P(WindowTest, PrintsARestrictedDocument) {
    m_editor->Open(m_server->Url(kName));
    ASSERT_FALSE(m_editor->Action("cmd.page.delete")->isEnabled());
    const QString printed = QString::fromStdString((m_seed / "printed.pdf").string());
    m_editor->Answer("", [&](QDialog& dialog) {
        auto* const print = qobject_cast<QPrintDialog*>(&dialog);
        ASSERT_TRUE(print);
        print->printer()->setOutputFormat(QPrinter::PdfFormat);
        print->printer()->setOutputFileName(printed);
        print->done(QDialog::Accepted);
    });
    m_editor->Trigger("cmd.print");
    EXPECT_TRUE(m_editor->Comes([this] { return m_editor->JobCount() == 0; }));
    EXPECT_EQ(RotationsOf(ReadText(printed.toStdString())), "0 0 0");
}

TEST_P(WindowTest, ACheckInOfAChangedDocumentSavesItAndAsksOnce) {
    m_editor->Open(m_server->Url(kName));
    m_editor->Click("sp.cmd.checkOut");
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->Action("cmd.page.rotateRight")->isEnabled(); }));
    Rotate();
    m_editor->Answer("sp.msg.checkInDialogMessage", "sp.btn.checkIn");
    m_editor->Click("sp.cmd.checkIn");
    EXPECT_EQ(m_editor->TakeAnswered(), std::vector<std::string>{"sp.msg.checkInDialogMessage"});
    EXPECT_FALSE(m_editor->tab()->IsModified());
    EXPECT_EQ(Rotations(), "90 0 0");
    EXPECT_EQ(m_server->CheckedOutBy(kName), "");
}

class EndOfTheWindow : public EditorTest {
protected:
    // The program's end. What the server stalls is given up within the tests' receive timeout.
    void End() {
        QElapsedTimer time;
        time.start();
        m_editor.reset();
        EXPECT_LT(time.elapsed(), 10'000);
    }
    bool IsStalled() {
        return m_editor->Comes([this] { return m_server->FaultsFired() > 0; });
    }
    void ExpectChangesAreOffered() {
        m_server->ClearFaults();
        Start();
        m_editor->Answer("unsentWindow", "btn.send");
        m_editor->window().OfferUnsent();
        EXPECT_TRUE(m_editor->Comes([this] { return Rotations() == "90 0 0"; }));
        EXPECT_TRUE(m_editor->Comes([this] { return m_editor->host().cache()->Unsent().empty(); }));
    }
};

TEST_F(EndOfTheWindow, WhileARefreshWaits) {
    Start();
    m_editor->Open(m_server->Url(kName));
    m_editor->Click("sp.cmd.checkOut");
    CloseTab();
    ASSERT_TRUE(IsGone());
    m_editor->Open(m_server->Url(kName));
    m_editor->Click("sp.cmd.checkOut");
    End();
}

TEST_F(EndOfTheWindow, WhileADownloadStalls) {
    Start();
    m_server->SetFaults(
        R"([{"match":{"path":"$value","times":0},"fault":{"kind":"stall-body","after":100}}])");
    m_editor->window().OpenAddress(QString::fromStdString(m_server->Url(kName)));
    ASSERT_TRUE(IsStalled());
    End();
}

TEST_F(EndOfTheWindow, WhileASaveStalls) {
    Start({.autosave_ms = 20});
    OpenForEditing();
    Rotate();
    ASSERT_TRUE(m_editor->Comes([this] {
        for (const auto& file : std::filesystem::directory_iterator(m_sphost.Profile() / "autosave"))
            if (file.path().extension() == ".json") return true;
        return false;
    }));
    m_server->SetFaults(R"([{"match":{"method":"PUT","times":0},"fault":{"kind":"stall"}},
        {"match":{"method":"POST","path":"$value","times":0},"fault":{"kind":"stall"}}])");
    m_editor->Trigger("cmd.save");
    ASSERT_TRUE(IsStalled());
    End();
    ExpectChangesAreOffered();
}

class SignInWindow : public ::testing::Test {
protected:
    SignInWindow() : m_server({"--generation", "2013", "--auth", "forms"}) {
        m_server.WriteAs("alice", kName, MakePdf(1));
    }
    // Until a notice of that name is shown.
    void BeginToAdd(EditorDriver& editor, const QString& notice, std::function<void(QDialog&)> answer) {
        editor.Answer("editor.noPlace.question", "btn.addPlace");
        editor.Answer("addPlace.window", [this](QDialog& dialog) {
            if (!m_server.IsModern()) dialog.findChild<QRadioButton*>("compatible")->click();
            Press(dialog, "btn.ok");
        });
        editor.Answer(notice, std::move(answer));
        editor.window().OpenAddress(QString::fromStdString(m_server.Url(kName)));
        ASSERT_TRUE(editor.Comes([&] { return editor.AnsweredCount() == 3; }));
    }
    DevServer m_server;
    TempFolder m_profile;
};

TEST_F(SignInWindow, OfTheSitesOwnPageIsAnnouncedAndCancelled) {
    if (!std::filesystem::exists(SIGN_IN_BROWSER)) GTEST_SKIP() << "built without Qt WebEngine";
    EditorDriver editor(m_profile / "profile", {.browser = SIGN_IN_BROWSER});
    BeginToAdd(editor, "signInWindow", [](QDialog& dialog) { Press(dialog, "btn.cancel"); });
    EXPECT_TRUE(editor.Comes([&] { return editor.JobCount() == 0; }));
    EXPECT_EQ(editor.tab(), nullptr);
    EXPECT_TRUE(editor.host().accounts().Load(editor.host().FileSystem().get()).empty());
}

TEST_F(SignInWindow, MayBeOpenWhenTheProgramEnds) {
    if (!std::filesystem::exists(SIGN_IN_BROWSER)) GTEST_SKIP() << "built without Qt WebEngine";
    std::optional<EditorDriver> editor;
    editor.emplace(m_profile / "profile", EditorOptions{.browser = SIGN_IN_BROWSER});
    QElapsedTimer time;
    BeginToAdd(*editor, "signInWindow", [&](QDialog& dialog) {
        time.start();
        dialog.reject();
    });
    editor.reset();
    EXPECT_LT(time.elapsed(), 10'000);
}

}  // namespace
}  // namespace desktop_tests
