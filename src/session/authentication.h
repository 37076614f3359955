// Ways of signing in that a user name and a password cannot reach. Run in the middle of a request, on its
// thread.
#pragma once

#include <string>

#include "hostapi/itmk.h"

// Signs in by the host's OAuth flow for the server `url` (scheme and host) and gives the bearer token, empty
// when the host has none. The host's failure is the result; the user's refusal is E_CANCELED.
HRESULT AuthenticateWithMSAL(TMK::ITMK_Inst* i_tmk_instance, std::u16string& o_token,
                             const std::u16string& url);
