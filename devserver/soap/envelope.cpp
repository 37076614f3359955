#include "soap/envelope.h"

#include <cstdio>

#include "base/text.h"

namespace devserver::soap {
namespace {

constexpr const char* envelope_space = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr const char* envelope_begin =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><soap:Envelope "
    "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><soap:Body>";
constexpr const char* envelope_end = "</soap:Body></soap:Envelope>";
constexpr const char* content_type = "text/xml; charset=utf-8";

std::string hexadecimal(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", code);
    return text;
}

}  // namespace

SoapFault missing_parameter(const std::string& name) {
    return {"Parameter " + name + " is missing or invalid.", 0x82000001};
}

SoapFault access_denied() {
    return {"Access is denied. (Exception from HRESULT: 0x80070005 (E_ACCESSDENIED))", 0x80070005};
}

SoapFault fault_of(const StoreError& error, const std::string& server_url) {
    auto url = server_url + encode_path(error.subject);
    switch (error.fault) {
        case Fault::not_found:
            return {"The file or folder \"" + url + "\" does not exist.", 0x80070002};
        case Fault::checked_out_by_other:
            return {"The file \"" + url + "\" is checked out for editing by " + error.who + ".", 0x81020036};
        case Fault::locked:
            return {"The file \"" + url + "\" is locked for exclusive use by " + error.who + ".", 0x80070021};
        case Fault::not_checked_out:
            return {"The file \"" + url + "\" is not checked out.", 0x8007009E};
        case Fault::no_checked_in_version:
            return {"The file \"" + url + "\" has no checked in version.", 0x8107218A};
        case Fault::required_columns:
            return {"You must fill out all required properties before checking in this document.",
                    0x82000009};
        default:
            return {"The operation isn't possible at \"" + url + "\".", 0x82000006};
    }
}

Operation::Operation(const std::string& body) {
    try {
        xml::parse(m_document, body);
    } catch (const xml::Malformed& error) {
        throw SoapFault(
            std::string("Server was unable to read request. ---> There is an error in XML document. "
                        "---> ") +
                error.what(),
            {}, true);
    }
    auto envelope = m_document.document_element();
    if (!xml::name_of(envelope).is(envelope_space, "Envelope"))
        throw SoapFault("Possible SOAP version mismatch: Envelope namespace " + xml::name_of(envelope).space +
                            " was unexpected. Expecting " + envelope_space + ".",
                        {}, true);
    for (const auto& element : xml::child(envelope, "Body").children())
        if (element.type() == pugi::node_element) {
            m_operation = element;
            break;
        }
    if (!m_operation) throw SoapFault("The SOAP body is empty.", {}, true);
    m_name = xml::name_of(m_operation);
}

std::optional<std::string> Operation::parameter(const std::string& name) const {
    auto element = xml::child(m_operation, name);
    if (!element) return std::nullopt;
    std::string text;
    for (const auto& part : element.children())
        if (part.type() == pugi::node_pcdata || part.type() == pugi::node_cdata) text += part.value();
    return text;
}

http::Response answer(const Operation& operation, const std::string& result) {
    const auto& name = operation.name();
    return http::make_response(200, content_type,
                               envelope_begin +
                                   ("<" + name + "Response xmlns=\"" + operation.space() + "\"><" + name +
                                    "Result>" + result + "</" + name + "Result></" + name + "Response>") +
                                   envelope_end);
}

http::Response empty_answer(const Operation& operation) {
    return http::make_response(
        200, content_type,
        envelope_begin + ("<" + operation.name() + "Response xmlns=\"" + operation.space() + "\"/>") +
            envelope_end);
}

http::Response fault_response(const SoapFault& fault) {
    auto text = xml::escape(fault.what());
    std::string inner = "<soap:Fault><faultcode>soap:" + std::string(fault.client ? "Client" : "Server") +
                        "</faultcode><faultstring>";
    if (fault.client)
        inner += text + "</faultstring><detail/>";
    else
        inner +=
            "Exception of type 'Microsoft.SharePoint.SoapServer.SoapServerException' was "
            "thrown.</faultstring>"
            "<detail><errorstring xmlns=\"" +
            std::string(soap_space) + "\">" + text + "</errorstring>" +
            (fault.code ? "<errorcode xmlns=\"" + std::string(soap_space) + "\">" + hexadecimal(*fault.code) +
                              "</errorcode>"
                        : "") +
            "</detail>";
    return http::make_response(500, content_type, envelope_begin + inner + "</soap:Fault>" + envelope_end);
}

}  // namespace devserver::soap
