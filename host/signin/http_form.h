// One POST of a form to a sign-in server, over TLS unless the server is this machine. Any thread.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/signin/sign_in_prompts.h"

namespace host {

struct FormAnswer {
    long status = 0;
    std::string body;
};

// Throws a Failure for an address that secrets must not be sent to.
void RequirePrivateWay(const std::string& url);

// Throws a Failure: 0x80072EE7 and its like by what went wrong, 0x821704C7 when the program is to stop or the
// person cancels at the notice, where one is shown.
FormAnswer PostForm(const std::string& url, const std::vector<std::pair<std::string, std::string>>& fields,
                    const SignInNotice* notice = nullptr);

}  // namespace host
