// A person in front of the editor for tests: looks for what is on the screen, clicks, types and answers. Main
// thread.
#pragma once

#include <QDialog>
#include <QTimer>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <queue>
#include <string>

#include "host/desktop/dialogs/dialog_views.h"
#include "host/desktop/window/main_window.h"
#include "tests/support/dev_server.h"
#include "tests/support/sphost.h"

namespace desktop_tests {

using namespace testing_support;

// A PDF of that many pages.
std::string MakePdf(int pages, const std::string& text = "page");
// "90 0 0": how far each page is turned.
std::string RotationsOf(const std::string& pdf);

struct EditorOptions {
    desktop::Bars bars = desktop::Bars::ribbon;
    int autosave_ms = 0;                 // 0: the profile's
    std::filesystem::path browser = {};  // the program that shows sign-in pages; none without it
    bool has_languages = false;          // the packs that ship
};

// An editor on a profile. Its end is the program's: nothing is asked.
class EditorDriver {
public:
    EditorDriver(const std::filesystem::path& profile, const EditorOptions& options = {});
    ~EditorDriver();

    desktop::MainWindow& window() { return *m_window; }
    desktop::DocumentTab* tab() { return m_window->CurrentTab(); }
    host::Host& host() { return *m_host; }

    // Lets the window live until `event`, for up to half a minute; whether it came.
    static bool Comes(const std::function<bool()>& event);
    // Types an address and waits until its document is open.
    void Open(const std::string& address);
    bool IsOpen() { return tab() && tab()->stage() == desktop::DocumentTab::Stage::open; }
    // A visible button of that name, that of the information bar first. Waits until it can be clicked.
    void Click(const QString& name);
    // An action of the window by its name.
    QAction* Action(const QString& name);
    void Trigger(const QString& name);
    // With Ctrl.
    void PressKey(Qt::Key key);
    // Saves and waits for the end.
    void Save();

    // The next window of that name is answered so; a window that nobody answers fails the test.
    void Answer(const QString& window, std::function<void(QDialog&)> answer);
    // Presses a button.
    void Answer(const QString& window, const QString& button);
    // The names of the windows that were answered, in their order.
    std::vector<std::string> TakeAnswered();
    std::size_t AnsweredCount() const { return m_answered.size(); }
    std::size_t JobCount() const { return m_editor->worker.Count(); }

    // The information bar's text of the plug-in; empty without one.
    std::string Bar();
    std::string BarButtons();

private:
    void AnswerNow();

    desktop::DesktopFrontEnd m_front_end;
    std::unique_ptr<host::Host> m_host;
    std::unique_ptr<desktop::Editor> m_editor;
    std::unique_ptr<desktop::MainWindow> m_window;
    QTimer m_watch;
    std::map<QString, std::queue<std::function<void(QDialog&)>>> m_answers;
    std::vector<std::string> m_answered;
};

// Clicks a button of a window.
void Press(QWidget& window, const QString& button);

}  // namespace desktop_tests
