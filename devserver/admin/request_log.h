// What was asked and answered, for tests: methods, addresses, sizes; names of headers, never their values.
// Owner: app/service; any thread.
#pragma once
#include <deque>
#include <fstream>
#include <mutex>
#include <string>

#include "http/message.h"

namespace devserver {

class RequestLog {
public:
    // Also appends to `file` unless it is empty; throws when that can't be written.
    explicit RequestLog(const std::string& file);
    void add(const http::Request& request, const http::ExchangeResult& result, const std::string& user);
    std::string json();
    void clear();

private:
    std::mutex m_mutex;
    std::deque<std::string> m_lines;
    std::ofstream m_file;
    std::size_t m_number = 0;
};

}  // namespace devserver
