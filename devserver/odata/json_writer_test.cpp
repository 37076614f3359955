// Written JSON reads back as what was written.
#include <gtest/gtest.h>

#include "base/json.h"
#include "odata/format.h"

namespace devserver {
namespace {

struct CollectingSink : BodySink {
    void Write(std::string_view bytes) override {
        text += bytes;
        ++pieces;
    }
    std::string text;
    int pieces = 0;
};

TEST(Json, AnyTextReadsBackAsItWas) {
    std::string text = "quote\" back\\slash / \b\f\n\r\t \xC3\xA9 \xF0\x9F\x98\x80";
    for (char c = 0; c < 0x20; ++c) text += c;
    rapidjson::Document document;
    document.Parse(JsonWriter().StartObject().Member(text, text).EndObject().Take().c_str());
    ASSERT_FALSE(document.HasParseError());
    const auto& member = *document.MemberBegin();
    EXPECT_EQ(std::string(member.name.GetString(), member.name.GetStringLength()), text);
    EXPECT_EQ(std::string(member.value.GetString(), member.value.GetStringLength()), text);
}

TEST(Json, NumbersKeepTheirForm) {
    JsonWriter json;
    json.StartArray().Value(-1).Value(~std::uint64_t{0}).Value(true).Raw("1.50").Null().EndArray();
    EXPECT_EQ(json.Take(), "[-1,18446744073709551615,true,1.50,null]");
}

TEST(Json, AListingThatGoesOutInPiecesIsOneDocument) {
    constexpr int kRows = 3000;
    for (auto mode : {odata::Mode::verbose, odata::Mode::minimal, odata::Mode::v4_none}) {
        odata::Feed feed;
        feed.next_link = "http://host/next";
        feed.next = [left = kRows](odata::Entity& entity) mutable {
            entity.type = "T";
            entity.id = "Web/T(" + std::to_string(left) + ")";
            entity.Add("Name", odata::Value::OfText(std::string(40, 'x')));
            entity.Add("Size", odata::Value::OfReal(left + 0.5));
            return left-- > 0;
        };
        CollectingSink sink;
        WriteJson(
            {.node = odata::Node::Of(feed), .name = "Ts", .projection = {}, .api_url = "http://host/_api/"},
            mode, sink);
        EXPECT_GT(sink.pieces, 2);
        rapidjson::Document document;
        document.Parse(sink.text.c_str());
        ASSERT_FALSE(document.HasParseError());
        const auto& list = mode == odata::Mode::verbose ? document["d"]["results"] : document["value"];
        ASSERT_EQ(list.Size(), static_cast<unsigned>(kRows));
        EXPECT_EQ(list[kRows - 1]["Size"].GetDouble(), 1.5);
    }
}

}  // namespace
}  // namespace devserver
