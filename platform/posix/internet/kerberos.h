// What Kerberos (RFC 4120) on this machine has for a server: the person's own ticket, and the realms of
// servers. Reads the configuration and the ticket cache that the environment names. Any thread.
#pragma once

#include <string>

#include "internet/target.h"

namespace platform::internet {

// Whether a challenge of the server is answered with the person's own ticket, without a question: the server
// is in the ticket's realm, or on the list PLATFORM_INTEGRATED_SIGN_IN=HOST,.SUFFIX...; and it is reached by
// TLS, or plainly on this machine or in a private network.
bool MayUseTicket(const Target& target);
// The same for a proxy, which is reached plainly.
bool MayUseTicketForProxy(const std::string& host);

// Who a name and a password are to Kerberos when they are for this host, as NAME@REALM. Empty when the host
// is in no realm that this machine or the name knows, and for a name with a domain of Windows.
std::string PrincipalFor(const std::string& user, const std::string& host);

// Why the realm gives no ticket for the name and the password, in its own words; GSS-API keeps them to
// itself. Asks the realm once more. Empty when there is a ticket.
std::string WhyNoTicket(const std::string& principal, const std::string& password);

}  // namespace platform::internet
