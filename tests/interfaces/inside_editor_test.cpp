// The plug-in's half of the editor through its own interfaces: what it answers to a host's mistakes, how many
// refreshes a burst of changes costs, and the commands and bars of its own windows.
#include <gtest/gtest.h>

#include <thread>

#include "afs/document/file.h"
#include "base/log.h"
#include "base/resources.h"
#include "dialogs/command_objects.h"
#include "host/base/give.h"
#include "host/base/text.h"
#include "host/browser/without_controls.h"
#include "integration/events_handler.h"
#include "tests/interfaces/inside_host.h"
#include "tests/support/dev_server.h"
#include "tests/support/plugin/forwarding_host.h"
#include "tests/support/trace_log.h"

namespace interfaces {

namespace {

// Timers fire when the test says so.
class ManualTimers final : public ForwardingHost {
public:
    explicit ManualTimers(TMK::ITMK_Inst* base) : ForwardingHost(base) {}
    HRESULT StartTimer(TMK::ITMK_TimerCallback* callback, DWORD interval, VARIANT_BOOL once,
                       DWORD* out_id) override {
        EXPECT_EQ(interval, 1u);
        EXPECT_EQ(once, VARIANT_TRUE);
        running = ComPtr<TMK::ITMK_TimerCallback>(callback);
        *out_id = ++started;
        return S_OK;
    }
    HRESULT StopTimer(DWORD id) override {
        if (!running || id != started) return S_FALSE;
        running.reset();
        return S_OK;
    }
    void Fire() {
        const auto callback = std::exchange(running, nullptr);
        ASSERT_TRUE(callback);
        EXPECT_EQ(callback->OnTimer(started), S_OK);
    }

    ComPtr<TMK::ITMK_TimerCallback> running;
    DWORD started = 0;
};

// Counts what the plug-in asks of the window.
class Counts final : public host::WorkbenchListener {
public:
    void DocumentChanged(host::Document& document, DWORD change, DWORD property) override {
        changes[&document].emplace_back(change, property);
    }
    std::map<host::Document*, std::vector<std::pair<DWORD, DWORD>>> changes;
};

class InsideEditor : public ::testing::Test {
protected:
    InsideEditor() {
        m_inside.host().UnloadPlugin();
        m_timers = MakeObject<ManualTimers>(m_inside.host().instance());
        m_plugin = MakeObject<Plugin>();
        Require(m_plugin->Setup(m_timers.get()), "Setup");
        Require(m_plugin->RegisterExts(), "RegisterExts");
        Require(m_plugin->FinalizeRegistering(), "FinalizeRegistering");
        Require(m_plugin->Init(), "Init");
    }
    ~InsideEditor() override { m_plugin->Unload(); }
    TMK::IEventHandler* Events() { return m_plugin->m_events_handler.get(); }
    ComPtr<TMK::IUIX_CmdHandler> Handler() { return m_plugin->m_events_handler.as<TMK::IUIX_CmdHandler>(); }
    DWORD Atom(const char16_t* name) { return Workbench().atoms().Of(name); }
    host::Workbench& Workbench() { return m_inside.host().workbench(); }

    InsideHost m_inside;
    ComPtr<ManualTimers> m_timers;
    ComPtr<Plugin> m_plugin;
};

class Sheets final : public host::Object<TMK::IUIX_PropSheets> {
public:
    HRESULT get_ID(BSTR* out_id) override { return host::GiveString(out_id, u"dlgappprefs"); }
    HRESULT InsertPage(IUnknown*, LPCWSTR, LPCWSTR, DWORD) override { return ++pages, S_OK; }
    int pages = 0;
};

TEST_F(InsideEditor, AnswersAHostsMistakes) {
    const auto handler = Handler();
    const auto sheets = host::Make<Sheets>();
    const auto command = Workbench().commands().Find(u"sp.cmd.checkOut");
    const auto foreign = Workbench().commands().Add({.name = u"cmd.other", .title = u"Other"});
    const struct {
        const char16_t* event;
        IUnknown* source;
        HRESULT result;
    } rows[] = {
        {u"e.customizeCmdLayout", nullptr, E_INVALIDARG},  {u"e.customizeCmdLayout", sheets.get(), E_FAIL},
        {u"e.document.initialized", sheets.get(), E_FAIL}, {u"e.document.viewingStarted", sheets.get(), S_OK},
        {u"e.customizePropDialog", sheets.get(), S_OK},    {u"e.customizePropDialog", command.get(), E_FAIL},
        {u"e.beginPropDialog", command.get(), S_OK},       {u"e.somethingElse", command.get(), S_OK},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Events()->OnEvent(Atom(row.event), nullptr, row.source), row.result)
            << host::ToUtf8(row.event) << (row.source ? "" : " without a source");
    }
    EXPECT_EQ(sheets->pages, 1);
    LONG state = 77;
    EXPECT_EQ(handler->OnGetItemState(nullptr, nullptr, &state), E_INVALIDARG);
    EXPECT_EQ(handler->OnGetItemState(command.get(), nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(handler->OnGetItemState(command.get(), nullptr, &state), S_OK);
    EXPECT_EQ(state, TMK::UIX_CmdItemState_Disabled) << "there is no document";
    state = 77;
    EXPECT_EQ(handler->OnGetItemState(foreign.get(), nullptr, &state), S_OK);
    EXPECT_EQ(state, TMK::UIX_CmdItemState_Disabled) << "a command of somebody else";
    EXPECT_EQ(handler->OnNotify(1, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(handler->OnNotify(2, command.get(), nullptr), E_NOTIMPL);
    EXPECT_EQ(handler->OnNotify(1, foreign.get(), nullptr), S_OK);
    EXPECT_EQ(handler->OnNotify(1, command.get(), nullptr), S_OK);
    // Still held by somebody after the plug-in has ended.
    const ComPtr<TMK::IEventHandler> events = m_plugin->m_events_handler;
    m_plugin->Unload();
    EXPECT_EQ(events->OnEvent(Atom(u"e.uiLanguageChanged"), nullptr, command.get()), E_UNEXPECTED);
    EXPECT_EQ(handler->OnNotify(1, command.get(), nullptr), S_OK);
    EXPECT_EQ(handler->OnGetItemState(command.get(), nullptr, &state), S_OK);
}

TEST_F(InsideEditor, ABurstOfChangesEndsInOneRefreshOfEachDocument) {
    const DevServer server;
    TestAccount account = MakeAccount(m_inside.host(), server.Site(), LoginOf(server, "alice"));
    ComPtr<TMK::IAFS_Name> root;
    ASSERT_EQ(m_inside.host().Bind(account.account.get(), nullptr, root), S_OK);
    Counts counts;
    Workbench().listeners().Add(counts);
    std::vector<ComPtr<File>> files;
    std::vector<ComPtr<host::DocumentView>> views;
    for (const std::string document : {"a.txt", "b.txt", "c.txt"}) {
        server.WriteAs("alice", document, "first");
        ComPtr<TMK::IAFS_Name> name;
        const std::u16string url = host::ToUtf16(server.Origin() + DevServer::PathOf(document));
        ASSERT_EQ(m_inside.host().FileSystem()->StringToName(url.c_str(), 0, root.get(), name.put()), S_OK);
        ComPtr<TMK::IAFS_File> file;
        ASSERT_EQ(m_inside.host().FileSystem()->OpenFile(name.get(), 1, nullptr, nullptr, file.put()), S_OK);
        files.emplace_back(static_cast<File*>(file.get()));
        views.push_back(Workbench().Open(host::Make<host::Document>(file)));
    }
    // The opening changed the files' states.
    const std::string log = LogOf(Log::verbose, [&] { m_timers->Fire(); });
    std::size_t at = 0;
    for (const char* line :
         {"UpdateCmdItems(check_out)=(HRESULT)0", "UpdateCmdItems(check_in)=(HRESULT)0",
          "UpdateCmdItems(discard)=(HRESULT)0", "UpdateCmdItems(enable_editing)=(HRESULT)0",
          "auto-detecting edit state from checkout_state=0, can_edit=1, ",
          "disable_editing_on_not_checked_out=1, ", "disable_editing_on_checked_out_to_other=1, ",
          "disable_editing_on_no_write_permissions=1",
          "file has write permissions, not checked out, editing UI disabled"}) {
        const auto found = log.find(line, at);
        EXPECT_NE(found, std::string::npos) << line;
        if (found != std::string::npos) at = found;
    }
    counts.changes.clear();
    const DWORD started = m_timers->started;
    m_inside.host().main_thread().RunWorker([&] {
        std::vector<std::thread> threads;
        for (int number = 0; number < 4; ++number) {
            threads.emplace_back([&] {
                for (int i = 0; i < 250; ++i) m_plugin->OnFileStateChanged(files[i % 2].get());
            });
        }
        for (std::thread& thread : threads) thread.join();
    });
    EXPECT_EQ(m_timers->started, started + 1) << "one timer for all";
    m_timers->Fire();
    // The restriction's bits, and the title with its state.
    const std::vector<std::pair<DWORD, DWORD>> once{{2, 21}, {2, 5}};
    EXPECT_EQ(counts.changes[&views[0]->document()], once);
    EXPECT_EQ(counts.changes[&views[1]->document()], once);
    EXPECT_FALSE(counts.changes.contains(&views[2]->document())) << "its file's state is as before";
    // A file that is gone by the time of the refresh, and a refresh that waits while the plug-in ends.
    m_plugin->OnFileStateChanged(files[0].get());
    Workbench().Close(*views[0]);
    views[0].reset();
    files[0].reset();
    m_timers->Fire();
    m_plugin->OnFileStateChanged(files[1].get());
    EXPECT_TRUE(m_timers->running);
    files.clear();
    while (!Workbench().views().empty()) Workbench().Close(*Workbench().views().back());
    views.clear();
    root.reset();
    account = {};
    m_plugin->Unload();
    EXPECT_FALSE(m_timers->running);
    Workbench().listeners().Remove(counts);
}

// A pane with room for a bar at its top, and the window around it.
class Pane final : public host::Object<TMK::IUIX_CmdPane>,
                   public TMK::IUIX_ScrollContainer,
                   public host::WithoutControls<TMK::IUIX_Obj> {
    using Base = host::Object<TMK::IUIX_CmdPane>;

public:
    HRESULT QueryInterface(REFIID iid, void** out) override {
        if (iid == TMK::IUIX_ScrollContainer::kIid && has_room) {
            *out = static_cast<TMK::IUIX_ScrollContainer*>(this);
            return AddRef(), S_OK;
        }
        return Base::QueryInterface(iid, out);
    }
    ULONG AddRef() override { return Base::AddRef(); }
    ULONG Release() override { return Base::Release(); }
    HRESULT get_CmdPaneTop(TMK::IUIX_CmdPane** out) override {
        return ComPtr<TMK::IUIX_CmdPane>(this).CopyTo(out);
    }
    HRESULT get_Obj(TMK::IUIX_Obj** out) override { return ComPtr<TMK::IUIX_Obj>(this).CopyTo(out); }
    HRESULT get_Parent(TMK::IUIX_Obj** out) override { return get_Obj(out); }
    HRESULT InsertBar(TMK::IUIX_CmdBar* inserted, LONG row, LONG position, VARIANT_BOOL visible) override {
        EXPECT_EQ(row, -1);
        EXPECT_EQ(position, -1);
        EXPECT_EQ(visible, VARIANT_TRUE);
        bar = ComPtr<TMK::IUIX_CmdBar>(inserted);
        return S_OK;
    }
    HRESULT SetStyle(DWORD value, DWORD mask) override {
        style = {value, mask};
        return S_OK;
    }
    HRESULT GetRect(RECT* out) override { return *out = {1, 2, 3, 4}, S_OK; }
    HRESULT get_WndHandle(HWND*) override { return E_NOTIMPL; }
    HRESULT GetFirstHWND(HWND*) override { return E_NOTIMPL; }
    HRESULT GetClientRect(RECT*) override { return E_NOTIMPL; }
    HRESULT DoModal(DWORD, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT EndModal(LONGLONG) override { return E_NOTIMPL; }
    HRESULT Destroy() override { return E_NOTIMPL; }

    bool has_room = true;
    ComPtr<TMK::IUIX_CmdBar> bar;
    std::pair<DWORD, DWORD> style;
};

TEST_F(InsideEditor, MakesBarsOfTheCommandsOfATable) {
    std::vector<DWORD> clicked;
    bool can_delete = false;
    const auto click = [&](DWORD id) { clicked.push_back(id); };
    const auto always = [](DWORD) { return true; };
    const ResourceData picture = FindResourceData(IDR_ICON_16_PNG, u"PNG");
    const auto* const bytes = static_cast<const BYTE*>(picture.data);
    Ui::CommandParameters parameters(4);
    parameters[0] = {.id = u"sp.test.up",
                     .title = u"&Up",
                     .tip = u"One folder up",
                     .style = 1,
                     .action = click,
                     .state = always};
    parameters[2] = {
        .id = u"sp.test.delete", .icon = {bytes, bytes + picture.size}, .action = click, .state = [&](DWORD) {
            return can_delete;
        }};
    parameters[3] = {.id = u"sp.test.empty"};
    const auto pane = host::Make<Pane>();
    ComPtr<TMK::IUIX_CmdBar> bar;
    ASSERT_EQ(Ui::CreateCommandBar(m_timers.get(), pane.get(), parameters, bar.put()), S_OK);
    EXPECT_EQ(pane->bar.get(), bar.get());
    EXPECT_EQ(pane->style, (std::pair<DWORD, DWORD>{135680, 135744}));
    auto& commands = Workbench().commands();
    const auto up = commands.Find(u"sp.test.up"), remove = commands.Find(u"sp.test.delete"),
               empty = commands.Find(u"sp.test.empty");
    UINT count = 0;
    bar->get_Count(&count);
    ASSERT_EQ(count, 4u);
    ComPtr<TMK::IUIX_Cmd> separator;
    EXPECT_EQ(bar->get_Command(1, separator.put()), S_OK);
    EXPECT_EQ(separator, nullptr);
    EXPECT_EQ(up->Title(), u"&Up");
    EXPECT_EQ(up->new_item_style(), 1u);
    EXPECT_EQ(up->icon(), nullptr);
    ASSERT_TRUE(remove->icon());
    EXPECT_EQ(remove->icon()->images().at(0).size.width, 16u);
    EXPECT_TRUE(up->IsEnabled(nullptr));
    EXPECT_FALSE(remove->IsEnabled(nullptr));
    can_delete = true;
    EXPECT_TRUE(remove->IsEnabled(nullptr));
    EXPECT_EQ(remove->Execute(nullptr), S_OK);
    EXPECT_EQ(clicked, std::vector<DWORD>{remove->id()});
    EXPECT_EQ(empty->Execute(nullptr), E_FAIL) << "a row without a function";
    parameters.push_back({.id = u"sp.test.neverMade"});
    EXPECT_EQ(Ui::UpdateCommands(m_timers.get(), parameters), S_OK);
    EXPECT_EQ(Ui::DeleteCommands(m_timers.get(), parameters), S_OK);
    EXPECT_EQ(commands.Find(u"sp.test.up"), nullptr);
    EXPECT_EQ(Workbench().atoms().Find(u"sp.test.neverMade"), std::nullopt);
    pane->has_room = false;
    EXPECT_EQ(Ui::CreateCommandBar(m_timers.get(), pane.get(), parameters, bar.put()), E_NOINTERFACE);
    EXPECT_EQ(Ui::CreateCommandBar(nullptr, pane.get(), parameters, bar.put()), E_INVALIDARG);
    EXPECT_EQ(Ui::CreateCommandHandler(m_timers.get(), parameters, nullptr), E_INVALIDARG);
    pane->bar.reset();
    Ui::DeleteCommands(m_timers.get(), parameters);
}

TEST_F(InsideEditor, OfTwoRowsWithOneIdTheFirstCounts) {
    int first = 0, second = 0;
    const Ui::CommandParameters parameters{{.id = u"sp.test.twice", .action = [&](DWORD) { ++first; }},
                                           {.id = u"sp.test.twice", .action = [&](DWORD) { ++second; }}};
    ComPtr<TMK::IUIX_CmdHandler> handler;
    ASSERT_EQ(Ui::CreateCommandHandler(m_timers.get(), parameters, handler.put()), S_OK);
    ComPtr<TMK::IUIX_Cmd> command;
    ASSERT_EQ(Ui::CreateCommand(m_plugin->m_uix_inst.get(), handler.get(), &parameters[0], command.put()),
              S_OK);
    EXPECT_EQ(handler->OnNotify(1, command.get(), nullptr), S_OK);
    EXPECT_EQ(handler->OnNotify(2, command.get(), nullptr), E_NOTIMPL);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
    const Ui::CommandParameters themed{{.id = u"sp.test.themed", .icon_theme = u"up"}};
    Workbench().theme().SetIcons([](const std::u16string& name) {
        return name == u"up" ? host::Make<host::Icon>(std::vector<host::IconImage>()) : nullptr;
    });
    ComPtr<TMK::IUIX_Cmd> with_icon;
    ASSERT_EQ(Ui::CreateCommand(m_plugin->m_uix_inst.get(), handler.get(), themed.data(), with_icon.put()),
              S_OK);
    EXPECT_TRUE(Workbench().commands().Find(u"sp.test.themed")->icon());
    Ui::DeleteCommands(m_timers.get(), parameters);
    Ui::DeleteCommands(m_timers.get(), themed);
}

}  // namespace

}  // namespace interfaces
