// What happens on the server when a document is closed, by flags and by preference.
#include "tests/interfaces/decisions.h"

namespace interfaces {

namespace {

using TMK::AFS_CloseFile_AllowUI;
using TMK::AFS_CloseFile_CheckIn;
using TMK::AFS_CloseFile_DiscardCheckOut;

class CloseDecisions : public DecisionTest {
protected:
    // Opened, checked out to alice and, with `saved`, changed on the server.
    static ComPtr<TMK::IAFS_File> OpenCheckedOut(Editor& editor, const std::string& document, bool saved) {
        const Opened opened = editor.Open(document, saved ? kWrite : kCheckOut);
        EXPECT_EQ(opened.result, S_OK) << opened.message;
        if (saved) Save(opened.file.get(), "second");
        return opened.file;
    }
};

const std::string kNoChanges = "on_close_checked_out_no_need_check_in";
const std::string kChanges = "on_close_checked_out_need_check_in";

const Shape kAskDiscard{"sp.msg.askForDiscardCheckOutOnClose",
                        kQuestion,
                        {"sp.btn.discardCheckOut", "sp.btn.keepCkeckedOut"},
                        0,
                        kDontShow};
const Shape kAskCheckIn{"sp.msg.askForCheckInOnClose",
                        kCheckInStyle,
                        {"sp.btn.checkIn", "sp.btn.checkInAndKeepCkeckedOut", "sp.btn.keepCkeckedOut"},
                        0,
                        kDontShow};

constexpr bool kSaved = true, kUnsaved = false;
enum class End { kept, discarded, checked_in };

struct Row : DecisionRow {
    bool is_saved = false;  // a flush has gone to the server
    End end = End::kept;
};

class CloseRow : public CloseDecisions, public ::testing::WithParamInterface<Row> {};

const std::string kCheckIn = "sp.btn.checkIn";
const std::string kCheckInAndKeep = "sp.btn.checkInAndKeepCkeckedOut";
const std::string kDiscard = "sp.btn.discardCheckOut";
const std::string kKeep = "sp.btn.keepCkeckedOut";

Row ByFlags(const std::string& what, DWORD flags, const PreferenceValues& preferences, End end,
            HRESULT result = S_OK) {
    Row row;
    row.what = what;
    row.is_saved = true;
    row.flags = flags;
    row.preferences = preferences;
    row.preferences["default_check_in_message"] = "by default";
    row.result = result;
    row.end = end;
    return row;
}

// Closed with prompts allowed, by the preference for a document with or without changes.
Row ByPreference(const std::string& what, bool is_saved, const std::string& preference, End end) {
    Row row = ByFlags(what, AFS_CloseFile_AllowUI, {{is_saved ? kChanges : kNoChanges, preference}}, end);
    row.is_saved = is_saved;
    return row;
}

// The same where the preference makes the plug-in ask; it is `stored` afterwards.
Row Asked(const std::string& what, bool is_saved, const std::string& preference,
          const std::optional<host::PromptAnswer>& answer, End end, const std::string& stored) {
    Row row = ByPreference(what, is_saved, preference, end);
    row.prompt = is_saved ? kAskCheckIn : kAskDiscard;
    row.answer = answer;
    row.stored = {{is_saved ? kChanges : kNoChanges, stored}};
    return row;
}

Row Unsaved(Row row) {
    row.is_saved = false;
    return row;
}

Row Storing(Row row, const std::string& preference, const std::string& value) {
    row.stored[preference] = value;
    return row;
}

std::vector<Row> Rows() {
    const DWORD both = AFS_CloseFile_CheckIn | AFS_CloseFile_DiscardCheckOut;
    const DWORD check_in = AFS_CloseFile_CheckIn;
    return {
        Unsaved(ByFlags("neither, no prompts allowed", 0, {}, End::kept, E_INVALIDARG)),
        ByFlags("both, no prompts allowed", both, {}, End::kept, E_INVALIDARG),
        ByFlags("both with prompts allowed discards", both | AFS_CloseFile_AllowUI, {}, End::discarded),
        ByFlags("by flag, discard", AFS_CloseFile_DiscardCheckOut, {{kChanges, "1"}}, End::discarded),
        Storing(ByFlags("by flag, check in", check_in, {{kChanges, "1"}}, End::checked_in), kChanges, "1"),
        ByFlags("by flag, check in with prompts allowed", check_in | AFS_CloseFile_AllowUI, {{kChanges, "1"}},
                End::checked_in),
        ByFlags("by flag, check in, kept by preference", check_in, {{kChanges, "8"}}, End::kept),
        Asked("no changes, asked, discard", kUnsaved, "1", Press(kDiscard), End::discarded, "1"),
        Storing(Asked("no changes, asked, discard from now on", kUnsaved, "1", Press(kDiscard, true),
                      End::discarded, "0"),
                kChanges, "1"),
        Asked("no changes, asked, keep", kUnsaved, "1", Press(kKeep), End::kept, "1"),
        Asked("no changes, asked, keep from now on", kUnsaved, "1", Press(kKeep, true), End::kept, "8"),
        Asked("no changes, prompt closed", kUnsaved, "9", {}, End::kept, "9"),
        ByPreference("no changes, preference discards", kUnsaved, "0", End::discarded),
        ByPreference("no changes, preference keeps", kUnsaved, "8", End::kept),
        Asked("changes, asked, check in", kSaved, "1", Press(kCheckIn), End::checked_in, "1"),
        Asked("changes, asked, check in from now on", kSaved, "1", Press(kCheckIn, true), End::checked_in,
              "16"),
        Asked("changes, asked, check in and keep", kSaved, "1", Press(kCheckInAndKeep), End::kept, "1"),
        Asked("changes, asked, check in and keep from now on", kSaved, "1", Press(kCheckInAndKeep, true),
              End::kept, "24"),
        Asked("changes, asked, keep", kSaved, "1", Press(kKeep), End::kept, "1"),
        Asked("changes, asked, keep from now on", kSaved, "1", Press(kKeep, true), End::kept, "8"),
        Asked("changes, prompt closed", kSaved, "17", {}, End::kept, "17"),
        ByPreference("changes, preference checks in", kSaved, "16", End::checked_in),
        ByPreference("changes, preference checks in and keeps", kSaved, "24", End::kept),
        ByPreference("changes, preference keeps", kSaved, "8", End::kept),
        ByPreference("changes, preference says nothing", kSaved, "0", End::kept),
    };
}

TEST_P(CloseRow, ClosesAsDecided) {
    const Row& row = GetParam();
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice", row.preferences);
    if (row.answer) editor.Answer(row.prompt->id, *row.answer);
    const auto file = OpenCheckedOut(editor, document, row.is_saved);
    EXPECT_EQ(Hex(file->Close(row.flags, editor.details(), nullptr)), Hex(row.result))
        << editor.TakeMessage();
    ExpectPrompt(editor, row.prompt, document);
    const StoredDocument after = Server().Look(document);
    EXPECT_EQ(after.checked_out_by, row.end == End::kept ? "alice" : "");
    EXPECT_EQ(after.bytes, row.is_saved && row.end != End::discarded ? "second" : "first");
    if (row.end != End::kept) {
        EXPECT_EQ(after.version, row.end == End::checked_in ? "1.0" : "0.1");
    }
    if (row.end == End::checked_in) {
        EXPECT_EQ(after.comment, "by default");
    }
    for (const auto& [name, value] : row.stored) EXPECT_EQ(editor.Preference(name), value) << name;
}

INSTANTIATE_TEST_SUITE_P(Close, CloseRow, ::testing::ValuesIn(Rows()), RowName());

TEST_F(CloseDecisions, ADocumentOfSomebodyElseClosesWithoutAPrompt) {
    const PreferenceValues all_ask{{kNoChanges, "1"}, {kChanges, "1"}};
    for (const std::string holder : {"", "bob"}) {
        const std::string document = MakeDocument(holder);
        Editor editor(Server(), "alice", all_ask);
        const Opened opened = editor.Open(document, kRead);
        ASSERT_EQ(opened.result, S_OK) << opened.message;
        for (DWORD flags = 0; flags < 8; ++flags)
            EXPECT_EQ(opened.file->Close(flags, nullptr, nullptr), S_OK) << flags;
        EXPECT_TRUE(editor.TakePrompts().empty());
        EXPECT_EQ(Server().Look(document).checked_out_by, holder);
    }
}

TEST_F(CloseDecisions, TheServersCheckOutStateCountsAndNotTheKnownOne) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice", {{kNoChanges, "0"}});
    const Opened opened = editor.Open(document, kRead);
    ASSERT_EQ(opened.result, S_OK);
    Server().CheckOutAs("alice", document);
    EXPECT_EQ(opened.file->Close(AFS_CloseFile_AllowUI, nullptr, nullptr), S_OK);
    EXPECT_EQ(Server().Look(document).checked_out_by, "");
}

TEST_F(CloseDecisions, TheCheckInPromptOffersTheLastChoiceAndKeepsTheNewOne) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice",
                  {{kChanges, "1"}, {"default_check_in_type", "2"}, {"default_check_in_message", "before"}});
    host::PromptAnswer answer = Press("sp.btn.checkIn");
    answer.radio = 0;
    answer.text = "a minor thing, really";
    editor.Answer("sp.msg.askForCheckInOnClose", answer);
    const auto file = OpenCheckedOut(editor, document, true);
    ASSERT_EQ(file->Close(AFS_CloseFile_AllowUI, nullptr, nullptr), S_OK);
    const auto prompts = editor.TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0].radios,
              (std::vector<std::string>{"sp.checkInDialog.typeRaio.Minor", "sp.checkInDialog.typeRaio.Major",
                                        "sp.checkInDialog.typeRaio.Overwrite"}));
    EXPECT_EQ(prompts[0].edit, "sp.lb.checkInComment");
    EXPECT_EQ(editor.Preference("default_check_in_type"), "0");
    EXPECT_EQ(editor.Preference("default_check_in_message"), "a minor thing, really");
    const StoredDocument after = Server().Look(document);
    EXPECT_EQ(after.version, "0.2");
    EXPECT_EQ(after.comment, "a minor thing, really");
}

// The prompt is filled with the stored values; a prompt that is closed stores nothing.
TEST_F(CloseDecisions, TheCheckInPromptIsFilledByThePreferences) {
    for (const auto& [stored, radio] : std::map<std::string, unsigned>{{"0", 0}, {"1", 1}, {"2", 2}}) {
        const std::string document = MakeDocument();
        Editor editor(Server(), "alice",
                      {{"default_check_in_type", stored}, {"default_check_in_message", "as ever"}});
        const auto file = OpenCheckedOut(editor, document, true);
        EXPECT_EQ(editor.Exec(file.get(), u"checkinwithui"), S_OK);
        const auto prompts = editor.TakePrompts();
        ASSERT_EQ(prompts.size(), 1u);
        EXPECT_EQ(prompts[0].id, "sp.msg.checkInDialogMessage");
        EXPECT_EQ(prompts[0].check, "");
        EXPECT_EQ(prompts[0].radio, radio);
        EXPECT_EQ(prompts[0].edit_text, "as ever");
        EXPECT_EQ(Server().Look(document).checked_out_by, "alice");
    }
}

TEST_F(CloseDecisions, KeepingDoesNotStoreTheComment) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice", {{"default_check_in_message", "before"}});
    host::PromptAnswer answer = Press("sp.btn.keepCkeckedOut");
    answer.text = "never used";
    editor.Answer("sp.msg.checkInDialogMessage", answer);
    const auto file = OpenCheckedOut(editor, document, true);
    Server().ClearRequests();
    EXPECT_EQ(editor.Exec(file.get(), u"CheckInWithUi"), S_OK);
    EXPECT_EQ(Server().Requests(), std::vector<std::string>());
    EXPECT_EQ(editor.Preference("default_check_in_message"), "before");
}

TEST_F(CloseDecisions, ASetCancelFlagComesFirst) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice");
    const auto file = OpenCheckedOut(editor, document, true);
    Server().ClearRequests();
    EXPECT_EQ(file->Close(AFS_CloseFile_DiscardCheckOut, nullptr, Canceled().get()), kCanceled);
    EXPECT_EQ(file->Close(0, nullptr, Canceled().get()), kCanceled);
    EXPECT_EQ(Server().Requests(), std::vector<std::string>());
    EXPECT_EQ(Server().Look(document).checked_out_by, "alice");
}

}  // namespace

}  // namespace interfaces
