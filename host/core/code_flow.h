// Signing in on the authority's own page in the person's browser (RFC 6749, 7636 and 8252): the page comes
// back to a listener of this machine with a code. Any thread; it waits for the person.
#pragma once

#include <functional>
#include <string>

namespace host {

struct CodeRequest {
    std::string endpoint;  // where the page is
    std::string client_id;
    std::string scope;
    std::string user;  // a name to begin with, may be empty
};

// What a token endpoint wants for the code.
struct CodeAnswer {
    std::string code;
    std::string redirect_uri;
    std::string verifier;
};

// `open` gets the page's address. Throws a Failure: 0x821704C7 when the person declines or interrupts,
// 0x800705B4 after ten minutes.
CodeAnswer AskForCode(const CodeRequest& request, const std::function<void(const std::string& url)>& open);

// Whether there is likely a browser on this screen.
bool HasBrowser();

// Starts $BROWSER or the desktop's own choice, and doesn't wait for it.
void OpenInBrowser(const std::string& url);

}  // namespace host
