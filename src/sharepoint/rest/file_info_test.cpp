// Items in JSON, complete, partial and broken, as records.
#include "sharepoint/rest/file_info.h"

#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/text/encoding.h"
#include "sharepoint/tests/named_rows_test.h"

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

struct PathRow {
    const char* name;
    const char* json;
    // Null when the item can't be read.
    const char16_t* path = nullptr;
    const char16_t* shown_name = u"";
};

class ItemPath : public testing::TestWithParam<PathRow> {};

TEST_P(ItemPath, IsAllThatAnItemNeeds) {
    const Parsed parsed = Parse(GetParam().json);
    ASSERT_EQ(parsed.read, GetParam().path != nullptr);
    if (!parsed.read) return;
    EXPECT_EQ(parsed.information.m_path, GetParam().path);
    EXPECT_EQ(parsed.information.m_name, GetParam().shown_name);
    EXPECT_FALSE(parsed.is_folder);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ItemPath,
    testing::Values(PathRow{.name = "Alone",
                            .json = R"({"ServerRelativeUrl":"/a/b.pdf"})",
                            .path = u"a/b.pdf",
                            .shown_name = u"b.pdf"},
                    PathRow{.name = "SlashAtTheEnd",
                            .json = R"({"ServerRelativeUrl":"/a/b/"})",
                            .path = u"a/b",
                            .shown_name = u"b"},
                    PathRow{.name = "EmptyName",
                            .json = R"({"ServerRelativeUrl":"/b","Name":""})",
                            .path = u"b",
                            .shown_name = u"b"},
                    PathRow{.name = "OtherName",
                            .json = R"({"ServerRelativeUrl":"/a/b","Name":"c"})",
                            .path = u"a/b",
                            .shown_name = u"c"},
                    PathRow{.name = "Root", .json = R"({"ServerRelativeUrl":"/"})", .path = u""},
                    PathRow{.name = "Empty", .json = R"({"ServerRelativeUrl":""})"},
                    PathRow{.name = "Null", .json = R"({"ServerRelativeUrl":null,"Name":"c"})"},
                    PathRow{.name = "Array", .json = R"({"ServerRelativeUrl":["/a"]})"},
                    PathRow{.name = "None", .json = "{}"}),
    NameOfRow());

struct TypeRow {
    const char* name;
    const char* more = "";
    bool is_folder = false;
};

class ItemType : public testing::TestWithParam<TypeRow> {};

TEST_P(ItemType, IsAFolderByItsExactWord) {
    const Parsed parsed = Parse(File(std::string(GetParam().more) + R"(,"Length":"5","CheckOutType":0)"));
    const bool is_folder = GetParam().is_folder;
    EXPECT_EQ(parsed.is_folder, is_folder);
    EXPECT_EQ(parsed.information.m_size, is_folder ? 0u : 5u);
    EXPECT_EQ(parsed.asked.size(), is_folder ? 0u : 1u) << "nobody has a folder checked out";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ItemType,
    testing::Values(
        TypeRow{.name = "Folder", .more = R"(,"__metadata":{"type":"SP.Folder"})", .is_folder = true},
        TypeRow{.name = "File", .more = R"(,"__metadata":{"type":"SP.File"})"},
        TypeRow{.name = "OtherCase", .more = R"(,"__metadata":{"type":"sp.folder"})"},
        TypeRow{.name = "NoObject", .more = R"(,"__metadata":"SP.Folder")"}, TypeRow{.name = "None"}),
    NameOfRow());

TEST(CheckOutType, DecidesWhetherTheHolderIsAskedFor) {
    for (const std::string type : {"0", "1"}) {
        const Parsed parsed = Parse(File(R"(,"CheckOutType":)" + type));
        EXPECT_EQ(parsed.asked, std::vector<std::u16string>{u"a/b.pdf"}) << type;
        EXPECT_EQ(parsed.information.m_checkout_user, u"holder") << type;
    }
    for (const std::string more : {R"(,"CheckOutType":2)", R"(,"CheckOutType":"0")",
                                   R"(,"CheckOutType":null)", R"(,"CheckOutType":0.5)", ""}) {
        const Parsed parsed = Parse(File(more));
        EXPECT_TRUE(parsed.asked.empty()) << more;
        EXPECT_EQ(parsed.information.m_checkout_user, u"") << more;
    }
}

struct AttributesRow {
    const char* name;
    const char* value;
    std::optional<uint32_t> attributes = std::nullopt;  // nothing when the item can't be read
};

class Attributes : public testing::TestWithParam<AttributesRow> {};

TEST_P(Attributes, AreHexadecimalText) {
    const Parsed parsed =
        Parse(File(R"(,"Properties":{"vti_x005f_winfileattribs":)" + std::string(GetParam().value) + "}"));
    ASSERT_EQ(parsed.read, GetParam().attributes.has_value());
    EXPECT_EQ(parsed.information.m_attributes, GetParam().attributes.value_or(0));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Attributes,
    testing::Values(AttributesRow{.name = "Padded", .value = "\"00000020\"", .attributes = 0x20},
                    AttributesRow{.name = "Prefixed", .value = "\"0x2a\"", .attributes = 0x2A},
                    AttributesRow{.name = "TextBehind", .value = "\"20 and more\"", .attributes = 0x20},
                    AttributesRow{.name = "Null", .value = "null", .attributes = 0},
                    AttributesRow{.name = "Number", .value = "32", .attributes = 0},
                    AttributesRow{.name = "Empty", .value = "\"\""},
                    AttributesRow{.name = "NoDigits", .value = "\"zz\""},
                    AttributesRow{.name = "TooLarge", .value = "\"1FFFFFFFF\""}),
    NameOfRow());

TEST(FileInfo, IsReadWhenItsPropertiesWereNotAskedFor) {
    EXPECT_TRUE(Parse(File(R"(,"Properties":{"__deferred":{}})")).read);
}

TEST(FileInfo, FailsWhenAskingForTheHolderThrows) {
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

TEST(FileInfo, TakesTimesThatAreTextAndDates) {
    const Parsed parsed =
        Parse(File(R"(,"TimeCreated":"2013-05-01T10:20:30Z","TimeLastModified":"yesterday")"));
    EXPECT_TRUE(parsed.read);
    EXPECT_EQ(parsed.information.m_created_time, 130118772300000000u);
    EXPECT_EQ(parsed.information.m_modified_time, 0u);
    EXPECT_EQ(Parse(File(R"(,"TimeCreated":null)")).information.m_created_time, 0u);
}

}  // namespace
