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
constexpr int max_depth = 64, max_terms = 500, max_path = 4;

Operand operand_of(const Value& value) {
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

bool truth(const Operand& operand) {
    return std::holds_alternative<bool>(operand) && std::get<bool>(operand);
}

std::string text_of(const Operand& operand) {
    return std::holds_alternative<std::string>(operand) ? to_lower(std::get<std::string>(operand))
                                                        : std::string();
}

// Less than 0, 0 or more than 0; case makes no difference, as in lists.
int compare(const Operand& a, const Operand& b) {
    if (a.index() != b.index()) return a.index() < b.index() ? -1 : 1;
    if (std::holds_alternative<std::string>(a)) return text_of(a).compare(text_of(b));
    if (a == b) return 0;
    return a < b ? -1 : 1;
}

class Parser {
public:
    explicit Parser(std::string_view text) : m_text(text) {}

    Expression parse() {
        auto expression = parse_or();
        skip_blanks();
        if (m_at != m_text.size()) fail();
        return expression;
    }

private:
    [[noreturn]] void fail() const { throw odata::invalid_expression(std::string(m_text)); }

    void skip_blanks() {
        while (m_at < m_text.size() && m_text[m_at] == ' ') ++m_at;
    }

    bool accept(char c) {
        skip_blanks();
        if (m_at >= m_text.size() || m_text[m_at] != c) return false;
        ++m_at;
        return true;
    }

    std::string_view peek_word() {
        skip_blanks();
        auto end = m_at;
        while (end < m_text.size() &&
               (std::isalnum(static_cast<unsigned char>(m_text[end])) || m_text[end] == '_' ||
                m_text[end] == '/' || m_text[end] == '.' || m_text[end] == '-'))
            ++end;
        return m_text.substr(m_at, end - m_at);
    }

    bool accept_word(std::string_view word) {
        if (!equals_ignoring_case(peek_word(), word)) return false;
        m_at += word.size();
        return true;
    }

    Expression parse_or() {
        if (++m_depth > max_depth) fail();
        auto left = parse_and();
        while (accept_word("or")) {
            auto right = parse_and();
            left = [left, right](const Entity& entity) {
                return Operand(truth(left(entity)) || truth(right(entity)));
            };
        }
        --m_depth;
        return left;
    }

    Expression parse_and() {
        auto left = parse_not();
        while (accept_word("and")) {
            auto right = parse_not();
            left = [left, right](const Entity& entity) {
                return Operand(truth(left(entity)) && truth(right(entity)));
            };
        }
        return left;
    }

    Expression parse_not() {
        if (!accept_word("not")) return parse_comparison();
        auto inner = parse_comparison();
        return [inner](const Entity& entity) { return Operand(!truth(inner(entity))); };
    }

    Expression parse_comparison() {
        if (++m_terms > max_terms) fail();
        auto left = parse_primary();
        struct Row {
            std::string_view word;
            bool (*test)(int);
        };
        static constexpr Row rows[] = {
            {"eq", [](int c) { return c == 0; }}, {"ne", [](int c) { return c != 0; }},
            {"gt", [](int c) { return c > 0; }},  {"ge", [](int c) { return c >= 0; }},
            {"lt", [](int c) { return c < 0; }},  {"le", [](int c) { return c <= 0; }}};
        for (const auto& row : rows)
            if (accept_word(row.word)) {
                auto right = parse_primary();
                auto test = row.test;
                return [left, right, test](const Entity& entity) {
                    return Operand(test(compare(left(entity), right(entity))));
                };
            }
        return left;
    }

    static Expression constant(Operand operand) {
        return [operand](const Entity&) { return operand; };
    }

    std::string parse_quoted() {
        std::string text;
        while (true) {
            if (m_at >= m_text.size()) fail();
            char c = m_text[m_at++];
            if (c == '\'') {
                if (m_at < m_text.size() && m_text[m_at] == '\'')
                    ++m_at;
                else
                    return text;
            }
            text += c;
        }
    }

    Expression parse_primary() {
        if (accept('(')) {
            auto inner = parse_or();
            if (!accept(')')) fail();
            return inner;
        }
        if (accept('\'')) return constant(parse_quoted());
        auto word = peek_word();
        if (word.empty()) fail();
        m_at += word.size();
        std::string name(word);
        if (m_at < m_text.size() && m_text[m_at] == '\'' &&
            (equals_ignoring_case(name, "guid") || equals_ignoring_case(name, "datetime"))) {
            ++m_at;
            return constant(parse_quoted());
        }
        if (accept('(')) return parse_call(name);
        if (equals_ignoring_case(name, "true")) return constant(true);
        if (equals_ignoring_case(name, "false")) return constant(false);
        if (equals_ignoring_case(name, "null")) return constant(std::monostate{});
        char* end = nullptr;
        double number = std::strtod(name.c_str(), &end);
        if (*end == 0) return constant(number);
        return [name](const Entity& entity) { return operand_of(property_of(entity, name)); };
    }

    Expression parse_call(const std::string& name) {
        auto first = parse_or();
        Expression second = constant(std::string());
        if (accept(',')) second = parse_or();
        if (!accept(')')) fail();
        if (equals_ignoring_case(name, "startswith"))
            return
                [=](const Entity& e) { return Operand(text_of(first(e)).starts_with(text_of(second(e)))); };
        if (equals_ignoring_case(name, "endswith"))
            return [=](const Entity& e) { return Operand(text_of(first(e)).ends_with(text_of(second(e)))); };
        if (equals_ignoring_case(name, "substringof"))
            return [=](const Entity& e) {
                return Operand(text_of(second(e)).find(text_of(first(e))) != std::string::npos);
            };
        if (equals_ignoring_case(name, "tolower"))
            return [=](const Entity& e) { return Operand(text_of(first(e))); };
        fail();
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    int m_depth = 0, m_terms = 0;
};

}  // namespace

Value property_of(const Entity& entity, std::string_view name, int depth) {
    if (const auto* value = entity.find(name)) return *value;
    auto slash = name.find('/');
    auto head = name.substr(0, slash);
    for (const auto& link : entity.links) {
        if (!equals_ignoring_case(link.name, head) || link.feed || depth >= max_path) continue;
        auto node = entity.resolve(link.name);
        if (node.kind == odata::Node::Kind::nothing) return Value::null();
        if (node.kind == odata::Node::Kind::value && slash == std::string_view::npos) return node.value;
        if (node.kind == odata::Node::Kind::entity && slash != std::string_view::npos)
            return property_of(*node.entity, name.substr(slash + 1), depth + 1);
    }
    throw odata::unknown_property(std::string(name));
}

std::function<bool(const Entity&)> parse_filter(std::string_view text) {
    auto owned = std::make_shared<std::string>(text);
    auto expression = Parser(*owned).parse();
    return [owned, expression](const Entity& entity) { return truth(expression(entity)); };
}

}  // namespace devserver::rest
