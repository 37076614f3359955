// What the values of variants become: whole numbers, and dates as numbers of days. Any thread.
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>
#include <string_view>

#include "platform/com.h"
#include "utf8.h"

namespace {

using std::chrono::sys_days;

constexpr sys_days kDayZero = std::chrono::year{1899} / 12 / 30;
constexpr long long kSecondsPerDay = 86'400;
constexpr double kFirstDate = -657'435;  // exclusive: 1 January 100 is one more
constexpr double kEndOfDates = 2'958'466;

HRESULT ToLong(double number, LONG* out_number) {
    const double rounded = std::nearbyint(number);
    if (!(rounded >= std::numeric_limits<LONG>::min() && rounded <= std::numeric_limits<LONG>::max()))
        return DISP_E_OVERFLOW;
    *out_number = static_cast<LONG>(rounded);
    return S_OK;
}

HRESULT ToLong(std::u16string_view text, LONG* out_number) {
    constexpr std::u16string_view kBlanks = u" \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::u16string_view::npos) return DISP_E_TYPEMISMATCH;
    text = text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
    if (text.starts_with(u'+')) text.remove_prefix(1);
    const std::string digits = platform::ToUtf8(text);
    double number = 0;
    const auto read =
        std::from_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::general);
    if (read.ec == std::errc::result_out_of_range) return DISP_E_OVERFLOW;
    const bool is_number = read.ec == std::errc() && read.ptr == digits.data() + digits.size();
    return is_number && std::isfinite(number) ? ToLong(number, out_number) : DISP_E_TYPEMISMATCH;
}

HRESULT ToLong(const VARIANT& value, LONG* out_number) {
    *out_number = 0;
    switch (value.vt) {
        case VT_EMPTY:
            return S_OK;
        case VT_I2:
        case VT_BOOL:
            *out_number = value.iVal;
            return S_OK;
        case VT_I4:
        case VT_INT:
            *out_number = value.lVal;
            return S_OK;
        case VT_UI1:
            *out_number = value.bVal;
            return S_OK;
        case VT_UI4:
        case VT_UINT:
            return ToLong(static_cast<double>(value.ulVal), out_number);
        case VT_I8:
            return ToLong(static_cast<double>(value.llVal), out_number);
        case VT_UI8:
            return ToLong(static_cast<double>(value.ullVal), out_number);
        case VT_R4:
            return ToLong(static_cast<double>(value.fltVal), out_number);
        case VT_R8:
        case VT_DATE:
            return ToLong(value.dblVal, out_number);
        case VT_BSTR:
            return ToLong(
                std::u16string_view(value.bstrVal ? value.bstrVal : u"", SysStringLen(value.bstrVal)),
                out_number);
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

}  // namespace

extern "C" {

HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, USHORT flags, VARTYPE type) {
    if (!target || !source || flags != 0 || type != VT_I4) return E_INVALIDARG;
    LONG number = 0;
    if (const HRESULT result = ToLong(*source, &number); FAILED(result)) return result;
    if (const HRESULT result = VariantClear(target); FAILED(result)) return result;
    target->vt = VT_I4;
    target->lVal = number;
    return S_OK;
}

INT SystemTimeToVariantTime(SYSTEMTIME* time, DATE* out_date) {
    if (!time || !out_date || time->wYear < 100 || time->wYear > 9999) return FALSE;
    const std::chrono::year_month_day date(std::chrono::year(time->wYear), std::chrono::month(time->wMonth),
                                           std::chrono::day(time->wDay));
    if (!date.ok() || time->wHour > 23 || time->wMinute > 59 || time->wSecond > 59) return FALSE;
    const auto days = static_cast<double>((sys_days(date) - kDayZero).count());
    const double clock =
        (time->wHour * 3600 + time->wMinute * 60 + time->wSecond) / static_cast<double>(kSecondsPerDay);
    *out_date = days < 0 ? days - clock : days + clock;  // the fraction counts forwards in each day
    return TRUE;
}

INT VariantTimeToSystemTime(DATE date, SYSTEMTIME* out_time) {
    if (!out_time || !(date > kFirstDate && date < kEndOfDates)) return FALSE;
    const double whole = std::trunc(date);
    auto day = static_cast<long long>(whole);
    auto seconds = static_cast<long long>(std::nearbyint(std::fabs(date - whole) * kSecondsPerDay));
    if (seconds == kSecondsPerDay) {
        seconds = 0;
        ++day;
    }
    const sys_days when = kDayZero + std::chrono::days(day);
    const std::chrono::year_month_day fields(when);
    if (static_cast<int>(fields.year()) > 9999) return FALSE;
    *out_time = {};
    out_time->wYear = static_cast<WORD>(static_cast<int>(fields.year()));
    out_time->wMonth = static_cast<WORD>(static_cast<unsigned>(fields.month()));
    out_time->wDay = static_cast<WORD>(static_cast<unsigned>(fields.day()));
    out_time->wDayOfWeek = static_cast<WORD>(std::chrono::weekday(when).c_encoding());
    out_time->wHour = static_cast<WORD>(seconds / 3600);
    out_time->wMinute = static_cast<WORD>(seconds / 60 % 60);
    out_time->wSecond = static_cast<WORD>(seconds % 60);
    return TRUE;
}

}  // extern "C"
