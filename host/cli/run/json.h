// The one JSON document that --json promises. One thread.
#pragma once

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

class JsonText {
public:
    JsonText& StartArray() { return m_writer.StartArray(), *this; }
    JsonText& EndArray() { return m_writer.EndArray(), *this; }
    JsonText& StartObject() { return m_writer.StartObject(), *this; }
    JsonText& EndObject() { return m_writer.EndObject(), *this; }
    JsonText& Key(const char* name) { return m_writer.Key(name), *this; }
    JsonText& String(std::string_view text) {
        m_writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
        return *this;
    }
    JsonText& Number(std::int64_t number) { return m_writer.Int64(number), *this; }
    JsonText& Bool(bool value) { return m_writer.Bool(value), *this; }
    JsonText& Null() { return m_writer.Null(), *this; }
    // Text, or null for none.
    JsonText& Text(std::string_view text) { return text.empty() ? Null() : String(text); }
    std::string Take() const { return std::string(m_buffer.GetString(), m_buffer.GetSize()) + "\n"; }

private:
    rapidjson::StringBuffer m_buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> m_writer{m_buffer};
};

}  // namespace cli
