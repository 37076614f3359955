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

// Who opens the document, who has it checked out before, and how it is opened.
struct Opening {
    std::string user = "alice";
    std::string holder = {};
    DWORD flags = kUserOpen;
};

struct Row : DecisionRow {
    Opening opening;
    std::string message;  // a part of it
    std::string holder_after;
};

const std::string kNoRightsPreference = "on_open_without_write_permissions";
const std::string kNonePreference = "on_open_checked_out_none";
const std::string kOtherPreference = "on_open_checked_out_other";

class OpenRow : public OpenDecisions, public ::testing::WithParamInterface<Row> {};

const PreferenceValues kAllAsk{{kNoRightsPreference, "7"},
                               {kNonePreference, "7"},
                               {"on_open_checked_out_me", "3"},
                               {kOtherPreference, "7"}};

// Opens without a prompt.
Row Silent(const std::string& what, const Opening& opening, const PreferenceValues& preferences,
           const std::string& holder_after) {
    Row row;
    row.what = what;
    row.opening = opening;
    row.flags = opening.flags;
    row.preferences = preferences;
    row.holder_after = holder_after;
    return row;
}

Row Refused(const std::string& what, const Opening& opening, HRESULT result, const std::string& message) {
    Row row = Silent(what, opening, kAllAsk, opening.holder);
    row.result = result;
    row.message = message;
    return row;
}

// Opens after a prompt; `stored` is looked at afterwards.
Row Asked(const std::string& what, const Opening& opening, const PreferenceValues& preferences,
          const Shape& prompt, const std::optional<host::PromptAnswer>& answer,
          const PreferenceValues& stored, const std::string& holder_after = {}) {
    Row row = Silent(what, opening, preferences, holder_after);
    row.prompt = prompt;
    row.answer = answer;
    row.stored = stored;
    return row;
}

Row ThatCancels(Row row) {
    row.result = kCanceled;
    return row;
}

Row StoringAll(Row row) {
    row.stored = row.preferences;
    return row;
}

std::vector<Row> Rows() {
    const std::string write_text = "for editing as you do not have edit permissions for this file.";
    const std::string check_out_text = "with check out as you do not have edit permissions for this file.";
    const std::string other_text = "with check out as it is checked out to the user \"";
    const Opening mine{.holder = "alice"};
    const Opening others{.holder = "bob"};
    const std::string open = "sp.btn.open";
    const std::string check_out = "sp.btn.openWithCheckOut";
    return {
        StoringAll(Refused("no rights, write", {"carol", "", kWrite}, kNoRights, write_text)),
        Refused("no rights, write, other", {"carol", "bob", kWrite}, kNoRights, write_text),
        Refused("no rights, write, me", {"carol", "carol", kWrite}, kNoRights, write_text),
        Refused("no rights, write and check-out", {"carol", "", kWrite | TMK::AFS_OpenFile_CheckOut},
                kNoRights, write_text),
        Refused("no rights, check-out", {"carol", "", kCheckOut}, kNoRights, check_out_text),
        Refused("no rights, check-out, other", {"carol", "bob", kCheckOut}, kNoRights, check_out_text),
        Asked("no rights, check-out, me", {"carol", "carol", kCheckOut}, kAllAsk, kWarnNoRights,
              Press("btn.ok"), {{kNoRightsPreference, "7"}}, "carol"),
        Asked("no rights, asked", {"carol", "", kRead}, {{kNoRightsPreference, "1"}}, kWarnNoRights,
              Press("btn.ok"), {{kNoRightsPreference, "1"}}),
        Asked("no rights, asked, closed", {"carol", "bob"}, kAllAsk, kWarnNoRights, {},
              {{kNoRightsPreference, "7"}}, "bob"),
        Asked("no rights, asked for the last time", {"carol"}, kAllAsk, kWarnNoRights, Press("btn.ok", true),
              {{kNoRightsPreference, "6"}, {kNonePreference, "7"}}),
        Silent("no rights, not asked", {"carol"}, {{kNoRightsPreference, "6"}, {kNonePreference, "1"}}, ""),
        StoringAll(Silent("mine, read", mine, kAllAsk, "alice")),
        Silent("mine, write", {"alice", "alice", kWrite}, kAllAsk, "alice"),
        Silent("mine, check-out", {"alice", "alice", kCheckOut}, kAllAsk, "alice"),
        Refused("other, write", {"alice", "bob", kWrite}, kOthersCheckOut, other_text),
        Refused("other, check-out", {"alice", "bob", kCheckOut}, kOthersCheckOut, other_text),
        Silent("none, write", {"alice", "", kWrite}, kAllAsk, "alice"),
        Silent("none, check-out", {"alice", "", kCheckOut}, kAllAsk, "alice"),
        Silent("none, not for a person", {"alice", "", kRead}, kAllAsk, ""),
        Silent("other, not for a person", {"alice", "bob", kRead}, kAllAsk, "bob"),
        Silent("no flags read what is there", {"alice", "", 0}, kAllAsk, ""),
        Asked("other, warned", others, kAllAsk, kWarnOther, Press("btn.ok"), {{kOtherPreference, "7"}},
              "bob"),
        Asked("other, warned for the last time", others, kAllAsk, kWarnOther, Press("0", true),
              {{kOtherPreference, "6"}, {kNonePreference, "7"}}, "bob"),
        Silent("other, not warned", others, {{kOtherPreference, "6"}}, "bob"),
        Asked("none, asked, open", {}, kAllAsk, kAskCheckOut, Press(open), {{kNonePreference, "7"}}),
        Asked("none, asked, open from now on", {}, kAllAsk, kAskCheckOut, Press(open, true),
              {{kNonePreference, "6"}}),
        Asked("none, open from now on leaves other bits", {}, {{kNonePreference, "9"}}, kAskCheckOut,
              Press(open, true), {{kNonePreference, "8"}}),
        Asked("none, asked, check out", {}, kAllAsk, kAskCheckOut, Press(check_out), {{kNonePreference, "7"}},
              "alice"),
        Asked("none, asked, check out from now on", {}, kAllAsk, kAskCheckOut, Press(check_out, true),
              {{kNonePreference, "14"}}, "alice"),
        ThatCancels(Asked("none, asked, cancelled", {}, kAllAsk, kAskCheckOut, Press("btn.cancel", true),
                          {{kNonePreference, "7"}})),
        ThatCancels(Asked("none, asked, closed", {}, kAllAsk, kAskCheckOut, {}, {{kNonePreference, "7"}})),
        Silent("none, by preference", {}, {{kNonePreference, "8"}}, "alice"),
        Silent("none, by preference not", {}, {{kNonePreference, "6"}}, ""),
        Silent("none, preference without bits", {}, {{kNonePreference, "0"}}, ""),
    };
}

bool IsCheckOutCall(const std::string& request) {
    return request.find("/CheckOut()") != std::string::npos;
}

TEST_P(OpenRow, OpensAsDecided) {
    const Row& row = GetParam();
    const std::string document = MakeDocument(row.opening.holder);
    Editor editor(Server(), row.opening.user, row.preferences);
    if (row.answer) editor.Answer(row.prompt->id, *row.answer);
    SetNoRights(row.opening.user == "carol");
    Server().ClearRequests();
    const Opened opened = editor.Open(document, row.flags);
    const auto requests = Server().Requests();
    EXPECT_EQ(Hex(opened.result), Hex(row.result)) << opened.message;
    EXPECT_EQ(opened.file != nullptr, SUCCEEDED(row.result));
    EXPECT_NE(opened.message.find(row.message), std::string::npos) << opened.message;
    if (!row.message.empty()) {
        EXPECT_NE(opened.message.find(document), std::string::npos) << opened.message;
    }
    ExpectPrompt(editor, row.prompt, document);
    EXPECT_EQ(Server().Look(document).checked_out_by, row.holder_after);
    const bool is_taken = row.holder_after != row.opening.holder;
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
