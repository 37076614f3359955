// What the editor shows of a document's state: the information bar's text and buttons, and whether editing is
// switched off, while other users change the state on the server.
#include "tests/interfaces/decisions.h"
#include "tests/interfaces/window.h"

namespace interfaces {

namespace {

constexpr DWORD kRestricted = 0xFFFFF5EB;
const std::string kNone = "on_open_checked_out_none";
const std::string kOther = "on_open_checked_out_other";
const std::string kMe = "on_open_checked_out_me";
const std::string kRights = "on_open_without_write_permissions";
constexpr bool kNoRightsThere = true;

const std::string kMine = "The file is checked out to you.";
// A modern site tells people by their claims.
const std::string kBob = "i:0#.f|membership|bob@contoso.example";
const std::string kOthersEditing =
    "The file is checked out to " + kBob + ". You will not be able to save the file to the server.";
const std::string kOthersReading =
    "The file is checked out to " + kBob + ". All editing and interactive features are disabled.";
const std::string kFreeEditing =
    "The file is not checked out. If other users change the file on the server your will not be able to save "
    "changes to this file.";
const std::string kFreeReading =
    "The file is not checked out. All editing and interactive features are disabled.";
const std::string kRightlessEditing =
    "You have no permissions to edit the file on the server. Only saving as local copy is allowed.";
const std::string kRightlessReading =
    "You have no permissions to edit the file on the server. All editing and interactive features are "
    "disabled.";

const ShownBar kFreeReadingBar{kFreeReading, "checkOut enableEditing fileProperties"};
const ShownBar kFreeEditingBar{kFreeEditing, "checkOut fileProperties"};
const ShownBar kMyBar{kMine, "checkIn discardCheckOut fileProperties"};

struct BarRow {
    std::string what;
    std::string holder;  // of the check-out
    bool has_no_rights;
    PreferenceValues preferences;
    ShownBar bar;
    bool is_restricted;

    friend std::ostream& operator<<(std::ostream& stream, const BarRow& row) { return stream << row.what; }
};

class InfoBarRow : public DecisionTest, public ::testing::WithParamInterface<BarRow> {};

TEST_P(InfoBarRow, IsShownAsTheDocumentIsOpened) {
    const BarRow& row = GetParam();
    const std::string document = MakeDocument(row.holder);
    SetNoRights(row.has_no_rights);
    Window window(Server(), "alice", row.preferences);
    const Tab tab = window.OpenTab(document, kRead);
    EXPECT_EQ(window.BarOf(tab), row.bar);
    EXPECT_EQ(Window::RestrictedOf(tab), row.is_restricted ? kRestricted : 0);
    EXPECT_EQ(tab.document->core().IsAllowed(TMK::TMK_Permission_Modify), !row.is_restricted);
    EXPECT_TRUE(tab.document->core().IsAllowed(TMK::TMK_Permission_Print)) << "printing always stays";
}

INSTANTIATE_TEST_SUITE_P(
    Table, InfoBarRow,
    ::testing::Values(
        BarRow{"free", "", false, {}, kFreeReadingBar, true},
        BarRow{"free, editing allowed", "", false, {{kNone, "2"}}, kFreeEditingBar, false},
        BarRow{"free, no bar wanted", "", false, {{kNone, "4"}}, kFreeReadingBar, true},
        BarRow{"mine", "alice", false, {}, kMyBar, false},
        BarRow{"mine, restricted for mine", "alice", false, {{kMe, "6"}}, kMyBar, false},
        BarRow{"of another", "bob", false, {}, {kOthersReading, "enableEditing fileProperties"}, true},
        BarRow{"of another, editing allowed",
               "bob",
               false,
               {{kOther, "2"}},
               {kOthersEditing, "fileProperties"},
               false},
        BarRow{"of another, restricted for free",
               "bob",
               false,
               {{kOther, "2"}, {kNone, "6"}},
               {kOthersEditing, "fileProperties"},
               false},
        BarRow{"no rights",
               "",
               kNoRightsThere,
               {{kNone, "2"}},
               {kRightlessReading, "enableEditing fileProperties"},
               true},
        BarRow{"no rights, editing allowed",
               "",
               kNoRightsThere,
               {{kNone, "2"}, {kRights, "2"}},
               {kRightlessEditing, "fileProperties"},
               false},
        BarRow{"no rights, restricted for free",
               "",
               kNoRightsThere,
               {{kRights, "2"}},
               {kRightlessReading, "enableEditing fileProperties"},
               true},
        BarRow{"no rights, of another",
               "bob",
               kNoRightsThere,
               {{kOther, "2"}},
               {kRightlessReading, "enableEditing fileProperties"},
               true},
        BarRow{"no rights, mine",
               "alice",
               kNoRightsThere,
               {},
               {kRightlessReading, "enableEditing fileProperties"},
               true},
        BarRow{"no rights, mine, editing allowed",
               "alice",
               kNoRightsThere,
               {{kRights, "2"}},
               {kRightlessEditing, "fileProperties"},
               false}),
    RowName());

class InfoBar : public DecisionTest {};

TEST_F(InfoBar, FollowsTheDocumentFromOpeningToCheckIn) {
    const std::string document = MakeDocument();
    Window window(Server(), "alice");
    const Tab tab = window.OpenTab(document, kUserOpen);
    EXPECT_EQ(window.BarOf(tab), kFreeReadingBar);
    EXPECT_EQ(window.Click("sp.cmd.enableEditing", tab), S_OK);
    EXPECT_EQ(window.BarOf(tab), kFreeEditingBar) << "what the person lifts shows at once";
    EXPECT_EQ(window.Click("sp.cmd.checkOut", tab), S_OK);
    EXPECT_EQ(window.BarOf(tab), kMyBar);
    EXPECT_EQ(Server().CheckedOutBy(document), "alice");
    window.Answer("sp.msg.checkInDialogMessage", Press("sp.btn.checkIn"));
    EXPECT_EQ(window.Click("sp.cmd.checkIn", tab), S_OK);
    EXPECT_EQ(window.BarOf(tab), kFreeReadingBar) << "a change of the state takes the lifting back";
    EXPECT_EQ(window.Click("sp.cmd.checkOut", tab), S_OK);
    EXPECT_EQ(window.Click("sp.cmd.discardCheckOut", tab), S_OK);
    EXPECT_EQ(window.BarOf(tab), kFreeReadingBar);
    EXPECT_EQ(Server().CheckedOutBy(document), "");
}

TEST_F(InfoBar, BelongsToTheDocumentWhoseStateChanges) {
    Window window(Server(), "alice");
    const Tab first = window.OpenTab(MakeDocument(), kUserOpen);
    const Tab second = window.OpenTab(MakeDocument(), kUserOpen);
    window.bar_changes.clear();
    EXPECT_EQ(window.Exec(first.file.get(), u"CheckOut"), S_OK);
    window.Settle();
    EXPECT_EQ(window.BarOf(first), kMyBar);
    EXPECT_EQ(window.BarOf(second), kFreeReadingBar);
    EXPECT_EQ(window.bar_changes.count(second.document->info_bar()), 0u);
}

// A file of another file system, as a document of the local disk has.
TEST_F(InfoBar, IsTakenFromADocumentThatIsSavedElsewhere) {
    Window window(Server(), "alice");
    Tab tab = window.OpenTab(MakeDocument(), kUserOpen);
    ASSERT_TRUE(window.BarOf(tab));
    tab.document->SetFile(nullptr);
    window.workbench().ChangedSource(*tab.view);
    EXPECT_EQ(window.BarOf(tab), std::nullopt);
    tab.document->SetFile(tab.file);
    window.workbench().ChangedSource(*tab.view);
    EXPECT_EQ(window.BarOf(tab)->buttons, kFreeReadingBar.buttons);
}

TEST_F(InfoBar, SpeaksTheNewLanguageAtOnce) {
    Window window(Server(), "alice");
    const Tab open = window.OpenTab(MakeDocument("bob"), kUserOpen);
    const Tab foreign = window.Show(nullptr);
    window.host().catalogue().Load(
        R"(<Localization><Product><Language><Module namespace="sp"><Strings>
        <text id="ibar.checkedOutToOtherNoEditing">%1 hat die Datei.</text>
        <text id="cmd.checkOut">&amp;Auschecken</text></Strings></Module></Language></Product></Localization>)");
    window.workbench().ChangedLanguage();
    EXPECT_EQ(window.BarOf(open)->text, kBob + " hat die Datei.");
    EXPECT_EQ(window.workbench().commands().Find(u"sp.cmd.checkOut")->Title(), u"&Auschecken");
    EXPECT_EQ(window.BarOf(foreign), std::nullopt);
}

// What somebody else does between the opening and the person's click.
struct BehindRow {
    std::string what;
    std::string holder;  // while it is opened
    std::function<void(const DevServer&, const std::string&)> meanwhile;
    std::string click;
    std::string box;  // the beginning of the one box that is shown
    ShownBar bar;

    friend std::ostream& operator<<(std::ostream& stream, const BehindRow& row) { return stream << row.what; }
};

class BehindThePersonsBack : public DecisionTest, public ::testing::WithParamInterface<BehindRow> {
protected:
    static void TakeRights(const DevServer&, const std::string&) { SetNoRights(true); }
    static void UndoCheckOut(const DevServer& server, const std::string& document) {
        server.AdminFor("undo-checkout", "alice", document);
    }
    static void CheckOutByBob(const DevServer& server, const std::string& document) {
        server.CheckOutAs("bob", document);
    }

public:
    static std::vector<BehindRow> Rows() {
        return {
            {"another checks it out", "", CheckOutByBob, "sp.cmd.checkOut", "The file %1 failed to check out",
             kFreeReadingBar},
            {"rights are taken away",
             "",
             TakeRights,
             "sp.cmd.checkOut",
             "You cannot check out the file %1",
             {kRightlessReading, "enableEditing fileProperties"}},
            {"the check-out is undone", "alice", UndoCheckOut, "sp.cmd.checkIn", "HTTP 500", kMyBar},
            {"the check-out is undone before a discard", "alice", UndoCheckOut, "sp.cmd.discardCheckOut",
             "HTTP 500", kMyBar},
        };
    }
};

TEST_P(BehindThePersonsBack, AFailedClickShowsOneBoxAndWhatIsKnownNow) {
    const BehindRow& row = GetParam();
    const std::string document = MakeDocument(row.holder);
    Window window(Server(), "alice");
    window.Answer("sp.msg.checkInDialogMessage", Press("sp.btn.checkIn"));
    const Tab tab = window.OpenTab(document, kUserOpen);
    row.meanwhile(Server(), document);
    window.TakePrompts();
    EXPECT_EQ(window.Click(row.click, tab), S_OK);
    auto prompts = window.TakePrompts();
    if (row.click == "sp.cmd.checkIn" && !prompts.empty()) prompts.erase(prompts.begin());
    ASSERT_EQ(prompts.size(), 1u);
    std::string text = row.box;
    if (const auto at = text.find("%1"); at != std::string::npos) text.replace(at, 2, document);
    EXPECT_TRUE(prompts[0].text.starts_with(text)) << prompts[0].text;
    EXPECT_EQ(prompts[0].style, kWarning);
    EXPECT_EQ(prompts[0].buttons, std::vector<std::string>{"btn.close"});
    EXPECT_EQ(window.BarOf(tab), row.bar);
}

INSTANTIATE_TEST_SUITE_P(Rows, BehindThePersonsBack, ::testing::ValuesIn(BehindThePersonsBack::Rows()),
                         RowName());

TEST_F(InfoBar, NamesNobodyAfterARefusedSave) {
    const std::string document = MakeDocument();
    Window window(Server(), "alice", {{kOther, "2"}});
    const Tab tab = window.OpenTab(document, kUserOpen);
    EXPECT_EQ(window.Click("sp.cmd.enableEditing", tab), S_OK);
    Server().CheckOutAs("bob", document);
    EXPECT_EQ(tab.file->Reopen(kWrite, window.details(), nullptr), kOthersCheckOut);
    EXPECT_NE(window.TakeMessage().find(kBob), std::string::npos);
    window.workbench().ChangedLanguage();  // asks for the bar anew
    EXPECT_EQ(window.BarOf(tab)->text,
              "The file is checked out to . You will not be able to save the file to the server.");
    EXPECT_EQ(window.Usable(tab.view.get()), "share_point fileProperties");
}

TEST_F(InfoBar, NamesTheNewHolderOnceTheDocumentIsOpenedAgain) {
    const std::string document = MakeDocument();
    Window window(Server(), "alice");
    Tab tab = window.OpenTab(document, kUserOpen);
    Server().CheckOutAs("bob", document);
    window.Close(tab);
    tab = window.OpenTab(document, kUserOpen);
    EXPECT_EQ(window.BarOf(tab)->text, kOthersReading);
}

}  // namespace

}  // namespace interfaces
