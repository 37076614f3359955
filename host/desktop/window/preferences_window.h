// The editor's preferences and those of its plug-ins in one window, a page each. Main thread only.
#pragma once

#include <QDialog>
#include <functional>

#include "host/desktop/window/editor.h"

class QListWidget;
class QStackedWidget;
class QVBoxLayout;

namespace desktop {

// What the editor itself can be set to.
struct EditorPreferences {
    bool shows_pages = true;
    bool shows_places = true;
    bool is_dark = false;
    bool has_menus = false;
    QString language;
    int autosave_seconds = 30;

    bool operator==(const EditorPreferences&) const = default;
};

class PreferencesWindow final : public QDialog {
    Q_OBJECT
public:
    // The editor outlives it. `apply` is called with what changed, before plug-ins apply theirs.
    PreferencesWindow(Editor& editor, const EditorPreferences& now,
                      std::function<void(const EditorPreferences&)> apply, QWidget* parent);
    ~PreferencesWindow() override;

private:
    void AddGeneral();
    void AddAppearance();
    void AddLanguage();
    void AddRecovery();
    void AddNetwork();
    void AddPagesOfPlugIns();
    // An empty page with a title of its own; gives where its rows go.
    QVBoxLayout* AddPage(const char* name, const QString& title);
    void AddPage(const QString& title, QWidget* page);
    void AddCheck(QVBoxLayout* rows, const char* name, const QString& text, bool EditorPreferences::*value);
    // False, told to the person, when a plug-in can't apply its page.
    bool Apply();
    void FitSize();

    Editor& m_editor;
    EditorPreferences m_applied;
    EditorPreferences m_wanted;
    const std::function<void(const EditorPreferences&)> m_apply;
    ComPtr<host::PreferencePages> m_pages;  // null where the host shows no windows
    QListWidget* const m_names;
    QStackedWidget* const m_stack;
};

}  // namespace desktop
