#include "internet/kerberos.h"

#include <arpa/inet.h>
#include <krb5.h>
#include <netdb.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "internet/headers.h"

namespace platform::internet {

namespace {

class Context {
public:
    Context() {
        if (krb5_init_context(&m_context)) m_context = nullptr;
    }
    ~Context() {
        if (m_context) krb5_free_context(m_context);
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    explicit operator bool() const { return m_context != nullptr; }
    krb5_context get() const { return m_context; }

private:
    krb5_context m_context = nullptr;
};

// The realm of the person whose tickets are in the default cache; empty when there are none.
std::string RealmOfTicket(const Context& context) {
    krb5_ccache cache = nullptr;
    if (krb5_cc_default(context.get(), &cache)) return {};
    krb5_principal owner = nullptr;
    std::string realm;
    if (!krb5_cc_get_principal(context.get(), cache, &owner)) {
        const krb5_data* const data = krb5_princ_realm(context.get(), owner);
        realm.assign(data->data, data->length);
        krb5_free_principal(context.get(), owner);
    }
    krb5_cc_close(context.get(), cache);
    return realm;
}

std::string DefaultRealm(const Context& context) {
    char* text = nullptr;
    if (krb5_get_default_realm(context.get(), &text)) return {};
    std::string realm = text;
    krb5_free_default_realm(context.get(), text);
    return realm;
}

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && EqualsIgnoringCase(text.substr(text.size() - end.size()), end);
}

// What the configuration says of the host decides; where it says nothing, the host's domain.
bool IsInRealm(const Context& context, const std::string& host, const std::string& realm) {
    if (realm.empty()) return false;
    char** realms = nullptr;
    std::string mapped;
    if (!krb5_get_host_realm(context.get(), host.c_str(), &realms)) {
        if (realms && realms[0]) mapped = realms[0];
        krb5_free_host_realm(context.get(), realms);
    }
    return mapped.empty() ? EndsWith(host, "." + realm) : mapped == realm;
}

bool IsListed(const std::string& host) {
    const char* const text = std::getenv("PLATFORM_INTEGRATED_SIGN_IN");
    std::string_view list = text ? text : "";
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        const std::string_view item = list.substr(0, comma);
        list.remove_prefix(std::min(comma + 1, list.size()));
        if (item.starts_with('.') ? item.size() > 1 && EndsWith(host, item) : EqualsIgnoringCase(item, host))
            return true;
    }
    return false;
}

// RFC 1122, 1918, 3927, 4193 and 4291: this machine, this link, or an organisation's own network.
bool IsPrivate(const sockaddr* address) {
    if (address->sa_family == AF_INET) {
        const auto* const v4 = reinterpret_cast<const sockaddr_in*>(address);
        const std::uint32_t bits = ntohl(v4->sin_addr.s_addr);
        return bits >> 24 == 127 || bits >> 24 == 10 || bits >> 20 == 0xac1 || bits >> 16 == 0xc0a8 ||
               bits >> 16 == 0xa9fe;
    }
    if (address->sa_family != AF_INET6) return false;
    const in6_addr& v6 = reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    return IN6_IS_ADDR_LOOPBACK(&v6) || IN6_IS_ADDR_LINKLOCAL(&v6) || (v6.s6_addr[0] & 0xfe) == 0xfc;
}

bool IsInPrivateNetwork(const std::string& host) {
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, nullptr, &found)) return false;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
    for (const addrinfo* at = found; at; at = at->ai_next)
        if (!IsPrivate(at->ai_addr)) return false;
    return found != nullptr;
}

// Whether the person has a ticket, and the host is in its realm or on the list.
bool IsTicketFor(const std::string& host) {
    const Context context;
    if (!context) return false;
    const std::string realm = RealmOfTicket(context);
    return !realm.empty() && (IsListed(host) || IsInRealm(context, host, realm));
}

}  // namespace

bool MayUseTicket(const Target& target) {
    return IsTicketFor(target.host) &&
           (target.secure || (ProxyOf(false).empty() && IsInPrivateNetwork(target.host)));
}

bool MayUseTicketForProxy(const std::string& host) {
    return IsTicketFor(host) && IsInPrivateNetwork(host);
}

std::string PrincipalFor(const std::string& user, const std::string& host) {
    const Context context;
    if (!context || user.empty() || user.find('\\') != std::string::npos) return {};
    const std::size_t at = user.find('@');
    const std::string realm = at == std::string::npos ? DefaultRealm(context) : user.substr(at + 1);
    if (!IsInRealm(context, host, realm)) return {};
    return at == std::string::npos ? user + "@" + realm : user;
}

std::string WhyNoTicket(const std::string& principal, const std::string& password) {
    const Context context;
    if (!context) return "Kerberos is not set up on this machine";
    const auto words = [&](krb5_error_code code) {
        const char* const text = krb5_get_error_message(context.get(), code);
        std::string copy = text;
        krb5_free_error_message(context.get(), text);
        return copy;
    };
    krb5_principal name = nullptr;
    if (const krb5_error_code code = krb5_parse_name(context.get(), principal.c_str(), &name))
        return words(code);
    krb5_creds ticket{};
    const krb5_error_code code = krb5_get_init_creds_password(context.get(), &ticket, name, password.c_str(),
                                                              nullptr, nullptr, 0, nullptr, nullptr);
    std::string why = code ? words(code) : std::string();
    if (!code) krb5_free_cred_contents(context.get(), &ticket);
    krb5_free_principal(context.get(), name);
    return why;
}

}  // namespace platform::internet
