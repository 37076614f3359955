// The program that shows sign-in pages, and the connection to it: one JSON object a line, in both directions.
// Made, used and destroyed on one thread; the callbacks run on a thread of their own.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "host/base/posix_file.h"

namespace host {

class BrowserProgram {
public:
    using OnLine = std::function<void(const std::string& line)>;
    // How the program ended: its exit status, or -1 for a signal.
    using OnEnd = std::function<void(int status)>;

    // Throws a Failure when it can't be started.
    BrowserProgram(const fs::path& program, OnLine on_line, OnEnd on_end);
    // Asks the program to end and waits for its last lines; kills it when it doesn't end.
    ~BrowserProgram();
    BrowserProgram(const BrowserProgram&) = delete;
    BrowserProgram& operator=(const BrowserProgram&) = delete;

    // False when the program has ended.
    bool Send(const std::string& line);

private:
    void Listen();

    const OnLine m_on_line;
    const OnEnd m_on_end;
    Descriptor m_socket;
    pid_t m_process = -1;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ended = false;
    std::thread m_listener;
};

}  // namespace host
