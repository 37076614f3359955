#include "browse/list/item_texts.h"

#include <array>

#include "base/text/number_format.h"
#include "platform/text.h"

namespace {

constexpr uint64_t kKilobyte = 1024;
constexpr uint64_t kMegabyte = kKilobyte * kKilobyte;

using Format = int (*)(LCID, DWORD, const SYSTEMTIME*, LPCWSTR, LPWSTR, int);

std::u16string Shape(Format format, const SYSTEMTIME& time) {
    std::array<char16_t, 80> text{};
    format(LOCALE_USER_DEFAULT, 0, &time, nullptr, text.data(), static_cast<int>(text.size()));
    return text.data();
}

}  // namespace

std::u16string FormatTime(uint64_t file_time) {
    if (file_time == 0) return {};
    const FILETIME universal{static_cast<DWORD>(file_time), static_cast<DWORD>(file_time >> 32)};
    SYSTEMTIME utc{};
    SYSTEMTIME local{};
    if (!FileTimeToSystemTime(&universal, &utc) || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return {};
    return Shape(&GetDateFormatW, local) + u' ' + Shape(&GetTimeFormatW, local);
}

std::u16string FormatSize(uint64_t bytes) {
    if (bytes < kMegabyte) return FormatNumber(std::to_string((bytes + kKilobyte - 1) / kKilobyte)) + u" KB";
    const uint64_t tenths = (bytes * 10 + kMegabyte / 2) / kMegabyte;
    return FormatNumber(std::to_string(tenths / 10) + "." + std::to_string(tenths % 10), 1) + u" MB";
}
