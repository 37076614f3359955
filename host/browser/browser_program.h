// The program that shows sign-in pages, and the line to it: a JSON object a line in each direction.
// Start, Send and the end belong to one thread; what is heard comes on a thread of its own.
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
    // Asks it to end, waits until all of its lines were heard, and ends one that doesn't.
    ~BrowserProgram();
    BrowserProgram(const BrowserProgram&) = delete;
    BrowserProgram& operator=(const BrowserProgram&) = delete;

    // False when it is gone.
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
