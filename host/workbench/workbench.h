// The editor around the documents, without a window: what plug-ins put commands, bars and texts into, and
// what a window shows and keeps in step. A terminal leaves it empty. Owned by the host; main thread only, but
// for what says otherwise.
#pragma once

#include <vector>

#include "host/workbench/command_bars.h"
#include "host/workbench/documents.h"
#include "host/workbench/events.h"
#include "host/workbench/info_bar.h"

namespace host {

class Workbench {
public:
    enum class Layout { ribbon, menus };

    Workbench(const Catalogue& catalogue, const RunAfter& run_after);
    ~Workbench();
    Workbench(const Workbench&) = delete;
    Workbench& operator=(const Workbench&) = delete;

    const Surroundings& around() const { return m_around; }

    // For any thread.
    Atoms& atoms() { return m_atoms; }
    Documents& documents() { return m_documents; }
    EventServer& events() { return *m_events; }
    InfoBarTypes& info_bar_types() { return m_info_bar_types; }
    Timers& timers() { return m_timers; }

    CommandManager& manager() { return *m_manager; }
    Commands& commands() { return m_manager->commands(); }
    Theme& theme() { return *m_theme; }
    Listeners& listeners() { return m_listeners; }

    // Makes the main view with its standard bars, for the window to fill. A view from before is dropped.
    MainView& MakeView(Layout layout);
    MainView* view() const { return m_view.get(); }  // null before MakeView
    // The window has filled the view; plug-ins add what they have. Once for each view.
    void OpenedView();

    // A window shows the document from now on: it joins the list, and plug-ins hear of it.
    ComPtr<DocumentView> Open(const ComPtr<Document>& document);
    // Its pages are seen for the first time.
    void StartedViewing(DocumentView& view);
    // It was saved under another name; Document::SetFile comes first.
    void ChangedSource(DocumentView& view);
    void Close(DocumentView& view);
    // Null for none.
    void Activate(DocumentView* view);
    DocumentView* active() const { return m_active.get(); }
    const std::vector<ComPtr<DocumentView>>& views() const { return m_views; }
    // The view that `object` is or that belongs to its document; else the active one with `or_active`.
    ComPtr<DocumentView> ViewOf(IUnknown* object, bool or_active) const;

    // The catalogue speaks another language from now on.
    void ChangedLanguage();
    // Drops what plug-ins have left: subscriptions, timers, commands, bars, spans.
    void ForgetPlugIns();

private:
    static void LetGo(Document& document);
    void MakeRibbon(Ribbon& ribbon);
    void MakeMenus(MainView& view);
    void Raise(const char16_t* event, IUnknown* source);

    Atoms m_atoms;
    Listeners m_listeners;
    const Surroundings m_around;
    Timers m_timers;
    Documents m_documents;
    const ComPtr<EventServer> m_events;
    InfoBarTypes m_info_bar_types;
    const ComPtr<CommandManager> m_manager;
    const ComPtr<Theme> m_theme;
    ComPtr<MainView> m_view;
    std::vector<ComPtr<DocumentView>> m_views;
    ComPtr<DocumentView> m_active;
};

}  // namespace host
