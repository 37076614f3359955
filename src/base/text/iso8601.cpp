#include "base/text/iso8601.h"

#include <array>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <sstream>

#include "base/text/encoding.h"
#include "platform/text.h"

namespace {

constexpr int64_t kSecondsFrom1601To1970 = 11'644'473'600;
constexpr int64_t kTicksPerSecond = 10'000'000;

bool IsDigit(int c) {
    return c >= '0' && c <= '9';
}

bool ReadMilliseconds(std::istringstream& stream, WORD& milliseconds) {
    std::string digits;
    while (IsDigit(stream.peek())) digits += static_cast<char>(stream.get());
    if (digits.size() > 3) return false;
    if (digits.empty()) return true;
    digits.resize(3, '0');
    milliseconds = static_cast<WORD>(std::stoi(digits));
    return true;
}

bool ReadTwoDigits(std::istringstream& stream, int& number) {
    const int high = stream.get();
    const int low = stream.get();
    if (!IsDigit(high) || !IsDigit(low)) return false;
    number = (high - '0') * 10 + (low - '0');
    return true;
}

// Seconds east of UTC; an absent zone is 0, and so is one whose digits can't be read.
int64_t ReadZone(std::istringstream& stream) {
    const int sign = stream.good() ? stream.peek() : 0;
    if (sign != '+' && sign != '-') return 0;
    stream.get();
    int hours = 0;
    int minutes = 0;
    if (!ReadTwoDigits(stream, hours)) return 0;
    if (stream.peek() == ':') stream.get();
    if (!ReadTwoDigits(stream, minutes)) minutes = 0;
    const int64_t offset = hours * 3600 + minutes * 60;
    return sign == '+' ? offset : -offset;
}

bool ToSecondsSince1970(const std::tm& fields, int64_t& seconds) {
    using namespace std::chrono;
    const year_month_day day{year{fields.tm_year + 1900}, month{static_cast<unsigned>(fields.tm_mon + 1)},
                             std::chrono::day{static_cast<unsigned>(fields.tm_mday)}};
    if (!day.ok()) return false;
    seconds = duration_cast<std::chrono::seconds>(sys_days{day}.time_since_epoch()).count() +
              fields.tm_hour * 3600 + fields.tm_min * 60 + fields.tm_sec;
    return true;
}

FILETIME ToFileTime(uint64_t ticks) {
    return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}

std::u16string TwoDigits(int number) {
    return {static_cast<char16_t>(u'0' + number / 10 % 10), static_cast<char16_t>(u'0' + number % 10)};
}

}  // namespace

HRESULT ParseDateTimeIso8601(const std::u16string& text, SYSTEMTIME* out_time) {
    std::istringstream stream(ToUtf8(text));
    stream.imbue(std::locale::classic());
    std::tm fields{};
    stream >> std::get_time(&fields, "%Y-%m-%d");
    if (stream.fail()) return E_FAIL;
    WORD milliseconds = 0;
    int64_t zone = 0;
    const int separator = stream.good() ? stream.peek() : 0;
    if (separator == 'T' || separator == ' ') {
        stream.get();
        stream >> std::get_time(&fields, "%H:%M:%S");
        if (stream.fail()) return E_FAIL;
        const int point = stream.good() ? stream.peek() : 0;
        if (point == '.' || point == ',') {
            stream.get();
            if (!ReadMilliseconds(stream, milliseconds)) return E_FAIL;
        }
        zone = ReadZone(stream);
    }
    int64_t seconds = 0;
    if (!ToSecondsSince1970(fields, seconds)) return E_FAIL;
    const int64_t ticks = (seconds - zone + kSecondsFrom1601To1970) * kTicksPerSecond;
    const FILETIME time = ToFileTime(static_cast<uint64_t>(ticks));
    if (!FileTimeToSystemTime(&time, out_time)) return HRESULT_FROM_WIN32(GetLastError());
    out_time->wMilliseconds = milliseconds;
    return S_OK;
}

std::u16string FormatDateTimeIso8601(const SYSTEMTIME& time, bool date_only) {
    std::u16string text =
        Widen(std::to_string(time.wYear)) + u"-" + TwoDigits(time.wMonth) + u"-" + TwoDigits(time.wDay);
    if (date_only) return text;
    text += u"T" + TwoDigits(time.wHour) + u":" + TwoDigits(time.wMinute) + u":" + TwoDigits(time.wSecond);
    if (time.wMilliseconds != 0) {
        text += u".";
        text += static_cast<char16_t>(u'0' + time.wMilliseconds / 100 % 10);
        text += TwoDigits(time.wMilliseconds % 100);
    }
    return text;
}

std::u16string FormatLocalDateTime(uint64_t file_time) {
    if (file_time == 0) return {};
    const FILETIME time = ToFileTime(file_time);
    SYSTEMTIME utc{};
    SYSTEMTIME local{};
    if (!FileTimeToSystemTime(&time, &utc) || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return {};
    std::array<char16_t, 256> date{};
    std::array<char16_t, 256> clock{};
    if (!GetDateFormatW(LOCALE_USER_DEFAULT, 0, &local, nullptr, date.data(), 256) ||
        !GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &local, nullptr, clock.data(), 256)) {
        return {};
    }
    return std::u16string(date.data()) + u" " + clock.data();
}
