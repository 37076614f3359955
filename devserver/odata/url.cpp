#include "odata/url.h"

#include "odata/errors.h"

namespace devserver::odata {
namespace {

// Splits at `separator` outside of quotes and parentheses.
std::vector<std::string> SplitOutside(std::string_view text, char separator) {
    std::vector<std::string> parts(1);
    int depth = 0;
    bool quoted = false;
    for (char c : text) {
        if (c == '\'') quoted = !quoted;
        if (!quoted && c == '(') ++depth;
        if (!quoted && c == ')') --depth;
        if (c == separator && !quoted && depth <= 0) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    if (quoted || depth != 0) throw InvalidExpression(std::string(text));
    return parts;
}

std::string Unquote(std::string_view text) {
    auto inner = text.substr(1, text.size() - 2);
    for (std::size_t i = 0; i < inner.size(); ++i) {
        if (inner[i] != '\'') continue;
        if (i + 1 >= inner.size() || inner[i + 1] != '\'') throw InvalidExpression(std::string(text));
        ++i;
    }
    return ReplaceAll(std::string(inner), "''", "'");
}

bool IsQuoted(std::string_view text) {
    return text.size() >= 2 && text.front() == '\'' && text.back() == '\'';
}

// Position of the '=' of a named argument; none when the text begins like a value.
std::size_t NameEnd(std::string_view text) {
    auto equals = text.find('=');
    auto quote = text.find('\'');
    bool before_value = equals != std::string_view::npos && equals < quote && text[0] != '{';
    return before_value ? equals : std::string_view::npos;
}

Segment ParseSegment(const std::string& text, const QueryParameters& query) {
    Segment segment;
    auto open = text.find('(');
    segment.name = text.substr(0, open);
    if (open == std::string::npos) return segment;
    if (text.back() != ')') throw InvalidExpression(text);
    segment.called = true;
    auto inner = std::string_view(text).substr(open + 1, text.size() - open - 2);
    if (Trim(inner).empty()) return segment;
    for (const auto& part : SplitOutside(inner, ',')) {
        auto piece = Trim(part);
        Argument argument;
        if (auto equals = NameEnd(piece); equals != std::string_view::npos) {
            argument.name = std::string(Trim(piece.substr(0, equals)));
            piece = Trim(piece.substr(equals + 1));
        }
        argument.value = ParseLiteral(piece, query);
        segment.arguments.push_back(argument);
    }
    return segment;
}

}  // namespace

const Literal* Segment::argument(std::string_view wanted, std::size_t position) const {
    for (const auto& given : arguments)
        if (EqualsIgnoringCase(given.name, wanted)) return &given.value;
    if (position < arguments.size() && arguments[position].name.empty()) return &arguments[position].value;
    return nullptr;
}

std::string Segment::text(std::string_view wanted, std::size_t position) const {
    const auto* value = argument(wanted, position);
    return value ? value->text : std::string();
}

bool Segment::boolean(std::string_view wanted, bool otherwise, std::size_t position) const {
    const auto* value = argument(wanted, position);
    return value ? EqualsIgnoringCase(value->text, "true") || value->text == "1" : otherwise;
}

Literal ParseLiteral(std::string_view text, const QueryParameters& query) {
    text = Trim(text);
    if (text.starts_with("@")) {
        if (!HasQuery(query, text)) throw InvalidExpression(std::string(text));
        auto value = QueryValue(query, text);
        if (value.starts_with("@")) throw InvalidExpression(value);
        return ParseLiteral(value, {});
    }
    if (IsQuoted(text)) return {Literal::Kind::text, Unquote(text)};
    auto prefixed = [&](std::string_view prefix) {
        return StartsWithIgnoringCase(text, prefix) && IsQuoted(text.substr(prefix.size()));
    };
    if (prefixed("guid")) return {Literal::Kind::guid, ToLower(Unquote(text.substr(4)))};
    if (prefixed("datetime")) return {Literal::Kind::text, Unquote(text.substr(8))};
    if (text.starts_with("{") && text.ends_with("}")) return {Literal::Kind::json, std::string(text)};
    if (EqualsIgnoringCase(text, "true") || EqualsIgnoringCase(text, "false"))
        return {Literal::Kind::boolean, ToLower(text)};
    if (text.empty() || EqualsIgnoringCase(text, "null")) return {};
    if (text.find_first_not_of("0123456789.-+eE") == std::string_view::npos)
        return {Literal::Kind::number, std::string(text)};
    if (text.size() == 36 && text.find_first_not_of("0123456789abcdefABCDEF-") == std::string_view::npos)
        return {Literal::Kind::guid, ToLower(text)};
    throw InvalidExpression(std::string(text));
}

std::vector<Segment> ParseSegments(std::string_view raw_path, const QueryParameters& query) {
    std::vector<Segment> segments;
    for (const auto& part : SplitOutside(PercentDecode(raw_path), '/'))
        if (!part.empty()) segments.push_back(ParseSegment(part, query));
    return segments;
}

}  // namespace devserver::odata
