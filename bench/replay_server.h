// A server that answers at once: what it was asked before it gives from memory, and what is new it fetches
// from the server behind it. Its thread lives with the object; one connection at a time is served per thread.
#pragma once

#include <atomic>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace bench {

class ReplayServer {
public:
    explicit ReplayServer(std::string behind);  // an origin
    ~ReplayServer();
    ReplayServer(const ReplayServer&) = delete;
    ReplayServer& operator=(const ReplayServer&) = delete;

    const std::string& Origin() const { return m_origin; }
    // The target of the longest answer so far, and that answer's length.
    std::string LongestTarget(std::size_t& out_length) const;
    std::size_t Count() const { return m_count; }  // requests so far

private:
    void Accept();
    void Serve(int connection);
    std::string AnswerTo(const std::string& head, const std::string& body);

    std::string m_behind, m_origin;
    int m_listener = -1;
    std::atomic<std::size_t> m_count{0};
    mutable std::mutex m_mutex;
    std::map<std::string, std::string> m_answers;  // by request line and depth
    std::list<int> m_connections;
    std::list<std::thread> m_threads;
    std::thread m_accepting;
};

}  // namespace bench
