// The connection to one server: scheme, host and port, with what is known for signing in to it.
// Shared by a session's objects; it has no lock, and calls block the calling thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "http/cookies.h"
#include "http/exchange.h"

namespace Http {

class Session {
public:
    struct Credentials {
        std::u16string user;
        std::u16string password;
    };
    using AuthCookies = CookieList;

    // Callbacks refuse or cancel by throwing. `credentials` comes filled with what is stored for the host.
    using OnCredentials =
        std::function<void(Credentials& credentials, const char16_t* host, const char16_t* status_text)>;
    using OnAuthCookies = std::function<void(AuthCookies& out_cookies, const char16_t* server_url,
                                             const char16_t* required_url, const char16_t* return_url)>;
    using OnAuthToken = std::function<void(std::u16string& out_token, const char16_t* url)>;

    // `scheme` is "http://" or "https://". A record without a user is not kept. ApiException.
    static std::shared_ptr<Session> Create(const std::u16string& scheme, const std::u16string& host,
                                           uint16_t port, const Credentials& credentials,
                                           const Credentials& proxy_credentials);

    // Takes a URL apart; every out argument may be null. The path comes decoded, without slashes at its ends;
    // query and fragment are dropped. ApiException, or Exception for a scheme other than http and https.
    static void CrackUri(const char16_t* uri, std::u16string* scheme, std::u16string* host, uint16_t* port,
                         Credentials* credentials, std::u16string* path);

    virtual ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Scheme, host and port (unless it is the scheme's own), without a slash at the end.
    std::u16string GetUri() const;

    // Forgets all that the process remembers of the user, and starts over with the given credentials.
    // The bearer token and the proxy's credentials stay. ApiException, which leaves the session unusable.
    void ResetAuthorizationData(const Credentials& credentials);

    // Sends a request, signing in as often as that makes progress, and waits for the head of the answer.
    // `object` is path and query; `accept_types` is ended by a null, or null; `headers` may be null, its
    // lines end in "\n"; a body with size 0 is zero-ended text. ApiException; with `check_status`
    // HttpException for a final status outside 200 to 399; whatever a callback threw.
    Response SendRequest(const char16_t* verb, const std::u16string& object,
                         const char16_t* const* accept_types, const char16_t* headers, const char* body,
                         ptrdiff_t body_size, bool check_status);

    // Opens an upload (PUT) of `size` bytes, ready for Write. It doesn't sign in by itself. ApiException.
    Request CreateRequest(const std::u16string& object, const char16_t* const* accept_types, uint64_t size,
                          const char16_t* headers);

    const AuthCookies& GetCookies() const;
    void SetCookies(AuthCookies cookies);
    const std::u16string& GetAuthToken() const;
    // Throws Exception for a token with a control character, which could end its header line.
    void SetAuthToken(std::u16string token);
    void SetOnCredentials(OnCredentials callback);
    void SetOnProxyCredentials(OnCredentials callback);
    void SetOnAuthCookies(OnAuthCookies callback);
    void SetOnAuthToken(OnAuthToken callback);

private:
    struct Impl;
    class Exchange;
    explicit Session(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};

// The host of a URL. Throws what CrackUri throws.
std::u16string GetHost(const std::u16string& url);

// A connection to the sign-in server of hosted sites, without credentials.
std::shared_ptr<Session> ConnectToLoginServer();

// The system's user agent, or one of this program's own.
std::u16string GetUserAgent();

}  // namespace Http
