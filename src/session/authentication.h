// Ways of signing in that a user name and a password cannot reach. Run in the middle of a request, on its
// thread.
#pragma once

#include <string>

#include "hostapi/itmk.h"
#include "http/session.h"

// Signs in by a browser window that starts at `required_url` and gives the two cookies of a forms sign-in at
// `server_url` (scheme and host). With a `return_url` the page of that address has to bring them; without one
// any page may. The user's refusal is E_CANCELED.
HRESULT AuthenticateWithMicrosoftForms(Http::Session::AuthCookies& o_cookies,
                                       const std::u16string& required_url, const std::u16string& return_url,
                                       const std::u16string& server_url, TMK::ITMK_Inst* i_tmk_instance);

// Signs in by the host's OAuth flow for the server `url` (scheme and host) and gives the bearer token, empty
// when the host has none. The host's failure is the result; the user's refusal is E_CANCELED.
HRESULT AuthenticateWithMSAL(TMK::ITMK_Inst* i_tmk_instance, std::u16string& o_token,
                             const std::u16string& url);
