// What the decision tests share: a server with a document in a chosen state for each row, and the shapes of
// prompts. Main thread.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/interfaces/editor.h"
#include "tests/support/row_name.h"

namespace interfaces {

inline constexpr DWORD kRead = TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting;
inline constexpr DWORD kUserOpen = kRead | TMK::AFS_OpenFile_UserOpen;
inline constexpr DWORD kWrite =
    TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_Write | TMK::AFS_OpenFile_OpenExisting;
inline constexpr DWORD kCheckOut = kRead | TMK::AFS_OpenFile_CheckOut;

inline constexpr unsigned kWarning = 0x10000300;
inline constexpr unsigned kQuestion = 0x10000200;
inline constexpr unsigned kCheckInStyle = 0x100C0200;
inline const std::string kDontShow = "sp.check.dontShowThisMessageAgain";

inline constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070002);
inline constexpr HRESULT kOutdated = static_cast<HRESULT>(0x800702A7);
inline constexpr HRESULT kNoRights = static_cast<HRESULT>(0x80071779);
inline constexpr HRESULT kOthersCheckOut = static_cast<HRESULT>(0x800700DC);

// What a prompt is: everything but its answer.
struct Shape {
    std::string id;
    unsigned style;
    std::vector<std::string> buttons;
    unsigned default_button;
    std::string check;
};

inline void ExpectShape(const RecordedPrompt& prompt, const Shape& shape) {
    EXPECT_EQ(prompt.id, shape.id);
    EXPECT_EQ(prompt.style, shape.style);
    EXPECT_EQ(prompt.buttons, shape.buttons);
    EXPECT_EQ(prompt.default_button, shape.default_button);
    EXPECT_EQ(prompt.cancel_button, shape.buttons.size() - 1);
    EXPECT_EQ(prompt.check, shape.check);
}

inline host::PromptAnswer Press(const std::string& button, bool check = false) {
    host::PromptAnswer answer;
    answer.button = button;
    if (check) answer.check = true;
    return answer;
}

// What rows of all decisions hold: how the document is closed or opened, what is asked, and what comes of it.
struct DecisionRow {
    std::string what;
    DWORD flags = 0;
    PreferenceValues preferences;
    std::optional<Shape> prompt;
    std::optional<host::PromptAnswer> answer;  // none: the prompt is closed
    HRESULT result = S_OK;
    PreferenceValues stored;

    friend std::ostream& operator<<(std::ostream& stream, const DecisionRow& row) {
        return stream << row.what;
    }
};

// One server for all rows; each row has a document of its own.
class DecisionTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { s_server = std::make_unique<DevServer>(); }
    void TearDown() override { Server().ClearFaults(); }
    static void TearDownTestSuite() { s_server.reset(); }
    static DevServer& Server() { return *s_server; }

    // Makes the server say that nobody has any right to a document, or ends that. (A reader's own rights
    // count as enough to edit, so they can't show the refusals.)
    static void SetNoRights(bool is_set) {
        Server().ClearFaults();
        if (!is_set) return;
        Server().SetFaults(R"([{"match": {"path": "EffectiveBasePermissions", "times": 1000}, "fault":
            {"kind": "body", "content_type": "application/json;odata=verbose;charset=utf-8", "text":
             "{\"d\":{\"ListItemAllFields\":{\"EffectiveBasePermissions\":{\"High\":\"0\",\"Low\":\"0\"}}}}"}}])");
    }

    // A new document of version 0.1, checked out by `holder` if that is a user.
    static std::string MakeDocument(const std::string& holder = {}) {
        static int number = 0;
        std::string document = "document " + std::to_string(++number) + ".txt";
        Server().Upload("alice", document, "first");
        if (!holder.empty()) Server().CheckOutAs(holder, document);
        return document;
    }

    static HRESULT Write(TMK::IAFS_File* file, const std::string& bytes) {
        if (const HRESULT result = file->SetSize(0, nullptr, nullptr); FAILED(result)) return result;
        return file->Write(bytes.data(), static_cast<LONGLONG>(bytes.size()), nullptr, nullptr, nullptr);
    }
    // Writes the whole document and sends it.
    static void Save(TMK::IAFS_File* file, const std::string& bytes) {
        ASSERT_EQ(file->SetPos(0, 0, nullptr), S_OK);
        ASSERT_EQ(Write(file, bytes), S_OK);
        ASSERT_EQ(file->Flush(nullptr, nullptr), S_OK);
    }
    // The prompt of a row, or none.
    static void ExpectPrompt(Editor& editor, const std::optional<Shape>& prompt, const std::string& text) {
        const auto prompts = editor.TakePrompts();
        ASSERT_EQ(prompts.size(), prompt ? 1u : 0u);
        if (!prompt) return;
        ExpectShape(prompts[0], *prompt);
        EXPECT_NE(prompts[0].text.find(text), std::string::npos) << prompts[0].text;
    }
    static bool KeepCheckedOut(TMK::IAFS_File* file) {
        Variant value;
        EXPECT_EQ(file->get_Prop(u"keepcheckedout", value.put()), S_OK);
        EXPECT_EQ(value.type(), VT_BOOL);
        return value.get().boolVal != VARIANT_FALSE;
    }

    static inline std::unique_ptr<DevServer> s_server;
};

}  // namespace interfaces
