// Gives a plug-in the user name and the password that a server asks for: what was given in advance first,
// then the person's answer. Any thread.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/signin/sign_in_prompts.h"
#include "hostapi/iafs.h"
#include "platform/com_ptr.h"

namespace host {

// Gets the reason why there is no answer, in a sentence for a person.
using NoteRefusal = std::function<void(const std::string&)>;

// Without an answer its result is 0x821704C7. The prompts outlive it.
ComPtr<TMK::IAFS_BindContext> MakeBindContext(SignInPrompts& prompts, std::optional<Credentials> given,
                                              NoteRefusal note = {});

}  // namespace host
