// The request log for tests: methods, addresses, sizes, names of headers; never their values.
// Owner: app/service; any thread.
#pragma once
#include <condition_variable>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "http/message.h"

namespace devserver {

class RequestLog {
public:
    // Also appends to `file` unless it is empty; throws when that can't be written.
    explicit RequestLog(const std::string& file);
    // Counts a request before it is served; returns its number.
    std::size_t begin();
    void Finish(std::size_t number, const http::Request& request, const http::ExchangeResult& result,
                const std::string& user);
    // All finished requests, after a short wait for those whose answer is just going out.
    std::string json();
    void Clear();

private:
    void AwaitFinished(std::unique_lock<std::mutex>& lock);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::set<std::size_t> m_running;
    std::map<std::size_t, std::string> m_lines;
    std::ofstream m_file;
    std::size_t m_number = 0;
};

}  // namespace devserver
