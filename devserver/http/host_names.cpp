#include "http/host_names.h"

#include <arpa/inet.h>

#include <algorithm>
#include <optional>

#include "base/text.h"

namespace devserver::http {
namespace {

// In lower case, without port, brackets and the dot at the end.
std::string PlainHost(std::string_view header) {
    auto text = Trim(header);
    if (text.starts_with('[')) {
        text = text.substr(1, text.find(']') - 1);
    } else if (std::count(text.begin(), text.end(), ':') == 1) {
        text = text.substr(0, text.find(':'));
    }
    if (text.ends_with('.')) text.remove_suffix(1);
    return ToLower(text);
}

std::optional<in_addr> Ipv4(const std::string& host) {
    in_addr address{};
    return ::inet_pton(AF_INET, host.c_str(), &address) == 1 ? std::optional(address) : std::nullopt;
}

std::optional<in6_addr> Ipv6(const std::string& host) {
    in6_addr address{};
    return ::inet_pton(AF_INET6, host.c_str(), &address) == 1 ? std::optional(address) : std::nullopt;
}

bool IsAnyAddress(const std::string& host) {
    if (auto address = Ipv4(host)) return address->s_addr == htonl(INADDR_ANY);
    auto address = Ipv6(host);
    return address && IN6_IS_ADDR_UNSPECIFIED(&*address);
}

}  // namespace

bool IsLoopback(std::string_view host) {
    auto name = PlainHost(host);
    if (auto address = Ipv4(name)) return ntohl(address->s_addr) >> 24 == 127;
    if (auto address = Ipv6(name)) return IN6_IS_ADDR_LOOPBACK(&*address);
    return name == "localhost" || name.ends_with(".localhost");
}

HostNames::HostNames(std::string_view listening, const std::vector<std::string>& more)
    : m_names{PlainHost(listening)}, m_any_address(IsAnyAddress(m_names[0])) {
    for (const auto& name : more) m_names.push_back(PlainHost(name));
}

bool HostNames::Has(std::string_view host_header) const {
    auto name = PlainHost(host_header);
    if (IsLoopback(name) || std::find(m_names.begin(), m_names.end(), name) != m_names.end()) return true;
    return m_any_address && (Ipv4(name) || Ipv6(name));
}

}  // namespace devserver::http
