// Items of every shape to records.
#include "sharepoint/rest/file_info.h"

#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/text/encoding.h"

namespace {

using SharePoint::Information;

struct Parsed {
    bool read = false;
    Information information;
    bool is_folder = false;
    std::vector<std::u16string> asked;
};

Parsed Parse(const std::string& json) {
    Json::Document document;
    EXPECT_TRUE(document.Parse(json)) << json;
    Parsed parsed;
    parsed.read = SharePointRestAPI::ParseRestFileInfo(document.Root(), parsed.information, parsed.is_folder,
                                                       [&](const std::u16string& path) {
                                                           parsed.asked.push_back(path);
                                                           return std::u16string(u"holder");
                                                       });
    return parsed;
}

std::string File(const std::string& more) {
    return R"({"ServerRelativeUrl":"/a/b.pdf")" + more + "}";
}

TEST(FileInfo, NeedsAPathAndNothingElse) {
    const struct {
        const char* json;
        bool read;
        const char16_t* path;
        const char16_t* name;
    } rows[] = {
        {R"({"ServerRelativeUrl":"/a/b.pdf"})", true, u"a/b.pdf", u"b.pdf"},
        {R"({"ServerRelativeUrl":"/a/b/"})", true, u"a/b", u"b"},
        {R"({"ServerRelativeUrl":"/b","Name":""})", true, u"b", u"b"},
        {R"({"ServerRelativeUrl":"/b","Name":null})", true, u"b", u"b"},
        {R"({"ServerRelativeUrl":"/a/b","Name":"c"})", true, u"a/b", u"c"},
        {R"({"ServerRelativeUrl":"/"})", true, u"", u""},
        {R"({"ServerRelativeUrl":""})", false, u"", u""},
        {R"({"ServerRelativeUrl":null,"Name":"c"})", false, u"", u""},
        {R"({"ServerRelativeUrl":7})", false, u"", u""},
        {R"({"ServerRelativeUrl":["/a"]})", false, u"", u""},
        {"{}", false, u"", u""},
        {"[]", false, u"", u""},
        {"\"/a\"", false, u"", u""},
    };
    for (const auto& row : rows) {
        const Parsed parsed = Parse(row.json);
        EXPECT_EQ(parsed.read, row.read) << row.json;
        if (!row.read) continue;
        EXPECT_EQ(parsed.information.m_path, row.path) << row.json;
        EXPECT_EQ(parsed.information.m_name, row.name) << row.json;
        EXPECT_FALSE(parsed.is_folder);
    }
}

TEST(FileInfo, IsAFolderByItsExactType) {
    const std::pair<const char*, bool> rows[] = {
        {R"(,"__metadata":{"type":"SP.Folder"})", true},  {R"(,"__metadata":{"type":"SP.File"})", false},
        {R"(,"__metadata":{"type":"sp.folder"})", false}, {R"(,"__metadata":{"type":7})", false},
        {R"(,"__metadata":"SP.Folder")", false},          {"", false},
    };
    for (const auto& [more, is_folder] : rows) {
        const Parsed parsed = Parse(File(std::string(more) + R"(,"Length":"5","CheckOutType":0)"));
        EXPECT_EQ(parsed.is_folder, is_folder) << more;
        EXPECT_EQ(parsed.information.m_size, is_folder ? 0u : 5u);
        EXPECT_EQ(parsed.asked.size(), is_folder ? 0u : 1u);
    }
}

TEST(FileInfo, AsksForTheHolderOfACheckOutAlone) {
    const std::pair<const char*, bool> rows[] = {
        {R"(,"CheckOutType":0)", true},     {R"(,"CheckOutType":1)", true},
        {R"(,"CheckOutType":2)", false},    {R"(,"CheckOutType":"0")", false},
        {R"(,"CheckOutType":null)", false}, {R"(,"CheckOutType":0.5)", false},
        {R"(,"CheckOutType":-1)", true},    {"", false},
    };
    for (const auto& [more, asked] : rows) {
        const Parsed parsed = Parse(File(more));
        EXPECT_EQ(parsed.asked.size(), asked ? 1u : 0u) << more;
        EXPECT_EQ(parsed.information.m_checkout_user, asked ? u"holder" : u"") << more;
    }
    EXPECT_EQ(Parse(File(R"(,"CheckOutType":0)")).asked, std::vector<std::u16string>{u"a/b.pdf"});
}

TEST(FileInfo, FailsWhenTheHolderCannotBeAskedFor) {
    Json::Document document;
    ASSERT_TRUE(document.Parse(File(R"(,"CheckOutType":0)")));
    Information information;
    bool is_folder = false;
    EXPECT_FALSE(SharePointRestAPI::ParseRestFileInfo(
        document.Root(), information, is_folder,
        [](const std::u16string&) -> std::u16string { throw HResultException(E_CANCELED); }));
    EXPECT_FALSE(SharePointRestAPI::ParseRestFileInfo(
        document.Root(), information, is_folder, [](const std::u16string&) -> std::u16string { throw 7; }));
}

TEST(FileInfo, ReadsAttributesInHexadecimal) {
    const struct {
        const char* value;
        bool read;
        uint32_t attributes;
    } rows[] = {
        {"\"00000020\"", true, 0x20},
        {"\"0x2a\"", true, 0x2A},
        {"\"FFFFFFFF\"", true, 0xFFFFFFFF},
        {"\"20 and more\"", true, 0x20},
        {"null", true, 0},
        {"32", true, 0},
        {"\"\"", false, 0},
        {"\"zz\"", false, 0},
        {"\"1FFFFFFFF\"", false, 0},
    };
    for (const auto& row : rows) {
        const Parsed parsed =
            Parse(File(R"(,"Properties":{"vti_x005f_winfileattribs":)" + std::string(row.value) + "}"));
        EXPECT_EQ(parsed.read, row.read) << row.value;
        if (!row.read) continue;
        EXPECT_EQ(parsed.information.m_attributes, row.attributes) << row.value;
    }
    EXPECT_TRUE(Parse(File(R"(,"Properties":{"__deferred":{}})")).read);
}

TEST(FileInfo, TakesTimesThatAreTextAndDates) {
    const Parsed parsed =
        Parse(File(R"(,"TimeCreated":"2013-05-01T10:20:30Z","TimeLastModified":"yesterday")"));
    EXPECT_TRUE(parsed.read);
    EXPECT_EQ(parsed.information.m_created_time, 130118772300000000u);
    EXPECT_EQ(parsed.information.m_modified_time, 0u);
    EXPECT_EQ(Parse(File(R"(,"TimeCreated":null)")).information.m_created_time, 0u);
}

}  // namespace
