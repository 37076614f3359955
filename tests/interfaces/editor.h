// An editor for tests: the reference host with the loaded library, signed in to a development server as one
// user. Its prompts are answered by script and recorded. Main thread.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/host_objects.h"
#include "tests/support/dev_server.h"
#include "tests/support/signed_in_host.h"

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

class Editor : public SignedInHost {
public:
    Editor(const DevServer& server, const std::string& user, const PreferenceValues& preferences = {});

    TMK::ITMK_ErrorDetails* details() { return m_details.get(); }
    // The message of the last failure; taking it empties it.
    std::string TakeMessage();

    Opened Open(const std::string& document, DWORD flags);
    HRESULT Exec(TMK::IAFS_File* file, LPCWSTR command);

    // The next prompt of this id is answered so.
    void Answer(const std::string& id, const host::PromptAnswer& answer);
    // What was asked since the last call.
    std::vector<RecordedPrompt> TakePrompts();
    // As it is stored now, or in use when nothing was ever stored.
    std::string Preference(const std::string& name);

private:
    ComPtr<host::ErrorDetails> m_details = host::Make<host::ErrorDetails>();
    std::size_t m_prompts_taken = 0;
};

// "80070057", for messages of failed expectations.
std::string Hex(HRESULT result);
// A set cancel flag.
ComPtr<host::CancelFlag> Canceled();

}  // namespace interfaces
