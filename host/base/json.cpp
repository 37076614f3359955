#include "host/base/json.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace host {

namespace {

constexpr int kMaxDepth = 64;

bool IsNestedTooDeep(std::string_view text) {
    int depth = 0;
    bool in_string = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"') {
            in_string = !in_string;
        } else if (in_string) {
            if (c == '\\') ++at;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxDepth) return true;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

template <class Writer>
std::string Write(const rapidjson::Value& json) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    json.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

std::optional<Json> ParseJson(std::string_view text) {
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    if (IsNestedTooDeep(text)) return std::nullopt;
    std::optional<Json> json(std::in_place);
    if (json->Parse<kFlags>(text.data(), text.size()).HasParseError()) json.reset();
    return json;
}

Json ParseJsonObject(std::string_view text) {
    std::optional<Json> json = ParseJson(text);
    return json && json->IsObject() ? std::move(*json) : Json(rapidjson::kObjectType);
}

std::string PrettyText(const rapidjson::Value& json) {
    return Write<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(json);
}

std::string CompactText(const rapidjson::Value& json) {
    return Write<rapidjson::Writer<rapidjson::StringBuffer>>(json);
}

std::string TextOf(const rapidjson::Value& object, const char* name) {
    const auto member = object.FindMember(name);
    if (member == object.MemberEnd() || !member->value.IsString()) return {};
    return {member->value.GetString(), member->value.GetStringLength()};
}

}  // namespace host
