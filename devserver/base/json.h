// JSON as the server writes it, over RapidJSON's writer.
// Owner: everyone in devserver/; a writer belongs to one thread.
#pragma once
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <concepts>
#include <string>
#include <string_view>

namespace devserver {

// Writes one JSON text in order, with commas and colons where they belong.
class JsonWriter {
public:
    JsonWriter() : m_writer(m_buffer) {}

    JsonWriter& StartObject() { return m_writer.StartObject(), *this; }
    JsonWriter& EndObject() { return m_writer.EndObject(), *this; }
    JsonWriter& StartArray() { return m_writer.StartArray(), *this; }
    JsonWriter& EndArray() { return m_writer.EndArray(), *this; }
    JsonWriter& Key(std::string_view name) {
        return m_writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())), *this;
    }
    JsonWriter& Value(std::string_view text) {
        return m_writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size())), *this;
    }
    JsonWriter& Value(std::integral auto number) {
        if constexpr (std::same_as<decltype(number), bool>) {
            m_writer.Bool(number);
        } else if constexpr (std::unsigned_integral<decltype(number)>) {
            m_writer.Uint64(number);
        } else {
            m_writer.Int64(number);
        }
        return *this;
    }
    JsonWriter& Null() { return m_writer.Null(), *this; }
    // A value that is JSON already.
    JsonWriter& Raw(std::string_view json) {
        return m_writer.RawValue(json.data(), json.size(), rapidjson::kObjectType), *this;
    }
    template <typename Value>
    JsonWriter& Member(std::string_view name, const Value& content) {
        return Key(name).Value(content);
    }

    std::size_t size() const { return m_buffer.GetSize(); }
    // What was written since the last call.
    std::string Take() {
        std::string text(m_buffer.GetString(), m_buffer.GetSize());
        m_buffer.Clear();
        return text;
    }

private:
    rapidjson::StringBuffer m_buffer;
    rapidjson::Writer<rapidjson::StringBuffer> m_writer;
};

// A member of an object, or `otherwise` where it is missing; Error with one clear line for one of another
// type.
template <typename Error, typename Value>
Value JsonMember(const rapidjson::Value& object, const char* name, Value otherwise) {
    auto member = object.FindMember(name);
    if (member == object.MemberEnd()) return otherwise;
    const auto& value = member->value;
    auto refuse = [&](const char* type) { throw Error(std::string("'") + name + "' must be " + type); };
    if constexpr (std::same_as<Value, std::string>) {
        if (!value.IsString()) refuse("a text");
        return {value.GetString(), value.GetStringLength()};
    } else if constexpr (std::same_as<Value, bool>) {
        if (!value.IsBool()) refuse("true or false");
        return value.GetBool();
    } else if constexpr (std::integral<Value>) {
        if (!value.Is<Value>()) refuse("a whole number");
        return value.Get<Value>();
    } else {
        if (!value.IsNumber()) refuse("a number");
        return value.GetDouble();
    }
}

// A text as a JSON value, quoted and escaped.
std::string JsonText(std::string_view text);
// A parsed value, written again.
std::string JsonText(const rapidjson::Value& value);

}  // namespace devserver
