#include "host/cli/front_end/terminal.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "host/base/interrupt.h"

namespace cli {

namespace {

void WriteAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) return;
        if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
    }
}

// Switches the echo off and on again at the end.
class Silence {
public:
    explicit Silence(bool wanted) {
        m_changed = wanted && tcgetattr(STDIN_FILENO, &m_saved) == 0;
        if (!m_changed) return;
        termios silent = m_saved;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~Silence() {
        if (!m_changed) return;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_saved);
        WriteAll(STDERR_FILENO, "\n");
    }

private:
    termios m_saved{};
    bool m_changed = false;
};

// Nothing at the end of input or on an interrupt.
std::optional<std::string> ReadLine() {
    std::string line;
    for (;;) {
        std::array<pollfd, 2> watched{{{STDIN_FILENO, POLLIN, 0}, {host::InterruptDescriptor(), POLLIN, 0}}};
        if (poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR) return std::nullopt;
        if (host::InterruptFlag()) return std::nullopt;
        if (!(watched[0].revents & (POLLIN | POLLHUP | POLLERR))) continue;
        char byte = 0;
        const ssize_t got = read(STDIN_FILENO, &byte, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return std::nullopt;
        if (byte == '\n') return line;
        line += byte;
    }
}

}  // namespace

bool ProcessTerminal::CanAsk() const {
    return isatty(STDIN_FILENO) && isatty(STDERR_FILENO);
}

void ProcessTerminal::Show(std::string_view line) {
    const std::lock_guard lock(mutex());
    WriteAll(STDERR_FILENO, std::string(line) + "\n");
}

std::optional<std::string> ProcessTerminal::Ask(std::string_view question, bool echo) {
    const std::lock_guard lock(mutex());
    // The echo is off before the question appears, so that no typed character is shown.
    const Silence silence(!echo);
    WriteAll(STDERR_FILENO, question);
    auto line = ReadLine();
    if (!line && echo) WriteAll(STDERR_FILENO, "\n");
    return line;
}

}  // namespace cli
