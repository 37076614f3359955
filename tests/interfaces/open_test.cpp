// What the preferences decide and ask when a document is opened.
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
    std::string user = "alice";
    std::string holder = {};  // who has it checked out before
    DWORD flags = kUserOpen;
    PreferenceValues preferences = {};
    std::optional<host::PromptAnswer> answer = {};  // none: the prompt is closed
    std::optional<Shape> prompt = {};
    HRESULT result = S_OK;
    std::string message = {};  // a part of it
    std::string holder_after = {};
    PreferenceValues stored = {};

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.what; }
};

const std::string kNoRightsPreference = "on_open_without_write_permissions";
const std::string kNonePreference = "on_open_checked_out_none";
const std::string kOtherPreference = "on_open_checked_out_other";

class OpenRow : public OpenDecisions, public ::testing::WithParamInterface<Row> {};

std::vector<Row> Rows() {
    const PreferenceValues all_ask{{kNoRightsPreference, "7"},
                                   {kNonePreference, "7"},
                                   {"on_open_checked_out_me", "3"},
                                   {kOtherPreference, "7"}};
    const std::string write_text = "for editing as you do not have edit permissions for this file.";
    const std::string check_out_text = "with check out as you do not have edit permissions for this file.";
    return {
        {.what = "no rights, write",
         .user = "carol",
         .flags = kWrite,
         .preferences = all_ask,
         .result = kNoRights,
         .message = write_text,
         .stored = all_ask},
        {.what = "no rights, write, other",
         .user = "carol",
         .holder = "bob",
         .flags = kWrite,
         .preferences = all_ask,
         .result = kNoRights,
         .message = write_text,
         .holder_after = "bob"},
        {.what = "no rights, write, me",
         .user = "carol",
         .holder = "carol",
         .flags = kWrite,
         .preferences = all_ask,
         .result = kNoRights,
         .message = write_text,
         .holder_after = "carol"},
        {.what = "no rights, write and check-out",
         .user = "carol",
         .flags = kWrite | TMK::AFS_OpenFile_CheckOut,
         .preferences = all_ask,
         .result = kNoRights,
         .message = write_text},
        {.what = "no rights, check-out",
         .user = "carol",
         .flags = kCheckOut,
         .preferences = all_ask,
         .result = kNoRights,
         .message = check_out_text},
        {.what = "no rights, check-out, other",
         .user = "carol",
         .holder = "bob",
         .flags = kCheckOut,
         .preferences = all_ask,
         .result = kNoRights,
         .message = check_out_text,
         .holder_after = "bob"},
        {.what = "no rights, check-out, me",
         .user = "carol",
         .holder = "carol",
         .flags = kCheckOut,
         .preferences = all_ask,
         .answer = Press("btn.ok"),
         .prompt = kWarnNoRights,
         .holder_after = "carol",
         .stored = {{kNoRightsPreference, "7"}}},
        {.what = "no rights, asked",
         .user = "carol",
         .flags = kRead,
         .preferences = {{kNoRightsPreference, "1"}},
         .answer = Press("btn.ok"),
         .prompt = kWarnNoRights,
         .stored = {{kNoRightsPreference, "1"}}},
        {.what = "no rights, asked, closed",
         .user = "carol",
         .holder = "bob",
         .preferences = all_ask,
         .prompt = kWarnNoRights,
         .holder_after = "bob",
         .stored = {{kNoRightsPreference, "7"}}},
        {.what = "no rights, asked for the last time",
         .user = "carol",
         .preferences = all_ask,
         .answer = Press("btn.ok", true),
         .prompt = kWarnNoRights,
         .stored = {{kNoRightsPreference, "6"}, {kNonePreference, "7"}}},
        {.what = "no rights, not asked",
         .user = "carol",
         .preferences = {{kNoRightsPreference, "6"}, {kNonePreference, "1"}}},
        {.what = "mine, read",
         .holder = "alice",
         .preferences = all_ask,
         .holder_after = "alice",
         .stored = all_ask},
        {.what = "mine, write",
         .holder = "alice",
         .flags = kWrite,
         .preferences = all_ask,
         .holder_after = "alice"},
        {.what = "mine, check-out",
         .holder = "alice",
         .flags = kCheckOut,
         .preferences = all_ask,
         .holder_after = "alice"},
        {.what = "other, write",
         .holder = "bob",
         .flags = kWrite,
         .preferences = all_ask,
         .result = kOthersCheckOut,
         .message = "with check out as it is checked out to the user \"",
         .holder_after = "bob"},
        {.what = "other, check-out",
         .holder = "bob",
         .flags = kCheckOut,
         .preferences = all_ask,
         .result = kOthersCheckOut,
         .message = "with check out as it is checked out to the user \"",
         .holder_after = "bob"},
        {.what = "none, write", .flags = kWrite, .preferences = all_ask, .holder_after = "alice"},
        {.what = "none, check-out", .flags = kCheckOut, .preferences = all_ask, .holder_after = "alice"},
        {.what = "none, not for a person", .flags = kRead, .preferences = all_ask},
        {.what = "other, not for a person",
         .holder = "bob",
         .flags = kRead,
         .preferences = all_ask,
         .holder_after = "bob"},
        {.what = "no flags read what is there", .flags = 0, .preferences = all_ask},
        {.what = "other, warned",
         .holder = "bob",
         .preferences = all_ask,
         .answer = Press("btn.ok"),
         .prompt = kWarnOther,
         .holder_after = "bob",
         .stored = {{kOtherPreference, "7"}}},
        {.what = "other, warned for the last time",
         .holder = "bob",
         .preferences = all_ask,
         .answer = Press("0", true),
         .prompt = kWarnOther,
         .holder_after = "bob",
         .stored = {{kOtherPreference, "6"}, {kNonePreference, "7"}}},
        {.what = "other, not warned",
         .holder = "bob",
         .preferences = {{kOtherPreference, "6"}},
         .holder_after = "bob"},
        {.what = "none, asked, open",
         .preferences = all_ask,
         .answer = Press("sp.btn.open"),
         .prompt = kAskCheckOut,
         .stored = {{kNonePreference, "7"}}},
        {.what = "none, asked, open from now on",
         .preferences = all_ask,
         .answer = Press("sp.btn.open", true),
         .prompt = kAskCheckOut,
         .stored = {{kNonePreference, "6"}}},
        {.what = "none, open from now on leaves other bits",
         .preferences = {{kNonePreference, "9"}},
         .answer = Press("sp.btn.open", true),
         .prompt = kAskCheckOut,
         .stored = {{kNonePreference, "8"}}},
        {.what = "none, asked, check out",
         .preferences = all_ask,
         .answer = Press("sp.btn.openWithCheckOut"),
         .prompt = kAskCheckOut,
         .holder_after = "alice",
         .stored = {{kNonePreference, "7"}}},
        {.what = "none, asked, check out from now on",
         .preferences = all_ask,
         .answer = Press("sp.btn.openWithCheckOut", true),
         .prompt = kAskCheckOut,
         .holder_after = "alice",
         .stored = {{kNonePreference, "14"}}},
        {.what = "none, asked, cancelled",
         .preferences = all_ask,
         .answer = Press("btn.cancel", true),
         .prompt = kAskCheckOut,
         .result = kCanceled,
         .stored = {{kNonePreference, "7"}}},
        {.what = "none, asked, closed",
         .preferences = all_ask,
         .prompt = kAskCheckOut,
         .result = kCanceled,
         .stored = {{kNonePreference, "7"}}},
        {.what = "none, by preference", .preferences = {{kNonePreference, "8"}}, .holder_after = "alice"},
        {.what = "none, by preference not", .preferences = {{kNonePreference, "6"}}},
        {.what = "none, preference without bits", .preferences = {{kNonePreference, "0"}}},
    };
}

bool IsCheckOutCall(const std::string& request) {
    return request.find("/CheckOut()") != std::string::npos;
}

TEST_P(OpenRow, OpensAsDecided) {
    const Row& row = GetParam();
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

INSTANTIATE_TEST_SUITE_P(Open, OpenRow, ::testing::ValuesIn(Rows()), RowName());

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
        HRESULT on_existing = S_OK;
        HRESULT on_missing = S_OK;
        std::string message = {};
    };
    const Case cases[] = {
        {.flags = AFS_OpenFile_Write | AFS_OpenFile_CreateNew, .on_existing = kExists},
        {.flags = AFS_OpenFile_Write | AFS_OpenFile_CreateAlways},
        {.flags = AFS_OpenFile_Write | AFS_OpenFile_OpenExisting, .on_missing = kNotFound},
        {.flags = AFS_OpenFile_Write | AFS_OpenFile_OpenAlways},
        {.flags = AFS_OpenFile_Read | AFS_OpenFile_CreateAlways,
         .on_existing = E_INVALIDARG,
         .on_missing = E_INVALIDARG,
         .message = "Mode CreateAlways can be used only for writing"},
        {.flags = AFS_OpenFile_Read | AFS_OpenFile_CreateNew | AFS_OpenFile_OpenExisting,
         .on_existing = E_INVALIDARG,
         .on_missing = E_INVALIDARG,
         .message = "Multiple create disposition modes are not supported"},
        {.flags = AFS_OpenFile_Write | AFS_OpenFile_OpenAlways | AFS_OpenFile_CreateAlways,
         .on_existing = E_INVALIDARG,
         .on_missing = E_INVALIDARG,
         .message = "Multiple create disposition modes are not supported"},
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

// A temporary failure of the lookup must not empty a document.
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
