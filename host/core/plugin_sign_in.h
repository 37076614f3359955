// The host's part of a plug-in's sign-in to a place: passwords given in advance or by the person, tokens from
// the sign-in server. Owned by the host; any thread.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/base/per_thread.h"
#include "host/signin/bind_context.h"
#include "host/signin/oauth.h"
#include "hostapi/settings.h"

namespace host {

// Where and as whom somebody signs in.
struct OAuthPlace {
    std::string site;
    std::string user;
};

class PluginSignIn {
public:
    // `note` gets a sentence for the person where a sign-in fails. The other two outlive it.
    PluginSignIn(SignInPrompts& prompts, OAuth& oauth, std::optional<Credentials> credentials,
                 std::function<void(const std::string&)> note);

    // The place and user of this thread's next calls.
    void SetPlace(const std::u16string& url, const std::u16string& user);
    void SetPlace(OAuthPlace place) { m_place.Set(std::move(place)); }
    OAuthPlace place() const { return m_place.Get(); }
    ComPtr<TMK::IAFS_BindContext> NewBindContext() const;
    // Puts a token into the parameters that a plug-in filled. Throws a Failure.
    HRESULT PutToken(TMK::ITMK_CabNode* parameters);

private:
    OAuthRequest ReadRequest(TMK::ITMK_CabNode* parameters) const;

    SignInPrompts& m_prompts;
    OAuth& m_oauth;
    const std::optional<Credentials> m_credentials;
    const std::function<void(const std::string&)> m_note;
    PerThread<OAuthPlace> m_place;
};

}  // namespace host
