// Answers recorded from real servers, from the folder that REPLAY_CAPTURES names: the results are compared
// with those of an independent parser.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

#include "sharepoint/rest/file_info.h"
#include "sharepoint/rest/protocol.h"
#include "sharepoint/tests/site_test_fixture.h"
#include "tests/support/replay_captures.h"

namespace {

using Expected = rapidjson::GenericValue<rapidjson::UTF8<>>;

class Replay : public testing::Test {
protected:
    void SetUp() override {
        if (!AreCapturesGiven()) GTEST_SKIP() << "REPLAY_CAPTURES names no folder of captures";
    }
};

// The greatest depth of brackets outside of strings.
unsigned DepthOf(const std::string& bytes) {
    unsigned depth = 0, deepest = 0;
    bool in_text = false;
    for (size_t at = 0; at < bytes.size(); ++at) {
        const char c = bytes[at];
        if (in_text && c == '\\') {
            ++at;
        } else if (c == '"') {
            in_text = !in_text;
        } else if (!in_text && (c == '[' || c == '{')) {
            deepest = std::max(deepest, ++depth);
        } else if (!in_text && (c == ']' || c == '}')) {
            --depth;
        }
    }
    return deepest;
}

// False, and a null document, for bytes that are no JSON or nested too deep.
bool ReadExpected(const std::string& bytes, rapidjson::Document& out_expected) {
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag;
    bool parsed = DepthOf(bytes) <= Json::kMaxDepth;
    try {
        parsed = parsed && !out_expected.Parse<kFlags>(bytes.c_str()).HasParseError();
    } catch (const Exception&) {
        parsed = false;  // the library's own assertion
    }
    if (!parsed) out_expected.SetNull();
    return parsed;
}

bool IsUtf8(const std::string& bytes) {
    return ToUtf8(FromUtf8(bytes)) == bytes;
}

const Expected* Member(const Expected* value, const char* key) {
    if (!value || !value->IsObject()) return nullptr;
    const auto found = value->FindMember(key);
    return found == value->MemberEnd() ? nullptr : &found->value;
}

std::string Text(const Expected* value) {
    return value && value->IsString() ? std::string(value->GetString(), value->GetStringLength()) : "";
}

// The whole seconds, as a file time; 0 for what is no date after 1601.
uint64_t ExpectedTime(const Expected& item, const char* key) {
    using namespace std::chrono;
    int year, month, day, hour, minute, second;
    if (std::sscanf(Text(Member(&item, key)).c_str(), "%4d-%2d-%2dT%2d:%2d:%2d", &year, &month, &day, &hour,
                    &minute, &second) != 6)
        return 0;
    const year_month_day date = std::chrono::year(year) / month / day;
    if (year < 1601 || !date.ok() || hour > 23 || minute > 59 || second > 59) return 0;
    const int64_t since_1970 = duration_cast<seconds>(sys_days(date).time_since_epoch()).count() +
                               hour * 3600 + minute * 60 + second;
    return static_cast<uint64_t>(since_1970 + 11'644'473'600) * 10'000'000;
}

void CheckTime(uint64_t time, const Expected& item, const char* key) {
    const uint64_t seconds = ExpectedTime(item, key);
    EXPECT_GE(time, seconds) << key;
    EXPECT_LT(time - seconds, seconds == 0 ? 1u : 10'000'001u) << key << ", whose fraction may round up";
}

uint64_t ExpectedSize(const Expected& item) {
    const Expected* length = Member(&item, "Length");
    if (length && length->IsUint64()) return length->GetUint64();
    const std::string text = Text(length);
    return text.starts_with('-') || text.starts_with('+') ? 0 : std::strtoull(text.c_str(), nullptr, 10);
}

bool IsFolder(const Expected& item) {
    return Text(Member(Member(&item, "__metadata"), "type")) == "SP.Folder";
}

bool IsCheckedOut(const Expected& item) {
    const Expected* type = Member(&item, "CheckOutType");
    return !IsFolder(item) && type && type->IsInt() && type->GetInt() != 2;
}

// An item has an address, and attributes, where it has them, in hexadecimal.
bool IsItem(const Expected* item) {
    if (Text(Member(item, "ServerRelativeUrl")).empty()) return false;
    const Expected* attributes = Member(Member(item, "Properties"), "vti_x005f_winfileattribs");
    if (!attributes || !attributes->IsString()) return true;
    const std::string text = Text(attributes);
    char* end = nullptr;
    const unsigned long long number = std::strtoull(text.c_str(), &end, 16);
    return end != text.c_str() && number <= UINT32_MAX;
}

// Parses one item and compares the record with it.
void CheckItem(const Expected& item, const Json::Value& wide) {
    SharePoint::Information information;
    bool is_folder = true;
    bool asked = false;
    const bool is_read =
        SharePointRestAPI::ParseRestFileInfo(wide, information, is_folder, [&](const std::u16string&) {
            asked = true;
            return std::u16string(u"somebody");
        });
    ASSERT_EQ(is_read, IsItem(&item));
    if (!is_read) return;
    std::string path = Text(Member(&item, "ServerRelativeUrl")).substr(1);
    if (path.ends_with('/')) path.pop_back();
    EXPECT_EQ(ToUtf8(information.m_path), path);
    const std::string name = Text(Member(&item, "Name"));
    EXPECT_EQ(ToUtf8(information.m_name), name.empty() ? path.substr(path.rfind('/') + 1) : name);
    EXPECT_EQ(is_folder, IsFolder(item));
    EXPECT_EQ(information.m_size, is_folder ? 0 : ExpectedSize(item));
    CheckTime(information.m_created_time, item, "TimeCreated");
    CheckTime(information.m_modified_time, item, "TimeLastModified");
    EXPECT_EQ(asked, IsCheckedOut(item));
    EXPECT_EQ(information.m_checkout_user.empty(), !asked);
}

// Finds the items anywhere in an answer; gives their number.
size_t CheckItems(const Expected& value, const Json::Value& wide) {
    size_t count = 0;
    if (value.IsArray()) {
        EXPECT_EQ(wide.Size(), value.Size());
        for (rapidjson::SizeType at = 0; at < value.Size(); ++at) count += CheckItems(value[at], wide[at]);
    } else if (value.IsObject()) {
        if (!Text(Member(&value, "ServerRelativeUrl")).empty()) {
            CheckItem(value, wide);
            ++count;
        }
        for (const auto& member : value.GetObject()) {
            if (&value.FindMember(member.name)->value != &member.value) continue;  // a duplicate name
            const Json::Value* other = Json::Member(&wide, FromUtf8(Text(&member.name)));
            EXPECT_NE(other, nullptr) << member.name.GetString();
            if (other) count += CheckItems(member.value, *other);
        }
    } else if (value.IsString()) {
        EXPECT_EQ(ToUtf8(Json::Text(&wide)), Text(&value));
    } else {
        EXPECT_EQ(wide.GetType(), value.GetType());
    }
    return count;
}

TEST_F(Replay, EveryItemIsReadExactly) {
    size_t items = 0;
    for (const char* folder : {"rest-verbose", "rest-nometadata", "errors"}) {
        for (const Capture& capture : CapturesOf(folder, ".json")) {
            SCOPED_TRACE(capture.name);
            Json::Document document;
            const bool is_read = document.Parse(capture.body);
            if (!IsUtf8(capture.body)) continue;  // invalid bytes become replacement characters
            rapidjson::Document expected;
            EXPECT_EQ(is_read, ReadExpected(capture.body, expected));
            items += CheckItems(expected, document.Root());
        }
    }
    RecordProperty("items", static_cast<int>(items));
}

// The number of items that a folder's answer lists under one of its groups.
size_t CountListed(const Expected* folder, const char* group, bool folders) {
    const Expected* results = Member(Member(folder, group), "results");
    if (!results || !results->IsArray()) return 0;
    size_t count = 0;
    for (const Expected& item : results->GetArray()) count += IsItem(&item) && IsFolder(item) == folders;
    return count;
}

// Each capture is the answer to every request; only what is below the verbose root counts.
TEST_F(Replay, OnlyTheVerboseRootOfAnAnswerCounts) {
    RestSite site;
    for (const char* folder : {"rest-verbose", "rest-nometadata", "errors"}) {
        for (const Capture& capture : CapturesOf(folder, ".json")) {
            SCOPED_TRACE(capture.name);
            if (!IsUtf8(capture.body)) continue;
            rapidjson::Document expected;
            ReadExpected(capture.body, expected);
            site.fallback = Answer("200 OK", capture.body);
            const Expected* item = Member(&expected, "d");
            const auto object = site.Bind(u"sites/docs/a.pdf", SharePoint::Web::BindObjectType::file);
            EXPECT_EQ(object != nullptr, IsItem(item) && !IsFolder(*item));
            EXPECT_EQ(ToUtf8(site.web->GetCurrentUser()), Text(Member(item, "LoginName")));
            EXPECT_EQ(site.web->Enumerate(u"sites/docs/L").size(),
                      CountListed(item, "Folders", true) + CountListed(item, "Files", false));
        }
    }
}

// The number in front of an error's text, 0 without one.
uint32_t CodeOf(const std::string& body) {
    rapidjson::Document expected;
    ReadExpected(body, expected);
    return static_cast<uint32_t>(
        std::strtoll(Text(Member(Member(&expected, "error"), "code")).c_str(), nullptr, 10));
}

TEST_F(Replay, AnErrorGivesNeitherDigestNorEditRight) {
    RestSite site;
    for (const char* folder : {"rest-nometadata", "errors"}) {
        for (const Capture& capture : CapturesOf(folder, ".json")) {
            rapidjson::Document expected;
            ReadExpected(capture.body, expected);
            if (Member(&expected, "d")) continue;
            SCOPED_TRACE(capture.name);
            site.fallback = site.digest_answer = Answer("200 OK", capture.body);
            EXPECT_EQ(site.web->GetDigest(), u"");
            // A document that isn't in a list has no rights of its own.
            EXPECT_EQ(site.web->CanEdit(u"sites/docs/a.pdf"), CodeOf(capture.body) == 0x82000006);
        }
    }
}

TEST_F(Replay, RefusalsOfTheWorkflowFollowTheirCode) {
    RestSite site;
    site.AddFile("sites/docs/a.pdf", RestSite::File("/sites/docs/a.pdf"));
    const auto object = site.Bind(u"sites/docs/a.pdf");
    ASSERT_NE(object, nullptr);
    for (const Capture& capture : CapturesOf("errors", ".json")) {
        SCOPED_TRACE(capture.name);
        const uint32_t code = CodeOf(capture.body);
        site.fallback = Answer("500 Oops", capture.body);
        if (code == 0x80131600) {
            EXPECT_EQ(object->AsFile()->CheckIn(u"x", 1), SharePoint::File::cirRequiredProperties);
        } else {
            EXPECT_THROW(object->AsFile()->CheckIn(u"x", 1), Http::HttpException);
        }
        if (code == 0x8107218A) {
            EXPECT_EQ(object->AsFile()->DiscardCheckOut(), SharePoint::File::dcrNoCheckedInVersion);
        } else {
            EXPECT_THROW(object->AsFile()->DiscardCheckOut(), Http::HttpException);
        }
    }
}

}  // namespace
