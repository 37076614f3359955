#include "sharepoint/json.h"

#include <algorithm>
#include <utility>

#include <rapidjson/reader.h>

#include "base/text/encoding.h"

namespace Json {

namespace {

using Builder = rapidjson::GenericDocument<Encoding>;
using Size = rapidjson::SizeType;

// Passes the parser's events on to the document, and stops the parser when an answer is nested too deep or
// has too many values.
class LimitGuard {
public:
    explicit LimitGuard(Builder& builder) : m_builder(builder) {}
    bool Null() { return Counts() && m_builder.Null(); }
    bool Bool(bool value) { return Counts() && m_builder.Bool(value); }
    bool Int(int value) { return Counts() && m_builder.Int(value); }
    bool Uint(unsigned value) { return Counts() && m_builder.Uint(value); }
    bool Int64(int64_t value) { return Counts() && m_builder.Int64(value); }
    bool Uint64(uint64_t value) { return Counts() && m_builder.Uint64(value); }
    bool Double(double value) { return Counts() && m_builder.Double(value); }
    bool RawNumber(const char16_t* text, Size length, bool copy) {
        return Counts() && m_builder.RawNumber(text, length, copy);
    }
    bool String(const char16_t* text, Size length, bool copy) {
        return Counts() && m_builder.String(text, length, copy);
    }
    bool Key(const char16_t* text, Size length, bool copy) { return m_builder.Key(text, length, copy); }
    bool StartObject() { return Counts() && ++m_depth <= kMaxDepth && m_builder.StartObject(); }
    bool EndObject(Size count) { return --m_depth, m_builder.EndObject(count); }
    bool StartArray() { return Counts() && ++m_depth <= kMaxDepth && m_builder.StartArray(); }
    bool EndArray(Size count) { return --m_depth, m_builder.EndArray(count); }

    bool HasTooMany() const { return m_values > kMaxValues; }

private:
    bool Counts() { return ++m_values <= kMaxValues; }

    Builder& m_builder;
    unsigned m_depth = 0;
    size_t m_values = 0;
};

std::optional<uint64_t> LeadingDigits(std::u16string_view text) {
    uint64_t number = 0;
    size_t count = 0;
    for (; count < text.size() && text[count] >= u'0' && text[count] <= u'9'; ++count) {
        const uint64_t digit = text[count] - u'0';
        if (number > (UINT64_MAX - digit) / 10) return UINT64_MAX;
        number = number * 10 + digit;
    }
    return count == 0 ? std::nullopt : std::optional(number);
}

}  // namespace

bool Document::Parse(std::string_view bytes) {
    return ParseText(FromUtf8(bytes));
}

// The text is parsed in place, so that strings are not copied again.
bool Document::ParseText(std::u16string text) {
    m_document.SetNull();
    m_text = std::move(text);
    rapidjson::ParseResult result;
    bool has_too_many = false;
    auto generate = [&](Builder& builder) {
        rapidjson::GenericInsituStringStream<Encoding> stream(m_text.data());
        rapidjson::GenericReader<Encoding, Encoding> reader;
        LimitGuard guard(builder);
        try {
            result =
                reader.Parse<rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag>(stream, guard);
        } catch (const Exception&) {
            // Half of a surrogate pair as an escape makes the library's assertion fail.
            result = {rapidjson::kParseErrorStringUnicodeSurrogateInvalid, stream.Tell()};
        }
        has_too_many = guard.HasTooMany();
        return !result.IsError();
    };
    m_document.Populate(generate);
    if (has_too_many) throw Exception(u"The server's answer has too many values to be read");
    m_error = result.Code();
    m_error_offset = result.Offset();
    return !result.IsError();
}

const Value* Member(const Value* value, std::u16string_view key) {
    if (!value || !value->IsObject()) return nullptr;
    const Value name(rapidjson::GenericStringRef<char16_t>(key.data(), static_cast<Size>(key.size())));
    const auto found = value->FindMember(name);
    return found == value->MemberEnd() ? nullptr : &found->value;
}

const Value* ObjectMember(const Value* value, std::u16string_view key) {
    const Value* member = Member(value, key);
    return member && member->IsObject() ? member : nullptr;
}

const Value* ArrayMember(const Value* value, std::u16string_view key) {
    const Value* member = Member(value, key);
    return member && member->IsArray() ? member : nullptr;
}

std::u16string_view Text(const Value* value) {
    if (!value || !value->IsString()) return {};
    return {value->GetString(), value->GetStringLength()};
}

std::optional<uint64_t> Unsigned(const Value* value) {
    if (value && value->IsUint64()) return value->GetUint64();
    return LeadingDigits(Text(value));
}

std::optional<uint32_t> Code(const Value* value) {
    std::u16string_view text = Text(value);
    const bool negative = text.starts_with(u'-');
    if (negative) text.remove_prefix(1);
    int64_t number = 0;
    size_t digits = 0;
    for (; digits < text.size() && text[digits] >= u'0' && text[digits] <= u'9'; ++digits) {
        number = std::min<int64_t>(number * 10 + (text[digits] - u'0'), UINT32_MAX);
    }
    if (digits == 0) return std::nullopt;
    return static_cast<uint32_t>(negative ? -number : number);
}

}  // namespace Json
