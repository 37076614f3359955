// The names that a request may address the server by. A page elsewhere that lets its own name resolve to this
// machine is refused by them.
// Owner: http/server; any thread.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace devserver::http {

// Whether only this machine can reach the host: "localhost" and names below it, 127.0.0.0/8, ::1.
bool IsLoopback(std::string_view host);

class HostNames {
public:
    // `listening` is the host that the server listens on; on 0.0.0.0 and :: every address counts as its own.
    HostNames(std::string_view listening, const std::vector<std::string>& more);
    // Takes the value of a Host header, with or without a port.
    bool Has(std::string_view host_header) const;

private:
    std::vector<std::string> m_names;
    bool m_any_address;
};

}  // namespace devserver::http
