#include "base/xml.h"

#include "base/text.h"

namespace devserver::xml {
namespace {

constexpr int kMaxDepth = 200;

std::pair<std::string_view, std::string_view> PrefixAndLocal(std::string_view name) {
    auto colon = name.find(':');
    if (colon == std::string_view::npos) return {"", name};
    return {name.substr(0, colon), name.substr(colon + 1)};
}

// The namespace of a prefix at this element; null when it isn't declared.
const char* SpaceOf(pugi::xml_node element, std::string_view prefix) {
    if (prefix == "xml") return "http://www.w3.org/XML/1998/namespace";
    auto declaration = prefix.empty() ? std::string("xmlns") : "xmlns:" + std::string(prefix);
    for (; element; element = element.parent())
        if (auto attribute = element.attribute(declaration.c_str())) return attribute.value();
    return prefix.empty() ? "" : nullptr;
}

void Check(const pugi::xml_node& element, int depth) {
    if (depth > kMaxDepth) throw Malformed("The XML is nested too deeply.");
    auto [prefix, local] = PrefixAndLocal(element.name());
    const char* space = SpaceOf(element, prefix);
    if (local.empty() || !space || (!prefix.empty() && !*space))
        throw Malformed("The prefix of '" + std::string(element.name()) + "' isn't declared.");
    for (const auto& attribute : element.attributes()) {
        if (std::string_view(attribute.name()).starts_with("xmlns:") && !*attribute.value())
            throw Malformed("A prefix can't stand for no namespace.");
    }
    for (const auto& next : element.children())
        if (next.type() == pugi::node_element) Check(next, depth + 1);
}

void WriteContent(const pugi::xml_node& element, std::string& out) {
    for (const auto& next : element.children()) {
        if (next.type() == pugi::node_pcdata || next.type() == pugi::node_cdata) out += Escape(next.value());
        if (next.type() != pugi::node_element) continue;
        auto name = NameOf(next);
        auto prefix = std::string(name.space.empty() ? "" : name.space == "DAV:" ? "D" : "n");
        auto tag = prefix.empty() ? name.local : prefix + ":" + name.local;
        out += "<" + tag;
        if (!prefix.empty()) out += " xmlns:" + prefix + "=\"" + Escape(name.space) + "\"";
        for (const auto& attribute : next.attributes()) {
            if (std::string_view text = attribute.name();
                !text.starts_with("xmlns") && text.find(':') == text.npos)
                out += " " + std::string(text) + "=\"" + Escape(attribute.value()) + "\"";
        }
        out += ">";
        WriteContent(next, out);
        out += "</" + tag + ">";
    }
}

}  // namespace

std::string Escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"') {
            out += "&quot;";
        } else if (c == '\t' || c == '\n' || c == '\r' || static_cast<unsigned char>(c) >= 0x20) {
            out += c;
        }
    }
    return out;
}

void Parse(pugi::xml_document& document, const std::string& text) {
    if (!IsValidUtf8(text)) throw Malformed("The XML isn't valid UTF-8.");
    auto result = document.load_buffer(
        text.data(), text.size(), pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
    if (!result) throw Malformed(result.description());
    auto root = document.document_element();
    if (!root) throw Malformed("There is no root element.");
    Check(root, 0);
}

Name NameOf(const pugi::xml_node& element) {
    auto [prefix, local] = PrefixAndLocal(element.name());
    const char* space = SpaceOf(element, prefix);
    return {space ? space : "", std::string(local)};
}

pugi::xml_node Child(const pugi::xml_node& parent, std::string_view local) {
    for (const auto& next : parent.children())
        if (next.type() == pugi::node_element && PrefixAndLocal(next.name()).second == local) return next;
    return {};
}

std::string ContentOf(const pugi::xml_node& element) {
    std::string out;
    WriteContent(element, out);
    return out;
}

}  // namespace devserver::xml
