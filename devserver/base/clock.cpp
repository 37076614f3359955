#include "base/clock.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace devserver {
namespace {

constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr const char* kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

std::tm Utc(Seconds time) {
    std::time_t value = static_cast<std::time_t>(time);
    std::tm parts{};
    gmtime_r(&value, &parts);
    return parts;
}

template <typename... Values>
std::string Print(const char* format, Values... values) {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, format, values...);
    return buffer;
}

}  // namespace

Seconds Now() {
    return static_cast<Seconds>(std::time(nullptr));
}

std::string IsoTime(Seconds time) {
    auto t = Utc(time);
    return Print("%04d-%02d-%02dT%02d:%02d:%02dZ", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour,
                 t.tm_min, t.tm_sec);
}

std::string HttpDate(Seconds time) {
    auto t = Utc(time);
    return Print("%s, %02d %s %04d %02d:%02d:%02d GMT", kWeekdays[t.tm_wday], t.tm_mday, kMonths[t.tm_mon],
                 t.tm_year + 1900, t.tm_hour, t.tm_min, t.tm_sec);
}

std::string DigestDate(Seconds time) {
    auto t = Utc(time);
    return Print("%02d %s %04d %02d:%02d:%02d -0000", t.tm_mday, kMonths[t.tm_mon], t.tm_year + 1900,
                 t.tm_hour, t.tm_min, t.tm_sec);
}

std::optional<Seconds> ParseIsoTime(std::string_view text) {
    std::string copy(text);
    std::tm t{};
    int hours = 0, minutes = 0;
    char sign = 'Z';
    int used = 0;
    if (std::sscanf(copy.c_str(), "%4d-%2d-%2d%*1[T ]%2d:%2d:%2d%n", &t.tm_year, &t.tm_mon, &t.tm_mday,
                    &t.tm_hour, &t.tm_min, &t.tm_sec, &used) != 6)
        return std::nullopt;
    if (t.tm_mon < 1 || t.tm_mon > 12 || t.tm_mday < 1 || t.tm_mday > 31 || t.tm_hour > 23 || t.tm_min > 59 ||
        t.tm_sec > 60)
        return std::nullopt;
    const char* rest = copy.c_str() + used;
    if (*rest == '.') rest += 1 + std::strspn(rest + 1, "0123456789");
    if (*rest && std::strcmp(rest, "Z") != 0 && std::sscanf(rest, "%c%2d:%2d", &sign, &hours, &minutes) != 3)
        return std::nullopt;
    t.tm_year -= 1900;
    t.tm_mon -= 1;
    Seconds offset = (hours * 60 + minutes) * 60;
    return static_cast<Seconds>(timegm(&t)) - (sign == '-' ? -offset : sign == '+' ? offset : 0);
}

std::optional<Seconds> ParseDigestDate(std::string_view text) {
    std::string copy(text);
    std::tm t{};
    char month[4] = {};
    if (std::sscanf(copy.c_str(), "%2d %3s %4d %2d:%2d:%2d", &t.tm_mday, month, &t.tm_year, &t.tm_hour,
                    &t.tm_min, &t.tm_sec) != 6)
        return std::nullopt;
    for (t.tm_mon = 0; t.tm_mon < 12; ++t.tm_mon)
        if (std::strcmp(kMonths[t.tm_mon], month) == 0) break;
    if (t.tm_mon == 12) return std::nullopt;
    t.tm_year -= 1900;
    return static_cast<Seconds>(timegm(&t));
}

}  // namespace devserver
