// Written JSON reads back as what was written.
#include <gtest/gtest.h>

#include "base/json.h"
#include "odata/format.h"

namespace devserver {
namespace {

struct CollectingSink : BodySink {
    void write(std::string_view bytes) override {
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
    document.Parse(JsonWriter().object().member(text, text).end_object().take().c_str());
    ASSERT_FALSE(document.HasParseError());
    const auto& member = *document.MemberBegin();
    EXPECT_EQ(std::string(member.name.GetString(), member.name.GetStringLength()), text);
    EXPECT_EQ(std::string(member.value.GetString(), member.value.GetStringLength()), text);
}

TEST(Json, NumbersKeepTheirForm) {
    JsonWriter json;
    json.array().value(-1).value(~std::uint64_t{0}).value(true).raw("1.50").null().end_array();
    EXPECT_EQ(json.take(), "[-1,18446744073709551615,true,1.50,null]");
}

TEST(Json, AListingThatGoesOutInPiecesIsOneDocument) {
    constexpr int rows = 3000;
    for (auto mode : {odata::Mode::verbose, odata::Mode::minimal, odata::Mode::v4_none}) {
        odata::Feed feed;
        feed.next_link = "http://host/next";
        feed.next = [left = rows](odata::Entity& entity) mutable {
            entity.type = "T";
            entity.id = "Web/T(" + std::to_string(left) + ")";
            entity.add("Name", odata::Value::of_text(std::string(40, 'x')));
            entity.add("Size", odata::Value::of_real(left + 0.5));
            return left-- > 0;
        };
        CollectingSink sink;
        write_json(
            {.node = odata::Node::of(feed), .name = "Ts", .projection = {}, .api_url = "http://host/_api/"},
            mode, sink);
        EXPECT_GT(sink.pieces, 2);
        rapidjson::Document document;
        document.Parse(sink.text.c_str());
        ASSERT_FALSE(document.HasParseError());
        const auto& list = mode == odata::Mode::verbose ? document["d"]["results"] : document["value"];
        ASSERT_EQ(list.Size(), static_cast<unsigned>(rows));
        EXPECT_EQ(list[rows - 1]["Size"].GetDouble(), 1.5);
    }
}

}  // namespace
}  // namespace devserver
