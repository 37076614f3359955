// What the preferences decide and ask when a document is opened: every row, against a server.
#include <algorithm>

#include "tests/interfaces/decisions.h"

namespace interfaces {

namespace {

class OpenDecisions : public DecisionTest {};

const Shape kWarnNoRights{"sp.msg.warnOnOpenWithNoEditPermissions", kWarning, {"btn.ok"}, 0, kDontShow};
const Shape kWarnOther{"sp.msg.warnOnOpenWithOthersCheckOut", kWarning, {"btn.ok"}, 0, kDontShow};
const Shape kAskCheckOut{"sp.msg.askForCheckOutOnOpen",
                         kQuestion,
                         {"sp.btn.open", "sp.btn.openWithCheckOut", "btn.cancel"},
                         0,
                         kDontShow};

struct Row {
    std::string what;
    std::string user;
    std::string holder;  // who has it checked out before
    DWORD flags;
    PreferenceValues preferences;
    std::optional<host::PromptAnswer> answer;  // none: the prompt is closed
    std::optional<Shape> prompt;
    HRESULT result;
    std::string message;  // a part of it
    std::string holder_after;
    PreferenceValues stored;
};

const std::string kNoRightsPreference = "on_open_without_write_permissions";
const std::string kNonePreference = "on_open_checked_out_none";
const std::string kOtherPreference = "on_open_checked_out_other";

std::vector<Row> Rows() {
    const PreferenceValues all_ask{{kNoRightsPreference, "7"},
                                   {kNonePreference, "7"},
                                   {"on_open_checked_out_me", "3"},
                                   {kOtherPreference, "7"}};
    const std::string write_text = "for editing as you do not have edit permissions for this file.";
    const std::string check_out_text = "with check out as you do not have edit permissions for this file.";
    return {
        {"no rights, write", "carol", "", kWrite, all_ask, {}, {}, kNoRights, write_text, "", all_ask},
        {"no rights, write, other",
         "carol",
         "bob",
         kWrite,
         all_ask,
         {},
         {},
         kNoRights,
         write_text,
         "bob",
         {}},
        {"no rights, write, me",
         "carol",
         "carol",
         kWrite,
         all_ask,
         {},
         {},
         kNoRights,
         write_text,
         "carol",
         {}},
        {"no rights, write and check-out",
         "carol",
         "",
         kWrite | TMK::AFS_OpenFile_CheckOut,
         all_ask,
         {},
         {},
         kNoRights,
         write_text,
         "",
         {}},
        {"no rights, check-out", "carol", "", kCheckOut, all_ask, {}, {}, kNoRights, check_out_text, "", {}},
        {"no rights, check-out, other",
         "carol",
         "bob",
         kCheckOut,
         all_ask,
         {},
         {},
         kNoRights,
         check_out_text,
         "bob",
         {}},
        {"no rights, check-out, me",
         "carol",
         "carol",
         kCheckOut,
         all_ask,
         Press("btn.ok"),
         kWarnNoRights,
         S_OK,
         "",
         "carol",
         {{kNoRightsPreference, "7"}}},
        {"no rights, asked",
         "carol",
         "",
         kRead,
         {{kNoRightsPreference, "1"}},
         Press("btn.ok"),
         kWarnNoRights,
         S_OK,
         "",
         "",
         {{kNoRightsPreference, "1"}}},
        {"no rights, asked, closed",
         "carol",
         "bob",
         kUserOpen,
         all_ask,
         {},
         kWarnNoRights,
         S_OK,
         "",
         "bob",
         {{kNoRightsPreference, "7"}}},
        {"no rights, asked for the last time",
         "carol",
         "",
         kUserOpen,
         all_ask,
         Press("btn.ok", true),
         kWarnNoRights,
         S_OK,
         "",
         "",
         {{kNoRightsPreference, "6"}, {kNonePreference, "7"}}},
        {"no rights, not asked",
         "carol",
         "",
         kUserOpen,
         {{kNoRightsPreference, "6"}, {kNonePreference, "1"}},
         {},
         {},
         S_OK,
         "",
         "",
         {}},
        {"mine, read", "alice", "alice", kUserOpen, all_ask, {}, {}, S_OK, "", "alice", all_ask},
        {"mine, write", "alice", "alice", kWrite, all_ask, {}, {}, S_OK, "", "alice", {}},
        {"mine, check-out", "alice", "alice", kCheckOut, all_ask, {}, {}, S_OK, "", "alice", {}},
        {"other, write",
         "alice",
         "bob",
         kWrite,
         all_ask,
         {},
         {},
         kOthersCheckOut,
         "with check out as it is checked out to the user \"",
         "bob",
         {}},
        {"other, check-out",
         "alice",
         "bob",
         kCheckOut,
         all_ask,
         {},
         {},
         kOthersCheckOut,
         "with check out as it is checked out to the user \"",
         "bob",
         {}},
        {"none, write", "alice", "", kWrite, all_ask, {}, {}, S_OK, "", "alice", {}},
        {"none, check-out", "alice", "", kCheckOut, all_ask, {}, {}, S_OK, "", "alice", {}},
        {"none, not for a person", "alice", "", kRead, all_ask, {}, {}, S_OK, "", "", {}},
        {"other, not for a person", "alice", "bob", kRead, all_ask, {}, {}, S_OK, "", "bob", {}},
        {"no flags read what is there", "alice", "", 0, all_ask, {}, {}, S_OK, "", "", {}},
        {"other, warned",
         "alice",
         "bob",
         kUserOpen,
         all_ask,
         Press("btn.ok"),
         kWarnOther,
         S_OK,
         "",
         "bob",
         {{kOtherPreference, "7"}}},
        {"other, warned for the last time",
         "alice",
         "bob",
         kUserOpen,
         all_ask,
         Press("0", true),
         kWarnOther,
         S_OK,
         "",
         "bob",
         {{kOtherPreference, "6"}, {kNonePreference, "7"}}},
        {"other, not warned",
         "alice",
         "bob",
         kUserOpen,
         {{kOtherPreference, "6"}},
         {},
         {},
         S_OK,
         "",
         "bob",
         {}},
        {"none, asked, open",
         "alice",
         "",
         kUserOpen,
         all_ask,
         Press("sp.btn.open"),
         kAskCheckOut,
         S_OK,
         "",
         "",
         {{kNonePreference, "7"}}},
        {"none, asked, open from now on",
         "alice",
         "",
         kUserOpen,
         all_ask,
         Press("sp.btn.open", true),
         kAskCheckOut,
         S_OK,
         "",
         "",
         {{kNonePreference, "6"}}},
        {"none, open from now on leaves other bits",
         "alice",
         "",
         kUserOpen,
         {{kNonePreference, "9"}},
         Press("sp.btn.open", true),
         kAskCheckOut,
         S_OK,
         "",
         "",
         {{kNonePreference, "8"}}},
        {"none, asked, check out",
         "alice",
         "",
         kUserOpen,
         all_ask,
         Press("sp.btn.openWithCheckOut"),
         kAskCheckOut,
         S_OK,
         "",
         "alice",
         {{kNonePreference, "7"}}},
        {"none, asked, check out from now on",
         "alice",
         "",
         kUserOpen,
         all_ask,
         Press("sp.btn.openWithCheckOut", true),
         kAskCheckOut,
         S_OK,
         "",
         "alice",
         {{kNonePreference, "14"}}},
        {"none, asked, cancelled",
         "alice",
         "",
         kUserOpen,
         all_ask,
         Press("btn.cancel", true),
         kAskCheckOut,
         kCanceled,
         "",
         "",
         {{kNonePreference, "7"}}},
        {"none, asked, closed",
         "alice",
         "",
         kUserOpen,
         all_ask,
         {},
         kAskCheckOut,
         kCanceled,
         "",
         "",
         {{kNonePreference, "7"}}},
        {"none, by preference",
         "alice",
         "",
         kUserOpen,
         {{kNonePreference, "8"}},
         {},
         {},
         S_OK,
         "",
         "alice",
         {}},
        {"none, by preference not",
         "alice",
         "",
         kUserOpen,
         {{kNonePreference, "6"}},
         {},
         {},
         S_OK,
         "",
         "",
         {}},
        {"none, preference without bits",
         "alice",
         "",
         kUserOpen,
         {{kNonePreference, "0"}},
         {},
         {},
         S_OK,
         "",
         "",
         {}},
    };
}

bool IsCheckOutCall(const std::string& request) {
    return request.find("/CheckOut()") != std::string::npos;
}

TEST_F(OpenDecisions, EveryRow) {
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.what);
        const std::string document = MakeDocument(row.holder);
        Editor editor(Server(), row.user, row.preferences);
        if (row.answer) editor.Answer(row.prompt->id, *row.answer);
        SetNoRights(row.user == "carol");
        Server().ClearRequests();
        const Opened opened = editor.Open(document, row.flags);
        const auto requests = Server().Requests();
        EXPECT_EQ(Hex(opened.result), Hex(row.result)) << opened.message;
        EXPECT_EQ(opened.file != nullptr, SUCCEEDED(row.result));
        EXPECT_NE(opened.message.find(row.message), std::string::npos) << opened.message;
        if (!row.message.empty()) {
            EXPECT_NE(opened.message.find(document), std::string::npos) << opened.message;
        }
        const auto prompts = editor.TakePrompts();
        ASSERT_EQ(prompts.size(), row.prompt ? 1u : 0u);
        if (row.prompt) {
            ExpectShape(prompts[0], *row.prompt);
            EXPECT_NE(prompts[0].text.find(document), std::string::npos) << prompts[0].text;
        }
        EXPECT_EQ(Server().Look(document).checked_out_by, row.holder_after);
        const bool is_taken = row.holder_after != row.holder;
        EXPECT_EQ(std::count_if(requests.begin(), requests.end(), IsCheckOutCall), is_taken ? 1 : 0);
        for (const auto& [name, value] : row.stored) EXPECT_EQ(editor.Preference(name), value) << name;
        if (opened.file) {
            DWORD flags = 0;
            EXPECT_EQ(opened.file->get_OpenFlags(&flags), S_OK);
            EXPECT_EQ(flags, row.flags ? row.flags : kRead);
        }
    }
}

TEST_F(OpenDecisions, TheWarningAndTheRefusalNameTheHolder) {
    const std::string document = MakeDocument("bob");
    Editor editor(Server(), "alice", {{kOtherPreference, "1"}});
    ASSERT_EQ(editor.Open(document, kUserOpen).result, S_OK);
    const auto prompts = editor.TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_NE(prompts[0].text.find("is checked out to user \""), std::string::npos);
    EXPECT_NE(prompts[0].text.find("bob"), std::string::npos) << prompts[0].text;
    EXPECT_NE(editor.Open(document, kWrite).message.find("bob"), std::string::npos);
}

TEST_F(OpenDecisions, DispositionsDecideWhetherThereMustBeADocument) {
    using namespace TMK;
    constexpr HRESULT kExists = static_cast<HRESULT>(0x80070050);
    struct Case {
        DWORD flags;
        HRESULT on_existing;
        HRESULT on_missing;
        std::string message;
    };
    const Case cases[] = {
        {AFS_OpenFile_Write | AFS_OpenFile_CreateNew, kExists, S_OK, ""},
        {AFS_OpenFile_Write | AFS_OpenFile_CreateAlways, S_OK, S_OK, ""},
        {AFS_OpenFile_Write | AFS_OpenFile_OpenExisting, S_OK, kNotFound, ""},
        {AFS_OpenFile_Write | AFS_OpenFile_OpenAlways, S_OK, S_OK, ""},
        {AFS_OpenFile_Read | AFS_OpenFile_CreateAlways, E_INVALIDARG, E_INVALIDARG,
         "Mode CreateAlways can be used only for writing"},
        {AFS_OpenFile_Read | AFS_OpenFile_CreateNew | AFS_OpenFile_OpenExisting, E_INVALIDARG, E_INVALIDARG,
         "Multiple create disposition modes are not supported"},
        {AFS_OpenFile_Write | AFS_OpenFile_OpenAlways | AFS_OpenFile_CreateAlways, E_INVALIDARG, E_INVALIDARG,
         "Multiple create disposition modes are not supported"},
    };
    Editor editor(Server(), "alice");
    int number = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.flags);
        const std::string existing = MakeDocument();
        const Opened there = editor.Open(existing, c.flags);
        EXPECT_EQ(Hex(there.result), Hex(c.on_existing)) << there.message;
        EXPECT_NE(there.message.find(c.message), std::string::npos) << there.message;
        const bool is_replaced = SUCCEEDED(c.on_existing) && (c.flags & AFS_OpenFile_CreateAlways);
        EXPECT_EQ(Server().Look(existing).bytes, is_replaced ? "" : "first");

        const std::string missing = "missing " + std::to_string(++number) + ".txt";
        const Opened gone = editor.Open(missing, c.flags);
        EXPECT_EQ(Hex(gone.result), Hex(c.on_missing)) << gone.message;
        EXPECT_EQ(Server().Document(missing) == "", SUCCEEDED(c.on_missing));
    }
}

TEST_F(OpenDecisions, CreateAlwaysForReadingAsksTheServerNothing) {
    Editor editor(Server(), "alice");
    const auto name = editor.Name("never asked.txt");
    Server().ClearRequests();
    ComPtr<TMK::IAFS_File> file;
    EXPECT_EQ(
        editor.file_system()->OpenFile(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_CreateAlways,
                                       nullptr, nullptr, file.put()),
        E_INVALIDARG);
    EXPECT_EQ(Server().Requests(), std::vector<std::string>());
}

// A passing failure of the lookup must not make a document empty.
TEST_F(OpenDecisions, AFailureOfTheLookupNeverReplacesADocument) {
    const std::string document = MakeDocument();
    Editor editor(Server(), "alice");
    for (const DWORD disposition : {TMK::AFS_OpenFile_OpenAlways, TMK::AFS_OpenFile_CreateNew}) {
        Server().SetFaults(R"([{"match": {"method": "GET", "path": ")" + document +
                           R"(", "times": 1000}, "fault": {"kind": "close"}}])");
        const Opened opened = editor.Open(document, TMK::AFS_OpenFile_Write | disposition);
        Server().ClearFaults();
        EXPECT_TRUE(FAILED(opened.result));
        EXPECT_EQ(Server().Look(document).bytes, "first");
    }
}

TEST_F(OpenDecisions, AFolderIsNoDocument) {
    Editor editor(Server(), "alice");
    ComPtr<TMK::IAFS_File> file;
    EXPECT_TRUE(FAILED(editor.Open("", kRead).result));
    EXPECT_TRUE(FAILED(editor.file_system()->OpenFile(editor.root(), kRead, nullptr, nullptr, file.put())));
}

}  // namespace

}  // namespace interfaces
