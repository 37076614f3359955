// How addresses after "/_api/" are read.
// Owner: devserver/odata.
#include "odata/url.h"

#include <gtest/gtest.h>

#include "odata/errors.h"

namespace devserver::odata {
namespace {

TEST(ApiAddress, QuotedPathsKeepTheirSlashesAndApostrophes) {
    auto segments =
        ParseSegments("web/GetFileByServerRelativePath(decodedurl='/a/it%27%27s%20%23%25.pdf')/$value", {});
    ASSERT_EQ(segments.size(), 3u);
    EXPECT_TRUE(segments[1].Is("getfilebyserverrelativepath"));
    EXPECT_EQ(segments[1].text("DecodedUrl"), "/a/it's #%.pdf");
    EXPECT_EQ(segments[2].name, "$value");
    EXPECT_FALSE(segments[2].called);
}

TEST(ApiAddress, ArgumentsComeByNameByPositionAndByAlias) {
    QueryParameters query{{"@p1", "'it''s'"}, {"@g", "guid'AB000000-0000-0000-0000-000000000000'"}};
    auto move = ParseSegments("moveto(newurl='/x=1,(y)', flags=1)", {})[0];
    EXPECT_EQ(move.text("newurl"), "/x=1,(y)");
    EXPECT_EQ(move.text("flags"), "1");
    EXPECT_EQ(ParseSegments("moveto('/x',flags=1)", {})[0].text("newurl", 0), "/x");
    EXPECT_EQ(ParseSegments("f(@P1)", query)[0].text("any", 0), "it's");
    EXPECT_EQ(ParseSegments("f(id=@g)", query)[0].text("id"), "ab000000-0000-0000-0000-000000000000");
    EXPECT_TRUE(ParseSegments("Add(overwrite=TRUE)", {})[0].boolean("overwrite", false));
}

TEST(ApiAddress, BrokenOnesAreRefused) {
    for (const char* text : {"f('", "f('a'b')", "f(", "f)", "f('a')x", "f(@none)", "f(a b)"})
        EXPECT_THROW(ParseSegments(text, {}), ApiError) << text;
}

}  // namespace
}  // namespace devserver::odata
