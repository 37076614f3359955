// The editor's window: documents in tabs, a ribbon or menus, an address box, the pane of places. Main thread
// only.
#pragma once

#include <QMainWindow>

#include "host/desktop/bars/command_actions.h"
#include "host/desktop/window/document_tab.h"
#include "host/desktop/window/editor.h"

class QLabel;
class QLineEdit;
class QSplitter;
class QStackedWidget;
class QTabWidget;

namespace desktop {

struct EditorPreferences;

class PlacesPane;
class RibbonView;
class StartPage;

enum class Bars { ribbon, menus };

class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    // The editor outlives it.
    MainWindow(Editor& editor, Bars bars);
    ~MainWindow() override;

    // A URL or a path, as a person gives it; one that is open already comes to the front.
    void OpenAddress(const QString& address);
    // Shows a copy of unsaved changes as its document.
    void Restore(const Autosave& autosave);
    // Offers what earlier runs left, if there is anything.
    void OfferUnsent();
    void SetBars(Bars bars);
    // The program ends without closing the documents: copies of unsaved changes stay for the next start.
    void KeepUnsaved();

    DocumentTab* CurrentTab() const;  // null for none
    CommandActions& actions() { return m_actions; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    friend class EditorCommands;

    void BuildContent();
    void BuildStatusBar();
    void ConnectActions();
    void ShowBars();
    void Run(const std::function<void()>& command);

    void AddTab(DocumentTab* tab);
    void RemoveTab(DocumentTab* tab);
    void CloseTab(DocumentTab* tab);
    void CloseNext();
    DocumentTab* TabAt(int index) const;
    void ShowTab(DocumentTab* tab);
    void ShowCurrent();
    void ShowPage();
    void ShowLanguage();

    void BrowseForFile();
    void OpenFromAnywhere();
    void OpenFrom(const QString& site);
    void SaveAs();
    void GoOnAs(DocumentTab* tab, const QString& address);
    void AddPlaceByWindow();
    void AddPlace(const QString& address, const QString& then_open);
    void RemovePlace(const QString& address);
    bool HasPlace(const QString& address);
    void ShowUnsent();
    void ShowPreferences();
    void UsePreferences(const EditorPreferences& wanted);
    void UseBars(Bars bars);
    void UseDark(bool is_dark);
    void UseLanguage(const QString& code);
    void SaveState();
    void RestoreState();
    void ShowMessage(const QString& text);

    Editor& m_editor;
    CommandActions m_actions;
    std::unique_ptr<class EditorCommands> m_commands;
    Bars m_bars;
    bool m_is_dark = false;
    bool m_is_executing = false;
    bool m_is_closing = false;

    RibbonView* m_ribbon = nullptr;
    QWidget* m_top = nullptr;
    QLineEdit* m_address = nullptr;
    QSplitter* m_splitter = nullptr;
    PlacesPane* m_places = nullptr;
    BusyStrip* m_busy = nullptr;
    QStackedWidget* m_stack = nullptr;
    StartPage* m_start = nullptr;
    QTabWidget* m_tabs = nullptr;
    QLabel* m_page = nullptr;
    QLabel* m_zoom = nullptr;
    bool m_shows_thumbnails = true;
};

}  // namespace desktop
