// Asks for a user name and a password: what the command line gave first, then the person at the terminal.
// Any thread.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/prompts/terminal.h"
#include "hostapi/iafs.h"
#include "platform/com_ptr.h"

namespace host {

// Hears why nobody could be asked, in a sentence for a person.
using NoteRefusal = std::function<void(const std::string&)>;

struct Credentials {
    std::u16string user;
    std::u16string password;
};

// Nobody to ask, or a person who gives no answer, is the result 0x821704C7.
ComPtr<TMK::IAFS_BindContext> MakeBindContext(Terminal& terminal, std::optional<Credentials> given,
                                              NoteRefusal note = {});

}  // namespace host
