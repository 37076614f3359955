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

struct Row {
    std::string what;
    bool is_saved = false;  // a flush has gone to the server
    DWORD flags = 0;
    PreferenceValues preferences = {};
    std::optional<host::PromptAnswer> answer = {};  // none: the prompt is closed
    std::optional<Shape> prompt = {};
    HRESULT result = S_OK;
    bool is_kept = true;       // still checked out
    std::string version = {};  // empty: not looked at
    std::string bytes = "second";
    PreferenceValues stored = {};

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.what; }
};

// The version and bytes that a check-in, a discard, or neither leaves.
const std::string kFirst = "0.1";
const std::string kMajor = "1.0";

class CloseRow : public CloseDecisions, public ::testing::WithParamInterface<Row> {};

std::vector<Row> Rows() {
    const PreferenceValues comment{{"default_check_in_message", "by default"}};
    const auto with = [&](PreferenceValues values) {
        values.insert(comment.begin(), comment.end());
        return values;
    };
    const DWORD both = AFS_CloseFile_CheckIn | AFS_CloseFile_DiscardCheckOut;
    return {
        {.what = "neither, no prompts allowed", .result = E_INVALIDARG, .bytes = "first"},
        {.what = "both, no prompts allowed", .is_saved = true, .flags = both, .result = E_INVALIDARG},
        {.what = "both with prompts allowed discards",
         .is_saved = true,
         .flags = both | AFS_CloseFile_AllowUI,
         .is_kept = false,
         .version = kFirst,
         .bytes = "first"},
        {.what = "by flag, discard",
         .is_saved = true,
         .flags = AFS_CloseFile_DiscardCheckOut,
         .preferences = {{kChanges, "1"}},
         .is_kept = false,
         .version = kFirst,
         .bytes = "first"},
        {.what = "by flag, check in",
         .is_saved = true,
         .flags = AFS_CloseFile_CheckIn,
         .preferences = with({{kChanges, "1"}}),
         .is_kept = false,
         .version = kMajor,
         .stored = {{kChanges, "1"}}},
        {.what = "by flag, check in with prompts allowed",
         .is_saved = true,
         .flags = AFS_CloseFile_CheckIn | AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "1"}}),
         .is_kept = false,
         .version = kMajor},
        {.what = "by flag, check in, kept by preference",
         .is_saved = true,
         .flags = AFS_CloseFile_CheckIn,
         .preferences = with({{kChanges, "8"}})},
        {.what = "no changes, asked, discard",
         .flags = AFS_CloseFile_AllowUI,
         .preferences = {{kNoChanges, "1"}},
         .answer = Press("sp.btn.discardCheckOut"),
         .prompt = kAskDiscard,
         .is_kept = false,
         .version = kFirst,
         .bytes = "first",
         .stored = {{kNoChanges, "1"}}},
        {.what = "no changes, asked, discard from now on",
         .flags = AFS_CloseFile_AllowUI,
         .preferences = {{kNoChanges, "1"}},
         .answer = Press("sp.btn.discardCheckOut", true),
         .prompt = kAskDiscard,
         .is_kept = false,
         .version = kFirst,
         .bytes = "first",
         .stored = {{kNoChanges, "0"}, {kChanges, "1"}}},
        {.what = "no changes, asked, keep",
         .flags = AFS_CloseFile_AllowUI,
         .preferences = {{kNoChanges, "1"}},
         .answer = Press("sp.btn.keepCkeckedOut"),
         .prompt = kAskDiscard,
         .bytes = "first",
         .stored = {{kNoChanges, "1"}}},
        {.what = "no changes, asked, keep from now on",
         .flags = AFS_CloseFile_AllowUI,
         .preferences = {{kNoChanges, "1"}},
         .answer = Press("sp.btn.keepCkeckedOut", true),
         .prompt = kAskDiscard,
         .bytes = "first",
         .stored = {{kNoChanges, "8"}}},
        {.what = "no changes, prompt closed",
         .flags = AFS_CloseFile_AllowUI,
         .preferences = {{kNoChanges, "9"}},
         .prompt = kAskDiscard,
         .bytes = "first",
         .stored = {{kNoChanges, "9"}}},
        {.what = "no changes, preference discards",
         .flags = AFS_CloseFile_AllowUI,
         .preferences = {{kNoChanges, "0"}},
         .is_kept = false,
         .version = kFirst,
         .bytes = "first"},
        {.what = "no changes, preference keeps",
         .flags = AFS_CloseFile_AllowUI,
         .preferences = {{kNoChanges, "8"}},
         .bytes = "first"},
        {.what = "changes, asked, check in",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "1"}}),
         .answer = Press("sp.btn.checkIn"),
         .prompt = kAskCheckIn,
         .is_kept = false,
         .version = kMajor,
         .stored = {{kChanges, "1"}}},
        {.what = "changes, asked, check in from now on",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "1"}}),
         .answer = Press("sp.btn.checkIn", true),
         .prompt = kAskCheckIn,
         .is_kept = false,
         .version = kMajor,
         .stored = {{kChanges, "16"}}},
        {.what = "changes, asked, check in and keep",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "1"}}),
         .answer = Press("sp.btn.checkInAndKeepCkeckedOut"),
         .prompt = kAskCheckIn,
         .stored = {{kChanges, "1"}}},
        {.what = "changes, asked, check in and keep from now on",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "1"}}),
         .answer = Press("sp.btn.checkInAndKeepCkeckedOut", true),
         .prompt = kAskCheckIn,
         .stored = {{kChanges, "24"}}},
        {.what = "changes, asked, keep",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "1"}}),
         .answer = Press("sp.btn.keepCkeckedOut"),
         .prompt = kAskCheckIn,
         .stored = {{kChanges, "1"}}},
        {.what = "changes, asked, keep from now on",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "1"}}),
         .answer = Press("sp.btn.keepCkeckedOut", true),
         .prompt = kAskCheckIn,
         .stored = {{kChanges, "8"}}},
        {.what = "changes, prompt closed",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "17"}}),
         .prompt = kAskCheckIn,
         .stored = {{kChanges, "17"}}},
        {.what = "changes, preference checks in",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "16"}}),
         .is_kept = false,
         .version = kMajor},
        {.what = "changes, preference checks in and keeps",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "24"}})},
        {.what = "changes, preference keeps",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "8"}})},
        {.what = "changes, preference says nothing",
         .is_saved = true,
         .flags = AFS_CloseFile_AllowUI,
         .preferences = with({{kChanges, "0"}})},
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
    const auto prompts = editor.TakePrompts();
    ASSERT_EQ(prompts.size(), row.prompt ? 1u : 0u);
    if (row.prompt) {
        ExpectShape(prompts[0], *row.prompt);
        EXPECT_NE(prompts[0].text.find(document), std::string::npos) << prompts[0].text;
    }
    const StoredDocument after = Server().Look(document);
    EXPECT_EQ(after.checked_out_by, row.is_kept ? "alice" : "");
    EXPECT_EQ(after.bytes, row.bytes);
    if (!row.version.empty()) {
        EXPECT_EQ(after.version, row.version);
    }
    if (row.version == kMajor) {
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
