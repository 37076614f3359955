// The inside of the connection object, for the sources of this folder alone.
#pragma once

#include <map>

#include "http/blocking_call.h"
#include "http/session.h"

namespace Http {

using CredentialsByHost = std::map<std::u16string, Session::Credentials>;

struct Session::Impl {
    Impl() = default;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl();

    // Flags for a request of this connection beside `extra`.
    uint32_t RequestFlags(uint32_t extra) const;
    // The header lines every request begins with, up to the caller's; `length_line` may be empty.
    std::u16string HeaderBlock(std::u16string_view length_line, const char16_t* headers) const;

    const std::shared_ptr<CancelWatch> watch = GetCancelWatch();
    Handle open_handle = nullptr;
    Handle connect_handle = nullptr;
    std::u16string scheme;
    std::u16string host;
    uint16_t port = 0;
    std::u16string uri;  // of the three, asked for with each item of a listing
    AuthCookies cookies;
    std::u16string auth_token;
    CredentialsByHost credentials;
    OnCredentials on_credentials;
    CredentialsByHost proxy_credentials;
    OnCredentials on_proxy_credentials;
    OnAuthCookies on_auth_cookies;
    OnAuthToken on_auth_token;
};

// Throws Exception for a bearer token with a control character.
void CheckToken(const std::u16string& token);

// Sends and waits for the head of the answer, up to three times when the internet layer asks for it; gives
// the status. A send that needed a retry counts as failed: ApiException.
uint32_t SendRequest(Handle request_handle, const std::u16string& headers, const char* body,
                     uint32_t body_size, std::chrono::milliseconds patience = {});

// Begins an upload in the same way.
void SendRequestEx(Handle request_handle, uint64_t content_length);

// One request sent as often as signing in makes progress.
class Session::Exchange {
public:
    // `patience` is how long a cancelled request may still wait for its answer.
    Exchange(Impl& session, Handle handle, const char16_t* headers, const char* body, uint32_t body_size,
             std::chrono::milliseconds patience);

    // The final status. ApiException, or whatever a callback threw.
    uint32_t Run();
    // The header lines of the last send.
    const std::u16string& SentHeaders() const { return m_text; }

private:
    // What a refusal is answered with: the server's or the proxy's.
    struct CredentialsSource {
        CredentialsByHost& known;
        const OnCredentials& callback;
        uint32_t user_option;
        uint32_t password_option;
    };

    void Send();
    // What the credentials of the server that answered are kept under: its host, and the port where it is not
    // the session's.
    std::u16string AnsweringHost() const;
    bool IsNew();  // enters host and status of the last send into what this call has seen
    bool SignIn();
    bool SignInWithCredentials();
    bool SignInWithForms();
    void SetOptions(const CredentialsSource& source, const Credentials& record);
    CredentialsSource SourceFor(uint32_t status);

    Impl& m_session;
    Handle m_handle;
    const char16_t* m_headers;
    const char* m_body;
    uint32_t m_body_size;
    std::chrono::milliseconds m_patience;
    std::u16string m_text;
    std::u16string m_host;
    uint32_t m_status = 0;
    std::multimap<std::u16string, uint32_t> m_visited;
};

}  // namespace Http
