// Signing in on the authority's page in the person's browser (RFC 6749, 7636 and 8252): the page redirects to
// a listener on this machine with a code. Any thread; it waits for the person.
#pragma once

#include <cstdint>
#include <string>

#include "host/signin/sign_in_prompts.h"

namespace host {

struct CodeRequest {
    std::string endpoint;  // address of the page
    std::string client_id;
    std::string scope;
    std::string user;           // a name to offer, may be empty
    std::string redirect = {};  // address of the listener, empty for any port of this machine
};

// What the token endpoint needs to exchange the code.
struct CodeAnswer {
    std::string code;
    std::string redirect_uri;
    std::string verifier;
};

// The port that a redirect names, 0 for any. Throws a Failure for a URL that isn't http on this machine's
// localhost or 127.0.0.1.
std::uint16_t PortOfRedirect(const std::string& redirect);

// Throws a Failure: 0x821704C7 when the person declines or cancels, 0x800705B4 after ten minutes.
CodeAnswer AskForCode(const CodeRequest& request, SignInPrompts& prompts);

}  // namespace host
