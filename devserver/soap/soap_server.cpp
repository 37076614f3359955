#include "soap/soap_server.h"

#include "base/text.h"

namespace devserver::soap {
namespace {

constexpr std::string_view folder = "/_vti_bin/";

struct ServiceRow {
    std::string_view name, space;
    std::optional<http::Response> (*operations)(const Call&);
};
constexpr ServiceRow services[] = {{"webs.asmx", soap_space, webs},
                                   {"usergroup.asmx", directory_space, user_group},
                                   {"lists.asmx", soap_space, lists}};

// Throws when the SOAPAction header names another operation than the body.
void check_action(const http::Request& request, const Operation& operation) {
    auto header = request.headers.get("SOAPAction");
    auto action = std::string(trim(header));
    if (action.size() >= 2 && action.front() == '"') action = action.substr(1, action.size() - 2);
    if (action.empty() || action == operation.space() + operation.name()) return;
    throw SoapFault("Server did not recognize the value of HTTP Header SOAPAction: " + action + ".", {},
                    true);
}

}  // namespace

bool SoapServer::owns(const http::Request& request) {
    auto at = find_ignoring_case(request.path, folder);
    return at != std::string::npos && to_lower(request.path).ends_with(".asmx");
}

http::Response SoapServer::handle(http::Request& request, const User& user) {
    if (user.rights == Rights::none) return http::forbidden();
    auto at = find_ignoring_case(request.path, folder);
    auto web = m_store.web_at(request.path.substr(0, at));
    auto name = to_lower(request.path.substr(at + folder.size()));
    for (const auto& service : services) {
        if (!web || service.name != name) continue;
        if (request.method != "POST")
            return http::make_response(request.method == "GET" ? 200 : 405, "text/html; charset=utf-8",
                                       "<html><body>" + html_escape(name) + " takes SOAP.</body></html>");
        try {
            Operation operation(http::read_text(request));
            check_action(request, operation);
            if (operation.space() == service.space)
                if (auto response = service.operations({m_store, user, *web, operation, request.base_url}))
                    return std::move(*response);
            throw SoapFault("Server did not recognize the operation " + operation.name() + ".", {}, true);
        } catch (const SoapFault& fault) {
            return fault_response(fault);
        } catch (const StoreError& error) {
            return fault_response(fault_of(error, request.base_url));
        }
    }
    return http::not_found_page();
}

std::optional<std::string> path_of_page(const Call& call, const std::string& address) {
    auto text = std::string(trim(address));
    if (text.empty()) return std::nullopt;
    if (text.front() == '/') return percent_decode(text);
    if (!starts_with_ignoring_case(text, call.server_url)) return std::nullopt;
    auto path = text.substr(call.server_url.size());
    path = path.substr(0, path.find_first_of("?#"));
    if (!path.empty() && path.front() != '/') return std::nullopt;
    return path.empty() ? "/" : percent_decode(path);
}

}  // namespace devserver::soap
