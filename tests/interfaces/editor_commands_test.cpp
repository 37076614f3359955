// The plug-in's commands in the editor: where they stand, when they can be used, and what a click does.
#include "host/base/text.h"
#include "host/testing/fake_site.h"
#include "tests/interfaces/decisions.h"
#include "tests/interfaces/window.h"

namespace interfaces {

namespace {

const std::string kMenu = "sp.cmd.checkIn sp.cmd.checkOut - sp.cmd.discardCheckOut - sp.cmd.enableEditing";

class EditorCommands : public DecisionTest {};

struct CommandRow {
    std::string name, title, tip;
};

TEST_F(EditorCommands, HaveTheirTitlesTipsAndCategory) {
    Window window(Server(), "alice");
    const CommandRow rows[] = {
        {"sp.cmd.share_point", "Share&Point", "Work with documents in SharePoint"},
        {"sp.cmd.checkOut", "Check &Out", "Check Out the document file from SharePoint."},
        {"sp.cmd.checkIn", "Check &In", "Check In the document file to SharePoint."},
        {"sp.cmd.discardCheckOut", "&Discard Check Out", "Discard checked out file on SharePoint."},
        {"sp.cmd.enableEditing", "&Enable Editing", "Enable editing and interactive features."},
        {"sp.cmd.fileProperties", "Properties", "Edit the properties of the file"},
    };
    std::size_t index = 0;
    for (const CommandRow& row : rows) {
        SCOPED_TRACE(row.name);
        const auto command = window.workbench().commands().all().at(index++);
        EXPECT_EQ(host::ToUtf8(command->name()), row.name);
        EXPECT_EQ(host::ToUtf8(command->Title()), row.title);
        EXPECT_EQ(host::ToUtf8(command->Tip()), row.tip);
        EXPECT_EQ(command->Category(), u"SharePoint");
        EXPECT_EQ(command->new_item_style(), row.name == "sp.cmd.share_point" ? 513u : 0u);
    }
}

TEST_F(EditorCommands, StandInAGroupOfTheirOwnAndInTheSharingGroup) {
    Window window(Server(), "alice");
    const host::Ribbon& ribbon = *window.workbench().view()->ribbon();
    const auto tab = ribbon.Tab(window.workbench().atoms().Of(u"rtab.share"));
    ASSERT_TRUE(tab);
    ASSERT_EQ(tab->bars().size(), 2u);
    EXPECT_EQ(Window::NamesIn(*tab->bars()[0]),
              "- sp.cmd.checkIn sp.cmd.checkOut sp.cmd.discardCheckOut sp.cmd.enableEditing");
    EXPECT_EQ(tab->bars()[1]->name(), u"sp.rbar.sharepoint");
    EXPECT_EQ(tab->bars()[1]->Title(), u"SharePoint");
    EXPECT_EQ(Window::NamesIn(*tab->bars()[1]), kMenu);
}

TEST_F(EditorCommands, StandInAMenuBeforeTheWindowMenu) {
    Window window(Server(), "alice", {}, Layout::menus);
    const auto menu_bar = window.workbench().view()->Bar(window.workbench().atoms().Of(u"cmdbar.menubar"));
    ASSERT_TRUE(menu_bar);
    EXPECT_EQ(Window::NamesIn(*menu_bar),
              "cmd.file cmd.edit cmd.page cmd.view sp.cmd.share_point cmd.window cmd.help");
    const auto share_point = window.workbench().commands().Find(u"sp.cmd.share_point");
    ASSERT_TRUE(share_point->sub_menu());
    EXPECT_EQ(Window::NamesIn(*share_point->sub_menu()), kMenu);
    EXPECT_TRUE(share_point->IsEnabled(nullptr)) << "the menu opens without a document";
}

// The plug-in is one among several, and a window has other views.
TEST_F(EditorCommands, StayOutOfOtherViews) {
    Window window(Server(), "alice");
    host::Workbench& workbench = window.workbench();
    const auto ribbon = host::Make<host::Ribbon>();
    const auto view = host::Make<host::MainView>(workbench.atoms().Of(u"otherView"), ribbon);
    const auto menu_bar = workbench.manager().MakeBar(u"cmdbar.menubar", {});
    view->Add(menu_bar);
    const auto before = Window::NamesIn(*workbench.view()->ribbon()->tabs()[2]->bars()[0]);
    workbench.events().Raise(workbench.atoms().Of(u"e.customizeCmdLayout"), view.get());
    EXPECT_EQ(Window::NamesIn(*menu_bar), "");
    EXPECT_EQ(Window::NamesIn(*workbench.view()->ribbon()->tabs()[2]->bars()[0]), before);
}

TEST_F(EditorCommands, FollowTheDocumentInFront) {
    const std::string mine = MakeDocument("alice"), free = MakeDocument(), others = MakeDocument("bob");
    Window window(Server(), "alice", {{"on_open_checked_out_other", "2"}});
    EXPECT_EQ(window.Usable(nullptr), "share_point");
    const Tab of_me = window.OpenTab(mine, kUserOpen);
    EXPECT_EQ(window.Usable(nullptr), "share_point checkIn discardCheckOut fileProperties");
    const Tab of_nobody = window.OpenTab(free, kUserOpen);
    EXPECT_EQ(window.Usable(nullptr), "share_point checkOut enableEditing fileProperties");
    const Tab of_bob = window.OpenTab(others, kUserOpen);
    EXPECT_EQ(window.Usable(nullptr), "share_point fileProperties");
    EXPECT_EQ(window.Usable(of_me.view.get()), "share_point checkIn discardCheckOut fileProperties")
        << "an owner that shows a document goes before the one in front";
    window.refreshes.clear();
    window.workbench().Activate(of_nobody.view.get());
    window.Settle();
    EXPECT_EQ(window.refreshes, std::vector<std::vector<DWORD>>{{}})
        << "another tab asks for all states anew";
    EXPECT_EQ(window.Usable(nullptr), "share_point checkOut enableEditing fileProperties");
    window.workbench().Activate(nullptr);
    EXPECT_EQ(window.Usable(nullptr), "share_point");
}

TEST_F(EditorCommands, LeaveDocumentsOfOtherFileSystemsAlone) {
    TempFolder folder;
    host::testing::FakeSite site;
    site.folder = folder.Path();
    WriteText(folder / "local.pdf", "x");
    Window window(Server(), "alice");
    const auto files = host::testing::MakeFakeFileSys(
        site, static_cast<TMK::IAFS_Inst*>(window.host().FindExtension(u"AFS")));
    ComPtr<TMK::IAFS_File> local;
    const auto name = host::testing::NameAt(files.get(), "local.pdf");
    ASSERT_EQ(files->OpenFile(name.get(), kRead, nullptr, nullptr, local.put()), S_OK);
    for (const ComPtr<TMK::IAFS_File>& file : {local, ComPtr<TMK::IAFS_File>()}) {
        Tab tab = window.Show(file);
        EXPECT_EQ(window.Usable(tab.view.get()), "share_point");
        for (const char* command : {"sp.cmd.checkOut", "sp.cmd.checkIn", "sp.cmd.discardCheckOut",
                                    "sp.cmd.enableEditing", "sp.cmd.fileProperties"})
            EXPECT_EQ(window.Click(command, tab), S_OK) << command;
        EXPECT_EQ(window.BarOf(tab), std::nullopt);
        EXPECT_EQ(Window::RestrictedOf(tab), 0u);
        window.Close(tab);
    }
    EXPECT_TRUE(window.TakePrompts().empty());
}

// Saves as an editor does: it reopens for writing, writes, sends, and runs the step after a save.
HRESULT SaveInPlace(Window& window, TMK::IAFS_File* file, const std::string& bytes) {
    if (const HRESULT result = file->Reopen(kWrite, window.details(), nullptr); FAILED(result)) return result;
    if (const HRESULT result = file->SetSize(0, nullptr, nullptr); FAILED(result)) return result;
    if (const HRESULT result =
            file->Write(bytes.data(), static_cast<LONGLONG>(bytes.size()), nullptr, nullptr, nullptr);
        FAILED(result))
        return result;
    if (const HRESULT result = file->Flush(window.details(), nullptr); FAILED(result)) return result;
    return window.Exec(file, u"PerformAfterSave");
}

class CheckInCommand : public DecisionTest {
protected:
    // A changed document, checked out to alice.
    Tab OpenChanged(Window& window, const std::function<HRESULT(TMK::IAFS_File*)>& save) {
        const std::string document = MakeDocument("alice");
        const Opened opened = window.Open(document, kRead);
        m_document = document;
        TMK::IAFS_File* const file = opened.file.get();
        Tab tab = window.Show(opened.file, {.reload = nullptr,
                                            .save = [=, this](auto* destination, DWORD mode, auto* progress) {
                                                EXPECT_EQ(destination, nullptr);
                                                EXPECT_EQ(mode, 4u);
                                                EXPECT_NE(progress, nullptr);
                                                ++m_saves;
                                                return save(file);
                                            }});
        tab.document->SetModified(true);
        return tab;
    }

    std::string m_document;
    int m_saves = 0;
};

TEST_F(CheckInCommand, SavesFirstAndAsksOnce) {
    Window window(Server(), "alice", {{"on_after_save", "1"}});
    const Tab tab =
        OpenChanged(window, [&](TMK::IAFS_File* file) { return SaveInPlace(window, file, "second"); });
    host::PromptAnswer answer = Press("sp.btn.checkIn");
    answer.radio = 1;
    answer.text = "from the command";
    window.Answer("sp.msg.checkInDialogMessage", answer);
    EXPECT_EQ(window.Click("sp.cmd.checkIn", tab), S_OK);
    EXPECT_EQ(m_saves, 1);
    EXPECT_EQ(window.TakePrompts().size(), 1u);
    const StoredDocument stored = Server().Look(m_document);
    EXPECT_EQ(stored.bytes, "second");
    EXPECT_EQ(stored.checked_out_by, "");
    EXPECT_EQ(stored.comment, "from the command");
    EXPECT_EQ(stored.version, "1.0");
    // The next save asks by itself again.
    EXPECT_EQ(SaveInPlace(window, tab.file.get(), "third"), S_OK);
    EXPECT_EQ(window.TakePrompts().size(), 1u);
}

TEST_F(CheckInCommand, AFailedSaveMeansNoCheckIn) {
    for (const HRESULT failure : {E_FAIL, kCanceled}) {
        Window window(Server(), "alice", {{"on_after_save", "1"}});
        const Tab tab = OpenChanged(window, [&](TMK::IAFS_File*) { return failure; });
        EXPECT_EQ(window.Click("sp.cmd.checkIn", tab), S_OK);
        EXPECT_EQ(window.TakePrompts().size(), 0u) << "whoever saves has told the person";
        EXPECT_EQ(Server().CheckedOutBy(m_document), "alice");
        EXPECT_EQ(window.Exec(tab.file.get(), u"PerformAfterSave"), S_OK);
        EXPECT_EQ(window.TakePrompts().size(), 1u) << "the step after a save is not left out for good";
    }
}

TEST_F(CheckInCommand, AnUnchangedDocumentIsNotSaved) {
    Window window(Server(), "alice");
    const Tab tab = OpenChanged(window, [](TMK::IAFS_File*) { return S_OK; });
    tab.document->SetModified(false);
    window.Answer("sp.msg.checkInDialogMessage", Press("sp.btn.keepCkeckedOut"));
    EXPECT_EQ(window.Click("sp.cmd.checkIn", tab), S_OK);
    EXPECT_EQ(m_saves, 0);
    EXPECT_EQ(window.TakePrompts().size(), 1u);
    EXPECT_EQ(Server().CheckedOutBy(m_document), "alice");
}

struct ReloadRow {
    std::string what;
    std::string button;  // empty: the question is closed
    HRESULT reload = S_OK;
    int reloads = 0;
    std::string holder;
    std::size_t boxes = 0;  // beside the question

    friend std::ostream& operator<<(std::ostream& stream, const ReloadRow& row) { return stream << row.what; }
};

class CheckOutOfAnOldVersion : public DecisionTest, public ::testing::WithParamInterface<ReloadRow> {};

TEST_P(CheckOutOfAnOldVersion, AsksAndReloadsThroughTheEditor) {
    const ReloadRow& row = GetParam();
    const std::string document = MakeDocument();
    Window window(Server(), "alice");
    const Opened opened = window.Open(document, kUserOpen);
    int reloads = 0;
    const Tab tab = window.Show(opened.file, {.reload = [&] { return ++reloads, row.reload; }});
    Server().WriteAs("bob", document, "newer");
    const std::string question = "sp.msg.outdatedFileOnCheckout.question";
    if (!row.button.empty()) window.Answer(question, Press(row.button));
    EXPECT_EQ(window.Click("sp.cmd.checkOut", tab), S_OK);
    const auto prompts = window.TakePrompts();
    ASSERT_EQ(prompts.size(), 1 + row.boxes);
    EXPECT_EQ(prompts[0].id, question);
    if (row.boxes) {
        EXPECT_NE(prompts[1].text.find("The file " + document + " failed to check out"), std::string::npos)
            << prompts[1].text;
    }
    EXPECT_EQ(reloads, row.reloads);
    EXPECT_EQ(Server().CheckedOutBy(document), row.holder);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CheckOutOfAnOldVersion,
    ::testing::Values(ReloadRow{"closed", "", S_OK, 0, "", 0},
                      ReloadRow{"not wanted", "sp.btn.cancelCheckOut", S_OK, 0, "", 0},
                      ReloadRow{"reloaded", "sp.btn.reloadAndCheckOut", S_OK, 1, "alice", 0},
                      ReloadRow{"the reload is cancelled", "sp.btn.reloadAndCheckOut", kCanceled, 1, "", 0},
                      ReloadRow{"the reload fails", "sp.btn.reloadAndCheckOut", E_ACCESSDENIED, 1, "", 1}),
    RowName());

// What a host may do wrong.
TEST_F(EditorCommands, TakeForeignArguments) {
    Window window(Server(), "alice");
    ComPtr<TMK::ITMK_EventServer> events;
    host::Workbench& workbench = window.workbench();
    const auto own = workbench.commands().Find(u"sp.cmd.checkOut");
    const auto foreign = workbench.commands().Find(u"sp.cmd.share_point");
    const Tab tab = window.OpenTab(MakeDocument(), kUserOpen);
    for (const char16_t* event :
         {u"e.customizeCmdLayout", u"e.document.initialized", u"e.document.viewingStarted",
          u"e.document.sourceChanged", u"e.uiLanguageChanged", u"e.customizePropDialog"}) {
        workbench.events().Raise(workbench.atoms().Of(event), nullptr);
        workbench.events().Raise(workbench.atoms().Of(event), own.get());
    }
    EXPECT_EQ(foreign->Execute(own.get()), S_OK);
    EXPECT_EQ(own->State(foreign.get()), TMK::UIX_CmdItemState_Enabled)
        << "an unknown owner means the one in front";
    EXPECT_EQ(window.BarOf(tab)->buttons, "checkOut enableEditing fileProperties");
    EXPECT_TRUE(window.TakePrompts().empty());
}

TEST_F(EditorCommands, GoWithThePlugIn) {
    const std::string document = MakeDocument();
    {
        Window window(Server(), "alice");
        Tab tab = window.OpenTab(document, kUserOpen);
        // A refresh waits while the plug-in ends.
        EXPECT_EQ(window.Exec(tab.file.get(), u"CheckOut"), S_OK);
        const auto button = window.workbench().commands().Find(u"sp.cmd.checkOut");
        window.Close(tab);
        window.EndPlugIn();
        EXPECT_EQ(window.workbench().commands().Find(u"sp.cmd.checkOut"), nullptr);
        EXPECT_EQ(button->Execute(nullptr), S_FALSE) << "a button that is still shown does nothing";
        EXPECT_EQ(window.workbench().events().Count(), 0u);
        EXPECT_EQ(Window::NamesIn(*window.workbench().view()->ribbon()->tabs()[2]->bars()[0]), "");
        EXPECT_EQ(window.workbench().view()->ribbon()->tabs()[2]->bars().size(), 1u);
        window.Settle();
    }
    EXPECT_EQ(host::LiveObjects(), 0);
}

}  // namespace

}  // namespace interfaces
