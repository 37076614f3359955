// Saving: the conflict test of reopening, the step after a save, and the check-out command.
#include "tests/interfaces/decisions.h"

namespace interfaces {

namespace {

class Saving : public DecisionTest {
protected:
    static Opened OpenToRead(Editor& editor, const std::string& document) {
        Opened opened = editor.Open(document, kRead);
        EXPECT_EQ(opened.result, S_OK) << opened.message;
        return opened;
    }
};

const std::string kConflict = "on_save_conflict";
const std::string kAfterSave = "on_after_save";

const Shape kAskOverwrite{
    "sp.msg.outdatedFileOnWrite.question", kQuestion, {"sp.btn.overwrite", "sp.btn.cancelSaving"}, 1, ""};
const Shape kAskCheckIn{"sp.msg.checkInDialogMessage",
                        kCheckInStyle,
                        {"sp.btn.checkIn", "sp.btn.checkInAndKeepCkeckedOut", "sp.btn.keepCkeckedOut"},
                        0,
                        kDontShow};

// Somebody else may have saved since the document was opened.
struct NewerVersionRow {
    std::string what;
    bool is_newer = false;
    bool is_modified = false;  // in the editor
    std::string preference = "1";
    bool is_asked = false;
    std::optional<host::PromptAnswer> answer = {};  // none: the prompt is closed
    HRESULT result = S_OK;
    std::string message = {};
    bool is_taken = true;  // checked out
    int reloads = 0;

    friend void PrintTo(const NewerVersionRow& row, std::ostream* out) { *out << row.what; }
};

NewerVersionRow Answered(const std::string& what, const std::string& button) {
    return {.what = what, .is_newer = true, .is_asked = true, .answer = Press("sp.btn." + button)};
}

NewerVersionRow CancelsSaving(NewerVersionRow row) {
    row.is_asked = true;
    row.result = kCanceled;
    return row;
}

const NewerVersionRow kConflictRows[] = {
    {.what = "same version"},
    {.what = "same version, cancel by preference", .preference = "0"},
    Answered("newer, overwrite", "overwrite"),
    CancelsSaving(Answered("newer, cancel", "cancelSaving")),
    CancelsSaving({.what = "newer, closed", .is_newer = true}),
    {.what = "newer, cancel by preference",
     .is_newer = true,
     .preference = "0",
     .result = kOutdated,
     .message = "but the server contains newer changes, made at"},
    {.what = "newer, overwrite by preference", .is_newer = true, .preference = "32"},
    {.what = "newer, overwrite goes before asking", .is_newer = true, .preference = "33"},
};

class ConflictByPreference : public Saving, public ::testing::WithParamInterface<NewerVersionRow> {};

TEST_P(ConflictByPreference, AsksOrDecides) {
    const NewerVersionRow& row = GetParam();
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice", {{kConflict, row.preference}});
    if (row.answer) editor.Answer(kAskOverwrite.id, *row.answer);
    const auto file = OpenToRead(editor, document).file;
    if (row.is_newer) Server().WriteAs("bob", document, "by bob");
    EXPECT_EQ(Hex(file->Reopen(kWrite, editor.details(), nullptr)), Hex(row.result));
    const std::string message = editor.TakeMessage();
    EXPECT_NE(message.find(row.message), std::string::npos) << message;
    const auto prompts = editor.TakePrompts();
    ASSERT_EQ(prompts.size(), row.is_asked ? 1u : 0u);
    if (row.is_asked) {
        ExpectShape(prompts[0], kAskOverwrite);
        EXPECT_NE(prompts[0].text.find("recently changed on the server by "), std::string::npos);
    }
    EXPECT_EQ(editor.Preference(kConflict), row.preference);
    EXPECT_EQ(Server().Look(document).checked_out_by, row.result == S_OK ? "alice" : "");
    DWORD flags = 0;
    EXPECT_EQ(file->get_OpenFlags(&flags), S_OK);
    EXPECT_EQ(flags, row.result == S_OK ? kWrite : kRead);
    EXPECT_EQ(Server().Look(document).bytes, row.is_newer ? "by bob" : "first");
    if (row.result == S_OK) {
        Save(file.get(), "by alice");
        EXPECT_EQ(Server().Look(document).bytes, "by alice");
    }
}

INSTANTIATE_TEST_SUITE_P(Save, ConflictByPreference, ::testing::ValuesIn(kConflictRows), RowName());

TEST_F(Saving, TheUsersOwnSaveIsNoConflict) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice", {{kConflict, "0"}, {kAfterSave, "16"}});
    const auto file = OpenToRead(editor, document).file;
    for (const std::string bytes : {"second", "third", "fourth"}) {
        ASSERT_EQ(file->Reopen(kWrite, editor.details(), nullptr), S_OK) << editor.TakeMessage();
        Save(file.get(), bytes);
        ASSERT_EQ(editor.Exec(file.get(), u"PerformAfterSave"), S_OK) << editor.TakeMessage();
        ASSERT_EQ(file->Reopen(kRead, editor.details(), nullptr), S_OK) << editor.TakeMessage();
        EXPECT_EQ(Server().Look(document).bytes, bytes);
    }
    EXPECT_EQ(Server().Look(document).version, "3.0");
}

struct ReopenRow {
    std::string what;
    std::string user = "alice";
    std::string holder = {};  // since the opening
    std::string after_save = "16";
    DWORD flags = kWrite;
    HRESULT result = S_OK;
    std::string message = {};
    std::string holder_after = {};
    bool keeps = true;

    friend void PrintTo(const ReopenRow& row, std::ostream* out) { *out << row.what; }
};

const ReopenRow kReopenRows[] = {
    {.what = "nobody's, not kept", .holder_after = "alice", .keeps = false},
    {.what = "nobody's, kept", .after_save = "24", .holder_after = "alice"},
    {.what = "nobody's, check-out only", .after_save = "8", .flags = kCheckOut, .holder_after = "alice"},
    {.what = "mine", .holder = "alice", .holder_after = "alice"},
    {.what = "other's",
     .holder = "bob",
     .result = kOthersCheckOut,
     .message = "You cannot save this file to SharePoint unless it is checked out to you",
     .holder_after = "bob"},
    {.what = "other's, to read", .holder = "bob", .flags = kRead, .holder_after = "bob"},
    {.what = "nobody's, to read", .flags = kRead},
    {.what = "no rights, write",
     .user = "carol",
     .result = kNoRights,
     .message = "to SharePoint as you do not have edit permissions for this file."},
    {.what = "no rights, check-out goes before write",
     .user = "carol",
     .flags = kWrite | TMK::AFS_OpenFile_CheckOut,
     .result = kNoRights,
     .message = "must be checked out before it is saved, but you do not have edit permissions"},
    {.what = "no rights, to read", .user = "carol", .flags = kRead},
};

class ReopenByCheckOut : public Saving, public ::testing::WithParamInterface<ReopenRow> {};

TEST_P(ReopenByCheckOut, ReopensOrRefuses) {
    const ReopenRow& c = GetParam();
    const std::string document = MakeDocument();
    Editor editor(Server(), c.user, {{kAfterSave, c.after_save}});
    const auto file = OpenToRead(editor, document).file;
    if (!c.holder.empty()) Server().CheckOutAs(c.holder, document);
    SetNoRights(c.user == "carol");
    EXPECT_EQ(Hex(file->Reopen(c.flags, editor.details(), nullptr)), Hex(c.result));
    const std::string message = editor.TakeMessage();
    EXPECT_NE(message.find(c.message), std::string::npos) << message;
    if (c.result == kOthersCheckOut) {
        EXPECT_NE(message.find("bob"), std::string::npos) << message;
    }
    EXPECT_EQ(Server().Look(document).checked_out_by, c.holder_after);
    EXPECT_EQ(KeepCheckedOut(file.get()), c.keeps);
    EXPECT_TRUE(editor.TakePrompts().empty());
}

INSTANTIATE_TEST_SUITE_P(Save, ReopenByCheckOut, ::testing::ValuesIn(kReopenRows), RowName());

TEST_F(Saving, ReopeningAGoneDocumentFails) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice");
    const auto file = OpenToRead(editor, document).file;
    ASSERT_EQ(Server()
                  .Rest("bob", "DELETE",
                        "/_api/web/GetFileByServerRelativePath(decodedurl='" +
                            Escape(DevServer::PathOf(document)) + "')")
                  .status,
              200);
    EXPECT_EQ(Hex(file->Reopen(kWrite, nullptr, nullptr)), Hex(kNotFound));
    EXPECT_EQ(file->Reopen(kWrite, nullptr, Canceled().get()), kCanceled);
}

struct AfterSaveRow {
    std::string what;
    std::string preference;
    std::string stored = preference;
    std::optional<host::PromptAnswer> answer = {};
    bool is_asked = false;
    bool is_checked_in = false;

    friend void PrintTo(const AfterSaveRow& row, std::ostream* out) { *out << row.what; }
};

AfterSaveRow Asked(const std::string& what, const std::string& preference, const std::string& button,
                   const std::string& stored) {
    // The box "don't ask again" is checked where another value is stored.
    const bool is_remembered = stored != preference;
    return {.what = what,
            .preference = preference,
            .stored = stored,
            .answer = Press("sp.btn." + button, is_remembered),
            .is_asked = true,
            .is_checked_in = button == "checkIn"};
}

const AfterSaveRow kAfterSaveRows[] = {
    {.what = "nothing", .preference = "0"},
    {.what = "keep", .preference = "8"},
    {.what = "check in", .preference = "16", .is_checked_in = true},
    {.what = "check in and keep", .preference = "24"},
    Asked("asked, check in", "1", "checkIn", "1"),
    Asked("asked, check in from now on", "1", "checkIn", "16"),
    Asked("asked, check in and keep", "1", "checkInAndKeepCkeckedOut", "1"),
    Asked("asked, check in and keep from now on", "1", "checkInAndKeepCkeckedOut", "24"),
    Asked("asked, keep", "1", "keepCkeckedOut", "1"),
    Asked("asked, keep from now on", "1", "keepCkeckedOut", "8"),
    {.what = "asking goes before checking in", .preference = "25", .is_asked = true},
    Asked("the stored bits are added", "17", "keepCkeckedOut", "24"),
};

class AfterSaveByPreference : public Saving, public ::testing::WithParamInterface<AfterSaveRow> {};

TEST_P(AfterSaveByPreference, ChecksInOrKeeps) {
    const AfterSaveRow& row = GetParam();
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice", {{kAfterSave, row.preference}});
    if (row.answer) editor.Answer(kAskCheckIn.id, *row.answer);
    const auto file = editor.Open(document, kWrite).file;
    ASSERT_TRUE(file);
    Save(file.get(), "second");
    EXPECT_EQ(editor.Exec(file.get(), u"performAFTERsave"), S_OK) << editor.TakeMessage();
    const auto prompts = editor.TakePrompts();
    ASSERT_EQ(prompts.size(), row.is_asked ? 1u : 0u);
    if (row.is_asked) ExpectShape(prompts[0], kAskCheckIn);
    const StoredDocument after = Server().Look(document);
    EXPECT_EQ(after.checked_out_by, row.is_checked_in ? "" : "alice");
    EXPECT_EQ(after.bytes, "second");
    if (row.is_checked_in) {
        EXPECT_EQ(after.version, "1.0");
    }
    EXPECT_EQ(editor.Preference(kAfterSave), row.stored);
}

INSTANTIATE_TEST_SUITE_P(Save, AfterSaveByPreference, ::testing::ValuesIn(kAfterSaveRows), RowName());

// After a check-in there is nothing left to check in: the close asks the other question.
TEST_F(Saving, ACheckInEndsTheNeedForOne) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice",
                  {{kAfterSave, "24"},
                   {"on_close_checked_out_need_check_in", "1"},
                   {"on_close_checked_out_no_need_check_in", "1"}});
    const auto file = editor.Open(document, kWrite).file;
    ASSERT_TRUE(file);
    Save(file.get(), "second");
    ASSERT_EQ(editor.Exec(file.get(), u"PerformAfterSave"), S_OK);
    ASSERT_EQ(file->Close(TMK::AFS_CloseFile_AllowUI, nullptr, nullptr), S_OK);
    const auto prompts = editor.TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0].id, "sp.msg.askForDiscardCheckOutOnClose");
}

TEST_F(Saving, TheCheckInCommandNeverKeepsTheCheckOut) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice",
                  {{kAfterSave, "24"}, {"default_check_in_message", "done"}, {"default_check_in_type", "0"}});
    const auto file = editor.Open(document, kWrite).file;
    ASSERT_TRUE(file);
    Save(file.get(), "second");
    EXPECT_EQ(editor.Exec(file.get(), u"CHECKIN"), S_OK) << editor.TakeMessage();
    const StoredDocument after = Server().Look(document);
    EXPECT_EQ(after.checked_out_by, "");
    EXPECT_EQ(after.version, "0.2");
    EXPECT_EQ(after.comment, "done");
    EXPECT_EQ(Hex(editor.Exec(file.get(), u"CheckIn")), Hex(E_FAIL));
    EXPECT_FALSE(editor.TakeMessage().empty());
}

class CheckOutCommand : public Saving {};

class CheckOutOfANewerVersion : public Saving, public ::testing::WithParamInterface<NewerVersionRow> {};

NewerVersionRow Reloads(NewerVersionRow row) {
    row.reloads = 1;
    return row;
}

NewerVersionRow LeavesIt(NewerVersionRow row) {
    row.is_taken = false;
    return row;
}

NewerVersionRow Modified(NewerVersionRow row) {
    row.is_modified = true;
    return row;
}

const NewerVersionRow kCheckOutRows[] = {
    {.what = "same version"},
    Reloads(Answered("newer, reload", "reloadAndCheckOut")),
    LeavesIt(Answered("newer, cancel", "cancelCheckOut")),
    LeavesIt({.what = "newer, closed", .is_newer = true, .is_asked = true}),
    Modified(Reloads(Answered("newer and modified here, reload", "reloadLostYourChangesAndCheckOut"))),
    Modified(LeavesIt(Answered("newer and modified here, cancel", "cancelOutdatedCheckOut"))),
};

TEST_P(CheckOutOfANewerVersion, Asks) {
    const NewerVersionRow& c = GetParam();
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice");
    const Shape shape =
        c.is_modified ? Shape{"sp.msg.outdatedModifiedFileOnCheckout.question",
                              kWarning,
                              {"sp.btn.reloadLostYourChangesAndCheckOut", "sp.btn.cancelOutdatedCheckOut"},
                              1,
                              ""}
                      : Shape{"sp.msg.outdatedFileOnCheckout.question",
                              kQuestion,
                              {"sp.btn.reloadAndCheckOut", "sp.btn.cancelCheckOut"},
                              1,
                              ""};
    if (c.answer) editor.Answer(shape.id, *c.answer);
    const auto file = OpenToRead(editor, document).file;
    int reloads = 0;
    const auto shown = host::Make<host::Document>(file, host::DocumentActions{.reload = [&] {
                                                      ++reloads;
                                                      return S_OK;
                                                  }});
    shown->SetModified(c.is_modified);
    editor.host().documents().Add(shown);
    if (c.is_newer) Server().WriteAs("bob", document, "by bob");
    EXPECT_EQ(editor.Exec(file.get(), u"CheckOut"), S_OK) << editor.TakeMessage();
    const auto prompts = editor.TakePrompts();
    ASSERT_EQ(prompts.size(), c.is_asked ? 1u : 0u);
    if (c.is_asked) {
        ExpectShape(prompts[0], shape);
    }
    EXPECT_EQ(Server().Look(document).checked_out_by, c.is_taken ? "alice" : "");
    EXPECT_EQ(reloads, c.reloads);
    editor.host().documents().Remove(shown.get());
}

INSTANTIATE_TEST_SUITE_P(Save, CheckOutOfANewerVersion, ::testing::ValuesIn(kCheckOutRows), RowName());

TEST_F(CheckOutCommand, RefusalsLeaveEverythingAsItWas) {
    struct Refusal {
        std::string user;
        std::string holder = {};
        LPCWSTR command;
        HRESULT result = E_FAIL;
        std::string message;
    };
    const Refusal refusals[] = {
        {.user = "carol",
         .command = u"CheckOut",
         .result = kNoRights,
         .message = "You cannot check out the file"},
        {.user = "alice", .holder = "bob", .command = u"CheckOut", .message = "failed to check out."},
        {.user = "alice", .holder = "bob", .command = u"DiscardCheckOut", .message = "HTTP 423"},
        {.user = "alice", .holder = "bob", .command = u"CheckIn", .message = "HTTP 423"},
    };
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.message);
        const std::string document = MakeDocument(r.holder);
        Editor editor(Server(), r.user);
        const auto file = OpenToRead(editor, document).file;
        SetNoRights(r.user == "carol");
        EXPECT_EQ(Hex(editor.Exec(file.get(), r.command)), Hex(r.result));
        SetNoRights(false);
        const std::string message = editor.TakeMessage();
        EXPECT_NE(message.find(r.message), std::string::npos) << message;
        EXPECT_EQ(Server().Look(document).checked_out_by, r.holder);
    }
}

TEST_F(CheckOutCommand, DiscardsBackToTheCheckedInVersion) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice");
    const auto file = editor.Open(document, kWrite).file;
    ASSERT_TRUE(file);
    Save(file.get(), "thrown away");
    EXPECT_EQ(editor.Exec(file.get(), u"discardcheckout"), S_OK) << editor.TakeMessage();
    const StoredDocument after = Server().Look(document);
    EXPECT_EQ(after.bytes, "first");
    EXPECT_EQ(after.version, "0.1");
    EXPECT_EQ(after.checked_out_by, "");
}

TEST(ForcedCheckOut, ADocumentThatWasNeverCheckedInCannotBeDiscarded) {
    const DevServer server({"--force-checkout"});
    Editor editor(server, "alice");
    const Opened opened = editor.Open("new.txt", TMK::AFS_OpenFile_Write | TMK::AFS_OpenFile_CreateAlways);
    ASSERT_EQ(opened.result, S_OK) << opened.message;
    EXPECT_EQ(Hex(editor.Exec(opened.file.get(), u"DiscardCheckOut")), Hex(E_FAIL));
    const std::string message = editor.TakeMessage();
    EXPECT_NE(message.find("failed to discard checkout because there is no checked in version"),
              std::string::npos)
        << message;
    EXPECT_EQ(server.Look("new.txt").checked_out_by, "alice");
}

TEST(RequiredColumns, ACheckInWithoutThemSaysWhatIsMissing) {
    const DevServer server;
    server.Upload("alice", "a.txt", "first");
    Editor editor(server, "alice");
    const Opened opened = editor.Open("a.txt", kWrite);
    ASSERT_EQ(opened.result, S_OK) << opened.message;
    server.Admin("column", R"({"name": "Owner1", "type": "Text", "required": true})");
    editor.front_end().dialogs.Then("give up", [](auto& window) { window.CloseByPerson(); });
    EXPECT_EQ(Hex(editor.Exec(opened.file.get(), u"CheckIn")), Hex(E_FAIL));
    EXPECT_NE(editor.TakeMessage().find("Some required properties are not filled out for the document."),
              std::string::npos);
    const auto prompts = editor.TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    ExpectShape(prompts[0], {"sp.msg.CheckInRequiredProperties", kWarning, {"btn.ok"}, 0, ""});
    EXPECT_EQ(server.Look("a.txt").checked_out_by, "alice");
}

}  // namespace

}  // namespace interfaces
