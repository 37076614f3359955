#include "base/json.h"

namespace devserver {

std::string JsonText(std::string_view text) {
    return JsonWriter().Value(text).Take();
}

std::string JsonText(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace devserver
