#include "soap/soap_server.h"

#include "base/text.h"

namespace devserver::soap {
namespace {

constexpr std::string_view kFolder = "/_vti_bin/";

struct ServiceRow {
    std::string_view name, space;
    std::optional<http::Response> (*operations)(const Call&);
};
constexpr ServiceRow kServices[] = {{"webs.asmx", kSoapSpace, Webs},
                                    {"usergroup.asmx", kDirectorySpace, UserGroup},
                                    {"lists.asmx", kSoapSpace, Lists}};

// Throws when the SOAPAction header names another operation than the body.
void CheckAction(const http::Request& request, const Operation& operation) {
    auto header = request.headers.get("SOAPAction");
    auto action = std::string(Trim(header));
    if (action.size() >= 2 && action.front() == '"') action = action.substr(1, action.size() - 2);
    if (action.empty() || action == operation.space() + operation.name()) return;
    throw SoapFault("Server did not recognize the value of HTTP Header SOAPAction: " + action + ".", {},
                    true);
}

}  // namespace

bool SoapServer::Owns(const http::Request& request) {
    auto at = FindIgnoringCase(request.path, kFolder);
    return at != std::string::npos && ToLower(request.path).ends_with(".asmx");
}

http::Response SoapServer::Handle(http::Request& request, const User& user) {
    if (user.rights == Rights::none) return http::Forbidden();
    auto at = FindIgnoringCase(request.path, kFolder);
    auto web = m_store.WebAt(request.path.substr(0, at));
    auto name = ToLower(request.path.substr(at + kFolder.size()));
    for (const auto& service : kServices) {
        if (!web || service.name != name) continue;
        if (request.method != "POST") {
            return http::MakeResponse(request.method == "GET" ? 200 : 405, "text/html; charset=utf-8",
                                      "<html><body>" + HtmlEscape(name) + " takes SOAP.</body></html>");
        }
        try {
            Operation operation(http::ReadText(request));
            CheckAction(request, operation);
            if (operation.space() == service.space) {
                if (auto response = service.operations({m_store, user, *web, operation, request.base_url}))
                    return std::move(*response);
            }
            throw SoapFault("Server did not recognize the operation " + operation.name() + ".", {}, true);
        } catch (const SoapFault& fault) {
            return FaultResponse(fault);
        } catch (const StoreError& error) {
            return FaultResponse(FaultOf(error, request.base_url));
        }
    }
    return http::NotFoundPage();
}

std::optional<std::string> PathOfPage(const Call& call, const std::string& address) {
    auto text = std::string(Trim(address));
    if (text.empty()) return std::nullopt;
    if (text.front() == '/') return PercentDecode(text);
    if (!StartsWithIgnoringCase(text, call.server_url)) return std::nullopt;
    auto path = text.substr(call.server_url.size());
    path = path.substr(0, path.find_first_of("?#"));
    if (!path.empty() && path.front() != '/') return std::nullopt;
    return path.empty() ? "/" : PercentDecode(path);
}

}  // namespace devserver::soap
