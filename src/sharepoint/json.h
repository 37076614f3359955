// JSON answers in wide characters. All use of the JSON library goes through here: its failed assertions
// become exceptions. A document is a plain value; one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/failure.h"

#ifdef RAPIDJSON_RAPIDJSON_H_
#error "sharepoint/json.h comes before any header of the JSON library"
#endif
#define RAPIDJSON_ASSERT(expression)                                            \
    do {                                                                        \
        if (!(expression)) throw Exception(u"JSON: " #expression " is not so"); \
    } while (false)
#define RAPIDJSON_NOEXCEPT_ASSERT(expression) static_cast<void>(0)

#include <rapidjson/allocators.h>
// The library's empty stacks add an offset to a null pointer, which the sanitizer would report.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/internal/stack.h>
#if defined(__clang__)
#pragma clang attribute pop
#endif
#include <rapidjson/document.h>

namespace Json {

using Encoding = rapidjson::UTF16<char16_t>;
using Value = rapidjson::GenericValue<Encoding>;

// Deeper answers are refused.
inline constexpr unsigned kMaxDepth = 64;
// In memory a value is eight times as long as the shortest text of one.
inline constexpr size_t kMaxValues = 8'000'000;

// A parsed answer, with the text that its strings point into.
class Document {
public:
    Document() = default;
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    // Parses UTF-8; false leaves a null root and tells error number and offset (in UTF-16 units). Throws
    // Exception for an answer with too many values.
    bool Parse(std::string_view bytes);
    // The same of text.
    bool ParseText(std::u16string text);

    const Value& Root() const { return m_document; }
    rapidjson::ParseErrorCode ErrorCode() const { return m_error; }
    size_t ErrorOffset() const { return m_error_offset; }

private:
    std::u16string m_text;
    rapidjson::GenericDocument<Encoding> m_document;
    rapidjson::ParseErrorCode m_error = rapidjson::kParseErrorNone;
    size_t m_error_offset = 0;
};

// A member of an object, null when there is none or `value` is null or no object.
const Value* Member(const Value* value, std::u16string_view key);
// The same when the member is itself an object or an array.
const Value* ObjectMember(const Value* value, std::u16string_view key);
const Value* ArrayMember(const Value* value, std::u16string_view key);
// The text of a string, empty for anything else.
std::u16string_view Text(const Value* value);
// An unsigned number, written as a number or as text that begins with digits.
std::optional<uint64_t> Unsigned(const Value* value);

// The number at the start of a text such as "-2147024891, System..." as 32 bits; nothing without digits.
std::optional<uint32_t> Code(const Value* value);

}  // namespace Json
