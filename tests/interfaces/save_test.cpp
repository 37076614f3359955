// Saving: the conflict test of reopening, the step after a save, and the check-out command.
#include <cstdlib>
#include <ctime>

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

struct ConflictRow {
    std::string what;
    bool is_newer;  // bob saved in the meantime
    std::string preference;
    std::optional<host::PromptAnswer> answer;  // none: the prompt is closed
    bool is_asked;
    HRESULT result;
    std::string message;
};

TEST_F(Saving, ANewerServerVersionIsAConflictByPreference) {
    const std::vector<ConflictRow> rows = {
        {"same version", false, "1", {}, false, S_OK, ""},
        {"same version, cancel by preference", false, "0", {}, false, S_OK, ""},
        {"newer, overwrite", true, "1", Press("sp.btn.overwrite"), true, S_OK, ""},
        {"newer, cancel", true, "1", Press("sp.btn.cancelSaving"), true, kCanceled, ""},
        {"newer, closed", true, "1", {}, true, kCanceled, ""},
        {"newer, cancel by preference",
         true,
         "0",
         {},
         false,
         kOutdated,
         "but the server contains newer changes, made at"},
        {"newer, overwrite by preference", true, "32", {}, false, S_OK, ""},
        {"newer, overwrite goes before asking", true, "33", {}, false, S_OK, ""},
    };
    for (const ConflictRow& row : rows) {
        SCOPED_TRACE(row.what);
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
}

TEST_F(Saving, AnOlderServerTimeIsNoConflict) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice", {{kConflict, "0"}});
    const auto file = OpenToRead(editor, document).file;
    Server().AdminFor("write", "bob&modified=2001-02-03T04:05:06Z", document, "an old one");
    EXPECT_EQ(file->Reopen(kWrite, nullptr, nullptr), S_OK);
}

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

TEST_F(Saving, ReopeningLooksAtTheCheckOutOfNow) {
    struct Case {
        std::string what, user, holder, after_save;
        DWORD flags;
        HRESULT result;
        std::string message, holder_after;
        bool keeps;
    };
    const std::string not_mine = "You cannot save this file to SharePoint unless it is checked out to you";
    const Case cases[] = {
        {"nobody's, not kept", "alice", "", "16", kWrite, S_OK, "", "alice", false},
        {"nobody's, kept", "alice", "", "24", kWrite, S_OK, "", "alice", true},
        {"nobody's, check-out only", "alice", "", "8", kCheckOut, S_OK, "", "alice", true},
        {"mine", "alice", "alice", "16", kWrite, S_OK, "", "alice", true},
        {"other's", "alice", "bob", "16", kWrite, kOthersCheckOut, not_mine, "bob", true},
        {"other's, to read", "alice", "bob", "16", kRead, S_OK, "", "bob", true},
        {"nobody's, to read", "alice", "", "16", kRead, S_OK, "", "", true},
        {"no rights, write", "carol", "", "16", kWrite, kNoRights,
         "to SharePoint as you do not have edit permissions for this file.", "", true},
        {"no rights, check-out goes before write", "carol", "", "16", kWrite | TMK::AFS_OpenFile_CheckOut,
         kNoRights, "must be checked out before it is saved, but you do not have edit permissions", "", true},
        {"no rights, to read", "carol", "", "16", kRead, S_OK, "", "", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SetNoRights(false);
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
}

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
    std::optional<host::PromptAnswer> answer;
    bool is_asked;
    bool kept;
    std::string version;  // empty: not checked in
    std::string stored;
};

TEST_F(Saving, WhatFollowsASaveIsByPreference) {
    const std::vector<AfterSaveRow> rows = {
        {"nothing", "0", {}, false, true, "", "0"},
        {"keep", "8", {}, false, true, "", "8"},
        {"check in", "16", {}, false, false, "1.0", "16"},
        {"check in and keep", "24", {}, false, true, "", "24"},
        {"asked, check in", "1", Press("sp.btn.checkIn"), true, false, "1.0", "1"},
        {"asked, check in from now on", "1", Press("sp.btn.checkIn", true), true, false, "1.0", "16"},
        {"asked, check in and keep", "1", Press("sp.btn.checkInAndKeepCkeckedOut"), true, true, "", "1"},
        {"asked, check in and keep from now on", "1", Press("sp.btn.checkInAndKeepCkeckedOut", true), true,
         true, "", "24"},
        {"asked, keep", "1", Press("sp.btn.keepCkeckedOut"), true, true, "", "1"},
        {"asked, keep from now on", "1", Press("sp.btn.keepCkeckedOut", true), true, true, "", "8"},
        {"asking goes before checking in", "25", {}, true, true, "", "25"},
        {"the stored bits are added", "17", Press("sp.btn.keepCkeckedOut", true), true, true, "", "24"},
    };
    for (const AfterSaveRow& row : rows) {
        SCOPED_TRACE(row.what);
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
        EXPECT_EQ(after.checked_out_by, row.kept ? "alice" : "");
        EXPECT_EQ(after.bytes, "second");
        if (!row.version.empty()) {
            EXPECT_EQ(after.version, row.version);
        }
        EXPECT_EQ(editor.Preference(kAfterSave), row.stored);
    }
}

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

class CheckOutCommand : public Saving {
protected:
    struct Case {
        std::string what;
        bool is_newer;
        bool is_modified;
        std::optional<host::PromptAnswer> answer;
        bool is_asked;
        bool is_taken;
        int reloads;
    };
};

TEST_F(CheckOutCommand, AsksAboutANewerServerVersion) {
    const Case cases[] = {
        {"same version", false, false, {}, false, true, 0},
        {"newer, reload", true, false, Press("sp.btn.reloadAndCheckOut"), true, true, 1},
        {"newer, cancel", true, false, Press("sp.btn.cancelCheckOut"), true, false, 0},
        {"newer, closed", true, false, {}, true, false, 0},
        {"newer and modified here, reload", true, true, Press("sp.btn.reloadLostYourChangesAndCheckOut"),
         true, true, 1},
        {"newer and modified here, cancel", true, true, Press("sp.btn.cancelOutdatedCheckOut"), true, false,
         0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string document = MakeDocument();
        Editor editor(Server(), "alice");
        const Shape shape =
            c.is_modified
                ? Shape{"sp.msg.outdatedModifiedFileOnCheckout.question",
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
        const auto shown = host::Make<host::Document>(file, [&] {
            ++reloads;
            return S_OK;
        });
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
}

TEST_F(CheckOutCommand, RefusalsLeaveEverythingAsItWas) {
    struct Refusal {
        std::string user, holder;
        LPCWSTR command;
        HRESULT result;
        std::string message;
    };
    const Refusal refusals[] = {
        {"carol", "", u"CheckOut", kNoRights, "You cannot check out the file"},
        {"alice", "bob", u"CheckOut", E_FAIL, "failed to check out."},
        {"alice", "bob", u"DiscardCheckOut", E_FAIL, "HTTP 423"},
        {"alice", "bob", u"CheckIn", E_FAIL, "HTTP 423"},
    };
    for (const Refusal& r : refusals) {
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

// The zone of this program for as long as the object lives.
class Zone {
public:
    explicit Zone(const char* name) {
        setenv("TZ", name, 1);
        tzset();
    }
    ~Zone() {
        unsetenv("TZ");
        tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;
};

TEST_F(Saving, AConflictIsToldWithTheServersTimeInTheUsersZone) {
    const Zone zone("ABC-5:30");
    const std::string document = MakeDocument();
    Editor asking(Server(), "alice", {{kConflict, "1"}});
    Editor refusing(Server(), "alice", {{kConflict, "0"}});
    const auto asked = OpenToRead(asking, document).file;
    const auto refused = OpenToRead(refusing, document).file;
    Server().AdminFor("write", "bob&modified=2031-01-15T20:04:06Z", document, "by bob");
    EXPECT_EQ(asked->Reopen(kWrite, nullptr, nullptr), kCanceled);
    const auto prompts = asking.TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(refused->Reopen(kWrite, refusing.details(), nullptr), kOutdated);
    for (const std::string& text : {prompts[0].text, refusing.TakeMessage()}) {
        EXPECT_NE(text.find("1:34:06"), std::string::npos) << text;
        EXPECT_NE(text.find("16"), std::string::npos) << "it is the next day there: " << text;
    }
}

TEST(RequiredColumns, ACheckInWithoutThemSaysWhatIsMissing) {
    const DevServer server;
    server.Upload("alice", "a.txt", "first");
    Editor editor(server, "alice");
    const Opened opened = editor.Open("a.txt", kWrite);
    ASSERT_EQ(opened.result, S_OK) << opened.message;
    server.Admin("column", R"({"name": "Owner1", "type": "Text", "required": true})");
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
