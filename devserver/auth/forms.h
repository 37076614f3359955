// Signing in on the site's own page, which sets cookies (MS-OFBA): the cookies, the answer that names the
// page, the page itself, and signing out.
// Owner: auth/; any thread.
#pragma once
#include <optional>
#include <string>

#include "auth/authenticator.h"

namespace devserver {

struct FormsOptions {
    int cookie_lifetime = 12 * 3600;  // seconds
    bool return_url = true;           // whether answers name the address where the sign-in ends
};

class FormsAuthenticator : public Authenticator {
public:
    FormsAuthenticator(Store& store, Tickets& tickets, FormsOptions options)
        : m_store(store), m_tickets(tickets), m_options(options) {}
    // By the cookie FedAuth alone.
    std::optional<User> Authenticate(const http::Request& request) override;
    // Browsers are redirected to the page; other clients get a 403 with its address (MS-OFBA 2.2.2).
    http::Response Challenge(const http::Request& request) override;
    // Serves the pages that need no sign-in; nothing for any other path.
    std::optional<http::Response> Handle(http::Request& request);

private:
    http::Response SignIn(http::Request& request);
    http::Response SignOut(const http::Request& request);
    // Without `keep` the cookies last as long as the browser runs; on the server they expire as usual.
    void SetCookies(const http::Request& request, const User& user, bool keep, http::Response& response);

    Store& m_store;
    Tickets& m_tickets;
    const FormsOptions m_options;
};

// The 403 that tells a client other than a browser where the page is (MS-OFBA 2.2.2).
http::Response FormsChallenge(const http::Request& request, bool with_return_url);

}  // namespace devserver
