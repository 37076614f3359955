#include <gtest/gtest.h>

#include <utility>

#include "base/text/encoding.h"
#include "base/text/iso8601.h"

namespace {

std::u16string Parse(const char16_t* text) {
    SYSTEMTIME time{};
    return SUCCEEDED(ParseDateTimeIso8601(text, &time)) ? FormatDateTimeIso8601(time, false) : u"fails";
}

TEST(Iso8601, ReadsWhatServersWrite) {
    const std::pair<const char16_t*, const char16_t*> rows[] = {
        {u"2013-05-01", u"2013-05-01T00:00:00"},
        {u"2013-05-01T10:20:30Z", u"2013-05-01T10:20:30"},
        {u"2013-05-01 10:20:30", u"2013-05-01T10:20:30"},
        {u"2013-05-01T10:20:30.5Z", u"2013-05-01T10:20:30.500"},
        {u"2013-05-01T10:20:30,123", u"2013-05-01T10:20:30.123"},
        {u"2013-05-01T00:20:30+02:00", u"2013-04-30T22:20:30"},
        {u"2013-05-01T10:20:30-0330", u"2013-05-01T13:50:30"}};
    for (const auto& [text, expected] : rows) EXPECT_EQ(Parse(text), expected) << ToUtf8(text);
}

TEST(Iso8601, RefusesWhatIsNoDate) {
    for (const char16_t* text : {u"", u"x", u"2013-13-01", u"2013-02-30", u"2013-05-01T",
                                 u"2013-05-01T25:00:00", u"2013-05-01T10:20:30.1234567Z"}) {
        EXPECT_EQ(Parse(text), u"fails") << ToUtf8(text);
    }
}

}  // namespace
