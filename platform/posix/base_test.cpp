// Result codes, last error and the clock.
#include "platform/base.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <thread>

namespace {

ULONGLONG Ticks(const FILETIME& time) {
    return ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

TEST(Results, ErrorNumbersBecomeResultCodes) {
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), E_ACCESSDENIED);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_SUCCESS), S_OK);
    EXPECT_EQ(HRESULT_FROM_WIN32(0x821704C7), static_cast<HRESULT>(0x821704C7));
    EXPECT_TRUE(FAILED(E_FAIL) && SUCCEEDED(S_FALSE));
}

TEST(LastError, BelongsToTheThread) {
    SetLastError(5);
    DWORD other = 1;
    std::thread([&] { other = GetLastError(); }).join();
    EXPECT_EQ(other, 0u);
    EXPECT_EQ(GetLastError(), 5u);
}

TEST(Clock, KnownDatesGoBothWays) {
    const SYSTEMTIME unix_epoch{1970, 1, 4, 1, 0, 0, 0, 0};
    FILETIME file_time;
    ASSERT_TRUE(SystemTimeToFileTime(&unix_epoch, &file_time));
    EXPECT_EQ(Ticks(file_time), 116444736000000000ull);
    const SYSTEMTIME leap{2024, 2, 0, 29, 23, 59, 58, 123};
    ASSERT_TRUE(SystemTimeToFileTime(&leap, &file_time));
    SYSTEMTIME back;
    ASSERT_TRUE(FileTimeToSystemTime(&file_time, &back));
    EXPECT_EQ(back.wDay, 29);
    EXPECT_EQ(back.wDayOfWeek, 4);
    EXPECT_EQ(back.wMilliseconds, 123);
    EXPECT_EQ(back.wSecond, 58);
}

TEST(Clock, DatesThatDoNotExistAreRefused) {
    FILETIME file_time;
    const struct {
        const char* name;
        WORD year, month, day, hour = 0;
    } rows[] = {
        {.name = "29 February of no leap year", .year = 2023, .month = 2, .day = 29},
        {.name = "thirteenth month", .year = 2023, .month = 13, .day = 1},
        {.name = "before the epoch", .year = 1600, .month = 1, .day = 1},
        {.name = "hour 24", .year = 2023, .month = 1, .day = 1, .hour = 24},
    };
    for (const auto& row : rows) {
        SetLastError(0);
        const SYSTEMTIME time{row.year, row.month, 0, row.day, row.hour, 0, 0, 0};
        EXPECT_FALSE(SystemTimeToFileTime(&time, &file_time)) << row.name;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << row.name;
    }
    SYSTEMTIME time;
    const FILETIME beyond{0, 0x80000000};
    EXPECT_FALSE(FileTimeToSystemTime(&beyond, &time));
}

TEST(Clock, LocalTimeFollowsTheZoneOnThatDay) {
    const char* old = std::getenv("TZ");
    const std::string saved = old ? old : "";
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    SYSTEMTIME local;
    const SYSTEMTIME winter{2024, 12, 0, 31, 23, 30, 0, 7};
    ASSERT_TRUE(SystemTimeToTzSpecificLocalTime(nullptr, &winter, &local));
    EXPECT_EQ(local.wYear, 2025);
    EXPECT_EQ(local.wHour, 0);
    EXPECT_EQ(local.wMilliseconds, 7);
    const SYSTEMTIME summer{2024, 7, 0, 1, 12, 0, 0, 0};
    ASSERT_TRUE(SystemTimeToTzSpecificLocalTime(nullptr, &summer, &local));
    EXPECT_EQ(local.wHour, 14);
    old ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
    tzset();
}

}  // namespace
