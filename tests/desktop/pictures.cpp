// Makes the pictures of docs/: desktop_pictures FOLDER. Every picture is of the real window with the real
// plug-in in front of a real server; dates, sizes and fonts are fixed, so that one machine gives the same
// bytes each time.
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFontDatabase>
#include <QImageWriter>
#include <QLineEdit>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>
#include <regex>

#include "host/desktop/front_end/sign_in_windows.h"
#include "tests/desktop/editor_driver.h"
#include "tests/support/row_name.h"

namespace desktop_tests {
namespace {

constexpr const char* kName = "Welcome.pdf";
constexpr const char* kPort = "18080";
constexpr QSize kWindow{1080, 680};
constexpr int kHome = 0;
constexpr int kPage = 1;
constexpr int kShare = 2;

std::filesystem::path g_folder;

// The picture of a part of a widget once it is at rest.
QImage PictureOf(QWidget& widget, const QRect& part = {}) {
    constexpr int kRestMs = 60;
    constexpr int kQuietRounds = 6;
    constexpr int kMostRounds = 200;
    QImage last;
    int quiet = 0;
    // Nothing is to look pointed at.
    QTest::mouseMove(widget.window(), QPoint(widget.window()->width() / 2, widget.window()->height() - 3));
    for (int round = 0; round < kMostRounds && quiet < kQuietRounds; ++round) {
        QTest::qWait(kRestMs);
        const QImage now = widget.grab(part.isNull() ? widget.rect() : part).toImage();
        quiet = now == last ? quiet + 1 : 0;
        last = now;
    }
    EXPECT_EQ(quiet, kQuietRounds) << "the window does not come to rest";
    return last.convertToFormat(QImage::Format_RGB888);
}

void Keep(const std::string& name, const QImage& picture) {
    QImage plain = picture;
    // What differs among screens stays out of the file.
    plain.setDotsPerMeterX(0);
    plain.setDotsPerMeterY(0);
    QImageWriter writer(QString::fromStdString((g_folder / (name + ".png")).string()), "png");
    writer.setCompression(100);
    EXPECT_TRUE(writer.write(plain)) << name << ": " << writer.errorString().toStdString();
}

class Pictures : public ::testing::Test {
protected:
    Pictures() : m_server({"--port", kPort}, SOURCE_FOLDER "/samples/library") {
        m_sphost.AddPlace(m_server, "alice");
        Write("alice", "2026-03-02T09:15:00Z");
    }
    void Write(const std::string& user, const std::string& time) {
        m_server.Admin("write?path=/sites/team/Shared%20Documents/" + std::string(kName) + "&user=" + user +
                           "&modified=" + time,
                       ReadText(SOURCE_FOLDER "/samples/library/Welcome.pdf"));
    }
    void Prefer(const std::vector<std::string>& preferences) {
        for (const std::string& preference : preferences)
            ASSERT_EQ(m_sphost.Run({"prefs", preference}).status, 0) << preference;
    }
    void Start(EditorOptions options = {}) {
        options.has_languages = true;
        m_editor.emplace(m_sphost.Profile(), options);
        m_editor->window().resize(kWindow);
    }
    void Open() { m_editor->Open(m_server.Url(kName)); }
    void CheckOut() {
        m_editor->Click("sp.cmd.checkOut");
        ASSERT_TRUE(
            m_editor->Comes([this] { return m_editor->Action("cmd.page.rotateRight")->isEnabled(); }));
    }
    void Rotate() {
        m_editor->Trigger("cmd.page.rotateRight");
        ASSERT_TRUE(m_editor->tab()->IsModified());
    }
    void Ribbon(int tab) { m_editor->window().findChild<QTabWidget*>("ribbon")->setCurrentIndex(tab); }
    void UnfoldPlace() {
        auto* const tree = m_editor->window().findChild<QTreeWidget*>("places");
        QTreeWidgetItem* const place = tree->topLevelItem(0);
        place->setExpanded(true);
        ASSERT_TRUE(m_editor->Comes([=] { return place->child(0)->text(0) == "Shared Documents"; }));
        place->child(0)->setExpanded(true);
        ASSERT_TRUE(m_editor->Comes([=] { return place->child(0)->childCount() > 2; }));
    }
    void KeepWindow(const std::string& name) { Keep(name, PictureOf(m_editor->window())); }
    // The ribbon's tab Page, which shows whether editing is on, down to the information bar.
    void KeepTop(const std::string& name) {
        Ribbon(kPage);
        PictureOf(m_editor->window());
        QWidget& bar = m_editor->tab()->info_bar();
        const int bottom = bar.mapTo(&m_editor->window(), QPoint(0, bar.height())).y();
        QRect part = m_editor->window().rect();
        part.setHeight(bottom);
        Keep(name, PictureOf(m_editor->window(), part));
    }
    // The next window of that name is kept and answered; closed without a button.
    void KeepAnswering(const QString& window, const std::string& name, const QString& button) {
        m_editor->Answer(window, [=](QDialog& dialog) {
            Keep(name, PictureOf(dialog));
            button.isEmpty() ? dialog.reject() : Press(dialog, button);
        });
    }
    void OpenAnswering() {
        m_editor->window().OpenAddress(QString::fromStdString(m_server.Url(kName)));
        ASSERT_TRUE(m_editor->Comes([this] { return m_editor->IsOpen() && m_editor->AnsweredCount() > 0; }));
    }
    void CloseAnswering() {
        m_editor->PressKey(Qt::Key_W);
        ASSERT_TRUE(m_editor->Comes([this] { return m_editor->tab() == nullptr; }));
    }

    DevServer m_server;
    Sphost m_sphost;
    std::optional<EditorDriver> m_editor;
};

TEST_F(Pictures, OfTheWindow) {
    Start();
    Open();
    UnfoldPlace();
    CheckOut();
    Ribbon(kHome);
    KeepWindow("window");
    Ribbon(kShare);
    KeepTop("ribbon-page");
    m_editor->Trigger("cmd.dark");
    Ribbon(kHome);
    KeepWindow("window-dark");
    m_editor->Trigger("cmd.dark");
    m_editor->Trigger("cmd.language.de");
    KeepWindow("window-german");
    m_editor->Trigger("cmd.language.en");
    m_editor->Trigger("cmd.menus");
    ASSERT_TRUE(
        m_editor->Comes([this] { return !m_editor->window().findChild<QWidget*>("ribbon")->isVisible(); }));
    KeepWindow("window-menus");
}

TEST_F(Pictures, OfTheStartPage) {
    Start();
    m_editor->Open(m_server.Url("Bob's notes #1 (50%).pdf"));
    CloseAnswering();
    Open();
    CloseAnswering();
    UnfoldPlace();
    KeepWindow("start");
}

struct BarRow {
    std::string what;
    std::string holder;
    bool has_no_rights;
    std::vector<std::string> preferences;
    friend std::ostream& operator<<(std::ostream& stream, const BarRow& row) { return stream << row.what; }
};

class BarPictures : public Pictures, public ::testing::WithParamInterface<BarRow> {};

TEST_P(BarPictures, Of) {
    const BarRow& row = GetParam();
    Prefer(row.preferences);
    if (!row.holder.empty()) m_server.CheckOutAs(row.holder, kName);
    if (row.has_no_rights) {
        m_server.SetFaults(R"([{"match": {"path": "EffectiveBasePermissions", "times": 0}, "fault":
            {"kind": "body", "content_type": "application/json;odata=verbose;charset=utf-8", "text":
             "{\"d\":{\"ListItemAllFields\":{\"EffectiveBasePermissions\":{\"High\":\"0\",\"Low\":\"0\"}}}}"}}])");
    }
    Start();
    Open();
    KeepTop("bar-" + row.what);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BarPictures,
    ::testing::Values(BarRow{"mine", "alice", false, {}},
                      BarRow{"another-editing", "bob", false, {"on_open_checked_out_other=2"}},
                      BarRow{"another-reading", "bob", false, {}},
                      BarRow{"free-editing", "", false, {"on_open_checked_out_none=2"}},
                      BarRow{"free-reading", "", false, {}},
                      BarRow{"no-rights-editing",
                             "",
                             true,
                             {"on_open_without_write_permissions=2", "on_open_checked_out_none=2"}},
                      BarRow{"no-rights-reading", "", true, {"on_open_checked_out_none=2"}}),
    RowName());

// Bob takes the document away behind the person's back.
TEST_F(Pictures, OfARefusedCheckOut) {
    Start();
    Open();
    m_server.CheckOutAs("bob", kName);
    KeepAnswering("", "prompt-check-out-failed", "btn.close");
    m_editor->Click("sp.cmd.checkOut");
    KeepTop("bar-taken-by-another");
}

TEST_F(Pictures, OfPromptsOfOpening) {
    Prefer({"on_open_checked_out_none=1"});
    Start();
    KeepAnswering("sp.msg.askForCheckOutOnOpen", "prompt-open", "sp.btn.open");
    OpenAnswering();
}

TEST_F(Pictures, OfPromptsOfAnOutdatedCopy) {
    Start();
    Open();
    Write("bob", "2026-03-02T10:40:00Z");
    KeepAnswering("sp.msg.outdatedFileOnCheckout.question", "prompt-reload", "sp.btn.cancelCheckOut");
    m_editor->Click("sp.cmd.checkOut");
    m_editor->Click("sp.cmd.enableEditing");
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->Action("cmd.page.rotateRight")->isEnabled(); }));
    Rotate();
    KeepAnswering("sp.msg.outdatedModifiedFileOnCheckout.question", "prompt-reload-changed",
                  "sp.btn.cancelOutdatedCheckOut");
    m_editor->Click("sp.cmd.checkOut");
    KeepAnswering("sp.msg.outdatedFileOnWrite.question", "prompt-overwrite", "sp.btn.cancelSaving");
    m_editor->Save();
    m_editor->Trigger("cmd.language.de");
    KeepAnswering("sp.msg.outdatedFileOnWrite.question", "prompt-overwrite-german", "sp.btn.cancelSaving");
    m_editor->Save();
    KeepAnswering("editor.unsaved.question", "prompt-unsaved-german", "btn.cancel");
    m_editor->PressKey(Qt::Key_W);
    m_editor->Trigger("cmd.language.en");
    KeepAnswering("editor.unsaved.question", "prompt-unsaved", "btn.dontSave");
    CloseAnswering();
}

TEST_F(Pictures, OfPromptsOfClosing) {
    Prefer({"on_after_save=8", "on_close_checked_out_no_need_check_in=1"});
    Start();
    Open();
    CheckOut();
    KeepAnswering("sp.msg.askForDiscardCheckOutOnClose", "prompt-close-unchanged", "sp.btn.keepCkeckedOut");
    CloseAnswering();
    Open();
    KeepAnswering("editor.earlierCheckOut.question", "prompt-earlier-check-out", "btn.cancel");
    m_editor->PressKey(Qt::Key_W);
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->AnsweredCount() == 2 && m_editor->IsOpen(); }));
    Rotate();
    m_editor->Save();
    KeepAnswering("sp.msg.checkInDialogMessage", "prompt-check-in", "");
    m_editor->Trigger("sp.cmd.checkIn");
    KeepAnswering("sp.msg.askForCheckInOnClose", "prompt-close-changed", "sp.btn.keepCkeckedOut");
    CloseAnswering();
}

TEST_F(Pictures, OfSignIns) {
    Start();
    KeepAnswering("addPlace.window", "place", "btn.cancel");
    m_editor->Trigger("cmd.addPlace");
    desktop::PageNoticeWindow notice("https://login.example/device", "FSJMMTRJC", &m_editor->window());
    m_editor->Answer("signInCode", [](QDialog& dialog) { Keep("sign-in-code", PictureOf(dialog)); });
    notice.show();
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->AnsweredCount() == 2; }));
    KeepAnswering("signIn", "sign-in-password", "btn.cancel");
    host::CredentialsQuestion question;
    question.server = u"http://sharepoint.example";
    question.user = u"CONTOSO\alice";
    desktop::AskCredentials(question, &m_editor->window());
}

TEST_F(Pictures, OfWhatWasLeftUnsent) {
    Start({.autosave_ms = 20});
    m_editor->Open(m_server.Url("Bob's notes #1 (50%).pdf"));
    CheckOut();
    Rotate();
    const auto folder = m_sphost.Profile() / "autosave";
    std::filesystem::path description;
    ASSERT_TRUE(m_editor->Comes([&] {
        for (const auto& file : std::filesystem::directory_iterator(folder))
            if (file.path().extension() == ".json") description = file.path();
        return !description.empty();
    }));
    Open();
    CheckOut();
    Rotate();
    m_server.SetFaults(R"([{"match":{"method":"POST","times":0},"fault":{"kind":"status","status":507}},
        {"match":{"method":"PUT","times":0},"fault":{"kind":"status","status":507}}])");
    m_editor->Answer("editor.failure", "btn.close");
    m_editor->Save();
    m_editor.reset();
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        if (file.path().extension() != ".json") continue;
        WriteText(file.path(),
                  std::regex_replace(ReadText(file.path()), std::regex(R"((\"time\":\s*\")[^\"]*)"),
                                     "$012026-03-02T10:45:00Z"));
    }
    m_server.ClearFaults();
    Start();
    KeepAnswering("unsentWindow", "unsent", "btn.later");
    m_editor->window().OfferUnsent();
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->AnsweredCount() == 1; }));
}

// For a run with QT_SCALE_FACTOR=2.
TEST_F(Pictures, OfALargeScreen) {
    Start();
    m_editor->window().resize(960, 600);
    Open();
    Ribbon(kPage);
    KeepWindow("window-200");
}

}  // namespace
}  // namespace desktop_tests

int main(int count, char** words) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_FONT_DPI", "96");
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("TZ", "UTC");
    qunsetenv("DISPLAY");
    qunsetenv("BROWSER");
    QApplication application(count, words);
    QApplication::setApplicationDisplayName("PDF Editor");
    QApplication::setFont(QFont("DejaVu Sans", 9));
    QApplication::setCursorFlashTime(0);
    ::testing::InitGoogleTest(&count, words);
    if (count != 2) {
        std::fputs("usage: desktop_pictures FOLDER\n", stderr);
        return 2;
    }
    desktop_tests::g_folder = words[1];
    std::filesystem::create_directories(desktop_tests::g_folder);
    return RUN_ALL_TESTS();
}
