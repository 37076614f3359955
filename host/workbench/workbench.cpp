#include "host/workbench/workbench.h"

#include <algorithm>
#include <array>

#include "host/base/give.h"

namespace host {

namespace {

constexpr std::u16string_view kMarker = u"$$$.";

struct StandardGroup {
    const char16_t* tab;
    const char16_t* name;
};

constexpr std::array kTabs{u"rtab.home", u"rtab.page", u"rtab.share", u"rtab.view"};
constexpr std::array<StandardGroup, 7> kGroups{{
    {u"rtab.home", u"cmd.fileGroup"},
    {u"rtab.home", u"cmd.editGroup"},
    {u"rtab.home", u"cmd.findGroup"},
    {u"rtab.page", u"cmd.pageGroup"},
    {u"rtab.share", u"cmd.shareGroup"},
    {u"rtab.view", u"cmd.zoomGroup"},
    {u"rtab.view", u"cmd.windowGroup"},
}};
constexpr std::array kMenus{u"cmd.file", u"cmd.edit", u"cmd.page", u"cmd.view", u"cmd.window", u"cmd.help"};

std::u16string TextOf(std::u16string_view id) {
    return std::u16string(kMarker).append(id);
}

}  // namespace

Workbench::Workbench(const Catalogue& catalogue, const RunAfter& run_after)
    : m_around{catalogue, m_atoms, m_listeners, run_after},
      m_timers(run_after),
      m_events(Make<EventServer>()),
      m_manager(Make<CommandManager>(m_around)),
      m_theme(Make<Theme>()) {}

// A document may outlive the workbench.
Workbench::~Workbench() {
    for (const auto& view : m_views) LetGo(view->document());
}

MainView& Workbench::MakeView(Layout layout) {
    const ComPtr<Ribbon> ribbon = layout == Layout::ribbon ? Make<Ribbon>() : nullptr;
    m_view = Make<MainView>(m_atoms.Of(u"mainView"), ribbon);
    if (ribbon) {
        MakeRibbon(*ribbon);
    } else {
        MakeMenus(*m_view);
    }
    return *m_view;
}

void Workbench::MakeRibbon(Ribbon& ribbon) {
    for (const auto* const name : kTabs) {
        const auto tab = Make<RibbonTab>(m_around, name, TextOf(name));
        for (const StandardGroup& group : kGroups) {
            if (std::u16string_view(group.tab) == name)
                tab->Add(m_manager->MakeBar(group.name, TextOf(group.name)));
        }
        ribbon.Add(tab);
    }
}

void Workbench::MakeMenus(MainView& view) {
    const auto menu_bar = m_manager->MakeBar(u"cmdbar.menubar", {});
    for (const auto* const name : kMenus) {
        commands().Delete(m_atoms.Of(name));
        const auto command = commands().Add({.name = name, .title = TextOf(name)});
        command->put_NewItemStyle(TMK::UIX_CmdItemStyle_Text | TMK::UIX_CmdItemStyle_SubMenu);
        command->put_SubMenu(m_manager->MakeBar({}, TextOf(name)).get());
        menu_bar->Add(command);
    }
    view.Add(menu_bar);
}

void Workbench::OpenedView() {
    Raise(u"e.customizeCmdLayout", m_view.get());
}

ComPtr<DocumentView> Workbench::Open(const ComPtr<Document>& document) {
    document->SetInfoBar(Make<InfoBar>(m_around, commands(), m_info_bar_types));
    document->core().SetChanged([this, raw = document.get()](DWORD change, DWORD property) {
        m_listeners.Tell(&WorkbenchListener::DocumentChanged, *raw, change, property);
    });
    m_documents.Add(document);
    auto view = Make<DocumentView>(document);
    m_views.push_back(view);
    Raise(u"e.document.initialized", document.get());
    return view;
}

void Workbench::StartedViewing(DocumentView& view) {
    Raise(u"e.document.viewingStarted", &view.document());
}

void Workbench::ChangedSource(DocumentView& view) {
    Raise(u"e.document.sourceChanged", &view.document());
}

void Workbench::Close(DocumentView& view) {
    const ComPtr<DocumentView> alive(&view);
    Document& document = view.document();
    if (m_active.get() == &view) Activate(nullptr);
    std::erase(m_views, alive);
    m_documents.Remove(&document);
    LetGo(document);
}

void Workbench::LetGo(Document& document) {
    document.core().SetChanged({});
    document.SetInfoBar(nullptr);
}

void Workbench::Activate(DocumentView* view) {
    if (m_active.get() == view) return;
    m_active = ComPtr<DocumentView>(view);
    m_listeners.Tell(&WorkbenchListener::ActiveViewChanged);
    m_manager->Refresh(0);
}

ComPtr<DocumentView> Workbench::ViewOf(IUnknown* object, bool or_active) const {
    const auto found = std::find_if(m_views.begin(), m_views.end(), [&](const auto& view) {
        return object == view.get() || object == &view->document() || object == view->document().info_bar();
    });
    if (found != m_views.end()) return *found;
    return or_active ? m_active : nullptr;
}

void Workbench::ChangedLanguage() {
    // Plug-ins refuse an event without a source.
    Raise(u"e.uiLanguageChanged", m_manager.get());
    m_listeners.Tell(&WorkbenchListener::CommandsChanged);
    m_listeners.Tell(&WorkbenchListener::BarsChanged);
}

void Workbench::ForgetPlugIns() {
    m_events->Clear();
    m_timers.StopAll();
    commands().DeleteThoseOfPlugIns();
    for (CommandBar* const bar : Commands::Bars(*commands().bars())) bar->RemoveItemsOfPlugIns();
    if (m_view && m_view->ribbon()) {
        for (const auto& tab : m_view->ribbon()->tabs()) tab->RemoveBarsOfPlugIns();
    }
    for (const auto& view : m_views) view->document().info_bar()->RemoveAllSpans();
    m_info_bar_types.Clear();
}

void Workbench::Raise(const char16_t* event, IUnknown* source) {
    m_events->Raise(m_atoms.Of(event), source);
}

}  // namespace host
