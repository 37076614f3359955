#include "host/dialogs/dialogs.h"

#include <gtest/gtest.h>

#include <thread>

#include "host/core/host.h"
#include "host/dialogs/controls.h"
#include "host/dialogs/file_filters.h"
#include "host/dialogs/list_control.h"
#include "host/testing/silent_front_end.h"
#include "host/testing/test_dialog.h"
#include "platform/window_messages.h"
#include "tests/support/temp_folder.h"

namespace {

using host::testing::TestDialog;
using testing_support::TempFolder;

constexpr std::string_view kTemplates = R"(<dialogs>
<dialog id="Plain" title="$$$.btn.close" width="300" height="200" defItem="btn.ok"><items>
 <label x="8" y="8" width="100" height="18" id="lb" text="$$$.no.such.text"/>
 <edit x="8" y="30" width="200" height="21" id="ed"/>
 <edit x="8" y="30" width="200" height="60" id="ed.lines" style="#4"/>
 <check x="8" y="60" width="100" height="18" id="ch" text="$$$.btn.yes"/>
 <combo x="8" y="80" width="200" height="21" id="cb"/>
 <list x="8" y="110" width="200" height="50" id="ls" style="#10"/>
 <list x="8" y="110" width="200" height="50" id="one"/>
 <button x="8" y="170" width="80" height="25" id="btn.ok" text="$$$.btn.ok" fixed="bottom"/>
 <button x="98" y="170" width="80" height="25" id="btn.cancel" text="$$$.btn.cancel"/>
</items></dialog>
<dialog id="Empty" width="10" height="10"><items/></dialog>
</dialogs>)";

class Dialogs : public ::testing::Test {
protected:
    Dialogs() {
        ComPtr<IUnknown> extension;
        m_host.instance()->GetExtension(u"UIX", extension.put());
        m_maker = extension.as<TMK::IUIX_Inst>();
        EXPECT_EQ(m_dialog->Create(*m_maker, kTemplates, u"Plain"), S_OK);
        m_window = dynamic_cast<host::DialogWindow*>(m_dialog->window.get());
    }
    ~Dialogs() override {
        if (m_dialog->window) ComPtr<TMK::IUIX_Obj>(m_dialog->window)->Destroy();
        EXPECT_EQ(m_front_end.dialogs.problem(), "");
    }
    template <class Interface>
    ComPtr<Interface> Get(LPCWSTR id) {
        DWORD atom = 0;
        ComPtr<TMK::IUIX_Obj> control;
        m_host.instance()->Str2ID(id, VARIANT_FALSE, &atom);
        m_dialog->window->GetControl(atom, control.put());
        return control.as<Interface>();
    }
    template <class Kind>
    Kind& Model(std::u16string_view id) {
        return *m_window->Find<Kind>(id);
    }
    // What the plug-in has heard since the last call, as "id action".
    std::vector<std::string> Notes() {
        std::vector<std::string> lines;
        for (const auto& [id, action] : std::exchange(m_dialog->notes, {})) {
            for (const auto& control : m_window->controls()) {
                if (control->id() == id)
                    lines.push_back(host::ToUtf8(control->shape().id) + " " + std::to_string(action));
            }
        }
        return lines;
    }
    LONGLONG Run() {
        LONGLONG result = -1;
        EXPECT_EQ(m_dialog->window->DoModal(TMK::UIX_ObjModal_AppModal, &result), S_OK);
        return result;
    }
    static std::u16string TextOf(TMK::IUIX_Obj& object) {
        Bstr text;
        object.get_Text(text.put());
        return text.str();
    }

    TempFolder m_folder;
    host::testing::SilentFrontEnd m_front_end;
    host::Host m_host{m_front_end, m_folder.Path()};
    ComPtr<TMK::IUIX_Inst> m_maker;
    ComPtr<TestDialog> m_dialog = host::Make<TestDialog>();
    host::DialogWindow* m_window = nullptr;
};

TEST_F(Dialogs, RunFromTheirStartToTheirEnd) {
    m_front_end.dialogs.Then("press OK", [](auto& window) { window.PressEnter(); });
    m_dialog->on[TMK::UIX_Event_Notify] = [&](auto&) { return m_dialog->window->EndModal(1); };
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(m_dialog->events, (std::vector<DWORD>{272, 6502, 6482, 6503, 6504}));
    EXPECT_EQ(m_dialog->window->EndModal(1), S_FALSE);
    ComPtr<TMK::IUIX_Obj>(m_dialog->window)->Destroy();
    EXPECT_EQ(m_dialog->events.back(), TMK::UIX_Event_BeforeDestroy);
    EXPECT_FALSE(m_dialog->window);
}

TEST_F(Dialogs, StayOpenUntilTheirMakerAgrees) {
    unsigned vetoes = 0;
    m_dialog->on[TMK::UIX_Event_PreEndModal] = [&](TMK::UIX_Event& event) {
        EXPECT_EQ(event.nParam1, 0u);
        event.bHandled = ++vetoes < 3 ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    };
    for (int i = 0; i < 3; ++i) m_front_end.dialogs.Then("close", [](auto& window) { window.PressEscape(); });
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(vetoes, 3u);
}

TEST_F(Dialogs, WhoseStartFailsAreNotShown) {
    m_dialog->on[TMK::UIX_Event_InitDialog] = [](auto&) { return E_ACCESSDENIED; };
    LONGLONG result = 7;
    EXPECT_EQ(m_dialog->window->DoModal(TMK::UIX_ObjModal_AppModal, &result), E_ACCESSDENIED);
    EXPECT_EQ(result, 7);
    EXPECT_EQ(m_dialog->events, (std::vector<DWORD>{272}));
}

TEST_F(Dialogs, GetPostedMessagesInOrderOnTheMainThread) {
    HWND handle = nullptr;
    m_dialog->window->get_WndHandle(&handle);
    std::vector<std::pair<DWORD_PTR, DWORD_PTR>> received;
    m_dialog->on[6551] = [&](TMK::UIX_Event& event) {
        EXPECT_TRUE(m_front_end.main_thread().IsCurrent());
        received.emplace_back(event.nParam1, event.nParam2);
        return received.size() == 3 ? m_dialog->window->EndModal(5) : S_OK;
    };
    std::thread poster;
    m_dialog->on[TMK::UIX_Event_ShowModal] = [&](auto&) {
        poster = std::thread([&] {
            for (WPARAM i = 1; i <= 3; ++i) EXPECT_TRUE(PostMessageW(handle, 6551, i, -1));
        });
        return S_OK;
    };
    EXPECT_EQ(Run(), 5);
    poster.join();
    const DWORD_PTR all = ~DWORD_PTR{0};
    EXPECT_EQ(received, (std::vector<std::pair<DWORD_PTR, DWORD_PTR>>{{1, all}, {2, all}, {3, all}}));

    // One whose turn comes when the window is gone is dropped.
    EXPECT_TRUE(PostMessageW(handle, 6551, 4, 0));
    ComPtr<TMK::IUIX_Obj>(m_dialog->window)->Destroy();
    EXPECT_FALSE(PostMessageW(handle, 6551, 5, 0));
    bool is_done = false;
    m_front_end.main_thread().Post([&] {
        is_done = true;
        return S_OK;
    });
    m_front_end.main_thread().PumpUntil([&] { return is_done; });
    EXPECT_EQ(received.size(), 3u);
}

TEST_F(Dialogs, ResolveTextsAndTellOfWhatAPersonDoes) {
    EXPECT_EQ(TextOf(*m_dialog->window), u"&Close");
    EXPECT_EQ(TextOf(*Get<TMK::IUIX_Obj>(u"lb")), u"no.such.text");
    auto& edit = Model<host::EditControl>(u"ed");
    edit.TypeText(u"a\r\nb");
    edit.TypeText(u"ab");  // nothing new
    Model<host::EditControl>(u"ed.lines").TypeText(u"a\r\nb");
    EXPECT_EQ(edit.Text(), u"ab");
    EXPECT_EQ(Model<host::EditControl>(u"ed.lines").Text(), u"a\nb");
    Model<host::CheckControl>(u"ch").Click();
    EXPECT_EQ(Notes(), (std::vector<std::string>{"ed 4", "ed.lines 4", "ch 3"}));

    Get<TMK::IUIX_Edit>(u"ed")->put_AllowedChars(u"0123456789");
    edit.TypeText(u"1a2");
    EXPECT_EQ(edit.Text(), u"12");
    Get<TMK::IUIX_Edit>(u"ed")->put_ReadOnly(VARIANT_TRUE);
    edit.TypeText(u"3");
    EXPECT_EQ(edit.Text(), u"12");
    Get<TMK::IUIX_Obj>(u"ed")->put_Text(u"$$$.btn.no");  // its maker puts what it likes, and hears of it
    EXPECT_EQ(edit.Text(), u"&No");
    EXPECT_EQ(Notes(), (std::vector<std::string>{"ed 4", "ed 4"}));
}

TEST_F(Dialogs, TakeNothingInDisabledAndHiddenControls) {
    for (const LPCWSTR id : {u"ed", u"ch", u"cb"}) Get<TMK::IUIX_Obj>(id)->put_Enabled(VARIANT_FALSE);
    for (const LPCWSTR id : {u"btn.ok", u"ls"}) Get<TMK::IUIX_Obj>(id)->Show(0);
    Get<TMK::IUIX_Combo>(u"cb")->InsertItem(-1, u"item", nullptr, nullptr, 0, 0);
    Get<TMK::IUIX_List>(u"ls")->InsertItem(-1, 0, 0);
    EXPECT_EQ(Get<TMK::IUIX_Button>(u"btn.ok")->Click(), S_FALSE);
    EXPECT_FALSE(m_window->PressEnter());
    Model<host::EditControl>(u"ed").TypeText(u"text");
    Model<host::CheckControl>(u"ch").Click();
    Model<host::ComboControl>(u"cb").SelectItem(0);
    Model<host::ListControl>(u"ls").SelectRow(0);
    EXPECT_TRUE(Notes().empty());
}

TEST_F(Dialogs, ChooseAmongTheItemsOfAComboBox) {
    const auto combo = Get<TMK::IUIX_Combo>(u"cb");
    combo->InsertItem(-1, u"second", nullptr, nullptr, 2, 0);
    combo->put_SelItem(0);
    combo->InsertItem(0, u"$$$.btn.yes", nullptr, nullptr, 1, 0);
    LONG selected = 0;
    TMK::PARAM_T parameter = 0;
    combo->get_SelItem(&selected);
    combo->GetItemParam(selected, &parameter);
    EXPECT_EQ(parameter, 2u);  // the item stays selected
    Model<host::ComboControl>(u"cb").SelectItem(0);
    EXPECT_EQ(TextOf(*Get<TMK::IUIX_Obj>(u"cb")), u"&Yes");
    EXPECT_EQ(Notes(), (std::vector<std::string>{"cb 5"}));
    EXPECT_EQ(combo->put_SelItem(2), E_INVALIDARG);
    EXPECT_EQ(combo->GetItemParam(-1, &parameter), E_INVALIDARG);
    combo->Clear();
    combo->get_SelItem(&selected);
    EXPECT_EQ(selected, -1);
}

struct Rows final : host::Object<TMK::IUIX_ListCallbacks> {
    HRESULT List_OnGetItemText(const TMK::UIX_ListItemID* id, LPCWSTR* text, UINT* length,
                               DWORD* flags) override {
        asked.push_back(id->nItem);
        *text = u"row and more";
        *length = 3;
        *flags = TMK::UIX_DrawText_Right;
        return S_OK;
    }
    HRESULT List_OnGetItemImageSize(const TMK::UIX_ListItemID*, TMK::SIZE*) override { return S_FALSE; }
    HRESULT List_OnGetItemImage(const TMK::UIX_ListItemID*, TMK::IUIX_Icon**, BYTE*) override {
        return S_FALSE;
    }
    HRESULT List_OnHdrItemClicked(LONG column, LONG button) override {
        said.push_back("header " + std::to_string(column) + " " + std::to_string(button));
        return S_OK;
    }
    HRESULT List_OnItemClick(LONG row, VARIANT_BOOL is_double) override {
        said.push_back("row " + std::to_string(row) + (is_double ? " twice" : ""));
        return S_OK;
    }
    std::vector<LONG> asked;
    std::vector<std::string> said;
};

TEST_F(Dialogs, PassOnWhatAPersonDoesToAList) {
    const auto list = Get<TMK::IUIX_List>(u"ls");
    const auto rows = host::Make<Rows>();
    list->put_Callbacks(rows.get());
    list->InsertColumn(-1, u"Name", nullptr, nullptr, 100, 0);
    for (int i = 0; i < 5; ++i) list->InsertItem(-1, 0, 0);
    EXPECT_TRUE(rows->asked.empty());  // nothing is in view
    auto& model = Model<host::ListControl>(u"ls");
    const host::ListText text = model.TextAt(2, 0);
    EXPECT_EQ(text.text, u"row");
    EXPECT_EQ(text.draw_flags, TMK::UIX_DrawText_Right);

    model.SelectRows({1, 3, 9});
    LONG selected = 0;
    EXPECT_EQ(list->GetNextSelected(2, &selected), S_OK);
    EXPECT_EQ(selected, 3);
    EXPECT_EQ(list->GetNextSelected(4, &selected), S_FALSE);
    EXPECT_EQ(selected, -1);
    list->InsertItem(0, 0, 0);  // the same rows stay selected
    EXPECT_EQ(model.selected(), (std::set<LONG>{2, 4}));
    model.DoubleClickRow(0);
    model.ClickHeader(0, 1);
    model.ClickHeader(1);
    EXPECT_EQ(model.selected(), (std::set<LONG>{0}));
    EXPECT_EQ(rows->said, (std::vector<std::string>{"row 0 twice", "header 0 1"}));
    list->SetNotice(u"$$$.btn.no", u"Again");
    model.PressNoticeButton();
    EXPECT_EQ(Notes(), (std::vector<std::string>{"ls 5", "ls 5", "ls 6"}));

    list->SelectItem(-1, VARIANT_TRUE);
    EXPECT_EQ(model.selected().size(), 6u);
    list->DeleteAllItems();
    EXPECT_TRUE(model.selected().empty());
    EXPECT_TRUE(Notes().empty());  // what the maker does is no news for it

    const auto single = Get<TMK::IUIX_List>(u"one");
    for (int i = 0; i < 3; ++i) single->InsertItem(-1, 0, 0);
    Model<host::ListControl>(u"one").SelectRows({0, 2});
    EXPECT_EQ(Model<host::ListControl>(u"one").selected(), (std::set<LONG>{2}));
}

TEST_F(Dialogs, ChangeAColumnWhereAsked) {
    const auto list = Get<TMK::IUIX_List>(u"ls");
    list->InsertColumn(-1, u"Name", u"tip", nullptr, 100, 8 | TMK::UIX_ListColumn_Ascending);
    EXPECT_EQ(list->SetColumn(0, TMK::UIX_ListColumn_Style, nullptr, nullptr, nullptr, 0,
                              TMK::UIX_ListColumn_Descending, TMK::UIX_ListColumn_SortMask, 0),
              S_OK);
    DWORD style = 0;
    list->GetColumnStyle(0, &style);
    EXPECT_EQ(style, 8u | TMK::UIX_ListColumn_Descending);
    EXPECT_EQ(Model<host::ListControl>(u"ls").columns()[0].title, u"Name");
    EXPECT_EQ(Model<host::ListControl>(u"ls").columns()[0].width, 100);
    EXPECT_EQ(list->GetColumnStyle(1, &style), E_INVALIDARG);
}

TEST_F(Dialogs, HoldControlsThatAreMadeLater) {
    TMK::UIX_CreateObjParams parameters{};
    parameters.szClass = u"WaitProgress";
    parameters.pParent = m_dialog->window.get();
    parameters.rcPlace = {8, 110, 208, 160};
    ComPtr<TMK::IUIX_Obj> object;
    ASSERT_EQ(m_maker->CreateObj(&parameters, object.put()), S_OK);
    object.as<TMK::IUIX_WaitProgress>()->Start();
    const auto& control = dynamic_cast<host::WaitProgressControl&>(*m_window->controls().back());
    EXPECT_TRUE(control.is_running());
    EXPECT_EQ(control.shape().place, (host::Place{8, 110, 200, 50}));
    parameters.szClass = u"Wheel";
    EXPECT_EQ(m_maker->CreateObj(&parameters, nullptr), E_INVALIDARG);

    // A control that outlives its window does no harm.
    const auto button = Get<TMK::IUIX_Button>(u"btn.ok");
    ComPtr<TMK::IUIX_Obj>(m_dialog->window)->Destroy();
    m_window = nullptr;
    EXPECT_EQ(button->Click(), S_FALSE);
    EXPECT_EQ(object.as<TMK::IUIX_WaitProgress>()->Stop(), S_OK);
}

TEST_F(Dialogs, AreDestroyedWithThePlugIn) {
    m_host.UnloadPlugin();
    EXPECT_FALSE(m_dialog->window);
}

struct BadTemplate {
    const char* name;
    std::string xml;
    const char* message;
};
std::string WithItems(const std::string& items, const std::string& more = "") {
    return "<dialogs><dialog id='D' width='10' height='10'" + more + "><items>" + items +
           "</items></dialog></dialogs>";
}
constexpr const char* kPlace = " x='1' y='2' width='3' height='4'";

class BrokenTemplates : public ::testing::TestWithParam<BadTemplate> {};

TEST_P(BrokenTemplates, AreToldInOneLine) {
    try {
        host::ReadDialogTemplate(GetParam().xml, u"D");
        FAIL() << "it was read";
    } catch (const host::Failure& failure) {
        EXPECT_EQ(failure.code(), E_INVALIDARG);
        EXPECT_EQ(failure.what(), "bad window template 'D': " + std::string(GetParam().message));
    }
}

INSTANTIATE_TEST_SUITE_P(
    , BrokenTemplates,
    ::testing::Values(
        BadTemplate{
            .name = "Empty", .xml = "", .message = "the document is no XML: No document element found"},
        BadTemplate{.name = "CutOff",
                    .xml = "<dialogs><dialog id='D'",
                    .message = "the document is no XML: Error parsing start element tag"},
        BadTemplate{.name = "OtherRoot", .xml = "<x/>", .message = "the document has no element 'dialogs'"},
        BadTemplate{.name = "OtherDialog",
                    .xml = "<dialogs><dialog id='E'/></dialogs>",
                    .message = "the document has no such dialog"},
        BadTemplate{.name = "NoSize",
                    .xml = "<dialogs><dialog id='D' width='5'/></dialogs>",
                    .message = "the height of dialog 'D' is '', which is no length"},
        BadTemplate{.name = "UnknownKind",
                    .xml = WithItems("<wheel id='w'/>"),
                    .message = "a control of the unknown kind 'wheel'"},
        BadTemplate{.name = "NoId",
                    .xml = WithItems(std::string("<edit") + kPlace + "/>"),
                    .message = "a control of the kind 'edit' without an id"},
        BadTemplate{
            .name = "SameId",
            .xml = WithItems(std::string("<edit id='e'") + kPlace + "/><label id='e'" + kPlace + "/>"),
            .message = "two controls have the id 'e'"},
        BadTemplate{.name = "BadNumber",
                    .xml = WithItems("<edit id='e' x='1px' y='2' width='3' height='4'/>"),
                    .message = "the x of edit 'e' is '1px', which is no length"},
        BadTemplate{.name = "HugeNumber",
                    .xml = WithItems("<edit id='e' x='1' y='99999999999' width='3' height='4'/>"),
                    .message = "the y of edit 'e' is '99999999999', which is no length"},
        BadTemplate{.name = "BadStyle",
                    .xml = WithItems(std::string("<edit id='e' style='4'") + kPlace + "/>"),
                    .message = "the style of edit 'e' is '4', which is not '#' and a hexadecimal number"},
        BadTemplate{.name = "NoDefaultButton",
                    .xml = WithItems("", " defItem='btn.ok'"),
                    .message = "it has no control 'btn.ok' for its defItem"}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(Dialogs, TellWhyAWindowCantBeMade) {
    const auto other = host::Make<TestDialog>();
    EXPECT_EQ(other->Create(*m_maker, kTemplates, u"Nowhere"), E_INVALIDARG);
    EXPECT_EQ(m_host.TakeMessage(), "bad window template 'Nowhere': the document has no such dialog");
    EXPECT_FALSE(other->window);
}

struct WithoutWindows final : host::testing::SilentFrontEnd {
    host::DialogViews* dialog_views() override { return nullptr; }
};

TEST(DialogsInATerminal, AreRefusedWithASentence) {
    TempFolder folder;
    WithoutWindows front_end;
    host::Host host(front_end, folder.Path());
    ComPtr<IUnknown> maker;
    host.instance()->GetExtension(u"UIX", maker.put());
    const auto dialog = host::Make<TestDialog>();
    EXPECT_EQ(dialog->Create(*maker.as<TMK::IUIX_Inst>(), kTemplates, u"Plain"), E_NOTIMPL);
    EXPECT_EQ(host.TakeMessage(),
              "the window 'Plain' can't be shown in a terminal; use the editor, sphost-editor");
    EXPECT_EQ(dialog->Create(*maker.as<TMK::IUIX_Inst>(), kTemplates, u"Empty"), S_OK);  // a browser's pane
    ComPtr<TMK::IUIX_Obj>(dialog->window)->Destroy();
}

TEST_F(Dialogs, ShowProgressThatTakesLong) {
    ComPtr<IUnknown> extension;
    m_host.instance()->GetExtension(u"AUX", extension.put());
    const auto maker = extension.as<TMK::IAUX_Inst>();
    const auto pump = [&](std::chrono::milliseconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        m_front_end.main_thread().PumpUntil([&] { return std::chrono::steady_clock::now() >= end; });
    };
    ComPtr<TMK::ITMK_Progress> quick;
    maker->CreateProgress(nullptr, quick.put());
    quick->Start();
    pump(std::chrono::milliseconds(100));
    quick->Stop();

    m_front_end.dialogs.cancels_progress = true;
    ComPtr<TMK::ITMK_Progress> slow;
    ComPtr<TMK::ITMK_CancelFlag> flag;
    std::thread([&] {
        maker->CreateProgress(nullptr, slow.put());
        slow->put_Title(u"Deleting");
        slow->get_CancelFlag(flag.put());
        slow->Start();
        VARIANT_BOOL is_canceled = VARIANT_TRUE;
        flag->get_IsCanceled(&is_canceled);
        EXPECT_EQ(is_canceled, VARIANT_FALSE);
    }).join();
    pump(std::chrono::milliseconds(300));
    EXPECT_TRUE(m_front_end.dialogs.progress.empty());
    pump(std::chrono::milliseconds(500));
    ASSERT_EQ(m_front_end.dialogs.progress.size(), 1u);
    EXPECT_EQ(m_front_end.dialogs.progress[0].title, u"Deleting");
    VARIANT_BOOL is_canceled = VARIANT_FALSE;
    flag->get_IsCanceled(&is_canceled);
    EXPECT_EQ(is_canceled, VARIANT_TRUE);
}

TEST_F(Dialogs, NameTheKindsOfFiles) {
    const auto filter = [&](LPCWSTR key, DWORD form) {
        Bstr text;
        EXPECT_EQ(m_host.instance()->GetFileFilter(key, form, text.put()), S_OK);
        return text.str();
    };
    EXPECT_EQ(filter(u"<pdf>", 0), u"PDF documents|*.pdf|");
    EXPECT_EQ(filter(u"<all>", 1), u"All files|*.*|");
    EXPECT_EQ(filter(u"<none>", 1), u"");
    const std::u16string all = filter(u"<allSupp>", 1);
    for (const LPCWSTR key : {u"<pdf>", u"<doc>", u"<xls>", u"<ppt>", u"<vsd>"}) {
        const std::u16string one = filter(key, 0);
        EXPECT_NE(all.find(one), std::u16string::npos) << host::ToUtf8(one);
        const std::u16string patterns = one.substr(one.find(u'|') + 1, one.size() - one.find(u'|') - 2);
        EXPECT_LT(all.find(patterns), all.find(u'|', all.find(u'|') + 1)) << "in the first pair";
    }
}

}  // namespace
