// Where a request goes: scheme, host, port and what stands in the request line.
// Plain values: one thread at a time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/wininet.h"

namespace platform::internet {

struct Target {
    bool secure = false;
    std::string host;  // an IPv6 address in brackets
    INTERNET_PORT port = 0;
    std::string object;  // starts with a slash

    std::string origin() const;  // scheme, host and port, always with the port, in lower case
    std::string url() const;     // without a default port
};

// Nothing for a name that can't stand in a URL.
std::optional<std::string> MakeHost(std::u16string_view server);
// The path and query as they may stand in a request line; escapes that are there stay as they are.
std::string MakeObject(std::u16string_view object);
// The place that a Location header names; nothing unless it is one for http or https.
std::optional<Target> Resolve(const Target& base, std::string_view location);
// The proxy that the environment names for requests by TLS, or for the others; empty for none.
std::string ProxyOf(bool secure);
// The name of that proxy alone.
std::string ProxyHostOf(bool secure);
// Whether secrets for `from` (cookies, tokens, digests, bodies) may be sent to `to`: the same host, and never
// from TLS to plain.
bool MayShareSecrets(const Target& from, const Target& to);

}  // namespace platform::internet
