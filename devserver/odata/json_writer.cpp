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

    void Run() {
        if (m_mode == Mode::verbose) {
            m_json.StartObject().Key("d");
            WriteVerboseRoot();
            m_json.EndObject();
        } else {
            WriteLightRoot();
        }
        m_sink.Write(m_json.Take());
    }

private:
    bool HasMetadata() const { return m_mode == Mode::minimal || m_mode == Mode::v4_minimal; }
    std::string annotation(std::string_view name) const {
        return (m_v4 ? "@odata." : "odata.") + std::string(name);
    }

    void WriteVerboseRoot() {
        const auto& node = m_answer.node;
        if (node.kind == Node::Kind::entity || node.kind == Node::Kind::feed)
            return WriteNode(node, m_answer.projection);
        m_json.StartObject().Key(m_answer.name);
        WriteNode(node, m_answer.projection);
        m_json.EndObject();
    }

    void WriteLightRoot() {
        const auto& node = m_answer.node;
        if (node.kind == Node::Kind::entity) return WriteEntity(*node.entity, m_answer.projection, true);
        m_json.StartObject();
        if (HasMetadata() && node.kind != Node::Kind::nothing) {
            m_json.Member(annotation(m_v4 ? "context" : "metadata"),
                          m_answer.api_url + "$metadata#" + TypeOf(node));
        }
        if (node.kind == Node::Kind::nothing ||
            (node.kind == Node::Kind::value && node.value.kind == Value::Kind::null)) {
            m_json.Member(annotation("null"), true);
        } else if (node.kind == Node::Kind::value && node.value.kind == Value::Kind::complex) {
            for (const auto& [name, value] : node.value.complex->members) WriteMember(name, value);
        } else if (node.kind == Node::Kind::feed) {
            WriteLightFeed(*node.feed);
        } else {
            m_json.Key("value");
            WriteNode(node, m_answer.projection);
        }
        m_json.EndObject();
    }

    void WriteLightFeed(const Feed& feed) {
        if (!feed.next_link.empty()) m_json.Member(annotation("nextLink"), feed.next_link);
        m_json.Key("value");
        WriteRows(feed, m_answer.projection);
    }

    static std::string TypeOf(const Node& node) {
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

    void WriteNode(const Node& node, const Projection& projection) {
        switch (node.kind) {
            case Node::Kind::nothing:
                m_json.Null();
                break;
            case Node::Kind::value:
                WriteValue(node.value);
                break;
            case Node::Kind::values:
                WriteComplexRows(node.values);
                break;
            case Node::Kind::entity:
                WriteEntity(*node.entity, projection, false);
                break;
            case Node::Kind::feed:
                WriteNestedFeed(*node.feed, projection);
                break;
        }
    }

    // Verbose answers wrap a collection in an object with its type.
    void BeginCollection(const std::string& type) {
        if (m_mode == Mode::verbose) {
            m_json.StartObject();
            WriteType(type);
            m_json.Key("results");
        }
        m_json.StartArray();
    }

    void EndCollection() {
        m_json.EndArray();
        if (m_mode == Mode::verbose) m_json.EndObject();
    }

    void WriteType(const std::string& type) {
        m_json.Key("__metadata").StartObject().Member("type", type).EndObject();
    }

    void WriteComplexRows(const std::vector<Complex>& rows) {
        BeginCollection("Collection(" + (rows.empty() ? std::string("Edm.Object") : rows[0].type) + ")");
        for (const auto& row : rows) WriteMembers(row, false);
        EndCollection();
    }

    void WriteNestedFeed(const Feed& feed, const Projection& projection) {
        if (m_mode != Mode::verbose) return WriteRows(feed, projection);
        m_json.StartObject().Key("results");
        WriteRows(feed, projection);
        if (!feed.next_link.empty()) m_json.Member("__next", feed.next_link);
        m_json.EndObject();
    }

    // Long listings go out in pieces.
    void WriteRows(const Feed& feed, const Projection& projection) {
        m_json.StartArray();
        while (true) {
            Entity entity;
            if (!feed.next(entity)) break;
            WriteEntity(entity, projection, false);
            if (m_json.size() > 48 * 1024) m_sink.Write(m_json.Take());
        }
        m_json.EndArray();
    }

    void WriteMetadata(const Entity& entity, const std::string& uri, bool root) {
        if (m_mode == Mode::verbose) {
            m_json.Key("__metadata").StartObject();
            if (!entity.id.empty()) m_json.Member("id", m_answer.api_url + entity.id).Member("uri", uri);
            if (!entity.etag.empty()) m_json.Member("etag", entity.etag);
            m_json.Member("type", entity.type).EndObject();
        } else if (HasMetadata()) {
            if (root) {
                m_json.Member(annotation(m_v4 ? "context" : "metadata"),
                              m_answer.api_url + "$metadata#" + entity.type + "/@Element");
            }
            m_json.Member(annotation("type"), (m_v4 ? "#" : "") + entity.type);
            m_json.Member(annotation("id"), uri);
            if (!entity.etag.empty()) m_json.Member(annotation("etag"), entity.etag);
            m_json.Member(annotation("editLink"), EncodePath(entity.id));
        }
    }

    void WriteEntity(const Entity& entity, const Projection& projection, bool root) {
        auto uri = m_answer.api_url + EncodePath(entity.id);
        m_json.StartObject();
        WriteMetadata(entity, uri, root);
        for (const auto& link : entity.links) {
            if (const auto* below = projection.Expanded(link.name)) {
                m_json.Key(link.name);
                WriteNode(entity.resolve(link.name), *below);
            } else if (link.on_request && projection.names(link.name)) {
                m_json.Key(link.name);
                WriteNode(entity.resolve(link.name), {});
            } else if (m_mode == Mode::verbose && !link.on_request && projection.Selects(link.name)) {
                m_json.Key(link.name).StartObject().Key("__deferred").StartObject();
                m_json.Member("uri", uri + "/" + std::string(link.name)).EndObject().EndObject();
            }
        }
        for (const auto& [name, value] : entity.properties)
            if (projection.Selects(name)) WriteMember(name, value);
        m_json.EndObject();
    }

    void WriteMembers(const Complex& complex, bool with_type) {
        m_json.StartObject();
        if (with_type && m_mode == Mode::verbose) WriteType(complex.type);
        for (const auto& [name, value] : complex.members) WriteMember(name, value);
        m_json.EndObject();
    }

    void WriteMember(std::string_view name, const Value& value) {
        m_json.Key(name);
        WriteValue(value);
    }

    void WriteValue(const Value& value) {
        switch (value.kind) {
            case Value::Kind::null:
                m_json.Null();
                break;
            case Value::Kind::boolean:
                m_json.Value(value.number != 0);
                break;
            case Value::Kind::int32:
                m_json.Value(value.number);
                break;
            case Value::Kind::int64:
                m_json.Value(std::to_string(value.number));
                break;
            case Value::Kind::real:
                WriteReal(value.real);
                break;
            case Value::Kind::text:
            case Value::Kind::date:
            case Value::Kind::guid:
                m_json.Value(value.text);
                break;
            case Value::Kind::complex:
                WriteMembers(*value.complex, true);
                break;
            case Value::Kind::texts:
                BeginCollection("Collection(Edm.String)");
                for (const auto& text : value.texts) m_json.Value(text);
                EndCollection();
                break;
        }
    }

    // Whole numbers without a fraction, as real servers write them.
    void WriteReal(double value) {
        bool whole = std::floor(value) == value && std::fabs(value) < 1e15;
        char text[40];
        std::snprintf(text, sizeof text, whole ? "%.0f" : "%.15g", value);
        m_json.Raw(text);
    }

    const Answer& m_answer;
    Mode m_mode;
    BodySink& m_sink;
    bool m_v4;
    JsonWriter m_json;
};

}  // namespace

void WriteJson(const Answer& answer, Mode mode, BodySink& sink) {
    AnswerWriter(answer, mode, sink).Run();
}

}  // namespace devserver::odata
