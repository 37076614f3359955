// What is made of one item of a WebDAV answer, property by property.
#include "sharepoint/legacy/propfind.h"

#include <gtest/gtest.h>

#include "base/text/encoding.h"

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

TEST(Propfind, AFolderHasNeitherLengthNorHolder) {
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

TEST(Propfind, BooleansHaveManyWords) {
    for (const char* word : {"t", "T", "true", "TRUE", "y", "Y", "yes", "Yes", "1"})
        EXPECT_TRUE(ReadFile("<D:isFolder>" + std::string(word) + "</D:isFolder>").is_folder) << word;
    for (const char* word : {"f", "F", "false", "n", "no", "NO", "0", "", "2", "tru", " t", "on", "wahr"}) {
        const Item item = ReadFile("<D:isFolder>" + std::string(word) + "</D:isFolder>");
        EXPECT_TRUE(item.read && !item.is_folder) << word;
    }
}

TEST(Propfind, DatesHaveTwoForms) {
    const struct {
        const char* text;
        uint64_t time;
    } rows[] = {
        {"2013-05-01T10:20:30Z", kTime},
        {"2013-05-01T10:20:30.5Z", kTime + 5'000'000},
        {"2013-05-01T10:20:30+02:00", kTime},
        {"Wed, 01 May 2013 10:20:30 GMT", kTime},
        {"Wed, 1 May 2013 10:20:30 GMT", kTime},
        {"wednesday,  01 may 2013 10:20:30 GMT", kTime},
        {"Xyz, 01 May 2013 10:20:30 GMT", 0},
        {"Wed, 01 Mai 2013 10:20:30 GMT", 0},
        {"Wed, 31 Feb 2013 10:20:30 GMT", 0},
        {"Wed, 01 May 2013 10:20:30", 0},
        {"Wed, 01 May", 0},
        {"Wed, 01 May 2013 25:20:30 GMT", 0},
        {"Wed, 01 May 1600 10:20:30 GMT", 0},
        {"01 May 2013 10:20:30 -0000", 0},
        {"2013-05-01", 0},
        {"yesterday", 0},
        {"", 0},
    };
    for (const auto& row : rows) {
        for (const bool created : {true, false}) {
            const std::string name = created ? "D:creationdate" : "D:getlastmodified";
            const Item item = ReadFile("<" + name + ">" + row.text + "</" + name + ">");
            ASSERT_TRUE(item.read) << row.text;
            EXPECT_EQ(item.information.m_created_time, created ? row.time : 0) << row.text;
            EXPECT_EQ(item.information.m_modified_time, created ? 0 : row.time) << row.text;
        }
    }
}

TEST(Propfind, TakesTheFirstTextOfTheLocksOwner) {
    const auto owner = [](const std::string& lock) {
        return ToUtf8(
            ReadFile("<D:lockdiscovery>" + lock + "</D:lockdiscovery>").information.m_checkout_user);
    };
    EXPECT_EQ(owner(""), "");
    EXPECT_EQ(owner("<D:activelock/>"), "");
    EXPECT_EQ(owner("<D:activelock><D:owner/></D:activelock>"), "");
    EXPECT_EQ(owner("<D:activelock><D:owner><D:href>x</D:href></D:owner></D:activelock>"), "");
    EXPECT_EQ(owner("<D:activelock><D:owner><D:x/>d\\bob<D:x/>more</D:owner></D:activelock>"), "d\\bob");
    EXPECT_EQ(owner("<D:activelock><D:owner><![CDATA[d\\bob]]></D:owner></D:activelock>"), "d\\bob");
}

TEST(Propfind, TheLastAuthorIsWhatFollowsTheLastBar) {
    for (const auto& [text, user] :
         {std::pair{"i:0#.w|domain\\user", u"domain\\user"}, std::pair{"i:0#.f|membership|bob", u"bob"},
          std::pair{"domain\\user", u"domain\\user"}, std::pair{"odd|", u""}, std::pair{"", u""}}) {
        EXPECT_EQ(ReadFile("<Office:modifiedby>" + std::string(text) + "</Office:modifiedby>")
                      .information.m_modified_by,
                  user);
    }
}

TEST(Propfind, AttributesAreHexadecimal) {
    for (const auto& [text, attributes] :
         {std::pair{"00000020", 0x20u}, std::pair{"ff", 0xFFu}, std::pair{"FFFFFFFF", 0xFFFFFFFFu},
          std::pair{"100000000", 0u}, std::pair{"x", 0u}, std::pair{"", 0u}}) {
        EXPECT_EQ(ReadFile("<Z:Win32FileAttributes>" + std::string(text) + "</Z:Win32FileAttributes>")
                      .information.m_attributes,
                  attributes)
            << text;
    }
}

TEST(Propfind, ReadsTheFirstPropertiesThatCouldBeHad) {
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

TEST(Propfind, TheAddressIsDecodedOnceAndMustBeOnTheServer) {
    const struct {
        const char* href;
        const char* path;  // null: refused
    } rows[] = {
        {"http://server/a%20b/%C3%A4%23%2B+.pdf", "a b/\xC3\xA4#++.pdf"},
        {"HTTP://SERVER:80/a.pdf", "a.pdf"},
        {"http://server/a%2520b.pdf", "a%20b.pdf"},
        {"http://server/100%.pdf", "100%.pdf"},
        {"http://server/", ""},
        {"http://server", ""},
        {"http://server/a/b/", "a/b"},
        {"/a.pdf", nullptr},
        {"a.pdf", nullptr},
        {"https://server/a.pdf", nullptr},
        {"http://server:8080/a.pdf", nullptr},
        {"http://other/a.pdf", nullptr},
        {"http://server.other/a.pdf", nullptr},
        {"", nullptr},
    };
    for (const auto& row : rows) {
        const Item item = Read("<D:href>" + std::string(row.href) + "</D:href>" + Propstat(kLength));
        EXPECT_EQ(item.read, row.path != nullptr) << row.href;
        EXPECT_EQ(ToUtf8(item.information.m_path), row.path && item.read ? row.path : "") << row.href;
    }
    EXPECT_FALSE(Read(Propstat(kLength)).read) << "no address at all";
}

TEST(Propfind, OtherPrefixesAreOtherElements) {
    EXPECT_FALSE(Read("<a:href>http://server/a.pdf</a:href>").read);
    const Item item = Read(kHref + Propstat("<lp1:displayname>x</lp1:displayname>"
                                            "<D:DisplayName>y</D:DisplayName>" +
                                            std::string(kLength)));
    EXPECT_EQ(item.information.m_name, u"a.pdf");
}

}  // namespace
