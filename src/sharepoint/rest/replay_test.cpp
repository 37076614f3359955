// Answers recorded from real servers, where the folder REPLAY_CAPTURES names them: each is read the way an
// independent parser reads it, and one without the expected shape counts as nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "sharepoint/rest/file_info.h"
#include "sharepoint/rest/protocol.h"
#include "sharepoint/rest/site_test_fixture.h"

namespace {

namespace fs = std::filesystem;
using Expected = rapidjson::GenericValue<rapidjson::UTF8<>>;

std::string ReadFile(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// JSON files of one folder of the captures; empty when there is none.
std::vector<fs::path> Captures(const char* folder) {
    const char* root = std::getenv("REPLAY_CAPTURES");
    std::vector<fs::path> paths;
    if (!root || !fs::is_directory(fs::path(root) / folder)) return paths;
    for (const auto& entry : fs::directory_iterator(fs::path(root) / folder)) {
        if (entry.path().extension() == ".json") paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

class Replay : public testing::Test {
protected:
    void SetUp() override {
        if (!std::getenv("REPLAY_CAPTURES")) GTEST_SKIP() << "REPLAY_CAPTURES names no folder of captures";
    }
};

uint64_t ExpectedTime(const Expected& item, const char* key) {
    using namespace std::chrono;
    int year, month, day, hour, minute, second;
    if (!item.HasMember(key) || !item[key].IsString() ||
        std::sscanf(item[key].GetString(), "%d-%d-%dT%d:%d:%d", &year, &month, &day, &hour, &minute,
                    &second) != 6)
        return 0;
    const sys_days days = std::chrono::year(year) / month / day;
    const int64_t seconds_since_1970 =
        duration_cast<seconds>(days.time_since_epoch()).count() + hour * 3600 + minute * 60 + second;
    return static_cast<uint64_t>(seconds_since_1970 + 11'644'473'600) * 10'000'000;
}

std::string ExpectedText(const Expected& item, const char* key) {
    return item.HasMember(key) && item[key].IsString() ? item[key].GetString() : "";
}

// Compares one item with what was read of it.
void CheckItem(const Expected& item, const Json::Value& wide) {
    SharePoint::Information information;
    bool is_folder = true;
    bool asked = false;
    ASSERT_TRUE(
        SharePointRestAPI::ParseRestFileInfo(wide, information, is_folder, [&](const std::u16string&) {
            asked = true;
            return std::u16string(u"somebody");
        }));
    std::string path = ExpectedText(item, "ServerRelativeUrl").substr(1);
    if (path.ends_with('/')) path.pop_back();
    EXPECT_EQ(ToUtf8(information.m_path), path);
    const std::string name = ExpectedText(item, "Name");
    EXPECT_EQ(ToUtf8(information.m_name), name.empty() ? path.substr(path.rfind('/') + 1) : name);
    const bool expect_folder =
        item.HasMember("__metadata") && ExpectedText(item["__metadata"], "type") == "SP.Folder";
    EXPECT_EQ(is_folder, expect_folder);
    EXPECT_EQ(information.m_size,
              expect_folder ? 0 : std::strtoull(ExpectedText(item, "Length").c_str(), nullptr, 10));
    EXPECT_EQ(information.m_created_time, ExpectedTime(item, "TimeCreated"));
    EXPECT_EQ(information.m_modified_time, ExpectedTime(item, "TimeLastModified"));
    EXPECT_EQ(asked, !expect_folder && item.HasMember("CheckOutType") && item["CheckOutType"].GetInt() != 2);
    EXPECT_EQ(information.m_checkout_user.empty(), !asked);
}

// Finds the items anywhere in an answer; gives their number.
size_t CheckItems(const Expected& value, const Json::Value& wide) {
    size_t count = 0;
    if (value.IsArray()) {
        EXPECT_EQ(wide.Size(), value.Size());
        for (rapidjson::SizeType at = 0; at < value.Size(); ++at) count += CheckItems(value[at], wide[at]);
    } else if (value.IsObject()) {
        if (!ExpectedText(value, "ServerRelativeUrl").empty()) {
            CheckItem(value, wide);
            ++count;
        }
        for (const auto& member : value.GetObject()) {
            const Json::Value* other = Json::Member(&wide, FromUtf8(member.name.GetString()));
            EXPECT_NE(other, nullptr) << member.name.GetString();
            if (other) count += CheckItems(member.value, *other);
        }
    } else if (value.IsString()) {
        EXPECT_EQ(ToUtf8(Json::Text(&wide)), std::string(value.GetString(), value.GetStringLength()));
    } else {
        EXPECT_EQ(wide.GetType(), value.GetType());
    }
    return count;
}

TEST_F(Replay, EveryItemIsReadAsItStands) {
    size_t files = 0;
    size_t items = 0;
    for (const char* folder : {"rest-verbose", "rest-nometadata", "errors"}) {
        for (const fs::path& path : Captures(folder)) {
            SCOPED_TRACE(path.string());
            const std::string bytes = ReadFile(path);
            rapidjson::Document expected;
            if (expected.Parse(bytes.c_str()).HasParseError()) {
                Json::Document document;
                EXPECT_FALSE(document.Parse(bytes));
                continue;
            }
            Json::Document document;
            ASSERT_TRUE(document.Parse(bytes));
            items += CheckItems(expected, document.Root());
            ++files;
        }
    }
    if (files == 0) GTEST_SKIP() << "no captured answers in the folder";
    RecordProperty("files", static_cast<int>(files));
    RecordProperty("items", static_cast<int>(items));
}

// Serves each capture as the answer to everything.
TEST_F(Replay, AnswersWithoutTheVerboseRootAreNothing) {
    SiteFixture site;
    for (const char* folder : {"rest-nometadata", "errors"}) {
        for (const fs::path& path : Captures(folder)) {
            SCOPED_TRACE(path.string());
            site.fallback = Answer("200 OK", ReadFile(path));
            site.digest_answer = site.fallback;
            EXPECT_EQ(site.Bind(u"sites/docs/a.pdf"), nullptr);
            EXPECT_TRUE(site.web->Enumerate(u"sites/docs/L").empty());
            EXPECT_EQ(site.web->GetCurrentUser(), u"");
            EXPECT_EQ(site.web->GetDigest(), u"");
            EXPECT_FALSE(site.web->CanEdit(u"sites/docs/a.pdf"));
        }
    }
}

// Any verbose answer to any question is read without a failure; a single item is bound by its own kind.
TEST_F(Replay, VerboseAnswersBindOnlyWhatTheyDescribe) {
    SiteFixture site;
    for (const fs::path& path : Captures("rest-verbose")) {
        SCOPED_TRACE(path.string());
        const std::string bytes = ReadFile(path);
        rapidjson::Document expected;
        ASSERT_FALSE(expected.Parse(bytes.c_str()).HasParseError());
        site.fallback = Answer("200 OK", bytes);
        const Expected* item = expected.HasMember("d") && expected["d"].IsObject() ? &expected["d"] : nullptr;
        const bool is_item = item && !ExpectedText(*item, "ServerRelativeUrl").empty();
        const auto object = site.Bind(u"sites/docs/a.pdf", SharePoint::Web::BindObjectType::file);
        const bool is_folder = item && item->HasMember("__metadata") &&
                               ExpectedText((*item)["__metadata"], "type") == "SP.Folder";
        EXPECT_EQ(object != nullptr, is_item && !is_folder);
        EXPECT_EQ(ToUtf8(site.web->GetCurrentUser()), item ? ExpectedText(*item, "LoginName") : "");
        EXPECT_NO_THROW(site.web->Enumerate(u"sites/docs/L"));
    }
}

TEST_F(Replay, RefusalsOfACheckInAreToldByTheirCode) {
    SiteFixture site;
    site.AddFile("sites/docs/a.pdf", SiteFixture::File("/sites/docs/a.pdf"));
    const auto object = site.Bind(u"sites/docs/a.pdf");
    ASSERT_NE(object, nullptr);
    for (const fs::path& path : Captures("errors")) {
        SCOPED_TRACE(path.string());
        const std::string bytes = ReadFile(path);
        rapidjson::Document expected;
        ASSERT_FALSE(expected.Parse(bytes.c_str()).HasParseError());
        const bool is_verbose = expected.HasMember("error");
        const int32_t code = is_verbose ? std::atoi(expected["error"]["code"].GetString()) : 0;
        site.fallback = Answer("500 Oops", bytes);
        if (static_cast<uint32_t>(code) == 0x80131600) {
            EXPECT_EQ(object->AsFile()->CheckIn(u"x", 1), SharePoint::File::cirRequiredProperties);
        } else {
            EXPECT_THROW(object->AsFile()->CheckIn(u"x", 1), Http::HttpException);
        }
        EXPECT_THROW(object->AsFile()->DiscardCheckOut(), Http::HttpException);
    }
}

}  // namespace
