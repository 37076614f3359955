#include "platform/base.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <ctime>

namespace {

thread_local DWORD t_last_error = 0;

constexpr long long kTicksPerSecond = 10'000'000;
constexpr long long kTicksPerDay = 86'400 * kTicksPerSecond;
constexpr std::chrono::sys_days kFileTimeEpoch = std::chrono::year(1601) / 1 / 1;
constexpr long long kUnixEpochInTicks =
    (std::chrono::sys_days{} - kFileTimeEpoch).count() * 86'400LL * kTicksPerSecond;

long long TicksNow() {
    using Ticks = std::chrono::duration<long long, std::ratio<1, kTicksPerSecond>>;
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<Ticks>(since).count() + kUnixEpochInTicks;
}

FILETIME ToFileTime(long long ticks) {
    return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}

SYSTEMTIME ToSystemTime(long long ticks) {
    const std::chrono::sys_days day = kFileTimeEpoch + std::chrono::days(ticks / kTicksPerDay);
    const std::chrono::year_month_day date(day);
    const long long milliseconds = ticks % kTicksPerDay / 10'000;
    SYSTEMTIME time;
    time.wYear = static_cast<WORD>(static_cast<int>(date.year()));
    time.wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
    time.wDayOfWeek = static_cast<WORD>(std::chrono::weekday(day).c_encoding());
    time.wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
    time.wHour = static_cast<WORD>(milliseconds / 3'600'000);
    time.wMinute = static_cast<WORD>(milliseconds / 60'000 % 60);
    time.wSecond = static_cast<WORD>(milliseconds / 1'000 % 60);
    time.wMilliseconds = static_cast<WORD>(milliseconds % 1'000);
    return time;
}

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

}  // namespace

DWORD GetLastError() {
    return t_last_error;
}

void SetLastError(DWORD error) {
    t_last_error = error;
}

DWORD GetCurrentThreadId() {
    thread_local const DWORD id = static_cast<DWORD>(syscall(SYS_gettid));
    return id;
}

void GetSystemTime(SYSTEMTIME* time) {
    *time = ToSystemTime(TicksNow());
}

void GetSystemTimeAsFileTime(FILETIME* time) {
    *time = ToFileTime(TicksNow());
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* system_time, FILETIME* file_time) {
    if (!system_time || !file_time) return Fail(ERROR_INVALID_PARAMETER);
    const std::chrono::year_month_day date(std::chrono::year(system_time->wYear),
                                           std::chrono::month(system_time->wMonth),
                                           std::chrono::day(system_time->wDay));
    const bool valid = date.ok() && system_time->wYear >= 1601 && system_time->wYear <= 30827 &&
                       system_time->wHour < 24 && system_time->wMinute < 60 && system_time->wSecond < 60 &&
                       system_time->wMilliseconds < 1000;
    if (!valid) return Fail(ERROR_INVALID_PARAMETER);
    const long long days = (std::chrono::sys_days(date) - kFileTimeEpoch).count();
    const long long seconds =
        system_time->wHour * 3'600LL + system_time->wMinute * 60LL + system_time->wSecond;
    *file_time =
        ToFileTime(days * kTicksPerDay + seconds * kTicksPerSecond + system_time->wMilliseconds * 10'000LL);
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* file_time, SYSTEMTIME* system_time) {
    if (!file_time || !system_time || file_time->dwHighDateTime > 0x7FFFFFFF)
        return Fail(ERROR_INVALID_PARAMETER);
    *system_time = ToSystemTime(static_cast<long long>(file_time->dwHighDateTime) << 32 |
                                static_cast<long long>(file_time->dwLowDateTime));
    return TRUE;
}

BOOL SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                                     SYSTEMTIME* local) {
    FILETIME utc;
    if (zone || !local || !SystemTimeToFileTime(universal, &utc)) return Fail(ERROR_INVALID_PARAMETER);
    const long long ticks =
        static_cast<long long>(utc.dwHighDateTime) << 32 | static_cast<long long>(utc.dwLowDateTime);
    // Rounded down, so that times before 1970 keep their zone.
    const long long since_unix = ticks - kUnixEpochInTicks;
    const std::time_t seconds =
        static_cast<std::time_t>(since_unix >= 0 ? since_unix / kTicksPerSecond
                                                 : -((-since_unix + kTicksPerSecond - 1) / kTicksPerSecond));
    std::tm broken_down{};
    if (!localtime_r(&seconds, &broken_down)) return Fail(ERROR_INVALID_PARAMETER);
    const long long local_ticks = ticks + broken_down.tm_gmtoff * kTicksPerSecond;
    if (local_ticks < 0) return Fail(ERROR_INVALID_PARAMETER);
    *local = ToSystemTime(local_ticks);
    return TRUE;
}
