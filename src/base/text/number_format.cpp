#include "base/text/number_format.h"

#include <array>

#include "base/text/encoding.h"
#include "platform/text.h"

namespace {

struct LocaleNumberFormat {
    std::array<char16_t, 16> decimal{};
    std::array<char16_t, 16> thousands{};
    NUMBERFMTW format{};

    LocaleNumberFormat() {
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, decimal.data(),
                       static_cast<int>(decimal.size()));
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_STHOUSAND, thousands.data(),
                       static_cast<int>(thousands.size()));
        std::array<char16_t, 32> grouping{};
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SGROUPING, grouping.data(),
                       static_cast<int>(grouping.size()));
        DWORD negative_order = 1;
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_INEGNUMBER | LOCALE_RETURN_NUMBER,
                       reinterpret_cast<char16_t*>(&negative_order), 2);
        format = {0, 1, GroupingNumber(grouping.data()), decimal.data(), thousands.data(), negative_order};
    }

    // "3;0" groups by three, "3;2;0" by three and then two: 3 and 32.
    static UINT GroupingNumber(const char16_t* text) {
        UINT number = 0;
        for (; *text; ++text) {
            if (*text > u'0' && *text <= u'9') number = number * 10 + static_cast<UINT>(*text - u'0');
        }
        return number;
    }
};

const NUMBERFMTW& SystemNumberFormat() {
    static const LocaleNumberFormat format;
    return format.format;
}

[[maybe_unused]] const NUMBERFMTW& g_format_at_load = SystemNumberFormat();

}  // namespace

std::u16string FormatNumber(std::string_view number, unsigned decimals) {
    const std::u16string plain = Widen(number);
    NUMBERFMTW format = SystemNumberFormat();
    format.NumDigits = decimals;
    std::array<char16_t, 128> formatted{};
    const bool done = GetNumberFormatW(LOCALE_SYSTEM_DEFAULT, 0, plain.c_str(), &format, formatted.data(),
                                       static_cast<int>(formatted.size())) != 0;
    return done ? std::u16string(formatted.data()) : plain;
}
