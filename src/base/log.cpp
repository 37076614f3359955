#include "base/log.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "base/text/encoding.h"
#include "base/text/ignore_case.h"
#include "platform/files.h"
#include "platform/text.h"

namespace Log {
namespace Internal {
std::atomic<int32_t> g_level{none};
}

namespace {

constexpr size_t kMaxMessage = 10240;
constexpr size_t kMaxHead = 1023;
constexpr uint64_t kTicksPerDay = 864'000'000'000;

// Shared by writers, so that nobody closes the file under a line; alone for who opens or closes it.
std::shared_mutex g_file_lock;
HANDLE g_file = INVALID_HANDLE_VALUE;
std::u16string g_path;

std::u16string MakeFolder() {
    std::array<char16_t, 260> buffer{};
    const DWORD length = GetTempPathW(259, buffer.data());
    if (length == 0 || length > 259) return {};
    std::u16string folder(buffer.data(), length);
    if (!folder.empty() && folder.back() == u'\\') folder.pop_back();
    return folder + u"\\TSMK-SharePoint";
}

bool IsHarmlessFolderError(DWORD code) {
    return code == 0 || code == ERROR_ACCESS_DENIED || code == ERROR_FILE_EXISTS ||
           code == ERROR_ALREADY_EXISTS;
}

bool MakeFoldersOf(const std::u16string& path) {
    for (size_t at = path.find(u'\\', 1); at != std::u16string::npos; at = path.find(u'\\', at + 1)) {
        if (!CreateDirectoryW(path.substr(0, at).c_str(), nullptr) &&
            !IsHarmlessFolderError(GetLastError())) {
            return false;
        }
    }
    return true;
}

template <size_t Size, typename... Arguments>
std::u16string Print(const char* format, Arguments... arguments) {
    std::array<char, Size> text{};
    const int length = std::snprintf(text.data(), text.size(), format, arguments...);
    if (length <= 0) return {};
    return Widen(std::string_view(text.data(), std::min(static_cast<size_t>(length), Size - 1)));
}

std::u16string NewPath(const SYSTEMTIME& time) {
    return Folder() + Print<64>("\\TSMK-SP_%d-%02d-%02d_%02d.%02d.%02d.%03d.log", time.wYear, time.wMonth,
                                time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
}

void WriteText(HANDLE file, std::u16string_view text) {
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size() * sizeof(char16_t)), &written, nullptr);
}

// False when there is no file to write to.
bool Open() {
    const std::lock_guard lock(g_file_lock);
    if (g_file != INVALID_HANDLE_VALUE) return true;  // another thread was first
    if (Folder().empty()) return false;
    SYSTEMTIME now{};
    GetSystemTime(&now);
    std::u16string path = NewPath(now);
    if (!MakeFoldersOf(path)) return false;
    const HANDLE file = CreateFileW(path.c_str(), FILE_GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_WRITE_THROUGH, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    WriteText(file, u"" __DATE__ " " __TIME__ "\n");
    g_file = file;
    g_path = std::move(path);
    return true;
}

// False when no file is open.
bool WriteToOpenFile(std::u16string_view line) {
    const std::shared_lock lock(g_file_lock);
    if (g_file == INVALID_HANDLE_VALUE) return false;
    WriteText(g_file, line);
    return true;
}

bool IsOpen() {
    const std::shared_lock lock(g_file_lock);
    return g_file != INVALID_HANDLE_VALUE;
}

uint64_t ToTicks(const FILETIME& time) {
    return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

uint64_t Now() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return ToTicks(now);
}

// docs/compatibility.md: The sweep looks for another stem
std::u16string SweepPattern() {
    return Folder() + u"\\TSMK-SharePoint_\?\?\?\?-\?\?-\?\?_\?\?.\?\?.\?\?.\?\?\?.log";
}

void DeleteOlderThan(uint64_t age) {
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(SweepPattern().c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    const uint64_t now = Now();
    do {
        const bool is_folder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (!is_folder && ToTicks(found.ftCreationTime) + age < now) {
            DeleteFileW((Folder() + u"\\" + found.cFileName).c_str());
        }
    } while (FindNextFileW(search, &found));
    FindClose(search);
}

bool NothingLeft() {
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(SweepPattern().c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;
    FindClose(search);
    return false;
}

// One conversion of a format: what stands between "%" and its letter is a zero flag, a width and a length.
void AppendConversion(std::u16string& text, char16_t letter, bool zero, int width, const Argument& argument) {
    const uint64_t number = argument.Number();
    const bool narrow = argument.IsNarrow();
    switch (letter) {
        case u's':
            text += argument.Text();
            return;
        case u'd':
        case u'i':
            text += Print<32>("%lld", narrow ? static_cast<long long>(static_cast<int32_t>(number))
                                             : static_cast<long long>(number));
            return;
        case u'u':
            text += Print<32>(
                "%llu", static_cast<unsigned long long>(narrow ? static_cast<uint32_t>(number) : number));
            return;
        case u'x':
            text +=
                Print<64>(zero ? "%0*llx" : "%*llx", std::min(width, 32),
                          static_cast<unsigned long long>(narrow ? static_cast<uint32_t>(number) : number));
            return;
        case u'p':
            text += Print<32>("%016llX", static_cast<unsigned long long>(number));
            return;
        default:
            return;
    }
}

}  // namespace

namespace Internal {

std::u16string FormatArguments(const char16_t* format, const Argument* arguments, size_t count) {
    std::u16string text;
    size_t next = 0;
    for (const char16_t* at = format; *at; ++at) {
        if (*at != u'%') {
            text += *at;
            continue;
        }
        if (*++at == u'%') {
            text += u'%';
            continue;
        }
        bool zero = false;
        int width = 0;
        for (; *at == u'.' || *at == u'l' || *at == u't' || (*at >= u'0' && *at <= u'9'); ++at) {
            if (*at == u'.' || (*at == u'0' && width == 0)) zero = true;
            if (*at >= u'0' && *at <= u'9') width = std::min(width * 10 + (*at - u'0'), 64);
        }
        if (!*at) break;
        // "%ul" is an unsigned number followed by the letter l, as printf reads it.
        if (next < count) AppendConversion(text, *at, zero, width, arguments[next]);
        ++next;
    }
    if (text.size() > kMaxMessage) text.resize(kMaxMessage);
    return text;
}

}  // namespace Internal

const std::u16string& Folder() {
    static const std::u16string folder = MakeFolder();
    return folder;
}

// The folder belongs to the load of the library, not to its first line.
[[maybe_unused]] static const std::u16string& g_folder_at_load = Folder();

void Write(Level level, std::string_view function, std::u16string_view message) {
    if (!IsOn(level) && !IsOpen()) return;
    SYSTEMTIME now{};
    GetSystemTime(&now);
    std::u16string line = Print<kMaxHead + 1>(
        "%04d-%02d-%02d %02d:%02d:%02d.%03d|%4x|%d|%.*s ", now.wYear, now.wMonth, now.wDay, now.wHour,
        now.wMinute, now.wSecond, now.wMilliseconds, GetCurrentThreadId(), static_cast<int>(level),
        static_cast<int>(function.size()), function.data());
    line.append(message);
    line += u'\n';
    if (!WriteToOpenFile(line) && IsOn(level) && Open()) WriteToOpenFile(line);
}

void ApplyPreferences(int32_t level, int32_t days_to_store_logs) {
    Internal::g_level.store(level, std::memory_order_relaxed);
    if (level == none) Close();
    Sweep(days_to_store_logs);
}

void Sweep(int32_t days) {
    if (Folder().empty()) return;
    DeleteOlderThan(static_cast<uint64_t>(std::max(days, 0)) * kTicksPerDay);
    if (NothingLeft()) RemoveDirectoryW(Folder().c_str());
}

void Close() {
    const std::lock_guard lock(g_file_lock);
    const HANDLE file = std::exchange(g_file, INVALID_HANDLE_VALUE);
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    g_path.clear();
}

std::u16string CurrentPath() {
    const std::shared_lock lock(g_file_lock);
    return g_path;
}

}  // namespace Log

namespace {

constexpr std::u16string_view kKeptTokens[] = {u"http://", u"https://", u"\\UNC\\", u"@SSL", u"DavWWWRoot"};

size_t KeptTokenLength(std::u16string_view text) {
    for (const std::u16string_view token : kKeptTokens) {
        if (StartsWithIgnoringAsciiCase(text, token)) return token.size();
    }
    return 0;
}

// Blanks and punctuation beyond ASCII; everything else there is, or is half of, a letter, a digit or a sign.
bool IsPunctuation(char16_t c) {
    constexpr char16_t kOrdinals[] = {0xAA, 0xB5, 0xBA};
    if (c < 0xC0) return std::find(std::begin(kOrdinals), std::end(kOrdinals), c) == std::end(kOrdinals);
    return c == 0xD7 || c == 0xF7 || (c >= 0x2000 && c <= 0x206F) || (c >= 0x3000 && c <= 0x3004) ||
           (c >= 0x3008 && c <= 0x3020);
}

char16_t MaskCharacter(char16_t c) {
    if (c >= 0x80) return IsPunctuation(c) ? c : u'x';
    if (c >= u'A' && c <= u'Z') return u'X';
    if (c >= u'a' && c <= u'z') return u'x';
    if (c >= u'0' && c <= u'9') return u'1';
    return c;
}

}  // namespace

std::u16string MaskForLog(std::u16string text) {
    for (size_t at = 0; at < text.size();) {
        if (const size_t kept = KeptTokenLength(std::u16string_view(text).substr(at)); kept != 0) {
            at += kept;
        } else {
            text[at] = MaskCharacter(text[at]);
            ++at;
        }
    }
    return text;
}
