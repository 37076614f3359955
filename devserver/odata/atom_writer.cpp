// Writes answers as XML: Atom entries and feeds, and single values.
// Owner: odata/; a request's thread alone.
#include "base/clock.h"
#include "base/text.h"
#include "odata/format.h"

namespace devserver::odata {
namespace {

constexpr const char* namespaces =
    " xmlns=\"http://www.w3.org/2005/Atom\" xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\""
    " xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\"";
constexpr const char* value_namespaces =
    " xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\""
    " xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\"";
constexpr const char* scheme = "http://schemas.microsoft.com/ado/2007/08/dataservices/scheme";
constexpr const char* related = "http://schemas.microsoft.com/ado/2007/08/dataservices/related/";

// XML 1.0 forbids most control characters.
std::string xml_escape(std::string_view text) {
    std::string clean;
    for (char c : text)
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\r' || c == '\t') clean += c;
    return html_escape(clean);
}

class AtomWriter {
public:
    AtomWriter(const Answer& answer, BodySink& sink) : m_answer(answer), m_sink(sink) {}

    void run() {
        m_out = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
        const auto& node = m_answer.node;
        if (node.kind == Node::Kind::entity)
            write_entry(*node.entity, m_answer.projection, true);
        else if (node.kind == Node::Kind::feed)
            write_feed(*node.feed, m_answer.projection, true);
        else if (node.kind == Node::Kind::values)
            write_values(node.values);
        else
            write_property(m_answer.name, node.value, true);
        m_sink.write(m_out);
    }

private:
    void open(std::string_view element, bool root) {
        m_out += '<';
        m_out += element;
        if (root) {
            m_out += " xml:base=\"" + xml_escape(m_answer.api_url) + "\"";
            m_out += namespaces;
        }
        m_out += '>';
    }

    void write_feed(const Feed& feed, const Projection& projection, bool root) {
        open("feed", root);
        m_out += "<id>" + feed_id() + "</id><title/><updated>" + iso_time(now()) + "</updated>";
        while (true) {
            Entity entity;
            if (!feed.next(entity)) break;
            write_entry(entity, projection, false);
            if (m_out.size() > 48 * 1024) {
                m_sink.write(m_out);
                m_out.clear();
            }
        }
        if (!feed.next_link.empty())
            m_out += "<link rel=\"next\" href=\"" + xml_escape(feed.next_link) + "\"/>";
        m_out += "</feed>";
    }

    std::string feed_id() const { return xml_escape(m_answer.api_url + m_answer.name); }

    void write_entry(const Entity& entity, const Projection& projection, bool root) {
        auto href = encode_path(entity.id);
        if (root && !entity.etag.empty()) {
            m_out += "<entry xml:base=\"" + xml_escape(m_answer.api_url) + "\"";
            m_out += namespaces;
            m_out += " m:etag=\"" + xml_escape(entity.etag) + "\">";
        } else {
            open("entry", root);
        }
        m_out += "<id>" + xml_escape(m_answer.api_url + href) + "</id><category term=\"" +
                 xml_escape(entity.type) + "\" scheme=\"" + scheme + "\"/><link rel=\"edit\" href=\"" +
                 xml_escape(href) + "\"/>";
        for (const auto& link : entity.links)
            if (!link.on_request) write_link(entity, link, href, projection);
        m_out += "<title/><updated>" + iso_time(now()) +
                 "</updated><author><name/></author><content type=\"application/xml\"><m:properties>";
        for (const auto& link : entity.links)
            if (link.on_request && (projection.names(link.name) || projection.expanded(link.name)))
                write_property(link.name, entity.resolve(link.name).value, false);
        for (const auto& [name, value] : entity.properties)
            if (projection.selects(name)) write_property(name, value, false);
        m_out += "</m:properties></content></entry>";
    }

    void write_link(const Entity& entity, const Link& link, const std::string& href,
                    const Projection& projection) {
        const auto* below = projection.expanded(link.name);
        if (!below && !projection.selects(link.name)) return;
        std::string name(link.name);
        m_out += std::string("<link rel=\"") + related + name +
                 "\" type=\"application/atom+xml;type=" + (link.feed ? "feed" : "entry") + "\" title=\"" +
                 name + "\" href=\"" + xml_escape(href + "/" + name) + "\"";
        if (!below) {
            m_out += "/>";
            return;
        }
        m_out += "><m:inline>";
        auto node = entity.resolve(link.name);
        if (node.kind == Node::Kind::entity) write_entry(*node.entity, *below, false);
        if (node.kind == Node::Kind::feed) write_feed(*node.feed, *below, false);
        m_out += "</m:inline></link>";
    }

    void write_values(const std::vector<Complex>& values) {
        m_out += "<d:" + m_answer.name + value_namespaces + ">";
        for (const auto& complex : values) {
            m_out += "<d:element m:type=\"" + xml_escape(complex.type) + "\">";
            for (const auto& [name, value] : complex.members) write_property(name, value, false);
            m_out += "</d:element>";
        }
        m_out += "</d:" + m_answer.name + ">";
    }

    void write_property(std::string_view name, const Value& value, bool root) {
        std::string tag = "d:" + std::string(name);
        m_out += "<" + tag;
        if (root) m_out += value_namespaces;
        switch (value.kind) {
            case Value::Kind::null:
                m_out += " m:null=\"true\"/>";
                return;
            case Value::Kind::boolean:
                typed("Edm.Boolean", value.number ? "true" : "false");
                break;
            case Value::Kind::int32:
                typed("Edm.Int32", std::to_string(value.number));
                break;
            case Value::Kind::int64:
                typed("Edm.Int64", std::to_string(value.number));
                break;
            case Value::Kind::real:
                typed("Edm.Double", std::to_string(value.real));
                break;
            case Value::Kind::date:
                typed("Edm.DateTime", value.text);
                break;
            case Value::Kind::guid:
                typed("Edm.Guid", value.text);
                break;
            case Value::Kind::text:
                m_out += ">" + xml_escape(value.text);
                break;
            case Value::Kind::complex:
                m_out += " m:type=\"" + xml_escape(value.complex->type) + "\">";
                for (const auto& [member, inner] : value.complex->members)
                    write_property(member, inner, false);
                break;
            case Value::Kind::texts:
                m_out += " m:type=\"Collection(Edm.String)\">";
                for (const auto& text : value.texts)
                    m_out += "<d:element>" + xml_escape(text) + "</d:element>";
                break;
        }
        m_out += "</" + tag + ">";
    }

    void typed(const char* type, const std::string& text) {
        m_out += std::string(" m:type=\"") + type + "\">" + xml_escape(text);
    }

    const Answer& m_answer;
    BodySink& m_sink;
    std::string m_out;
};

}  // namespace

void write_atom(const Answer& answer, BodySink& sink) {
    AtomWriter(answer, sink).run();
}

}  // namespace devserver::odata
