#include <gtest/gtest.h>

#include "base/text/ignore_case.h"

namespace {

TEST(IgnoringCase, FoldsEveryScriptOrAsciiAlone) {
    EXPECT_TRUE(EqualIgnoringCase(u"STRASSE-\u00C4", u"strasse-\u00E4"));
    EXPECT_FALSE(EqualIgnoringCase(u"a", u"ab"));
    EXPECT_TRUE(StartsWithIgnoringCase(u"\u00C4b/c", u"\u00E4B"));
    EXPECT_FALSE(StartsWithIgnoringCase(u"\u00C4", u"\u00E4B"));
    EXPECT_TRUE(StartsWithIgnoringAsciiCase(u"Text/HTML; charset=x", u"text/html"));
    EXPECT_FALSE(StartsWithIgnoringAsciiCase(u"\u00C4b", u"\u00E4b"));
    EXPECT_FALSE(StartsWithIgnoringAsciiCase(u"K", u"\u212A")) << "the kelvin sign is no K to a protocol";
    EXPECT_TRUE(EndsWithIgnoringAsciiCase(u"A.HTM", u".htm"));
    EXPECT_FALSE(EndsWithIgnoringAsciiCase(u"htm", u".htm"));
}

}  // namespace
