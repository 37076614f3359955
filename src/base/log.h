// The trace log: UTF-16 lines in the user's temporary folder, with a level chosen in the preferences.
// Any thread may write; each line is one write.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/base.h"

namespace Log {

enum Level : int32_t { none = 0, error = 1, warning = 2, information = 3, verbose = 4 };

namespace Internal {
extern std::atomic<int32_t> g_level;
}

// True when a line of `level` is wanted; the one test that every caller makes before it builds a text.
inline bool IsOn(Level level) {
    return level <= Internal::g_level.load(std::memory_order_relaxed) && level != none;
}

// Writes one line: time, thread, level, "function", message. Failures are silent.
void Write(Level level, std::string_view function, std::u16string_view message);

// Sets the level, closes an open file when it is 0, and sweeps logs older than `days_to_store_logs`.
void ApplyPreferences(int32_t level, int32_t days_to_store_logs);

// Deletes old-stem logs older than `days`, and the folder when nothing is left in it.
void Sweep(int32_t days);

// Closes the file; the next line begins a new one.
void Close();

// Path of the file in use, empty while there is none.
std::u16string CurrentPath();

// Where logs are made, without a trailing backslash; empty when the system has no temporary folder.
const std::u16string& Folder();

// One argument of Format: a text or a number. Narrow text is ASCII.
class Argument {
public:
    Argument(const std::u16string& text) : m_text(text) {}
    Argument(std::u16string_view text) : m_text(text) {}
    Argument(const char16_t* text) : m_text(text ? text : u"(null)") {}
    Argument(const void* pointer) : m_number(reinterpret_cast<uintptr_t>(pointer)) {}
    template <typename T, typename = std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>>>
    Argument(T number) : m_number(static_cast<uint64_t>(number)), m_narrow(sizeof(T) <= 4) {}

    std::u16string_view Text() const { return m_text; }
    uint64_t Number() const { return m_number; }
    bool IsNarrow() const { return m_narrow; }

private:
    std::u16string_view m_text;
    uint64_t m_number = 0;
    bool m_narrow = false;
};

namespace Internal {
std::u16string FormatArguments(const char16_t* format, const Argument* arguments, size_t count);
}

// printf-like with %s %d %i %u %ul %lld %llu %tu %x %p %%, cut at 10,240 characters; each conversion takes
// the next argument, and one without an argument renders empty.
template <typename... Arguments>
std::u16string Format(const char16_t* format, const Arguments&... arguments) {
    const Argument list[] = {Argument(arguments)..., Argument(u"")};
    return Internal::FormatArguments(format, list, sizeof...(arguments));
}

}  // namespace Log

// Overwrites letters and digits so that a URL, path or name keeps only its structure, and hands the text on.
std::u16string MaskForLog(std::u16string text);

// A free log line at a level, inside a function that has TRACE_ENTRY.
#define LOG_LINE(level, ...)                                                               \
    do {                                                                                   \
        if (Log::IsOn(level)) Log::Write(level, trace_function, Log::Format(__VA_ARGS__)); \
    } while (false)
