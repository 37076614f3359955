#include "browse/list/hidden_paths.h"

#include <gtest/gtest.h>

#include "base/text/encoding.h"

namespace {

struct Row {
    const char16_t* pattern;
    std::vector<const char16_t*> hidden;
    std::vector<const char16_t*> shown;
};

TEST(HiddenPaths, EachKindOfPatternHidesWhatItNames) {
    const Row rows[] = {
        {u"_catalogs", {u"_catalogs", u"_CATALOGS"}, {u"Lists/_catalogs", u"_catalogs/x", u"_catalogs2"}},
        {u"/Documents/Forms",
         {u"Documents/Forms", u"documents/forms"},
         {u"Forms", u"Documents", u"x/Documents/Forms"}},
        {u"/Documents/", {u"Documents"}, {u"Documents/a"}},
        {u"*/Forms", {u"Forms", u"a/Forms", u"a/b/forms"}, {u"a/Forms/b", u"aForms"}},
        {u"*/~$*", {u"~$a.docx", u"x/~$"}, {u"x/a~$"}},
        {u"*.tmp", {u"a.tmp", u".TMP"}, {u"a/b.tmp", u"a.tmpx"}},
        {u"/*/Forms", {u"A/Forms", u"/Forms"}, {u"A/B/Forms"}},
        {u"?b*d?", {u"abde", u"abcdde"}, {u"bde", u"abd", u"/bde", u"ab/de"}},
        {u"/caf\u00C9 [1] #%'&", {u"Caf\u00E9 [1] #%'&"}, {u"cafe [1] #%'&", u"caf\u00E9 1 #%'&"}},
        {u"\u6587\u4E66*\U0001F600", {u"\u6587\u4E66 x\U0001F600"}, {u"\u6587\u4E66"}},
        {u"", {}, {u"", u"a"}},
        {u"/", {}, {u"", u"a"}},
        {u"*/", {}, {u"", u"a", u"a/b"}},
        {u"*", {u"a"}, {u"a/b"}},
    };
    for (const Row& row : rows) {
        const HiddenPaths paths({row.pattern});
        const auto expect = [&](const std::vector<const char16_t*>& names, bool hidden) {
            for (const char16_t* path : names)
                EXPECT_EQ(paths.Hides(path), hidden) << ToUtf8(row.pattern) << " and " << ToUtf8(path);
        };
        expect(row.hidden, true);
        expect(row.shown, false);
    }
}

TEST(HiddenPaths, ManyStarsTakeNoTime) {
    std::u16string pattern;
    for (int i = 0; i < 200; ++i) pattern += u"*a";
    EXPECT_FALSE(HiddenPaths({pattern + u"b"}).Hides(std::u16string(20'000, u'a')));
}

}  // namespace
