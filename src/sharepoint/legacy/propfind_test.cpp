// One item of a WebDAV answer as a record, property by property.
#include "sharepoint/legacy/propfind.h"

#include <gtest/gtest.h>

#include <utility>

#include "sharepoint/tests/named_rows_test.h"

namespace {

constexpr uint64_t kTime = 130118772300000000u;  // 2013-05-01 10:20:30
constexpr char kHref[] = "<D:href>http://server/sites/docs/a.pdf</D:href>";
constexpr char kLength[] = "<D:getcontentlength>7</D:getcontentlength>";

struct Item {
    bool read = false;
    bool is_folder = false;
    SharePoint::Information information;
};

// Reads a response of the given children on a server at "http://server".
Item Read(const std::string& children) {
    pugi::xml_document document;
    EXPECT_TRUE(document.load_string(("<D:response>" + children + "</D:response>").c_str())) << children;
    Item item;
    item.read = SharePoint2013::ParseWebDavPropfind(u"http://server", document.child("D:response"),
                                                    item.information, item.is_folder);
    return item;
}

std::string Propstat(const std::string& properties, const char* status = "HTTP/1.1 200 OK") {
    return "<D:propstat><D:prop>" + properties + "</D:prop><D:status>" + status + "</D:status></D:propstat>";
}

// A file with one more property.
Item ReadFile(const std::string& property) {
    return Read(kHref + Propstat(kLength + property));
}

TEST(Propfind, ReadsEveryPropertyOfAFile) {
    const Item item = Read(
        kHref + Propstat("<Z:Win32FileAttributes>00000021</Z:Win32FileAttributes><D:displayname>A &amp; "
                         "\xC3\xA4.pdf</D:displayname><D:isFolder>f</D:isFolder>"
                         "<D:getcontentlength>5000000000</D:getcontentlength><D:lockdiscovery><D:activelock>"
                         "<D:locktype><D:write/></D:locktype><D:owner>i:0#.w|d\\bob</D:owner></D:activelock>"
                         "</D:lockdiscovery><D:creationdate>2013-05-01T10:20:30Z</D:creationdate>"
                         "<D:getlastmodified>Wed, 01 May 2013 10:20:31 GMT</D:getlastmodified>"
                         "<Office:modifiedby>i:0#.w|d\\alice</Office:modifiedby>"));
    ASSERT_TRUE(item.read);
    EXPECT_FALSE(item.is_folder);
    EXPECT_EQ(item.information.m_path, u"sites/docs/a.pdf");
    EXPECT_EQ(item.information.m_name, u"A & \u00E4.pdf");
    EXPECT_EQ(item.information.m_attributes, 0x21u);
    EXPECT_EQ(item.information.m_size, 5'000'000'000u);
    EXPECT_EQ(item.information.m_checkout_user, u"i:0#.w|d\\bob");
    EXPECT_EQ(item.information.m_created_time, kTime);
    EXPECT_EQ(item.information.m_modified_time, kTime + 10'000'000);
    EXPECT_EQ(item.information.m_modified_by, u"d\\alice");
}

TEST(Propfind, AFileNeedsOnlyItsLength) {
    const Item item = ReadFile("");
    ASSERT_TRUE(item.read);
    EXPECT_EQ(item.information.m_name, u"a.pdf");
    EXPECT_EQ(item.information.m_size, 7u);
    EXPECT_EQ(item.information.m_attributes, 0u);
    EXPECT_EQ(item.information.m_created_time, 0u);
    EXPECT_EQ(item.information.m_modified_time, 0u);
    EXPECT_EQ(item.information.m_checkout_user + item.information.m_modified_by, u"");
    EXPECT_EQ(ReadFile("<D:displayname/>").information.m_name, u"a.pdf");
    EXPECT_EQ(ReadFile("<D:getcontentlength>8</D:getcontentlength>").information.m_size, 7u);
    EXPECT_FALSE(Read(kHref + Propstat("<D:displayname>a.pdf</D:displayname>")).read);
    const Item empty = Read(kHref + Propstat("<D:getcontentlength></D:getcontentlength>"));
    EXPECT_TRUE(empty.read);
    EXPECT_EQ(empty.information.m_size, 0u);
}

TEST(Propfind, AFolderHasNoLengthAndNoHolder) {
    const std::string lock =
        "<D:lockdiscovery><D:activelock><D:owner>d\\bob</D:owner></D:activelock></D:lockdiscovery>";
    const Item item = Read("<D:href>http://server/sites/docs/L/</D:href>" +
                           Propstat("<D:isFolder>t</D:isFolder>" + lock + kLength));
    ASSERT_TRUE(item.read);
    EXPECT_TRUE(item.is_folder);
    EXPECT_EQ(item.information.m_path, u"sites/docs/L");
    EXPECT_EQ(item.information.m_name, u"L");
    EXPECT_EQ(item.information.m_size, 0u);
    EXPECT_EQ(item.information.m_checkout_user, u"");
    EXPECT_TRUE(Read(kHref + Propstat("<D:isFolder>1</D:isFolder>")).read);
}

TEST(Propfind, TheWordThatMakesAFolderIsReadInEitherCase) {
    const auto read = [](const char* word) {
        const Item item = ReadFile("<D:isFolder>" + std::string(word) + "</D:isFolder>");
        EXPECT_TRUE(item.read) << word;
        return item.is_folder;
    };
    for (const char* word : {"t", "T", "true", "y", "Yes", "1"}) EXPECT_TRUE(read(word)) << word;
    for (const char* word : {"f", "false", "NO", "", "tru", " t", "on"}) EXPECT_FALSE(read(word)) << word;
}

struct DateRow {
    const char* name;
    const char* text;
    uint64_t time = 0;
};

class ItemDate : public testing::TestWithParam<DateRow> {};

TEST_P(ItemDate, HasTwoForms) {
    for (const bool created : {true, false}) {
        const std::string name = created ? "D:creationdate" : "D:getlastmodified";
        const Item item = ReadFile("<" + name + ">" + GetParam().text + "</" + name + ">");
        ASSERT_TRUE(item.read);
        EXPECT_EQ(item.information.m_created_time, created ? GetParam().time : 0);
        EXPECT_EQ(item.information.m_modified_time, created ? 0 : GetParam().time);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ItemDate,
    testing::Values(
        DateRow{.name = "Iso", .text = "2013-05-01T10:20:30Z", .time = kTime},
        DateRow{.name = "IsoFraction", .text = "2013-05-01T10:20:30.5Z", .time = kTime + 5'000'000},
        DateRow{.name = "IsoZone", .text = "2013-05-01T10:20:30+02:00", .time = kTime},
        DateRow{.name = "Http", .text = "Wed, 01 May 2013 10:20:30 GMT", .time = kTime},
        DateRow{.name = "HttpShortDay", .text = "Wed, 1 May 2013 10:20:30 GMT", .time = kTime},
        DateRow{.name = "HttpLoose", .text = "wednesday,  01 may 2013 10:20:30 GMT", .time = kTime},
        DateRow{.name = "HttpNoDay", .text = "Xyz, 01 May 2013 10:20:30 GMT"},
        DateRow{.name = "HttpNoMonth", .text = "Wed, 01 Mai 2013 10:20:30 GMT"},
        DateRow{.name = "HttpNoSuchDate", .text = "Wed, 31 Feb 2013 10:20:30 GMT"},
        DateRow{.name = "HttpWithoutZone", .text = "Wed, 01 May 2013 10:20:30"},
        DateRow{.name = "HttpNoHour", .text = "Wed, 01 May 2013 25:20:30 GMT"},
        DateRow{.name = "HttpTooEarly", .text = "Wed, 01 May 1600 10:20:30 GMT"},
        DateRow{.name = "Mail", .text = "01 May 2013 10:20:30 -0000"},
        DateRow{.name = "IsoDay", .text = "2013-05-01"}, DateRow{.name = "Empty", .text = ""}),
    NameOfRow());

std::string Lock(const std::string& owner) {
    return "<D:lockdiscovery><D:activelock><D:owner>" + owner + "</D:owner></D:activelock></D:lockdiscovery>";
}

std::string Attributes(const std::string& text) {
    return "<Z:Win32FileAttributes>" + text + "</Z:Win32FileAttributes>";
}

struct TextRow {
    const char* name;
    std::string property;
    const char16_t* author = u"";
    const char16_t* holder = u"";
    uint32_t attributes = 0;
};

class ItemText : public testing::TestWithParam<TextRow> {};

TEST_P(ItemText, BecomesTheMemberOfItsProperty) {
    const Item item = ReadFile(GetParam().property);
    EXPECT_EQ(item.information.m_modified_by, GetParam().author);
    EXPECT_EQ(item.information.m_checkout_user, GetParam().holder);
    EXPECT_EQ(item.information.m_attributes, GetParam().attributes);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ItemText,
    testing::Values(
        TextRow{.name = "AuthorOfAClaim",
                .property = "<Office:modifiedby>i:0#.w|domain\\user</Office:modifiedby>",
                .author = u"domain\\user"},
        TextRow{.name = "AuthorOfADomain",
                .property = "<Office:modifiedby>domain\\user</Office:modifiedby>",
                .author = u"domain\\user"},
        TextRow{.name = "AuthorBehindTheBar", .property = "<Office:modifiedby>odd|</Office:modifiedby>"},
        TextRow{.name = "NoLock", .property = "<D:lockdiscovery/>"},
        TextRow{.name = "LockWithoutOwner", .property = "<D:lockdiscovery><D:activelock/></D:lockdiscovery>"},
        TextRow{.name = "OwnerEmpty", .property = Lock("")},
        TextRow{.name = "OwnerInAnElement", .property = Lock("<D:href>x</D:href>")},
        TextRow{
            .name = "OwnerBetweenElements", .property = Lock("<D:x/>d\\bob<D:x/>more"), .holder = u"d\\bob"},
        TextRow{.name = "OwnerAsCharacterData", .property = Lock("<![CDATA[d\\bob]]>"), .holder = u"d\\bob"},
        TextRow{.name = "AttributesPadded", .property = Attributes("00000020"), .attributes = 0x20},
        TextRow{.name = "AttributesAll", .property = Attributes("FFFFFFFF"), .attributes = 0xFFFFFFFF},
        TextRow{.name = "AttributesTooLarge", .property = Attributes("100000000")},
        TextRow{.name = "AttributesNoDigits", .property = Attributes("x")}),
    NameOfRow());

TEST(Propfind, AnAddressIsDecodedOnceAndMustBeOnTheServer) {
    const auto read = [](const char* href) {
        return Read("<D:href>" + std::string(href) + "</D:href>" + Propstat(kLength));
    };
    const std::pair<const char*, const char16_t*> known[] = {
        {"http://server/a%20b/%C3%A4%23%2B+.pdf", u"a b/\u00E4#++.pdf"},
        {"HTTP://SERVER:80/a.pdf", u"a.pdf"},
        {"http://server/a%2520b.pdf", u"a%20b.pdf"},
        {"http://server/100%.pdf", u"100%.pdf"},
        {"http://server/", u""},
        {"http://server/a/b/", u"a/b"}};
    for (const auto& [href, path] : known) {
        const Item item = read(href);
        EXPECT_TRUE(item.read) << href;
        EXPECT_EQ(item.information.m_path, path) << href;
    }
    for (const char* href : {"/a.pdf", "https://server/a.pdf", "http://server:8080/a.pdf",
                             "http://other/a.pdf", "http://server.other/a.pdf", ""})
        EXPECT_FALSE(read(href).read) << href;
}

TEST(Propfind, AnItemNeedsAnAddress) {
    EXPECT_FALSE(Read(Propstat(kLength)).read);
}

TEST(Propfind, ReadsTheFirstPropertiesWithStatus200) {
    const std::string name = "<D:displayname>other</D:displayname>";
    const Item item =
        Read(kHref + Propstat(name, "HTTP/1.1 404 Not Found") + Propstat(kLength) + Propstat(name + kLength));
    ASSERT_TRUE(item.read);
    EXPECT_EQ(item.information.m_name, u"a.pdf");
    EXPECT_EQ(item.information.m_size, 7u);
    EXPECT_TRUE(Read(kHref + Propstat(kLength, "HTTP/1.1 200")).read) << "no reason phrase";
    EXPECT_FALSE(Read(kHref + Propstat("", "HTTP/1.1 200 OK")).read) << "a file without a length";
    for (const std::string& none :
         {std::string(), Propstat(name + kLength, "HTTP/1.1 403 Forbidden"), Propstat(name + kLength, "")}) {
        const Item empty = Read(kHref + none);
        EXPECT_TRUE(empty.read);
        EXPECT_EQ(empty.information.m_path, u"sites/docs/a.pdf");
        EXPECT_EQ(empty.information.m_name, u"");
        EXPECT_EQ(empty.information.m_size, 0u);
    }
}

TEST(Propfind, OtherPrefixesAreOtherElements) {
    EXPECT_FALSE(Read("<a:href>http://server/a.pdf</a:href>").read);
    const Item item = Read(kHref + Propstat("<lp1:displayname>x</lp1:displayname>"
                                            "<D:DisplayName>y</D:DisplayName>" +
                                            std::string(kLength)));
    EXPECT_EQ(item.information.m_name, u"a.pdf");
}

}  // namespace
