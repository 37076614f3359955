// A person at the editor for campaigns: desktop_script edit PROFILE URL FIRST, or recover PROFILE, or
// rotation FILE. "edit" turns the first page of the document once more in each round, from the FIRSTth turn
// on, saves and closes it, and tells on standard output how far it is, until it is killed. "recover" takes up
// all that earlier runs have left. "rotation" tells how often the first page is turned.
#include <gtest/gtest.h>

#include <QApplication>
#include <QListWidget>
#include <QTest>
#include <cstdio>
#include <random>

#include "tests/desktop/editor_driver.h"

namespace desktop_tests {
namespace {

constexpr int kAutosaveMs = 40;
constexpr int kMostRounds = 100;
constexpr int kMostPauseMs = 200;

void Tell(const char* what, int turn) {
    std::printf("%s %d\n", what, turn);
}

bool HasAutosave(const std::filesystem::path& profile) {
    for (const auto& file : std::filesystem::directory_iterator(profile / "autosave"))
        if (file.path().extension() == ".json") return true;
    return false;
}

void CloseTab(EditorDriver& editor) {
    editor.PressKey(Qt::Key_W);
    EditorDriver::Comes([&] { return editor.tab() == nullptr; });
}

// A document that an earlier run has left checked out is not restricted.
void LiftRestriction(EditorDriver& editor) {
    const auto is_free = [&] { return editor.Action("cmd.page.rotateRight")->isEnabled(); };
    EditorDriver::Comes([&] { return !editor.Bar().empty(); });
    if (!is_free()) editor.Click("sp.cmd.enableEditing");
    EditorDriver::Comes(is_free);
}

int Edit(const std::filesystem::path& profile, const std::string& url, int first) {
    EditorDriver editor(profile, {.autosave_ms = kAutosaveMs});
    std::minstd_rand random(static_cast<unsigned>(first));
    for (int turn = first; turn < first + kMostRounds; ++turn) {
        editor.Open(url);
        LiftRestriction(editor);
        editor.Trigger("cmd.page.rotateRight");
        Tell("edited", turn);
        if (random() % 2 == 0) {
            if (!EditorDriver::Comes([&] { return HasAutosave(profile); })) return 1;
            Tell("kept", turn);
        }
        QTest::qWait(static_cast<int>(random() % kMostPauseMs));
        Tell("saving", turn);
        editor.Save();
        if (editor.tab()->IsModified()) return 1;
        Tell("saved", turn);
        CloseTab(editor);
        Tell("closed", turn);
    }
    return 0;
}

// Sends what can be sent, opens and saves what was not saved, drops what is torn. True when something was
// there.
bool TakeUpOne(EditorDriver& editor) {
    bool is_restoring = false;
    const std::size_t before = editor.AnsweredCount();
    editor.Answer("unsentWindow", [&](QDialog& dialog) {
        auto* const list = dialog.findChild<QListWidget*>("unsent");
        for (int i = 0; i < list->count(); ++i)
            std::printf("offered: %s\n", list->item(i)->text().toStdString().c_str());
        if (dialog.findChild<QWidget*>("btn.send")->isEnabled()) return Press(dialog, "btn.send");
        is_restoring = dialog.findChild<QWidget*>("btn.open")->isEnabled();
        if (!is_restoring) editor.Answer("editor.drop.question", "btn.drop");
        Press(dialog, is_restoring ? "btn.open" : "btn.drop");
        dialog.reject();
    });
    editor.window().OfferUnsent();
    if (!QTest::qWaitFor([&] { return editor.AnsweredCount() > before; }, 500)) return false;
    // Not until the window is active: while more is offered it never is, and without a display nothing makes
    // it.
    if (!EditorDriver::Comes([&] { return editor.JobCount() == 0; }))
        std::puts("Failure: a job does not end");
    for (QWidget* const widget : QApplication::topLevelWidgets())
        if (auto* const dialog = qobject_cast<QDialog*>(widget)) dialog->reject();
    if (!is_restoring) return true;
    if (!editor.IsOpen()) std::puts("Failure: what was kept does not open");
    editor.Save();
    CloseTab(editor);
    return true;
}

int Recover(const std::filesystem::path& profile) {
    EditorDriver editor(profile);
    for (int i = 0; i < kMostRounds; ++i)
        if (!TakeUpOne(editor)) return 0;
    return 1;
}

int Run(const std::vector<std::string>& words) {
    if (words.size() == 4 && words[0] == "edit") return Edit(words[1], words[2], std::stoi(words[3]));
    if (words.size() == 2 && words[0] == "recover") return Recover(words[1]);
    if (words.size() == 2 && words[0] == "rotation") {
        const std::string rotations = RotationsOf(ReadText(words[1]));
        std::printf("%d\n", std::stoi(rotations) / 90);
        return 0;
    }
    std::fputs("usage: desktop_script edit PROFILE URL FIRST | recover PROFILE | rotation FILE\n", stderr);
    return 2;
}

}  // namespace
}  // namespace desktop_tests

int main(int count, char** words) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // what is told outlives a kill
    qputenv("PLATFORM_RECEIVE_TIMEOUT_MS", "5000");
    QApplication application(count, words);
    ::testing::InitGoogleTest(&count, words);
    try {
        return desktop_tests::Run({words + 1, words + count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "desktop_script: %s\n", error.what());
        return 1;
    }
}
