#include "host/cli/front_end/status_line.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace cli {

namespace {

constexpr auto kDelay = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(200);

void Write(const std::string& text) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

double Seconds(std::chrono::steady_clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

}  // namespace

std::string SizeText(std::uint64_t bytes) {
    static constexpr std::array<const char*, 5> kUnits{"bytes", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    auto number = static_cast<double>(bytes);
    for (; number >= 1024 && unit + 1 < kUnits.size(); ++unit) number /= 1024;
    char text[32];
    std::snprintf(text, sizeof(text), unit == 0 ? "%.0f %s" : "%.1f %s", number, kUnits[unit]);
    return text;
}

StatusLine::StatusLine(bool is_shown, std::string what) : m_is_shown(is_shown), m_what(std::move(what)) {
    if (!m_is_shown) return;
    // Signals are the main thread's.
    sigset_t all;
    sigset_t saved;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &saved);
    m_thread = std::thread([this] { Run(); });
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
}

StatusLine::~StatusLine() {
    if (!m_is_shown) return;
    {
        const std::lock_guard lock(m_mutex);
        m_ends = true;
        Clear();
    }
    m_changed.notify_all();
    m_thread.join();
}

void StatusLine::Run() {
    std::unique_lock lock(m_mutex);
    // By the clock of the system, since ThreadSanitizer does not see a wait by the steady one.
    while (!m_changed.wait_until(lock, std::chrono::system_clock::now() + kInterval,
                                 [this] { return m_ends; })) {
        if (m_pauses > 0 || Clock::now() - m_since < kDelay) continue;
        Write("\r\x1B[K" + Text());
        m_is_visible = true;
    }
}

std::string StatusLine::Text() const {
    const auto now = Clock::now();
    std::string text = m_what + ": ";
    if (m_count > 0) text += std::to_string(m_count) + " done, ";
    if (!m_has_transfer) return text + std::to_string(static_cast<int>(Seconds(now - m_since))) + " s";
    const Bytes& transfer = m_transfer;
    text += transfer.is_upload ? "sending " : "receiving ";
    if (transfer.total > 0) {
        text += std::to_string(std::min(transfer.done, transfer.total) * 100 / transfer.total) + " % of " +
                SizeText(transfer.total);
    } else {
        text += SizeText(transfer.done);
    }
    const double seconds = std::max(0.001, Seconds(now - transfer.start));
    return text + ", " + SizeText(static_cast<std::uint64_t>(static_cast<double>(transfer.done) / seconds)) +
           "/s";
}

void StatusLine::Clear() {
    if (m_is_visible) Write("\r\x1B[K");
    m_is_visible = false;
}

void StatusLine::ShowTransfer(bool is_upload, std::uint64_t done, std::uint64_t total) {
    const std::lock_guard lock(m_mutex);
    const bool is_next = !m_has_transfer || m_transfer.is_upload != is_upload || done < m_transfer.done;
    m_transfer = {is_upload, done, total, is_next ? Clock::now() : m_transfer.start};
    m_has_transfer = done < total;
}

void StatusLine::EndTransfer() {
    const std::lock_guard lock(m_mutex);
    m_has_transfer = false;
}

void StatusLine::ShowCount(std::uint64_t done) {
    const std::lock_guard lock(m_mutex);
    m_count = done;
}

void StatusLine::Hold() {
    const std::lock_guard lock(m_mutex);
    ++m_pauses;
    Clear();
}

void StatusLine::Release() {
    const std::lock_guard lock(m_mutex);
    if (--m_pauses == 0) m_since = Clock::now();
}

}  // namespace cli
