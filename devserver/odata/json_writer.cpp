// Writes answers as JSON: verbose, with minimal or no metadata, in the older and the newer spelling.
// Owner: odata/; a request's thread alone.
#include <cmath>
#include <cstdio>

#include "base/json.h"
#include "base/text.h"
#include "odata/format.h"

namespace devserver::odata {
namespace {

class AnswerWriter {
public:
    AnswerWriter(const Answer& answer, Mode mode, BodySink& sink)
        : m_answer(answer),
          m_mode(mode),
          m_sink(sink),
          m_v4(mode == Mode::v4_minimal || mode == Mode::v4_none) {}

    void run() {
        if (m_mode == Mode::verbose) {
            m_json.object().key("d");
            write_verbose_root();
            m_json.end_object();
        } else {
            write_light_root();
        }
        m_sink.write(m_json.take());
    }

private:
    bool has_metadata() const { return m_mode == Mode::minimal || m_mode == Mode::v4_minimal; }
    std::string annotation(std::string_view name) const {
        return (m_v4 ? "@odata." : "odata.") + std::string(name);
    }

    void write_verbose_root() {
        const auto& node = m_answer.node;
        if (node.kind == Node::Kind::entity || node.kind == Node::Kind::feed)
            return write_node(node, m_answer.projection);
        m_json.object().key(m_answer.name);
        write_node(node, m_answer.projection);
        m_json.end_object();
    }

    void write_light_root() {
        const auto& node = m_answer.node;
        if (node.kind == Node::Kind::entity) return write_entity(*node.entity, m_answer.projection, true);
        m_json.object();
        if (has_metadata() && node.kind != Node::Kind::nothing)
            m_json.member(annotation(m_v4 ? "context" : "metadata"),
                          m_answer.api_url + "$metadata#" + type_of(node));
        if (node.kind == Node::Kind::nothing ||
            (node.kind == Node::Kind::value && node.value.kind == Value::Kind::null)) {
            m_json.member(annotation("null"), true);
        } else if (node.kind == Node::Kind::value && node.value.kind == Value::Kind::complex) {
            for (const auto& [name, value] : node.value.complex->members) write_member(name, value);
        } else if (node.kind == Node::Kind::feed) {
            write_light_feed(*node.feed);
        } else {
            m_json.key("value");
            write_node(node, m_answer.projection);
        }
        m_json.end_object();
    }

    void write_light_feed(const Feed& feed) {
        if (!feed.next_link.empty()) m_json.member(annotation("nextLink"), feed.next_link);
        m_json.key("value");
        write_rows(feed, m_answer.projection);
    }

    static std::string type_of(const Node& node) {
        if (node.kind == Node::Kind::feed) return "Collection";
        if (node.kind == Node::Kind::values) return "Collection";
        switch (node.value.kind) {
            case Value::Kind::boolean:
                return "Edm.Boolean";
            case Value::Kind::int32:
                return "Edm.Int32";
            case Value::Kind::int64:
                return "Edm.Int64";
            case Value::Kind::real:
                return "Edm.Double";
            case Value::Kind::date:
                return "Edm.DateTime";
            case Value::Kind::guid:
                return "Edm.Guid";
            case Value::Kind::complex:
                return node.value.complex->type;
            case Value::Kind::texts:
                return "Collection(Edm.String)";
            default:
                return "Edm.String";
        }
    }

    void write_node(const Node& node, const Projection& projection) {
        switch (node.kind) {
            case Node::Kind::nothing:
                m_json.null();
                break;
            case Node::Kind::value:
                write_value(node.value);
                break;
            case Node::Kind::values:
                write_complex_rows(node.values);
                break;
            case Node::Kind::entity:
                write_entity(*node.entity, projection, false);
                break;
            case Node::Kind::feed:
                write_nested_feed(*node.feed, projection);
                break;
        }
    }

    // Verbose answers wrap a collection in an object with its type.
    void begin_collection(const std::string& type) {
        if (m_mode == Mode::verbose) {
            m_json.object();
            write_type(type);
            m_json.key("results");
        }
        m_json.array();
    }

    void end_collection() {
        m_json.end_array();
        if (m_mode == Mode::verbose) m_json.end_object();
    }

    void write_type(const std::string& type) {
        m_json.key("__metadata").object().member("type", type).end_object();
    }

    void write_complex_rows(const std::vector<Complex>& rows) {
        begin_collection("Collection(" + (rows.empty() ? std::string("Edm.Object") : rows[0].type) + ")");
        for (const auto& row : rows) write_members(row, false);
        end_collection();
    }

    void write_nested_feed(const Feed& feed, const Projection& projection) {
        if (m_mode != Mode::verbose) return write_rows(feed, projection);
        m_json.object().key("results");
        write_rows(feed, projection);
        if (!feed.next_link.empty()) m_json.member("__next", feed.next_link);
        m_json.end_object();
    }

    // Long listings go out in pieces.
    void write_rows(const Feed& feed, const Projection& projection) {
        m_json.array();
        while (true) {
            Entity entity;
            if (!feed.next(entity)) break;
            write_entity(entity, projection, false);
            if (m_json.size() > 48 * 1024) m_sink.write(m_json.take());
        }
        m_json.end_array();
    }

    void write_metadata(const Entity& entity, const std::string& uri, bool root) {
        if (m_mode == Mode::verbose) {
            m_json.key("__metadata").object();
            if (!entity.id.empty()) m_json.member("id", m_answer.api_url + entity.id).member("uri", uri);
            if (!entity.etag.empty()) m_json.member("etag", entity.etag);
            m_json.member("type", entity.type).end_object();
        } else if (has_metadata()) {
            if (root)
                m_json.member(annotation(m_v4 ? "context" : "metadata"),
                              m_answer.api_url + "$metadata#" + entity.type + "/@Element");
            m_json.member(annotation("type"), (m_v4 ? "#" : "") + entity.type);
            m_json.member(annotation("id"), uri);
            if (!entity.etag.empty()) m_json.member(annotation("etag"), entity.etag);
            m_json.member(annotation("editLink"), encode_path(entity.id));
        }
    }

    void write_entity(const Entity& entity, const Projection& projection, bool root) {
        auto uri = m_answer.api_url + encode_path(entity.id);
        m_json.object();
        write_metadata(entity, uri, root);
        for (const auto& link : entity.links) {
            if (const auto* below = projection.expanded(link.name)) {
                m_json.key(link.name);
                write_node(entity.resolve(link.name), *below);
            } else if (link.on_request && projection.names(link.name)) {
                m_json.key(link.name);
                write_node(entity.resolve(link.name), {});
            } else if (m_mode == Mode::verbose && !link.on_request && projection.selects(link.name)) {
                m_json.key(link.name).object().key("__deferred").object();
                m_json.member("uri", uri + "/" + std::string(link.name)).end_object().end_object();
            }
        }
        for (const auto& [name, value] : entity.properties)
            if (projection.selects(name)) write_member(name, value);
        m_json.end_object();
    }

    void write_members(const Complex& complex, bool with_type) {
        m_json.object();
        if (with_type && m_mode == Mode::verbose) write_type(complex.type);
        for (const auto& [name, value] : complex.members) write_member(name, value);
        m_json.end_object();
    }

    void write_member(std::string_view name, const Value& value) {
        m_json.key(name);
        write_value(value);
    }

    void write_value(const Value& value) {
        switch (value.kind) {
            case Value::Kind::null:
                m_json.null();
                break;
            case Value::Kind::boolean:
                m_json.value(value.number != 0);
                break;
            case Value::Kind::int32:
                m_json.value(value.number);
                break;
            case Value::Kind::int64:
                m_json.value(std::to_string(value.number));
                break;
            case Value::Kind::real:
                write_real(value.real);
                break;
            case Value::Kind::text:
            case Value::Kind::date:
            case Value::Kind::guid:
                m_json.value(value.text);
                break;
            case Value::Kind::complex:
                write_members(*value.complex, true);
                break;
            case Value::Kind::texts:
                begin_collection("Collection(Edm.String)");
                for (const auto& text : value.texts) m_json.value(text);
                end_collection();
                break;
        }
    }

    // Whole numbers without a fraction, as real servers write them.
    void write_real(double value) {
        bool whole = std::floor(value) == value && std::fabs(value) < 1e15;
        char text[40];
        std::snprintf(text, sizeof text, whole ? "%.0f" : "%.15g", value);
        m_json.raw(text);
    }

    const Answer& m_answer;
    Mode m_mode;
    BodySink& m_sink;
    bool m_v4;
    JsonWriter m_json;
};

}  // namespace

void write_json(const Answer& answer, Mode mode, BodySink& sink) {
    AnswerWriter(answer, mode, sink).run();
}

}  // namespace devserver::odata
