// SOAP envelopes: the operation that a request calls, its answer, and faults with such servers' error codes.
// Owner: soap/; a request's thread alone.
#pragma once
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/xml.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver::soap {

inline constexpr const char* kSoapSpace = "http://schemas.microsoft.com/sharepoint/soap/";
inline constexpr const char* kDirectorySpace = "http://schemas.microsoft.com/sharepoint/soap/directory/";

// A fault; most carry a text and a code in their detail.
struct SoapFault : std::runtime_error {
    SoapFault(const std::string& text, std::optional<std::uint32_t> error_code = {}, bool by_client = false)
        : std::runtime_error(text), code(error_code), client(by_client) {}
    std::optional<std::uint32_t> code;
    bool client;  // the request itself was wrong
};

SoapFault MissingParameter(const std::string& name);
SoapFault AccessDenied();
SoapFault FaultOf(const StoreError& error, const std::string& server_url);

// The operation in the body of an envelope, with its parameters.
class Operation {
public:
    // Throws SoapFault for what isn't an envelope with an operation in it.
    explicit Operation(const std::string& body);
    const std::string& name() const { return m_name.local; }
    const std::string& space() const { return m_name.space; }
    // A parameter's text; nothing when it is missing.
    std::optional<std::string> parameter(const std::string& name) const;

private:
    pugi::xml_document m_document;
    pugi::xml_node m_operation;
    xml::Name m_name;
};

// An answer whose result element has `result` as its content, unescaped.
http::Response Answer(const Operation& operation, const std::string& result);
// An answer without a result element.
http::Response EmptyAnswer(const Operation& operation);
http::Response FaultResponse(const SoapFault& fault);

}  // namespace devserver::soap
