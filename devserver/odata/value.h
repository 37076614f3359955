// The content of an answer before a format is chosen: values, entities, feeds.
// Owner: odata/; a request's thread alone.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace devserver::odata {

struct Complex;

struct Value {
    enum class Kind { null, boolean, int32, int64, real, text, date, guid, complex, texts };
    Kind kind = Kind::null;
    std::string text;  // text, date (ISO 8601) and guid
    std::int64_t number = 0;
    double real = 0;
    std::vector<std::string> texts;
    std::shared_ptr<Complex> complex;

    static Value null() { return {}; }
    static Value boolean(bool value) { return Make(Kind::boolean, {}, value ? 1 : 0); }
    static Value Int32(std::int64_t value) { return Make(Kind::int32, {}, value); }
    static Value Int64(std::int64_t value) { return Make(Kind::int64, {}, value); }  // a string in JSON
    static Value OfReal(double value) {
        Value result;
        result.kind = Kind::real;
        result.real = value;
        return result;
    }
    static Value OfText(std::string value) { return Make(Kind::text, std::move(value), 0); }
    static Value date(std::string value) { return Make(Kind::date, std::move(value), 0); }
    static Value guid(std::string value) { return Make(Kind::guid, std::move(value), 0); }
    static Value OfTexts(std::vector<std::string> values) {
        Value result;
        result.kind = Kind::texts;
        result.texts = std::move(values);
        return result;
    }
    static Value OfComplex(Complex value);

private:
    static Value Make(Kind kind, std::string text, std::int64_t number) {
        Value result;
        result.kind = kind;
        result.text = std::move(text);
        result.number = number;
        return result;
    }
};

using Properties = std::vector<std::pair<std::string, Value>>;

// A structured value without an address of its own.
struct Complex {
    std::string type;
    Properties members;
};

inline Value Value::OfComplex(Complex value) {
    Value result;
    result.kind = Kind::complex;
    result.complex = std::make_shared<Complex>(std::move(value));
    return result;
}

struct Node;

// A link of an entity; one that is `on_request` appears only when it is asked for.
struct Link {
    std::string_view name;
    bool on_request = false;
    bool feed = false;
};

struct Entity {
    std::string type;
    std::string id;  // relative to the web's _api/
    std::string etag;
    bool polymorphic = false;  // unknown names in $select are ignored
    Properties properties;
    std::span<const Link> links;
    std::function<Node(std::string_view)> resolve;

    void Add(std::string name, Value value) { properties.emplace_back(std::move(name), std::move(value)); }
    const Value* Find(std::string_view name) const;
};

// Entities one after the other; `next` returns false at the end.
struct Feed {
    std::function<bool(Entity&)> next;
    std::string next_link;  // absolute; empty at the last page
};

struct Node {
    enum class Kind { nothing, value, values, entity, feed };
    Kind kind = Kind::nothing;
    Value value;
    std::vector<Complex> values;  // a collection of structured values
    std::shared_ptr<Entity> entity;
    std::shared_ptr<Feed> feed;

    static Node Nothing() { return {}; }
    static Node Of(Value value);
    static Node Of(Entity entity);
    static Node Of(Feed feed);
    static Node Of(std::vector<Complex> values);
};

// What $select and $expand ask for, as a tree; names are kept in lower case.
class Projection {
public:
    static Projection Parse(std::string_view select, std::string_view expand);
    bool Selects(std::string_view name) const;
    // Whether $select leaves nothing out.
    bool SelectsAll() const { return m_select.empty() || m_star; }
    bool names(std::string_view name) const;
    // The part below an expanded name; null when it isn't expanded.
    const Projection* Expanded(std::string_view name) const;
    const std::vector<std::string>& Selected() const { return m_select; }

private:
    Projection& child(std::string_view name, bool expand);

    struct Branch;
    std::vector<std::string> m_select;
    bool m_star = false;
    std::vector<std::shared_ptr<Branch>> m_branches;
};

struct Projection::Branch {
    std::string name;
    bool expanded = false;
    Projection below;
};

}  // namespace devserver::odata
