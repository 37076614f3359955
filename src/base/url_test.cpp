// Tests of the URL functions.
#include "base/url.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "base/text/encoding.h"

namespace {

using R = CompareUrlsResult;

// What a function makes of each text.
template <typename Function>
void ExpectEach(Function function, std::initializer_list<std::pair<const char16_t*, const char16_t*>> rows) {
    for (const auto& [text, expected] : rows) EXPECT_EQ(function(text), expected) << ToUtf8(text);
}

TEST(CompareUrls, IgnoresCaseTrailingSlashAndDefaultPort) {
    EXPECT_EQ(CompareUrls(u"https://Host/Sites/A", u"HTTPS://host:443/sites/a/"), R::equal);
    EXPECT_EQ(CompareUrls(u"http://host/", u"http://host"), R::equal);
    EXPECT_EQ(CompareUrls(u"http://host/\u00C4", u"http://host/\u00E4"), R::equal);
}

TEST(CompareUrls, FindsParentsAndWhatIsLeftBelowThem) {
    std::u16string relative;
    EXPECT_EQ(CompareUrls(u"https://h/sites/a", u"https://h/sites/a/Docs/x y.pdf", &relative),
              R::url1_is_parent);
    EXPECT_EQ(relative, u"Docs/x y.pdf");
    EXPECT_EQ(CompareUrls(u"https://h/sites/a/b/", u"https://h/sites", &relative), R::url2_is_parent);
    EXPECT_EQ(relative, u"a/b");
    EXPECT_EQ(CompareUrls(u"https://h", u"https://h/a", &relative), R::url1_is_parent);
    EXPECT_EQ(relative, u"a");
}

TEST(CompareUrls, TellsUnrelatedPlacesApart) {
    const std::pair<const char16_t*, const char16_t*> places[] = {{u"https://h/ab", u"https://h/abc"},
                                                                  {u"https://h/a", u"http://h/a"},
                                                                  {u"https://h/a", u"https://h:8443/a"},
                                                                  {u"https://h/a", u"https://g/a"},
                                                                  {u"https://h/ab/c", u"https://h/xy"}};
    for (const auto& [one, other] : places) EXPECT_EQ(CompareUrls(one, other), R::different) << ToUtf8(other);
}

TEST(CompareUrls, CountsTheQueryUnlessToldNotTo) {
    EXPECT_EQ(CompareUrls(u"https://h/a?x=1", u"https://h/a"), R::different);
    EXPECT_EQ(CompareUrls(u"https://h/a?x=1", u"https://h/a", nullptr, true), R::equal);
}

TEST(CompareUrls, RefusesWhatIsNoUrl) {
    EXPECT_EQ(CompareUrls(u"", u"https://h/a"), R::error);
    EXPECT_EQ(CompareUrls(static_cast<const char16_t*>(nullptr), u"https://h/a"), R::error);
    const std::u16string endless = u"https://h/" + std::u16string(5000, u'a');
    EXPECT_EQ(CompareUrls(endless.c_str(), u"https://h/a"), R::error);
}

TEST(IsPlainlyBelow, NeverSaysMoreThanTheComparison) {
    constexpr std::u16string_view kAlphabet =
        u"aaaBB1111  ..//-_%?#\\:;@&=+'\"<>|*[]{}~\u00E4\u4E2D\t\x7f\x01\xD83D\xDE00";
    const std::u16string server = u"http://Server:8080";
    std::mt19937 random(1);
    int plain = 0;
    for (int i = 0; i < 200'000; ++i) {
        std::u16string url = server + (i % 9 ? u"/" : u"");
        for (size_t left = random() % 12; left > 0; --left) url += kAlphabet[random() % kAlphabet.size()];
        std::u16string relative, expected;
        if (!IsPlainlyBelow(server, url, relative)) continue;
        ++plain;
        ASSERT_EQ(CompareUrls(server, url, &expected), R::url1_is_parent) << testing::PrintToString(url);
        ASSERT_EQ(relative, expected) << testing::PrintToString(url);
    }
    EXPECT_GT(plain, 1000);
    std::u16string relative;
    EXPECT_TRUE(
        IsPlainlyBelow(server, server + u"/sites/team/Shared Documents/it's & co. (1).pdf", relative));
    EXPECT_EQ(relative, u"sites/team/Shared Documents/it's & co. (1).pdf");
    for (const char16_t* url : {u"http://Server:8080", u"http://Server:8080/", u"http://Server:80801/a",
                                u"https://Server:8080/a", u"http://Server:8080/a/../b", u"/a", u""})
        EXPECT_FALSE(IsPlainlyBelow(server, url, relative));
    EXPECT_FALSE(IsPlainlyBelow(u"", u"/a", relative));
}

TEST(CompareRelativeUrls, WorksOnServerRelativePaths) {
    std::u16string relative;
    EXPECT_EQ(CompareRelativeUrls(u"", u"Docs/a", &relative), R::url1_is_parent);
    EXPECT_EQ(relative, u"Docs/a");
    EXPECT_EQ(CompareRelativeUrls(u"sites/a", u"SITES/A"), R::equal);
    EXPECT_EQ(CompareRelativeUrls(u"sites/a", u"sites/b"), R::different);
}

TEST(GetUrlParent, CutsOneLevel) {
    ExpectEach([](const char16_t* url) { return GetUrlParent(url); },
               {{u"https://h/a/b/", u"https://h/a"},
                {u"https://h/a", u"https://h"},
                {u"https://h/C# notes/it's #1.pdf", u"https://h/C# notes"}});
    for (const char16_t* root : {u"https://h/", u"https://h", u""}) EXPECT_EQ(GetUrlParent(root), u"");
}

TEST(IsDirectUrl, WantsAWebAddressWithAPlainPath) {
    for (const char16_t* url : {u"https://h/sites/a b/c#d%.pdf", u"HTTP://h", u"https://h/a?b*c"})
        EXPECT_TRUE(IsDirectUrl(url)) << ToUtf8(url);
    for (const char16_t* url : {u"https://h/a*b", u"https://h/:b:/s/team/Eabc", u"ftp://h/a", u"\\\\h\\a"})
        EXPECT_FALSE(IsDirectUrl(url)) << ToUtf8(url);
    EXPECT_FALSE(IsDirectUrl(static_cast<const char16_t*>(nullptr)));
}

TEST(IsFileLinkUrl, KnowsSharingLinks) {
    for (const char16_t* url :
         {u"https://h/:b:/s/team/Eabc?e=1", u"https://h/:w:/r/x", u"https://h/a.pdf?Share=abc"})
        EXPECT_TRUE(IsFileLinkUrl(url)) << ToUtf8(url);
    for (const char16_t* url : {u"https://h/a.pdf?share=", u"https://h/a.pdf", u"https://h/:1:/s/team"})
        EXPECT_FALSE(IsFileLinkUrl(url)) << ToUtf8(url);
}

TEST(WebDavPathToUrl, ReadsTheThreeUncForms) {
    ExpectEach([](const char16_t* path) { return WebDavPathToUrl(path); },
               {{u"\\\\host\\DavWWWRoot\\sites\\a b", u"http://host/sites/a b"},
                {u"\\\\host@SSL\\sites", u"https://host/sites"},
                {u"\\\\?\\UNC\\host@ssl@8443\\a", u"https://host:8443/a"},
                {u"\\\\host@SSL@443\\a", u"https://host/a"},
                {u"\\\\host@SSL@80\\a", u"https://host:80/a"},
                {u"\\\\host@443\\a", u"http://host:443/a"},
                {u"\\\\host", u"http://host"},
                {u"\\\\host\\DavWWWRootless", u"http://host/less"}});
}

TEST(WebDavPathToUrl, RefusesEverythingElse) {
    for (const char16_t* text : {u"", u"host", u"\\host", u"\\\\", u"\\\\host/a", u"\\\\host\\a/b",
                                 u"\\\\host@SSL@8443", u"\\\\host@SSL@0\\a", u"\\\\host@65536\\a",
                                 u"\\\\host@x\\a", u"\\\\?\\C:\\a", u"\\\\ho:st\\a", u"\\\\host\\a*"}) {
        EXPECT_EQ(WebDavPathToUrl(text), u"");
    }
}

TEST(NormalizeUserUrl, RepairsWhatAPersonTypes) {
    ExpectEach([](const char16_t* text) { return NormalizeUserUrl(text); },
               {{u"  host/sites/a b/ ?x=1", u"https://host/sites/a b"},
                {u"http://host/a%20b%2", u"http://host/a b%2"},
                {u"://host", u"https://host"},
                {u"host:8080/a", u"https://host:8080/a"}});
    for (const char16_t* text : {u"ftp://host", u"host/a*b", u" /?:"}) EXPECT_EQ(NormalizeUserUrl(text), u"");
}

TEST(UrlEncoding, RoundTripsEveryNameAndDoublesApostrophesInQuotes) {
    const std::u16string name = u"a'#%&+ []\u00E4\u4E2D\U0001F600.pdf";
    EXPECT_EQ(UrlEncode(u"it's 100%.pdf"), u"it%27s%20100%25.pdf");
    EXPECT_EQ(UrlEncodeQuoted(u"it's"), u"it%27%27s");
    const std::u16string encoded = UrlEncode(name);
    EXPECT_EQ(UrlDecode(std::string(encoded.begin(), encoded.end())),
              "a'#%&+ []\xC3\xA4\xE4\xB8\xAD\xF0\x9F\x98\x80.pdf");
    EXPECT_EQ(UrlDecode("%4g%%41%4"), "%4g%A%4");
}

TEST(JoinStrings, EmptiesTheList) {
    std::vector<std::u16string> list{u"a", u"", u"b"};
    EXPECT_EQ(JoinStrings(list, u'|'), u"a||b");
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(JoinStrings(list, u'|'), u"");
}

}  // namespace
