#include "frontpage/vermeer.h"

#include "base/text.h"

namespace devserver::frontpage {
namespace {

// Writes characters with a meaning in such a page as numeric entities.
std::string PageText(std::string_view text) {
    std::string out;
    for (char c : text) {
        bool special = c == '&' || c == '<' || c == '>' || c == '"' || c == '\\' || c == '{' || c == '}';
        special ? out += "&#" + std::to_string(static_cast<unsigned char>(c)) + ";" : out += c;
    }
    return out;
}

}  // namespace

RpcRequest RpcRequest::Parse(std::string_view body) {
    RpcRequest request;
    // What follows the first line feed is a document, not an argument.
    body = body.substr(0, body.find('\n'));
    for (const auto& [name, text] : ParseQuery(Trim(body))) request.arguments.emplace(name, text);
    auto method = request.argument("method");
    auto colon = method.rfind(':');
    request.method = std::string(Trim(method.substr(0, colon)));
    if (colon != std::string::npos) request.version = method.substr(colon + 1);
    return request;
}

std::string RpcRequest::argument(const std::string& name) const {
    auto found = arguments.find(name);
    return found == arguments.end() ? std::string() : found->second;
}

std::vector<std::string> RpcRequest::list(const std::string& name) const {
    auto text = std::string(Trim(argument(name)));
    std::size_t at = !text.empty() && text.front() == '[' ? 1 : 0;
    std::vector<std::string> result(1);
    for (; at < text.size(); ++at) {
        if (text[at] == '\\' && at + 1 < text.size()) {
            result.back() += text[++at];
        } else if (text[at] == ']') {
            break;
        } else if (text[at] == ';') {
            result.emplace_back();
        } else {
            result.back() += text[at];
        }
    }
    return result;
}

std::string Value(std::string_view type, std::string_view text) {
    return std::string(type) + "|" + PageText(text);
}

RpcPage::RpcPage(const std::string& method, const std::string& version)
    : m_text("<html><head><title>vermeer RPC packet</title></head>\n<body>\n") {
    argument("method", method + ":" + version);
}

RpcPage& RpcPage::argument(const std::string& name, std::string_view text) {
    m_text += "<p>" + name + "=" + PageText(text) + "\n";
    return *this;
}

RpcPage& RpcPage::BeginList() {
    m_text += "<ul>\n";
    return *this;
}

RpcPage& RpcPage::EndList() {
    m_text += "</ul>\n";
    return *this;
}

RpcPage& RpcPage::element(const std::string& name, std::string_view text) {
    m_text += "<li>" + name + "=" + PageText(text) + "\n";
    return *this;
}

RpcPage& RpcPage::metadata(const std::string& name, const std::string& typed_value) {
    m_text += "<li>" + name + "\n<li>" + typed_value + "\n";
    return *this;
}

std::string RpcPage::Finish() {
    return m_text + "</body>\n</html>\n";
}

}  // namespace devserver::frontpage
