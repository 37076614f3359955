#include "rest/filter.h"

#include <cstdlib>
#include <memory>
#include <variant>

#include "base/text.h"
#include "odata/errors.h"

namespace devserver::rest {
namespace {

using odata::Entity;
using odata::Value;
using Operand = std::variant<std::monostate, bool, double, std::string>;
using Expression = std::function<Operand(const Entity&)>;
constexpr int kMaxDepth = 64, kMaxTerms = 500, kMaxPath = 4;

Operand OperandOf(const Value& value) {
    switch (value.kind) {
        case Value::Kind::boolean:
            return value.number != 0;
        case Value::Kind::int32:
        case Value::Kind::int64:
            return static_cast<double>(value.number);
        case Value::Kind::real:
            return value.real;
        case Value::Kind::text:
        case Value::Kind::date:
        case Value::Kind::guid:
            return value.text;
        default:
            return std::monostate{};
    }
}

bool Truth(const Operand& operand) {
    return std::holds_alternative<bool>(operand) && std::get<bool>(operand);
}

std::string TextOf(const Operand& operand) {
    return std::holds_alternative<std::string>(operand) ? ToLower(std::get<std::string>(operand))
                                                        : std::string();
}

// Less than 0, 0 or more than 0; case makes no difference, as in lists.
int Compare(const Operand& a, const Operand& b) {
    if (a.index() != b.index()) return a.index() < b.index() ? -1 : 1;
    if (std::holds_alternative<std::string>(a)) return TextOf(a).compare(TextOf(b));
    if (a == b) return 0;
    return a < b ? -1 : 1;
}

class Parser {
public:
    explicit Parser(std::string_view text) : m_text(text) {}

    Expression Parse() {
        auto expression = ParseOr();
        SkipBlanks();
        if (m_at != m_text.size()) Fail();
        return expression;
    }

private:
    [[noreturn]] void Fail() const { throw odata::InvalidExpression(std::string(m_text)); }

    void SkipBlanks() {
        while (m_at < m_text.size() && m_text[m_at] == ' ') ++m_at;
    }

    bool Accept(char c) {
        SkipBlanks();
        if (m_at >= m_text.size() || m_text[m_at] != c) return false;
        ++m_at;
        return true;
    }

    std::string_view PeekWord() {
        SkipBlanks();
        auto end = m_at;
        while (end < m_text.size() &&
               (std::isalnum(static_cast<unsigned char>(m_text[end])) || m_text[end] == '_' ||
                m_text[end] == '/' || m_text[end] == '.' || m_text[end] == '-'))
            ++end;
        return m_text.substr(m_at, end - m_at);
    }

    bool AcceptWord(std::string_view word) {
        if (!EqualsIgnoringCase(PeekWord(), word)) return false;
        m_at += word.size();
        return true;
    }

    Expression ParseOr() {
        if (++m_depth > kMaxDepth) Fail();
        auto left = ParseAnd();
        while (AcceptWord("or")) {
            auto right = ParseAnd();
            left = [left, right](const Entity& entity) {
                return Operand(Truth(left(entity)) || Truth(right(entity)));
            };
        }
        --m_depth;
        return left;
    }

    Expression ParseAnd() {
        auto left = ParseNot();
        while (AcceptWord("and")) {
            auto right = ParseNot();
            left = [left, right](const Entity& entity) {
                return Operand(Truth(left(entity)) && Truth(right(entity)));
            };
        }
        return left;
    }

    Expression ParseNot() {
        if (!AcceptWord("not")) return ParseComparison();
        auto inner = ParseComparison();
        return [inner](const Entity& entity) { return Operand(!Truth(inner(entity))); };
    }

    Expression ParseComparison() {
        if (++m_terms > kMaxTerms) Fail();
        auto left = ParsePrimary();
        struct Row {
            std::string_view word;
            bool (*test)(int);
        };
        static constexpr Row kRows[] = {
            {"eq", [](int c) { return c == 0; }}, {"ne", [](int c) { return c != 0; }},
            {"gt", [](int c) { return c > 0; }},  {"ge", [](int c) { return c >= 0; }},
            {"lt", [](int c) { return c < 0; }},  {"le", [](int c) { return c <= 0; }}};
        for (const auto& row : kRows) {
            if (AcceptWord(row.word)) {
                auto right = ParsePrimary();
                auto test = row.test;
                return [left, right, test](const Entity& entity) {
                    return Operand(test(Compare(left(entity), right(entity))));
                };
            }
        }
        return left;
    }

    static Expression constant(const Operand& operand) {
        return [operand](const Entity&) { return operand; };
    }

    std::string ParseQuoted() {
        std::string text;
        while (true) {
            if (m_at >= m_text.size()) Fail();
            char c = m_text[m_at++];
            if (c == '\'') {
                if (m_at < m_text.size() && m_text[m_at] == '\'') {
                    ++m_at;
                } else {
                    return text;
                }
            }
            text += c;
        }
    }

    Expression ParsePrimary() {
        if (Accept('(')) {
            auto inner = ParseOr();
            if (!Accept(')')) Fail();
            return inner;
        }
        if (Accept('\'')) return constant(ParseQuoted());
        auto word = PeekWord();
        if (word.empty()) Fail();
        m_at += word.size();
        std::string name(word);
        if (m_at < m_text.size() && m_text[m_at] == '\'' &&
            (EqualsIgnoringCase(name, "guid") || EqualsIgnoringCase(name, "datetime"))) {
            ++m_at;
            return constant(ParseQuoted());
        }
        if (Accept('(')) return ParseCall(name);
        if (EqualsIgnoringCase(name, "true")) return constant(true);
        if (EqualsIgnoringCase(name, "false")) return constant(false);
        if (EqualsIgnoringCase(name, "null")) return constant(std::monostate{});
        char* end = nullptr;
        double number = std::strtod(name.c_str(), &end);
        if (*end == 0) return constant(number);
        return [name](const Entity& entity) { return OperandOf(PropertyOf(entity, name)); };
    }

    Expression ParseCall(const std::string& name) {
        auto first = ParseOr();
        Expression second = constant(std::string());
        if (Accept(',')) second = ParseOr();
        if (!Accept(')')) Fail();
        if (EqualsIgnoringCase(name, "startswith"))
            return [=](const Entity& e) { return Operand(TextOf(first(e)).starts_with(TextOf(second(e)))); };
        if (EqualsIgnoringCase(name, "endswith"))
            return [=](const Entity& e) { return Operand(TextOf(first(e)).ends_with(TextOf(second(e)))); };
        if (EqualsIgnoringCase(name, "substringof")) {
            return [=](const Entity& e) {
                return Operand(TextOf(second(e)).find(TextOf(first(e))) != std::string::npos);
            };
        }
        if (EqualsIgnoringCase(name, "tolower"))
            return [=](const Entity& e) { return Operand(TextOf(first(e))); };
        Fail();
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    int m_depth = 0, m_terms = 0;
};

}  // namespace

Value PropertyOf(const Entity& entity, std::string_view name, int depth) {
    if (const auto* value = entity.Find(name)) return *value;
    auto slash = name.find('/');
    auto head = name.substr(0, slash);
    for (const auto& link : entity.links) {
        if (!EqualsIgnoringCase(link.name, head) || link.feed || depth >= kMaxPath) continue;
        auto node = entity.resolve(link.name);
        if (node.kind == odata::Node::Kind::nothing) return Value::null();
        if (node.kind == odata::Node::Kind::value && slash == std::string_view::npos) return node.value;
        if (node.kind == odata::Node::Kind::entity && slash != std::string_view::npos)
            return PropertyOf(*node.entity, name.substr(slash + 1), depth + 1);
    }
    throw odata::UnknownProperty(std::string(name));
}

std::function<bool(const Entity&)> ParseFilter(std::string_view text) {
    auto owned = std::make_shared<std::string>(text);
    auto expression = Parser(*owned).Parse();
    return [owned, expression](const Entity& entity) { return Truth(expression(entity)); };
}

}  // namespace devserver::rest
