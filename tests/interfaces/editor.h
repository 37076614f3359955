// An editor for tests: the reference host with the loaded library, signed in to a development server as one
// user. Its prompts are answered by script and recorded. Main thread.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/host_objects.h"
#include "host/core/host.h"
#include "host/testing/silent_front_end.h"
#include "tests/support/account.h"
#include "tests/support/dev_server.h"

namespace interfaces {

using namespace testing_support;

using PreferenceValues = std::map<std::string, std::string>;

inline constexpr HRESULT kCanceled = static_cast<HRESULT>(0x821704C7);

// One prompt as the host was asked to show it, and what came of it.
struct RecordedPrompt {
    std::string id;
    unsigned style = 0;
    std::string text;
    std::vector<std::string> buttons;
    unsigned default_button = 0;
    unsigned cancel_button = 0;
    std::string check;
    std::vector<std::string> radios;
    unsigned radio = 0;
    std::string edit;
    std::string edit_text;
    unsigned pressed = 0;
};

// An opened file, or why there is none.
struct Opened {
    HRESULT result = E_FAIL;
    std::string message;
    ComPtr<TMK::IAFS_File> file;
};

class Editor {
public:
    Editor(const DevServer& server, const std::string& user, const PreferenceValues& preferences = {});
    ~Editor();
    Editor(const Editor&) = delete;
    Editor& operator=(const Editor&) = delete;

    host::Host& host() { return *m_host; }
    TMK::IAFS_FileSys* file_system() { return m_file_system.get(); }
    TMK::IAFS_Name* root() { return m_root.get(); }
    TMK::IAFS_AccountData* account() { return m_account.account.get(); }
    std::shared_ptr<host::SettingsTree> account_tree() { return m_account.tree; }
    TMK::ITMK_ErrorDetails* details() { return m_details.get(); }
    // The message of the last failure; taking it empties it.
    std::string TakeMessage();

    // A fresh name of something in the library ("a.txt", "Folder/b.txt", "" for the library itself).
    ComPtr<TMK::IAFS_Name> Name(const std::string& item);
    std::u16string Url(const std::string& item) const;
    Opened Open(const std::string& document, DWORD flags);
    HRESULT Exec(TMK::IAFS_File* file, LPCWSTR command);

    // The next prompt of this id is answered so.
    void Answer(const std::string& id, const host::PromptAnswer& answer);
    // What was asked since the last call.
    std::vector<RecordedPrompt> TakePrompts();
    // As it is stored now, or in use when nothing was ever stored.
    std::string Preference(const std::string& name);

private:
    const DevServer& m_server;
    TempFolder m_folder;
    host::testing::SilentFrontEnd m_front_end;
    std::unique_ptr<host::Host> m_host;
    ComPtr<TMK::IAFS_FileSys> m_file_system;
    TestAccount m_account;
    ComPtr<TMK::IAFS_Name> m_root;
    ComPtr<host::ErrorDetails> m_details;
    std::size_t m_prompts_taken = 0;
};

// "80070057", for messages of failed expectations.
std::string Hex(HRESULT result);
// A set cancel flag.
ComPtr<host::CancelFlag> Canceled();

}  // namespace interfaces
