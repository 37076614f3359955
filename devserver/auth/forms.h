// Signing in on the site's own page, which sets cookies (MS-OFBA): the cookies, the answer that names the
// page, the page itself, and signing out. Owner: auth/; any thread.
#pragma once
#include <optional>
#include <string>

#include "auth/authenticator.h"

namespace devserver {

struct FormsOptions {
    int cookie_lifetime = 12 * 3600;  // seconds
    bool return_url = true;           // answers say where the sign-in ends
};

class FormsAuthenticator : public Authenticator {
public:
    FormsAuthenticator(Store& store, Tickets& tickets, FormsOptions options)
        : m_store(store), m_tickets(tickets), m_options(options) {}
    // By the cookie FedAuth; the other one belongs to the page.
    std::optional<User> authenticate(const http::Request& request) override;
    // Browsers are led to the page; other clients get a 403 that says where it is (MS-OFBA 2.2.2).
    http::Response challenge(const http::Request& request) override;
    // The pages that need no sign-in; nothing when the path is none of theirs.
    std::optional<http::Response> handle(http::Request& request);

private:
    http::Response sign_in(http::Request& request);
    http::Response sign_out(const http::Request& request);
    // Without `keep` the browser forgets them when it ends; the server forgets them all the same.
    void set_cookies(const http::Request& request, const User& user, bool keep, http::Response& response);

    Store& m_store;
    Tickets& m_tickets;
    const FormsOptions m_options;
};

// An answer that sends a client which is no browser to the page (MS-OFBA 2.2.2).
http::Response forms_challenge(const http::Request& request, bool with_return_url);

}  // namespace devserver
