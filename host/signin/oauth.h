// Signing in with a code that a person enters on another page (RFC 8628) or in the person's own browser, and
// keeping the tokens, enciphered in the profile. Any thread; one sign-in at a time.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "host/profile/cipher.h"
#include "host/profile/profile.h"
#include "host/signin/code_flow.h"
#include "host/signin/http_form.h"

namespace host {

struct OAuthRequest {
    std::string authority;  // with or without a slash at its end
    std::string client_id;
    std::string scope;
    std::string user;       // empty when there is only one
    std::string flow = {};  // as in the override
    std::string redirect = {};
    std::string site = {};  // the place that the token is for
};

// The sign-in settings of a server, which replace what the plug-in asks for.
struct OAuthOverride {
    std::string authority;
    std::string client_id;
    std::string flow = {};       // "code", "device" or empty for either
    std::string redirect = {};   // of the code flow, empty for any port of this machine
    bool insecure_http = false;  // tokens may go to this server over plain http
};

class OAuth {
public:
    // The profile and the prompts outlive it.
    OAuth(const Profile& profile, std::shared_ptr<const Cipher> cipher, SignInPrompts& prompts);

    // Stores an override for the server that a site's URL names.
    void SetOverride(const std::string& site_url, const OAuthOverride& value) const;
    // Throws a Failure when the overrides can't be read.
    std::optional<OAuthOverride> FindOverride(const std::string& site_url) const;

    // Throws a Failure for a place that a token must not be sent to: over plain http to another machine,
    // without the person's word.
    void RequirePrivatePlace(const std::string& site_url) const;

    // A token that the place's server has already, so it must not be given out again.
    void NoteInUse(const std::string& site, const std::string& token);
    bool HasTokenInUse(const std::string& site);

    // An access token that was not given out before in this process for this place: one that another process
    // has stored meanwhile, a renewed one, or one from a new sign-in. Throws a Failure; 0x821704C7 when the
    // person declines or cancels.
    std::string GetToken(const OAuthRequest& request);

    // Deletes the tokens of a user, and those without a user, for scopes of this site's server.
    void Forget(const std::string& site_url, const std::string& user) const;

private:
    struct Tokens {
        std::string access;
        std::string refresh;
        std::int64_t expires = 0;  // seconds since 1970
        std::int64_t stored = 0;   // microseconds since 1970
    };
    bool IsFresh(const OAuthRequest& request, const Tokens& tokens) const;
    std::optional<Tokens> Load(const std::string& key) const;
    void Store(const std::string& key, const Tokens& tokens) const;
    // Nothing for an answer that brings none.
    static std::optional<Tokens> ReadTokens(const FormAnswer& answer, const Json& json);
    std::optional<Tokens> Refresh(const OAuthRequest& request, const std::string& refresh_token) const;
    Tokens SignIn(const OAuthRequest& request) const;
    Tokens SignInByCode(const OAuthRequest& request) const;
    Tokens SignInByDevice(const OAuthRequest& request) const;

    const Profile& m_profile;
    std::shared_ptr<const Cipher> m_cipher;
    SignInPrompts& m_prompts;
    const std::int64_t m_started;  // microseconds since 1970
    std::mutex m_mutex;
    std::set<std::pair<std::string, std::string>> m_in_use;  // places with tokens
    std::set<std::string> m_renewed;  // access tokens that came of a refresh in this process
};

// "scheme://host:port" of a URL, in lower case.
std::string ServerOf(const std::string& url);

}  // namespace host
