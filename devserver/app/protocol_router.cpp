#include "app/protocol_router.h"

#include <algorithm>

#include "base/text.h"
#include "odata/format.h"

namespace devserver {
namespace {

// Operations that the REST interface got after 2013.
bool IsNewerRest(const http::Request& request) {
    static constexpr std::string_view kNames[] = {
        "/$batch",        "AddUsingPath",         "AddStubUsingPath",      "StartUpload",
        "ContinueUpload", "FinishUpload",         "CancelUpload",          "SP.MoveCopyUtil",
        "MoveByPath",     "CopyByPath",           "MoveToUsingPath",       "CopyToUsingPath",
        "GetFileByUrl",   "ByServerRelativePath", "RenderListDataAsStream"};
    return std::ranges::any_of(kNames, [&](std::string_view name) {
        return FindIgnoringCase(request.raw_path, name) != std::string::npos;
    });
}

}  // namespace

http::Response ProtocolRouter::Serve(http::Request& request, const User& user) {
    if (m_limits.max_url > 0 && request.raw_path.size() > static_cast<std::size_t>(m_limits.max_url))
        return http::MakeResponse(400, "text/html; charset=us-ascii", "<h2>Bad Request - Invalid URL</h2>");
    bool rest = rest::RestApi::Owns(request);
    if (m_generation == Generation::modern)
        return rest ? m_rest.Handle(request, user) : m_documents.Handle(request, user);
    bool preview = FindIgnoringCase(request.path, "/_layouts/15/") != std::string::npos;
    if ((rest || preview) && m_generation == Generation::server2010) return http::NotFoundPage();
    if (rest && IsNewerRest(request)) {
        return odata::ErrorResponse(
            odata::UnknownResource(request.raw_path.substr(request.raw_path.rfind('/') + 1)),
            odata::ChooseMode(request.headers.get("Accept")));
    }
    if (rest) return m_rest.Handle(request, user);
    if (soap::SoapServer::Owns(request)) return m_soap.Handle(request, user);
    if (frontpage::FrontPageServer::Owns(request)) return m_frontpage.Handle(request, user);
    return m_dav.Handle(request, user);
}

}  // namespace devserver
