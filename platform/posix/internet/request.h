// A request that can be sent again and again: its headers, its sign-in, and the places it is redirected to.
// One call at a time (each takes the lock); closing may come from any thread.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "internet/handles.h"
#include "internet/headers.h"
#include "internet/negotiation.h"
#include "internet/transfer.h"

namespace platform::internet {

class Request final : public Object {
public:
    static constexpr Kind kKind = Kind::request;

    Request(std::shared_ptr<Connection> connection, std::string verb, std::string object, DWORD flags);
    void Close() override { m_closed = true; }

    // All return a Win32 error number.
    DWORD AddHeaders(std::u16string_view text, DWORD modifiers);
    DWORD Send(std::u16string_view headers, const void* body, std::size_t size);
    DWORD BeginUpload(std::u16string_view headers, DWORD total);
    DWORD Write(const void* data, std::size_t size);
    DWORD EndUpload();
    DWORD Read(void* buffer, std::size_t size, std::size_t& out_read);
    DWORD Query(DWORD level, void* buffer, DWORD* size, DWORD* index);
    DWORD SetCredential(DWORD option, std::string text);
    void SetConnectTimeout(DWORD milliseconds);
    std::string FinalUrl();
    std::string ErrorText();

private:
    // Credentials that the caller set, and the origin that they are for.
    struct Given {
        Credentials credentials;
        std::string origin;
        unsigned long scheme = 0;
    };
    enum class Step { done, again, failed };
    struct Outcome {
        Step step = Step::done;
        DWORD error = ERROR_SUCCESS;
    };

    TransferRequest Make(const Target& target) const;
    std::optional<Login> ChooseLogin(const std::string& origin, const Given& given) const;
    unsigned long SchemeFor(bool proxy, const Credentials& credentials);
    bool TakeTicket(bool proxy);
    void ForgetTicket(bool proxy);
    void StartOver(const Target& target, std::string verb);
    void ChooseLogins();
    DWORD Run(const void* body, std::size_t size);
    void BeginNegotiation();
    DWORD SendFirstToken();
    bool ContinueNegotiation();
    Outcome HandleAnswer();
    Outcome AnswerChallenge(bool proxy);
    Outcome FollowRedirect();
    void NoteProxyLogin();
    void NoteSuccess();
    std::string ProxyOrigin() const { return "proxy " + ProxyOf(m_target.secure); }
    CredentialStore& Remembered() const { return m_connection->session->credentials; }
    long long UploadSize(DWORD total) const;

    const std::shared_ptr<Connection> m_connection;
    const std::string m_verb;
    Target m_original_target;
    std::atomic<bool> m_closed{false};

    std::mutex m_mutex;
    RequestHeaders m_headers;
    DWORD m_connect_timeout;
    Given m_given;
    Given m_proxy_given;
    std::set<std::string> m_ticket_origins;          // what is answered with the person's own ticket
    std::set<std::string> m_refused_ticket_origins;  // what refused it
    bool m_sent = false;

    // The exchange in progress.
    Target m_target;
    std::string m_current_verb;
    bool m_with_body = true;
    bool m_has_body = false;
    int m_redirects = 0;
    std::optional<Login> m_login;
    std::optional<Login> m_proxy_login;
    std::unique_ptr<Negotiation> m_negotiation;  // while a login by it goes on
    bool m_token_was_sent = false;               // with the last request, by it
    std::optional<Target> m_upload_target;       // where the next attempt of a redirected upload goes
    Transfer m_transfer;
};

}  // namespace platform::internet
