// Numbers, dates and times as the user's locale writes them.
// Any thread; the formats of dates are kept by thread.
#include <unicode/udat.h>
#include <unicode/uloc.h>
#include <unicode/unum.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"

namespace {

using View = std::u16string_view;

int Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

int Give(View text, LPWSTR buffer, int size) {
    const int needed = static_cast<int>(text.size()) + 1;
    if (size == 0) return needed;
    if (!buffer || size < 0) return Fail(ERROR_INVALID_PARAMETER);
    if (size < needed) return Fail(ERROR_INSUFFICIENT_BUFFER);
    *std::copy(text.begin(), text.end(), buffer) = 0;
    return needed;
}

struct NumberSymbols {
    std::u16string decimal, thousand, minus;
    std::u16string grouping;
};

std::u16string Symbol(const UNumberFormat* format, UNumberFormatSymbol which) {
    char16_t buffer[16];
    UErrorCode error = U_ZERO_ERROR;
    const int32_t size = unum_getSymbol(format, which, buffer, 16, &error);
    return U_SUCCESS(error) ? std::u16string(buffer, static_cast<std::size_t>(std::min(size, 15)))
                            : std::u16string();
}

NumberSymbols ReadSymbols() {
    NumberSymbols symbols{u".", u",", u"-", u"3;0"};
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UNumberFormat, decltype(&unum_close)> format(
        unum_open(UNUM_DECIMAL, nullptr, 0, nullptr, nullptr, &error), unum_close);
    if (U_FAILURE(error)) return symbols;
    symbols.decimal = Symbol(format.get(), UNUM_DECIMAL_SEPARATOR_SYMBOL);
    symbols.thousand = Symbol(format.get(), UNUM_GROUPING_SEPARATOR_SYMBOL);
    symbols.minus = Symbol(format.get(), UNUM_MINUS_SIGN_SYMBOL);
    const int first = unum_getAttribute(format.get(), UNUM_GROUPING_SIZE);
    const int second = unum_getAttribute(format.get(), UNUM_SECONDARY_GROUPING_SIZE);
    if (!unum_getAttribute(format.get(), UNUM_GROUPING_USED) || first <= 0 || first > 9)
        symbols.grouping = u"0";
    else if (second > 0 && second <= 9 && second != first)
        symbols.grouping = {static_cast<char16_t>(u'0' + first), u';', static_cast<char16_t>(u'0' + second),
                            u';', u'0'};
    else
        symbols.grouping = {static_cast<char16_t>(u'0' + first), u';', u'0'};
    return symbols;
}

const NumberSymbols& SymbolsOf(LCID locale) {
    static const NumberSymbols invariant{u".", u",", u"-", u"3;0"};
    static const NumberSymbols user = ReadSymbols();
    return locale == LOCALE_INVARIANT ? invariant : user;
}

bool KnownLocale(LCID locale) {
    return locale == LOCALE_INVARIANT || locale == LOCALE_USER_DEFAULT || locale == LOCALE_SYSTEM_DEFAULT;
}

// The number that a grouping text stands for: "3;0" is 3, "3;2;0" is 32.
UINT GroupingNumber(View grouping) {
    UINT number = 0;
    for (char16_t c : grouping)
        if (c > u'0' && c <= u'9') number = number * 10 + (c - u'0');
    return number;
}

constexpr bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

struct Decimal {
    bool negative = false;
    std::u16string whole, fraction;
};

bool ReadDecimal(View text, Decimal& number) {
    if (!text.empty() && text.front() == u'-') {
        number.negative = true;
        text.remove_prefix(1);
    }
    const std::size_t dot = std::min(text.find(u'.'), text.size());
    number.whole = text.substr(0, dot);
    if (dot < text.size()) number.fraction = text.substr(dot + 1);
    if (number.whole.empty() && number.fraction.empty()) return false;
    return std::all_of(number.whole.begin(), number.whole.end(), IsDigit) &&
           std::all_of(number.fraction.begin(), number.fraction.end(), IsDigit);
}

void RoundTo(Decimal& number, std::size_t digits) {
    const bool up = number.fraction.size() > digits && number.fraction[digits] >= u'5';
    number.fraction.resize(digits, u'0');
    if (up) {
        std::u16string all = number.whole + number.fraction;
        std::size_t i = all.size();
        while (i > 0 && all[i - 1] == u'9') all[--i] = u'0';
        if (i > 0)
            ++all[i - 1];
        else
            all.insert(all.begin(), u'1');
        number.whole = all.substr(0, all.size() - digits);
        number.fraction = all.substr(all.size() - digits);
    }
    number.whole.erase(0, std::min(number.whole.find_first_not_of(u'0'), number.whole.size()));
}

// Groups from the right: the last decimal digit of the number is the size that repeats.
std::u16string Group(View whole, UINT grouping, View separator) {
    std::vector<std::size_t> sizes;
    for (; grouping; grouping /= 10) sizes.insert(sizes.begin(), grouping % 10);
    std::u16string out;
    std::size_t end = whole.size();
    for (std::size_t next = 0; !sizes.empty(); ++next) {
        const std::size_t size = sizes[std::min(next, sizes.size() - 1)];
        if (size == 0 || end <= size) break;
        end -= size;
        out.insert(0, std::u16string(separator) + std::u16string(whole.substr(end, size)));
    }
    return std::u16string(whole.substr(0, end)) + out;
}

std::u16string WithSign(const std::u16string& digits, View minus, UINT order) {
    const std::u16string sign(minus);
    switch (order) {
        case 0:
            return u"(" + digits + u")";
        case 2:
            return sign + u" " + digits;
        case 3:
            return digits + sign;
        case 4:
            return digits + u" " + sign;
        default:
            return sign + digits;
    }
}

struct DateFormatCloser {
    void operator()(UDateFormat* format) const { udat_close(format); }
};
using DateFormat = std::unique_ptr<UDateFormat, DateFormatCloser>;

DateFormat OpenFormat(UDateFormatStyle time, UDateFormatStyle date) {
    UErrorCode error = U_ZERO_ERROR;
    return DateFormat(udat_open(time, date, nullptr, u"UTC", -1, nullptr, 0, &error));
}

int GiveTime(const UDateFormat* format, const SYSTEMTIME* time, LPWSTR buffer, int size) {
    FILETIME file_time;
    if (!format || !SystemTimeToFileTime(time, &file_time)) return Fail(ERROR_INVALID_PARAMETER);
    const auto ticks = static_cast<double>(static_cast<LONGLONG>(file_time.dwHighDateTime) << 32 |
                                           static_cast<LONGLONG>(file_time.dwLowDateTime));
    constexpr double kUnixEpochInMilliseconds = 11'644'473'600'000.0;
    char16_t text[128];
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length =
        udat_format(format, ticks / 10'000.0 - kUnixEpochInMilliseconds, text, 128, nullptr, &error);
    if (U_FAILURE(error) || length > 127) return Fail(ERROR_INVALID_PARAMETER);
    return Give(View(text, static_cast<std::size_t>(length)), buffer, size);
}

}  // namespace

int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR buffer, int size) {
    if (!KnownLocale(locale)) return Fail(ERROR_INVALID_PARAMETER);
    const NumberSymbols& symbols = SymbolsOf(locale);
    const LCTYPE what = type & ~LOCALE_RETURN_NUMBER;
    DWORD number = 0;
    View text;
    switch (what) {
        case LOCALE_SDECIMAL:
            text = symbols.decimal;
            break;
        case LOCALE_STHOUSAND:
            text = symbols.thousand;
            break;
        case LOCALE_SGROUPING:
            text = symbols.grouping;
            break;
        case LOCALE_INEGNUMBER:
            text = u"1";
            number = 1;
            break;
        default:
            return Fail(ERROR_INVALID_FLAGS);
    }
    if (!(type & LOCALE_RETURN_NUMBER)) return Give(text, buffer, size);
    if (!number) return Fail(ERROR_INVALID_FLAGS);
    constexpr int kUnits = sizeof(DWORD) / sizeof(WCHAR);
    if (size == 0) return kUnits;
    if (!buffer || size < kUnits) return Fail(ERROR_INSUFFICIENT_BUFFER);
    buffer[0] = static_cast<WCHAR>(number & 0xFFFF);
    buffer[1] = static_cast<WCHAR>(number >> 16);
    return kUnits;
}

int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format, LPWSTR buffer,
                     int size) {
    if (!KnownLocale(locale) || !value || flags) return Fail(ERROR_INVALID_PARAMETER);
    const NumberSymbols& symbols = SymbolsOf(locale);
    const NUMBERFMTW defaults{2,
                              1,
                              GroupingNumber(symbols.grouping),
                              const_cast<LPWSTR>(symbols.decimal.c_str()),
                              const_cast<LPWSTR>(symbols.thousand.c_str()),
                              1};
    const NUMBERFMTW& use = format ? *format : defaults;
    Decimal number;
    if (!use.lpDecimalSep || !use.lpThousandSep || use.NumDigits > 9 || use.Grouping > 9999 ||
        !ReadDecimal(value, number))
        return Fail(ERROR_INVALID_PARAMETER);
    RoundTo(number, use.NumDigits);
    const bool is_zero =
        number.whole.empty() && number.fraction.find_first_not_of(u'0') == std::u16string::npos;
    std::u16string digits = Group(number.whole, use.Grouping, use.lpThousandSep);
    if (digits.empty() && (use.LeadingZero || number.fraction.empty())) digits = u"0";
    if (!number.fraction.empty()) digits += use.lpDecimalSep + number.fraction;
    if (number.negative && !is_zero) digits = WithSign(digits, symbols.minus, use.NegativeOrder);
    return Give(digits, buffer, size);
}

int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* date, LPCWSTR picture, LPWSTR buffer,
                   int size) {
    if (!KnownLocale(locale) || flags || !date || picture) return Fail(ERROR_INVALID_PARAMETER);
    thread_local const DateFormat format = OpenFormat(UDAT_NONE, UDAT_SHORT);
    SYSTEMTIME day = *date;
    day.wHour = day.wMinute = day.wSecond = day.wMilliseconds = 0;
    return GiveTime(format.get(), &day, buffer, size);
}

int GetTimeFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture, LPWSTR buffer,
                   int size) {
    if (!KnownLocale(locale) || flags || !time || picture) return Fail(ERROR_INVALID_PARAMETER);
    thread_local const DateFormat format = OpenFormat(UDAT_MEDIUM, UDAT_NONE);
    SYSTEMTIME clock = *time;
    clock.wYear = 2000;
    clock.wMonth = clock.wDay = 1;
    return GiveTime(format.get(), &clock, buffer, size);
}
