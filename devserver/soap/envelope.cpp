#include "soap/envelope.h"

#include <cstdio>

#include "base/text.h"

namespace devserver::soap {
namespace {

constexpr const char* kEnvelopeSpace = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr const char* kEnvelopeBegin =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><soap:Envelope "
    "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><soap:Body>";
constexpr const char* kEnvelopeEnd = "</soap:Body></soap:Envelope>";
constexpr const char* kContentType = "text/xml; charset=utf-8";

std::string Hexadecimal(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", code);
    return text;
}

}  // namespace

SoapFault MissingParameter(const std::string& name) {
    return {"Parameter " + name + " is missing or invalid.", 0x82000001};
}

SoapFault AccessDenied() {
    return {"Access is denied. (Exception from HRESULT: 0x80070005 (E_ACCESSDENIED))", 0x80070005};
}

SoapFault FaultOf(const StoreError& error, const std::string& server_url) {
    auto url = server_url + EncodePath(error.subject);
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
        xml::Parse(m_document, body);
    } catch (const xml::Malformed& error) {
        throw SoapFault(
            std::string("Server was unable to read request. ---> There is an error in XML document. "
                        "---> ") +
                error.what(),
            {}, true);
    }
    auto envelope = m_document.document_element();
    if (!xml::NameOf(envelope).Is(kEnvelopeSpace, "Envelope")) {
        throw SoapFault("Possible SOAP version mismatch: Envelope namespace " + xml::NameOf(envelope).space +
                            " was unexpected. Expecting " + kEnvelopeSpace + ".",
                        {}, true);
    }
    for (const auto& element : xml::Child(envelope, "Body").children()) {
        if (element.type() == pugi::node_element) {
            m_operation = element;
            break;
        }
    }
    if (!m_operation) throw SoapFault("The SOAP body is empty.", {}, true);
    m_name = xml::NameOf(m_operation);
}

std::optional<std::string> Operation::parameter(const std::string& name) const {
    auto element = xml::Child(m_operation, name);
    if (!element) return std::nullopt;
    std::string text;
    for (const auto& part : element.children())
        if (part.type() == pugi::node_pcdata || part.type() == pugi::node_cdata) text += part.value();
    return text;
}

http::Response Answer(const Operation& operation, const std::string& result) {
    const auto& name = operation.name();
    return http::MakeResponse(200, kContentType,
                              kEnvelopeBegin +
                                  ("<" + name + "Response xmlns=\"" + operation.space() + "\"><" + name +
                                   "Result>" + result + "</" + name + "Result></" + name + "Response>") +
                                  kEnvelopeEnd);
}

http::Response EmptyAnswer(const Operation& operation) {
    return http::MakeResponse(
        200, kContentType,
        kEnvelopeBegin + ("<" + operation.name() + "Response xmlns=\"" + operation.space() + "\"/>") +
            kEnvelopeEnd);
}

http::Response FaultResponse(const SoapFault& fault) {
    auto text = xml::Escape(fault.what());
    std::string inner = "<soap:Fault><faultcode>soap:" + std::string(fault.client ? "Client" : "Server") +
                        "</faultcode><faultstring>";
    if (fault.client) {
        inner += text + "</faultstring><detail/>";
    } else {
        inner +=
            "Exception of type 'Microsoft.SharePoint.SoapServer.SoapServerException' was "
            "thrown.</faultstring>"
            "<detail><errorstring xmlns=\"" +
            std::string(kSoapSpace) + "\">" + text + "</errorstring>" +
            (fault.code ? "<errorcode xmlns=\"" + std::string(kSoapSpace) + "\">" + Hexadecimal(*fault.code) +
                              "</errorcode>"
                        : "") +
            "</detail>";
    }
    return http::MakeResponse(500, kContentType, kEnvelopeBegin + inner + "</soap:Fault>" + kEnvelopeEnd);
}

}  // namespace devserver::soap
