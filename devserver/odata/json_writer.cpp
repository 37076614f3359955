// Writes answers as JSON: verbose, with little or no metadata, and the newer spelling of these.
// Owner: odata/; a request's thread alone.
#include <cmath>
#include <cstdio>

#include "base/text.h"
#include "odata/format.h"

namespace devserver::odata {
namespace {

void append_escaped(std::string& out, std::string_view text) {
    out += '"';
    for (char c : text) {
        auto byte = static_cast<unsigned char>(c);
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (byte < 0x20) {
                    char escape[8];
                    std::snprintf(escape, sizeof escape, "\\u%04x", byte);
                    out += escape;
                } else {
                    out += c;
                }
        }
    }
    out += '"';
}

class JsonWriter {
public:
    JsonWriter(const Answer& answer, Mode mode, BodySink& sink)
        : m_answer(answer),
          m_mode(mode),
          m_sink(sink),
          m_v4(mode == Mode::v4_minimal || mode == Mode::v4_none) {}

    void run() {
        if (m_mode == Mode::verbose) {
            m_out += "{\"d\":";
            write_verbose_root();
            m_out += '}';
        } else {
            write_light_root();
        }
        flush();
    }

private:
    bool has_metadata() const { return m_mode == Mode::minimal || m_mode == Mode::v4_minimal; }
    std::string annotation(std::string_view name) const {
        return (m_v4 ? "@odata." : "odata.") + std::string(name);
    }

    void flush() {
        m_sink.write(m_out);
        m_out.clear();
    }

    void key(std::string_view name) {
        if (m_out.back() != '{') m_out += ',';
        append_escaped(m_out, name);
        m_out += ':';
    }

    void text(std::string_view value) { append_escaped(m_out, value); }

    void write_verbose_root() {
        const auto& node = m_answer.node;
        if (node.kind == Node::Kind::entity || node.kind == Node::Kind::feed)
            return write_node(node, m_answer.projection);
        m_out += '{';
        key(m_answer.name);
        write_node(node, m_answer.projection);
        m_out += '}';
    }

    void write_light_root() {
        const auto& node = m_answer.node;
        if (node.kind == Node::Kind::entity) return write_entity(*node.entity, m_answer.projection, true);
        m_out += '{';
        if (has_metadata() && node.kind != Node::Kind::nothing) {
            key(annotation(m_v4 ? "context" : "metadata"));
            text(m_answer.api_url + "$metadata#" + type_of(node));
        }
        if (node.kind == Node::Kind::nothing ||
            (node.kind == Node::Kind::value && node.value.kind == Value::Kind::null)) {
            key(annotation("null"));
            m_out += "true";
        } else if (node.kind == Node::Kind::value && node.value.kind == Value::Kind::complex) {
            for (const auto& [name, value] : node.value.complex->members) {
                key(name);
                write_value(value);
            }
        } else if (node.kind == Node::Kind::feed) {
            write_light_feed(*node.feed);
        } else {
            key("value");
            write_node(node, m_answer.projection);
        }
        m_out += '}';
    }

    void write_light_feed(const Feed& feed) {
        if (!feed.next_link.empty()) {
            key(annotation("nextLink"));
            text(feed.next_link);
        }
        key("value");
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
                m_out += "null";
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

    void write_complex_rows(const std::vector<Complex>& rows) {
        if (m_mode == Mode::verbose) {
            m_out += "{\"__metadata\":{\"type\":";
            text("Collection(" + (rows.empty() ? std::string("Edm.Object") : rows[0].type) + ")");
            m_out += "},\"results\":";
        }
        m_out += '[';
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (i > 0) m_out += ',';
            write_members(rows[i], false);
        }
        m_out += ']';
        if (m_mode == Mode::verbose) m_out += '}';
    }

    void write_nested_feed(const Feed& feed, const Projection& projection) {
        if (m_mode != Mode::verbose) return write_rows(feed, projection);
        m_out += "{\"results\":";
        write_rows(feed, projection);
        if (!feed.next_link.empty()) {
            key("__next");
            text(feed.next_link);
        }
        m_out += '}';
    }

    void write_rows(const Feed& feed, const Projection& projection) {
        m_out += '[';
        bool first = true;
        while (true) {
            Entity entity;
            if (!feed.next(entity)) break;
            if (!first) m_out += ',';
            first = false;
            write_entity(entity, projection, false);
            if (m_out.size() > 48 * 1024) {
                // The last character stays, since the next separator depends on it.
                char last = m_out.back();
                m_out.pop_back();
                flush();
                m_out += last;
            }
        }
        m_out += ']';
    }

    void write_metadata(const Entity& entity, const std::string& uri, bool root) {
        if (m_mode == Mode::verbose) {
            m_out += "\"__metadata\":{";
            if (!entity.id.empty()) {
                m_out += "\"id\":";
                text(m_answer.api_url + entity.id);
                m_out += ",\"uri\":";
                text(uri);
                m_out += ',';
            }
            if (!entity.etag.empty()) {
                m_out += "\"etag\":";
                text(entity.etag);
                m_out += ',';
            }
            m_out += "\"type\":";
            text(entity.type);
            m_out += '}';
        } else if (has_metadata()) {
            if (root) {
                key(annotation(m_v4 ? "context" : "metadata"));
                text(m_answer.api_url + "$metadata#" + entity.type + "/@Element");
            }
            key(annotation("type"));
            text((m_v4 ? "#" : "") + entity.type);
            key(annotation("id"));
            text(uri);
            if (!entity.etag.empty()) {
                key(annotation("etag"));
                text(entity.etag);
            }
            key(annotation("editLink"));
            text(encode_path(entity.id));
        }
    }

    void write_entity(const Entity& entity, const Projection& projection, bool root) {
        auto uri = m_answer.api_url + encode_path(entity.id);
        m_out += '{';
        write_metadata(entity, uri, root);
        for (const auto& link : entity.links) {
            if (const auto* below = projection.expanded(link.name)) {
                key(link.name);
                write_node(entity.resolve(link.name), *below);
            } else if (link.on_request && projection.names(link.name)) {
                key(link.name);
                write_node(entity.resolve(link.name), {});
            } else if (m_mode == Mode::verbose && !link.on_request && projection.selects(link.name)) {
                key(link.name);
                m_out += "{\"__deferred\":{\"uri\":";
                text(uri + "/" + std::string(link.name));
                m_out += "}}";
            }
        }
        for (const auto& [name, value] : entity.properties) {
            if (!projection.selects(name)) continue;
            key(name);
            write_value(value);
        }
        m_out += '}';
    }

    void write_members(const Complex& complex, bool with_type) {
        m_out += '{';
        if (with_type && m_mode == Mode::verbose) {
            m_out += "\"__metadata\":{\"type\":";
            text(complex.type);
            m_out += '}';
        }
        for (const auto& [name, value] : complex.members) {
            key(name);
            write_value(value);
        }
        m_out += '}';
    }

    void write_value(const Value& value) {
        switch (value.kind) {
            case Value::Kind::null:
                m_out += "null";
                break;
            case Value::Kind::boolean:
                m_out += value.number ? "true" : "false";
                break;
            case Value::Kind::int32:
                m_out += std::to_string(value.number);
                break;
            case Value::Kind::int64:
                text(std::to_string(value.number));
                break;
            case Value::Kind::real:
                write_real(value.real);
                break;
            case Value::Kind::text:
            case Value::Kind::date:
            case Value::Kind::guid:
                text(value.text);
                break;
            case Value::Kind::complex:
                write_members(*value.complex, true);
                break;
            case Value::Kind::texts:
                write_texts(value.texts);
                break;
        }
    }

    void write_real(double value) {
        char buffer[40];
        if (std::floor(value) == value && std::fabs(value) < 1e15)
            std::snprintf(buffer, sizeof buffer, "%.0f", value);
        else
            std::snprintf(buffer, sizeof buffer, "%.15g", value);
        m_out += buffer;
    }

    void write_texts(const std::vector<std::string>& values) {
        if (m_mode == Mode::verbose)
            m_out += "{\"__metadata\":{\"type\":\"Collection(Edm.String)\"},\"results\":";
        m_out += '[';
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (i > 0) m_out += ',';
            text(values[i]);
        }
        m_out += ']';
        if (m_mode == Mode::verbose) m_out += '}';
    }

    const Answer& m_answer;
    Mode m_mode;
    BodySink& m_sink;
    bool m_v4;
    std::string m_out;
};

}  // namespace

std::string json_text(std::string_view text) {
    std::string result;
    append_escaped(result, text);
    return result;
}

void write_json(const Answer& answer, Mode mode, BodySink& sink) {
    JsonWriter(answer, mode, sink).run();
}

}  // namespace devserver::odata
