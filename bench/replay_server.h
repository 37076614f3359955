// A server that answers at once: what it was asked before it gives from memory, and what is new it fetches
// from the server behind it. It ends with its object.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "tests/support/loopback/raw_server.h"

namespace bench {

class ReplayServer {
public:
    explicit ReplayServer(std::string behind);  // an origin

    std::string Origin() const { return "http://127.0.0.1:" + std::to_string(m_server.port()); }
    // The target of the longest answer so far, and that answer's length.
    std::string LongestTarget(std::size_t& out_length) const;
    int Count() const { return m_server.requests(); }

private:
    std::string AnswerTo(const testing_support::Exchange& request);

    std::string m_behind;
    mutable std::mutex m_mutex;
    std::map<std::string, std::string> m_answers;  // by request line and depth
    testing_support::RawServer m_server;           // ends first
};

}  // namespace bench
