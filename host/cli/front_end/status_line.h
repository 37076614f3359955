// A line on the terminal that shows what sphost waits for: bytes and speed of a transfer, or the seconds of a
// wait. It appears after half a second and goes before anything else is shown. Any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace cli {

class StatusLine {
public:
    // Shows nothing unless `is_shown`. `what` is the command.
    StatusLine(bool is_shown, std::string what);
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    void ShowTransfer(bool is_upload, std::uint64_t done, std::uint64_t total);
    // Ends what is shown of a transfer.
    void EndTransfer();
    // How many of the documents of a command are done.
    void ShowCount(std::uint64_t done);

    // Nothing is shown as long as one lives: somebody else uses the terminal.
    class Pause {
    public:
        explicit Pause(StatusLine& line) : m_line(line) { m_line.Hold(); }
        ~Pause() { m_line.Release(); }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        StatusLine& m_line;
    };

private:
    using Clock = std::chrono::steady_clock;
    struct Bytes {
        bool is_upload;
        std::uint64_t done;
        std::uint64_t total;
        Clock::time_point start;
    };

    void Run();
    void Hold();
    void Release();
    std::string Text() const;
    void Clear();

    const bool m_is_shown;
    const std::string m_what;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ends = false;
    int m_pauses = 0;
    bool m_is_visible = false;
    Clock::time_point m_since = Clock::now();  // of the wait
    bool m_has_transfer = false;
    Bytes m_transfer{};
    std::uint64_t m_count = 0;
    std::thread m_thread;
};

// "1.5 GiB"
std::string SizeText(std::uint64_t bytes);

}  // namespace cli
