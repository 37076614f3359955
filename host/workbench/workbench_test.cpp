#include "host/workbench/workbench.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "host/base/failure.h"
#include "host/base/main_thread.h"
#include "host/core/host.h"
#include "host/testing/silent_front_end.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using namespace std::chrono_literals;

class Callback final : public Object<TMK::ITMK_TimerCallback> {
public:
    HRESULT OnTimer(DWORD id) override {
        ids.push_back(id);
        if (on_timer) on_timer(id);
        return S_OK;
    }
    std::vector<DWORD> ids;
    std::function<void(DWORD)> on_timer;
};

class Listener final : public WorkbenchListener {
public:
    void StatesChanged(const std::vector<DWORD>& ids) override { states.push_back(ids); }
    void BarsChanged() override { ++bars; }
    std::vector<std::vector<DWORD>> states;
    int bars = 0;
};

class WorkbenchTest : public ::testing::Test {
protected:
    void Pump(std::chrono::milliseconds time) {
        bool is_over = false;
        m_main.PostAfter(time, [&] { is_over = true; });
        m_main.PumpUntil([&] { return is_over; });
    }
    DWORD AddCommand(const char16_t* name) {
        return m_workbench->commands().Add({.name = name, .title = name})->id();
    }

    WaitingMainThread m_main;
    Catalogue m_catalogue;
    std::unique_ptr<Workbench> m_workbench = std::make_unique<Workbench>(
        m_catalogue, [this](auto delay, auto work) { m_main.PostAfter(delay, std::move(work)); });
};

TEST_F(WorkbenchTest, TimersFireOnceOrUntilTheyAreStopped) {
    Timers& timers = m_workbench->timers();
    const auto once = Make<Callback>(), often = Make<Callback>(), never = Make<Callback>();
    const DWORD id = timers.Start(once, 1ms, true);
    often->on_timer = [&](DWORD running) {
        if (often->ids.size() == 3) {
            EXPECT_TRUE(timers.Stop(running)) << "a timer may stop itself";
        }
    };
    timers.Start(often, 1ms, false);
    const DWORD stopped = timers.Start(never, 1ms, false);
    EXPECT_TRUE(timers.Stop(stopped));
    EXPECT_FALSE(timers.Stop(stopped));
    m_main.PumpUntil([&] { return often->ids.size() == 3; });
    Pump(10ms);
    EXPECT_EQ(once->ids, std::vector<DWORD>{id});
    EXPECT_EQ(often->ids.size(), 3u);
    EXPECT_TRUE(never->ids.empty());
    EXPECT_FALSE(timers.Stop(id)) << "it has fired";
    timers.Start(never, 1ms, false);
    m_workbench.reset();
    Pump(5ms);
    EXPECT_TRUE(never->ids.empty()) << "no timer outlives the workbench";
}

TEST_F(WorkbenchTest, TimersGiveWayToWaitingWork) {
    std::vector<int> order;
    m_main.PostAfter(0ms, [&] { order.push_back(4); });
    for (int i = 1; i <= 3; ++i) m_main.Post([&, i] { return order.push_back(i), S_OK; });
    Pump(2ms);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(WorkbenchTest, ManyRequestsForStatesBecomeOne) {
    const DWORD a = AddCommand(u"cmd.a"), b = AddCommand(u"cmd.b");
    CommandManager& manager = m_workbench->manager();
    EXPECT_EQ(manager.UpdateCmdItems(1, a), S_OK);
    Listener listener;
    m_workbench->listeners().Add(listener);
    Pump(2ms);
    EXPECT_TRUE(listener.states.empty()) << "nobody listened when it was asked for";
    for (const DWORD id : {a, b, a}) EXPECT_EQ(manager.UpdateCmdItems(1, id), S_OK);
    EXPECT_TRUE(listener.states.empty()) << "not before the window is idle";
    Pump(2ms);
    EXPECT_EQ(listener.states, (std::vector<std::vector<DWORD>>{{a, b}}));
    manager.UpdateCmdItems(1, b);
    manager.UpdateCmdItems(1, 0);
    Pump(2ms);
    EXPECT_EQ(listener.states.back(), std::vector<DWORD>{}) << "all of them";
    EXPECT_EQ(listener.states.size(), 2u);
    EXPECT_EQ(manager.UpdateCmdItems(1, a + b), S_FALSE);
    EXPECT_EQ(manager.UpdateCmdItems(0, a), E_INVALIDARG);
    m_workbench->listeners().Remove(listener);
}

TEST_F(WorkbenchTest, ADeletedCommandLeavesItsBars) {
    const DWORD a = AddCommand(u"cmd.a"), b = AddCommand(u"cmd.b");
    Commands& commands = m_workbench->commands();
    const auto bar = m_workbench->manager().MakeBar(u"bar", u"Bar");
    bar->Add(commands.Find(a));
    EXPECT_EQ(bar->FlatInsertItem(commands.Find(b).get(), 0, 0, 7, nullptr), S_OK);
    EXPECT_EQ(bar->FlatInsertItem(commands.Find(b).get(), 9, 0, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(bar->FlatInsertSeparator(1, 0, nullptr), S_OK);
    ASSERT_EQ(bar->items().size(), 3u);
    EXPECT_EQ(bar->items()[0].style, 7u);
    LONG index = 0;
    EXPECT_EQ(bar->FindItem(a, &index), S_OK);
    EXPECT_EQ(index, 2);
    Listener listener;
    m_workbench->listeners().Add(listener);
    EXPECT_EQ(commands.Delete(a), S_OK);
    EXPECT_EQ(commands.Delete(a), S_FALSE);
    EXPECT_EQ(listener.bars, 1);
    EXPECT_EQ(bar->items().size(), 2u);
    EXPECT_EQ(bar->FindItem(a, &index), S_FALSE);
    m_workbench->listeners().Remove(listener);
}

TEST_F(WorkbenchTest, ACommandSaysWhatPeopleRead) {
    EXPECT_EQ(WithoutMnemonic(u"Check &Out"), u"Check Out");
    EXPECT_EQ(WithoutMnemonic(u"Save && &close &"), u"Save & close ");
    m_workbench->MakeView(Workbench::Layout::menus);
    const auto file = m_workbench->commands().Find(u"cmd.file");
    EXPECT_EQ(file->Title(), u"&File");
    EXPECT_TRUE(file->sub_menu());
    EXPECT_EQ(m_workbench->commands()
                  .Add({.name = u"cmd.busy",
                        .title = u"",
                        .state = [](IUnknown*) -> LONG { throw Failure(E_FAIL, ""); }})
                  ->State(nullptr),
              TMK::UIX_CmdItemState_Disabled);
}

TEST_F(WorkbenchTest, TheMostImportantSpanComesFirst) {
    for (const DWORD id : {1, 2, 3}) {
        InfoBarType type;
        type.priority = id == 2 ? 100 : 50;
        m_workbench->info_bar_types().Register(id, type);
    }
    const auto document = Make<Document>(nullptr);
    const auto view = m_workbench->Open(document);
    ComPtr<TMK::IUIX_InfoBarSpan> span;
    for (const DWORD id : {1, 2, 3}) EXPECT_EQ(document->info_bar()->AddSpan(id, span.put()), S_OK);
    EXPECT_EQ(document->info_bar()->AddSpan(3, span.put()), E_INVALIDARG);
    EXPECT_EQ(document->info_bar()->AddSpan(4, span.put()), E_INVALIDARG);
    std::vector<DWORD> order;
    for (const auto& shown : document->info_bar()->spans()) order.push_back(shown->type_id());
    EXPECT_EQ(order, (std::vector<DWORD>{2, 1, 3}));
    m_workbench->Activate(view.get());
    m_workbench->Close(*view);
    EXPECT_EQ(m_workbench->active(), nullptr);
    EXPECT_EQ(m_workbench->documents().Count(), 0u);
    EXPECT_EQ(span, nullptr);
}

// Of a plug-in, the other side of the interfaces.
TEST(HostInstance, SavesThroughWhoeverOpenedTheDocument) {
    testing_support::TempFolder folder;
    testing::SilentFrontEnd front_end;
    Host host(front_end, folder / "profile");
    TMK::ITMK_Inst& instance = *host.instance();
    int saves = 0;
    const auto document = Make<Document>(
        nullptr,
        DocumentActions{.reload = nullptr, .save = [&](auto*, DWORD, auto*) { return ++saves, kCanceled; }});
    EXPECT_EQ(instance.SaveDocument(document.get(), nullptr, TMK::TMK_SaveMode_InPlace, nullptr),
              E_INVALIDARG)
        << "it is not open here";
    host.documents().Add(document);
    EXPECT_EQ(instance.SaveDocument(document.get(), nullptr, TMK::TMK_SaveMode_InPlace, nullptr), kCanceled);
    EXPECT_EQ(instance.SaveDocument(document.get(), nullptr, 1, nullptr), E_INVALIDARG)
        << "another name is missing";
    EXPECT_EQ(saves, 1);
    VARIANT_BOOL is_cancel = VARIANT_FALSE;
    for (const HRESULT result : {kCanceled, HRESULT_FROM_WIN32(ERROR_CANCELLED)}) {
        EXPECT_EQ(instance.IsUserCancel(result, &is_cancel), S_OK);
        EXPECT_EQ(is_cancel, VARIANT_TRUE);
    }
    EXPECT_EQ(instance.IsUserCancel(E_FAIL, &is_cancel), S_OK);
    EXPECT_EQ(is_cancel, VARIANT_FALSE);
    host.documents().Remove(document.get());
}

}  // namespace
}  // namespace host
