// Writes answers as XML: Atom entries and feeds, and single values.
// Owner: odata/; a request's thread alone.
#include "base/clock.h"
#include "base/text.h"
#include "odata/format.h"

namespace devserver::odata {
namespace {

constexpr const char* kNamespaces =
    " xmlns=\"http://www.w3.org/2005/Atom\" xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\""
    " xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\"";
constexpr const char* kValueNamespaces =
    " xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\""
    " xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\"";
constexpr const char* kScheme = "http://schemas.microsoft.com/ado/2007/08/dataservices/scheme";
constexpr const char* kRelated = "http://schemas.microsoft.com/ado/2007/08/dataservices/related/";

// XML 1.0 forbids most control characters.
std::string XmlEscape(std::string_view text) {
    std::string clean;
    for (char c : text)
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\r' || c == '\t') clean += c;
    return HtmlEscape(clean);
}

class AtomWriter {
public:
    AtomWriter(const Answer& answer, BodySink& sink) : m_answer(answer), m_sink(sink) {}

    void Run() {
        m_out = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
        const auto& node = m_answer.node;
        if (node.kind == Node::Kind::entity) {
            WriteEntry(*node.entity, m_answer.projection, true);
        } else if (node.kind == Node::Kind::feed) {
            WriteFeed(*node.feed, m_answer.projection, true);
        } else if (node.kind == Node::Kind::values) {
            WriteValues(node.values);
        } else {
            WriteProperty(m_answer.name, node.value, true);
        }
        m_sink.Write(m_out);
    }

private:
    void Open(std::string_view element, bool root) {
        m_out += '<';
        m_out += element;
        if (root) {
            m_out += " xml:base=\"" + XmlEscape(m_answer.api_url) + "\"";
            m_out += kNamespaces;
        }
        m_out += '>';
    }

    void WriteFeed(const Feed& feed, const Projection& projection, bool root) {
        Open("feed", root);
        m_out += "<id>" + FeedId() + "</id><title/><updated>" + IsoTime(Now()) + "</updated>";
        while (true) {
            Entity entity;
            if (!feed.next(entity)) break;
            WriteEntry(entity, projection, false);
            if (m_out.size() > 48 * 1024) {
                m_sink.Write(m_out);
                m_out.clear();
            }
        }
        if (!feed.next_link.empty())
            m_out += "<link rel=\"next\" href=\"" + XmlEscape(feed.next_link) + "\"/>";
        m_out += "</feed>";
    }

    std::string FeedId() const { return XmlEscape(m_answer.api_url + m_answer.name); }

    void WriteEntry(const Entity& entity, const Projection& projection, bool root) {
        auto href = EncodePath(entity.id);
        if (root && !entity.etag.empty()) {
            m_out += "<entry xml:base=\"" + XmlEscape(m_answer.api_url) + "\"";
            m_out += kNamespaces;
            m_out += " m:etag=\"" + XmlEscape(entity.etag) + "\">";
        } else {
            Open("entry", root);
        }
        m_out += "<id>" + XmlEscape(m_answer.api_url + href) + "</id><category term=\"" +
                 XmlEscape(entity.type) + "\" scheme=\"" + kScheme + "\"/><link rel=\"edit\" href=\"" +
                 XmlEscape(href) + "\"/>";
        for (const auto& link : entity.links)
            if (!link.on_request) WriteLink(entity, link, href, projection);
        m_out += "<title/><updated>" + IsoTime(Now()) +
                 "</updated><author><name/></author><content type=\"application/xml\"><m:properties>";
        for (const auto& link : entity.links) {
            if (link.on_request && (projection.names(link.name) || projection.Expanded(link.name)))
                WriteProperty(link.name, entity.resolve(link.name).value, false);
        }
        for (const auto& [name, value] : entity.properties)
            if (projection.Selects(name)) WriteProperty(name, value, false);
        m_out += "</m:properties></content></entry>";
    }

    void WriteLink(const Entity& entity, const Link& link, const std::string& href,
                   const Projection& projection) {
        const auto* below = projection.Expanded(link.name);
        if (!below && !projection.Selects(link.name)) return;
        std::string name(link.name);
        m_out += std::string("<link rel=\"") + kRelated + name +
                 "\" type=\"application/atom+xml;type=" + (link.feed ? "feed" : "entry") + "\" title=\"" +
                 name + "\" href=\"" + XmlEscape(href + "/" + name) + "\"";
        if (!below) {
            m_out += "/>";
            return;
        }
        m_out += "><m:inline>";
        auto node = entity.resolve(link.name);
        if (node.kind == Node::Kind::entity) WriteEntry(*node.entity, *below, false);
        if (node.kind == Node::Kind::feed) WriteFeed(*node.feed, *below, false);
        m_out += "</m:inline></link>";
    }

    void WriteValues(const std::vector<Complex>& values) {
        m_out += "<d:" + m_answer.name + kValueNamespaces + ">";
        for (const auto& complex : values) {
            m_out += "<d:element m:type=\"" + XmlEscape(complex.type) + "\">";
            for (const auto& [name, value] : complex.members) WriteProperty(name, value, false);
            m_out += "</d:element>";
        }
        m_out += "</d:" + m_answer.name + ">";
    }

    void WriteProperty(std::string_view name, const Value& value, bool root) {
        std::string tag = "d:" + std::string(name);
        m_out += "<" + tag;
        if (root) m_out += kValueNamespaces;
        switch (value.kind) {
            case Value::Kind::null:
                m_out += " m:null=\"true\"/>";
                return;
            case Value::Kind::boolean:
                Typed("Edm.Boolean", value.number ? "true" : "false");
                break;
            case Value::Kind::int32:
                Typed("Edm.Int32", std::to_string(value.number));
                break;
            case Value::Kind::int64:
                Typed("Edm.Int64", std::to_string(value.number));
                break;
            case Value::Kind::real:
                Typed("Edm.Double", std::to_string(value.real));
                break;
            case Value::Kind::date:
                Typed("Edm.DateTime", value.text);
                break;
            case Value::Kind::guid:
                Typed("Edm.Guid", value.text);
                break;
            case Value::Kind::text:
                m_out += ">" + XmlEscape(value.text);
                break;
            case Value::Kind::complex:
                m_out += " m:type=\"" + XmlEscape(value.complex->type) + "\">";
                for (const auto& [member, inner] : value.complex->members)
                    WriteProperty(member, inner, false);
                break;
            case Value::Kind::texts:
                m_out += " m:type=\"Collection(Edm.String)\">";
                for (const auto& text : value.texts)
                    m_out += "<d:element>" + XmlEscape(text) + "</d:element>";
                break;
        }
        m_out += "</" + tag + ">";
    }

    void Typed(const char* type, const std::string& text) {
        m_out += std::string(" m:type=\"") + type + "\">" + XmlEscape(text);
    }

    const Answer& m_answer;
    BodySink& m_sink;
    std::string m_out;
};

}  // namespace

void WriteAtom(const Answer& answer, BodySink& sink) {
    AtomWriter(answer, sink).Run();
}

}  // namespace devserver::odata
