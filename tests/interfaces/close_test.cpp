// What happens on the server when a document is closed: every row of the decision, by flags and by
// preference.
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
    bool saved;  // a flush has gone to the server
    DWORD flags;
    PreferenceValues preferences;
    std::optional<host::PromptAnswer> answer;  // none: the prompt is closed
    std::optional<Shape> prompt;
    HRESULT result;
    bool kept;  // still checked out
    std::string version;
    std::string bytes;
    PreferenceValues stored;
};

// The version and bytes that a check-in, a discard, or neither leaves.
const std::string kFirst = "0.1";
const std::string kMajor = "1.0";

std::vector<Row> Rows() {
    const PreferenceValues comment{{"default_check_in_message", "by default"}};
    const auto with = [&](PreferenceValues values) {
        values.insert(comment.begin(), comment.end());
        return values;
    };
    const DWORD both = AFS_CloseFile_CheckIn | AFS_CloseFile_DiscardCheckOut;
    return {
        {"neither, no prompts allowed", false, 0, {}, {}, {}, E_INVALIDARG, true, "", "first", {}},
        {"both, no prompts allowed", true, both, {}, {}, {}, E_INVALIDARG, true, "", "second", {}},
        {"both with prompts allowed discards",
         true,
         both | AFS_CloseFile_AllowUI,
         {},
         {},
         {},
         S_OK,
         false,
         kFirst,
         "first",
         {}},
        {"by flag, discard",
         true,
         AFS_CloseFile_DiscardCheckOut,
         {{kChanges, "1"}},
         {},
         {},
         S_OK,
         false,
         kFirst,
         "first",
         {}},
        {"by flag, check in",
         true,
         AFS_CloseFile_CheckIn,
         with({{kChanges, "1"}}),
         {},
         {},
         S_OK,
         false,
         kMajor,
         "second",
         {{kChanges, "1"}}},
        {"by flag, check in with prompts allowed",
         true,
         AFS_CloseFile_CheckIn | AFS_CloseFile_AllowUI,
         with({{kChanges, "1"}}),
         {},
         {},
         S_OK,
         false,
         kMajor,
         "second",
         {}},
        {"by flag, check in, kept by preference",
         true,
         AFS_CloseFile_CheckIn,
         with({{kChanges, "8"}}),
         {},
         {},
         S_OK,
         true,
         "",
         "second",
         {}},

        {"no changes, asked, discard",
         false,
         AFS_CloseFile_AllowUI,
         {{kNoChanges, "1"}},
         Press("sp.btn.discardCheckOut"),
         kAskDiscard,
         S_OK,
         false,
         kFirst,
         "first",
         {{kNoChanges, "1"}}},
        {"no changes, asked, discard from now on",
         false,
         AFS_CloseFile_AllowUI,
         {{kNoChanges, "1"}},
         Press("sp.btn.discardCheckOut", true),
         kAskDiscard,
         S_OK,
         false,
         kFirst,
         "first",
         {{kNoChanges, "0"}, {kChanges, "1"}}},
        {"no changes, asked, keep",
         false,
         AFS_CloseFile_AllowUI,
         {{kNoChanges, "1"}},
         Press("sp.btn.keepCkeckedOut"),
         kAskDiscard,
         S_OK,
         true,
         "",
         "first",
         {{kNoChanges, "1"}}},
        {"no changes, asked, keep from now on",
         false,
         AFS_CloseFile_AllowUI,
         {{kNoChanges, "1"}},
         Press("sp.btn.keepCkeckedOut", true),
         kAskDiscard,
         S_OK,
         true,
         "",
         "first",
         {{kNoChanges, "8"}}},
        {"no changes, prompt closed",
         false,
         AFS_CloseFile_AllowUI,
         {{kNoChanges, "9"}},
         {},
         kAskDiscard,
         S_OK,
         true,
         "",
         "first",
         {{kNoChanges, "9"}}},
        {"no changes, preference discards",
         false,
         AFS_CloseFile_AllowUI,
         {{kNoChanges, "0"}},
         {},
         {},
         S_OK,
         false,
         kFirst,
         "first",
         {}},
        {"no changes, preference keeps",
         false,
         AFS_CloseFile_AllowUI,
         {{kNoChanges, "8"}},
         {},
         {},
         S_OK,
         true,
         "",
         "first",
         {}},

        {"changes, asked, check in",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "1"}}),
         Press("sp.btn.checkIn"),
         kAskCheckIn,
         S_OK,
         false,
         kMajor,
         "second",
         {{kChanges, "1"}}},
        {"changes, asked, check in from now on",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "1"}}),
         Press("sp.btn.checkIn", true),
         kAskCheckIn,
         S_OK,
         false,
         kMajor,
         "second",
         {{kChanges, "16"}}},
        {"changes, asked, check in and keep",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "1"}}),
         Press("sp.btn.checkInAndKeepCkeckedOut"),
         kAskCheckIn,
         S_OK,
         true,
         "",
         "second",
         {{kChanges, "1"}}},
        {"changes, asked, check in and keep from now on",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "1"}}),
         Press("sp.btn.checkInAndKeepCkeckedOut", true),
         kAskCheckIn,
         S_OK,
         true,
         "",
         "second",
         {{kChanges, "24"}}},
        {"changes, asked, keep",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "1"}}),
         Press("sp.btn.keepCkeckedOut"),
         kAskCheckIn,
         S_OK,
         true,
         "",
         "second",
         {{kChanges, "1"}}},
        {"changes, asked, keep from now on",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "1"}}),
         Press("sp.btn.keepCkeckedOut", true),
         kAskCheckIn,
         S_OK,
         true,
         "",
         "second",
         {{kChanges, "8"}}},
        {"changes, prompt closed",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "17"}}),
         {},
         kAskCheckIn,
         S_OK,
         true,
         "",
         "second",
         {{kChanges, "17"}}},
        {"changes, preference checks in",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "16"}}),
         {},
         {},
         S_OK,
         false,
         kMajor,
         "second",
         {}},
        {"changes, preference checks in and keeps",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "24"}}),
         {},
         {},
         S_OK,
         true,
         "",
         "second",
         {}},
        {"changes, preference keeps",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "8"}}),
         {},
         {},
         S_OK,
         true,
         "",
         "second",
         {}},
        {"changes, preference says nothing",
         true,
         AFS_CloseFile_AllowUI,
         with({{kChanges, "0"}}),
         {},
         {},
         S_OK,
         true,
         "",
         "second",
         {}},
    };
}

TEST_F(CloseDecisions, EveryRow) {
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.what);
        const std::string document = MakeDocument();
        Editor editor(Server(), "alice", row.preferences);
        if (row.answer) editor.Answer(row.prompt->id, *row.answer);
        const auto file = OpenCheckedOut(editor, document, row.saved);
        EXPECT_EQ(Hex(file->Close(row.flags, editor.details(), nullptr)), Hex(row.result))
            << editor.TakeMessage();
        const auto prompts = editor.TakePrompts();
        ASSERT_EQ(prompts.size(), row.prompt ? 1u : 0u);
        if (row.prompt) {
            ExpectShape(prompts[0], *row.prompt);
            EXPECT_NE(prompts[0].text.find(document), std::string::npos) << prompts[0].text;
        }
        const StoredDocument after = Server().Look(document);
        EXPECT_EQ(after.checked_out_by, row.kept ? "alice" : "");
        EXPECT_EQ(after.bytes, row.bytes);
        if (!row.version.empty()) {
            EXPECT_EQ(after.version, row.version);
        }
        if (row.version == kMajor) {
            EXPECT_EQ(after.comment, "by default");
        }
        for (const auto& [name, value] : row.stored) EXPECT_EQ(editor.Preference(name), value) << name;
    }
}

TEST_F(CloseDecisions, ADocumentThatIsNotMineIsClosedWithoutAWord) {
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

TEST_F(CloseDecisions, TheServerDecidesWhoseItIsAndNotWhatWasKnown) {
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
