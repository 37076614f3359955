// Texts: error messages, numbers and dates, encodings, and what comparing costs.
#include "platform/text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/com.h"
#include "platform/url.h"

namespace {

thread_local bool t_counting = false;
thread_local int t_allocations = 0;

}  // namespace

// Sanitizers bring an allocator of their own, which can't be counted this way.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define COUNTS_ALLOCATIONS 0
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define COUNTS_ALLOCATIONS 0
#endif
#ifndef COUNTS_ALLOCATIONS
#define COUNTS_ALLOCATIONS 1
extern "C" void* __libc_malloc(std::size_t size);
// Everything allocates through this in the end, C libraries too.
extern "C" void* malloc(std::size_t size) {
    if (t_counting) ++t_allocations;
    return __libc_malloc(size);
}
#endif

namespace {

bool Equal(std::u16string_view a, std::u16string_view b) {
    return CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, a.data(), static_cast<int>(a.size()), b.data(),
                          static_cast<int>(b.size())) == CSTR_EQUAL;
}

std::u16string Message(DWORD flags, LPCVOID source, DWORD id) {
    char16_t buffer[1024];
    return {buffer, FormatMessageW(flags, source, id, 1033, buffer, 1024, nullptr)};
}

std::u16string FormatNumber(const char16_t* value, UINT digits, UINT grouping, UINT order) {
    NUMBERFMTW format{digits, 1, grouping, const_cast<LPWSTR>(u","), const_cast<LPWSTR>(u"."), order};
    char16_t buffer[64];
    const int size = GetNumberFormatW(LOCALE_INVARIANT, 0, value, &format, buffer, 64);
    return size ? std::u16string(buffer, static_cast<std::size_t>(size - 1)) : u"failed";
}

TEST(Compare, ComposedAndDecomposedTextsAreEqualAndLookAlikesAreNot) {
    EXPECT_TRUE(Equal(u"caf\u00E9", u"CAFE\u0301"));
    EXPECT_TRUE(Equal(u"", u""));
    const std::pair<const char16_t*, const char16_t*> look_alikes[] = {{u"cafe", u"caf\u00E9"},
                                                                       {u"x\u00B2", u"x2"},
                                                                       {u"\uFF41", u"a"},
                                                                       {u"\U0001F600", u"\U0001F601"},
                                                                       {u"\xD83D", u"\xD83E"}};
    for (const auto& [one, other] : look_alikes)
        EXPECT_FALSE(Equal(one, other)) << testing::PrintToString(std::u16string(one));
    EXPECT_EQ(CompareStringW(LOCALE_INVARIANT, 0, u"A", -1, u"a", -1), CSTR_LESS_THAN);
    EXPECT_EQ(CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, nullptr, -1, u"a", -1), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(Compare, NeitherComparingNorCrackingAllocates) {
    const std::u16string a = u"/sites/team/\u00E4\u00F6\u00FC \u4E2D\u6587/STRASSE \U0001F600.pdf";
    const std::u16string b = u"/Sites/Team/\u00C4\u00D6\u00DC \u4E2D\u6587/stra\u00DFe \U0001F600.PDF";
    EXPECT_TRUE(Equal(a, b));  // loads the tables
    char16_t buffer[INTERNET_MAX_URL_LENGTH];
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
    t_allocations = 0;
    t_counting = true;
    const bool same = Equal(a, b);
    DWORD length = INTERNET_MAX_URL_LENGTH;
    const BOOL canonical =
        InternetCanonicalizeUrlW(u"https://h/a/../b\\c?x", buffer, &length, ICU_NO_ENCODE | ICU_BROWSER_MODE);
    const BOOL cracked = InternetCrackUrlW(buffer, 0, 0, &parts);
    t_counting = false;
    EXPECT_TRUE(same && canonical && cracked);
    EXPECT_EQ(t_allocations, 0);
    t_counting = true;
    SysFreeString(SysAllocString(u"counted"));
    t_counting = false;
    EXPECT_EQ(t_allocations, COUNTS_ALLOCATIONS);  // counting works
    EXPECT_EQ(std::u16string(parts.lpszUrlPath, parts.dwUrlPathLength), u"/b/c");
}

TEST(Url, TooSmallBuffersSayHowMuchIsNeeded) {
    for (const char16_t* url :
         {u"http://host", u"http://host/a/b/../c", u"file:///c:/a", u"https://[::1]/x"}) {
        DWORD need = 0;
        ASSERT_FALSE(InternetCanonicalizeUrlW(url, nullptr, &need, ICU_NO_ENCODE | ICU_BROWSER_MODE));
        EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
        std::u16string buffer(need, u'\0');
        EXPECT_TRUE(InternetCanonicalizeUrlW(url, buffer.data(), &need, ICU_NO_ENCODE | ICU_BROWSER_MODE));
    }
    char16_t host[3] = {};
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof parts;
    parts.lpszHostName = host;
    parts.dwHostNameLength = 3;
    EXPECT_FALSE(InternetCrackUrlW(u"http://host/", 0, 0, &parts));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(parts.dwHostNameLength, 5u);
}

TEST(Url, PartsThatCanNotBeAreRefused) {
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof parts;
    for (const char16_t* url :
         {u"http://host:65536/", u"http://host:99999999999/a", u"http://u:p@host:70000"}) {
        EXPECT_FALSE(InternetCrackUrlW(url, 0, 0, &parts));
        EXPECT_EQ(GetLastError(), ERROR_INTERNET_INVALID_URL);
    }
    parts.dwStructSize = 1;
    EXPECT_FALSE(InternetCrackUrlW(u"http://host/", 0, 0, &parts));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(Url, DotSegmentsNeverLeaveTheHostAndAnEscapedZeroStays) {
    char16_t buffer[INTERNET_MAX_URL_LENGTH];
    const auto canonical = [&](const char16_t* url) {
        DWORD length = INTERNET_MAX_URL_LENGTH;
        EXPECT_TRUE(InternetCanonicalizeUrlW(url, buffer, &length, 0x32000000));
        return std::u16string(buffer, length);
    };
    EXPECT_EQ(canonical(u"http://host/../../a"), u"http://host/a");
    EXPECT_EQ(canonical(u"http://host/a/./b/."), u"http://host/a/b/");
    EXPECT_EQ(canonical(u"http://host\\@other/x"), u"http://host/@other/x");
    EXPECT_EQ(canonical(u"http://host/a%00b"), u"http://host/a%00b");
    EXPECT_EQ(canonical(u" http://host/a \r\n"), u"http://host/a");
}

TEST(Messages, TextsOfEachTableEndWithALineBreak) {
    const DWORD system = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    const DWORD module = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;
    const HMODULE wininet = GetModuleHandleW(u"wininet.dll");
    for (const auto& text : {Message(system, nullptr, ERROR_ACCESS_DENIED), Message(module, wininet, 12002),
                             Message(system, nullptr, static_cast<DWORD>(E_FAIL))}) {
        ASSERT_GT(text.size(), 2u);
        EXPECT_EQ(text.substr(text.size() - 2), u"\r\n");
    }
    EXPECT_EQ(Message(system, nullptr, static_cast<DWORD>(E_ACCESSDENIED)), Message(system, nullptr, 5));
    EXPECT_EQ(Message(system, nullptr, 12002), u"");
    EXPECT_EQ(GetLastError(), ERROR_MR_MID_NOT_FOUND);
    EXPECT_EQ(Message(system, nullptr, 0x821704C7), u"");
    EXPECT_EQ(GetModuleHandleW(u"other.dll"), nullptr);
}

TEST(Numbers, AreRoundedGroupedAndSigned) {
    const struct {
        const char16_t* value;
        UINT digits, grouping, order;
        const char16_t* text;
    } rows[] = {{u"1234567", 0, 3, 1, u"1.234.567"}, {u"12345678", 0, 32, 1, u"1.23.45.678"},
                {u"999.995", 2, 3, 1, u"1.000,00"},  {u"-0.4", 0, 3, 1, u"0"},
                {u"-1234.5", 1, 0, 0, u"(1234,5)"},  {u"0012", 0, 3, 1, u"12"},
                {u"1x", 0, 3, 1, u"failed"}};
    for (const auto& [value, digits, grouping, order, text] : rows)
        EXPECT_EQ(FormatNumber(value, digits, grouping, order), text);
    char16_t buffer[8];
    EXPECT_EQ(GetLocaleInfoW(LOCALE_INVARIANT, LOCALE_SGROUPING, buffer, 8), 4);
    EXPECT_EQ(std::u16string(buffer), u"3;0");
    EXPECT_EQ(GetLocaleInfoW(LOCALE_INVARIANT, LOCALE_SGROUPING, buffer, 2), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(Dates, AreThoseOfTheGivenDayWhateverTheZone) {
    const SYSTEMTIME time{2025, 1, 3, 29, 23, 59, 58, 999};
    char16_t date[64], clock[64];
    ASSERT_GT(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &time, nullptr, date, 64), 1);
    ASSERT_GT(GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &time, nullptr, clock, 64), 1);
    EXPECT_NE(std::u16string(date).find(u"29"), std::u16string::npos);
    EXPECT_NE(std::u16string(clock).find(u"59"), std::u16string::npos);
    const SYSTEMTIME bad{2025, 2, 0, 30, 0, 0, 0, 0};
    EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &bad, nullptr, date, 64), 0);
}

TEST(Encoding, BrokenInputBecomesReplacementCharacters) {
    char16_t text[16];
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xFF\xC3z", 4, text, 16), 4);
    EXPECT_EQ(std::u16string(text, 4), u"a\uFFFD\uFFFDz");
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "a\xFF", 2, text, 16), 0);
    EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
    char bytes[16];
    const char16_t lone[] = {u'x', 0xD800, u'y', 0};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, lone, -1, bytes, 16, nullptr, nullptr), 6);
    EXPECT_STREQ(bytes, "x\xEF\xBF\xBDy");
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\U0001F600", 2, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\U0001F600", 2, bytes, 3, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(Encoding, TheProcessEncodingEndsWhereItCanNotConvert) {
    char bytes[16];
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, u"ab\u4E2Dc", 4, bytes, 16, nullptr, nullptr), 2);
    char16_t text[16];
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", -1, text, 16), 4);
    EXPECT_EQ(std::u16string(text), u"abc");
}

std::string SortKey(const std::u16string& text) {
    constexpr DWORD kFlags = LCMAP_SORTKEY | NORM_IGNORECASE | SORT_DIGITSASNUMBERS;
    std::string key(
        static_cast<std::size_t>(LCMapStringW(LOCALE_USER_DEFAULT, kFlags, text.c_str(), -1, nullptr, 0)),
        '\0');
    EXPECT_EQ(LCMapStringW(LOCALE_USER_DEFAULT, kFlags, text.data(), static_cast<int>(text.size()),
                           reinterpret_cast<LPWSTR>(key.data()), static_cast<int>(key.size())),
              static_cast<int>(key.size()));
    return key;
}

// Texts of up to five pieces that sort in every way: numbers with zeros, letters of both cases, accents,
// signs, ignorable and foreign characters.
TEST(SortKeys, CompareLikeTheLogicalOrder) {
    static const std::u16string pieces[] = {
        u"",       u"a",          u"B",      u"b",      u"z",      u"0",
        u"007",    u"9",          u"10",     u" ",      u"_",      u"#",
        u"'",      u"\u00E9",     u"e",      u"f",      u"\uFF41", u"\u0130",
        u"\u4E2D", u"\U0001F600", u"\u0007", u"\u200B", u"\u0663", std::u16string(300, u'1')};
    std::minstd_rand random(7);
    std::vector<std::u16string> texts;
    for (int i = 0; i < 300; ++i) {
        std::u16string text;
        for (unsigned left = random() % 6; left > 0; --left) text += pieces[random() % std::size(pieces)];
        texts.push_back(text);
    }
    for (const std::u16string& a : texts) {
        const std::string key = SortKey(a);
        for (const std::u16string& b : texts) {
            const int order = key.compare(SortKey(b));
            ASSERT_EQ((order > 0) - (order < 0), StrCmpLogicalW(a.c_str(), b.c_str()))
                << testing::PrintToString(a) << " and " << testing::PrintToString(b);
        }
    }
}

}  // namespace
