#include "base/json.h"

namespace devserver {

std::string json_text(std::string_view text) {
    return JsonWriter().value(text).take();
}

std::string json_text(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace devserver
