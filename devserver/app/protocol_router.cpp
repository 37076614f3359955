#include "app/protocol_router.h"

#include <algorithm>

#include "base/text.h"
#include "odata/format.h"

namespace devserver {
namespace {

// Operations that the REST interface got after 2013.
bool is_newer_rest(const http::Request& request) {
    static constexpr std::string_view names[] = {"/$batch",
                                                 "AddUsingPath",
                                                 "AddStubUsingPath",
                                                 "StartUpload",
                                                 "ContinueUpload",
                                                 "FinishUpload",
                                                 "CancelUpload",
                                                 "SP.MoveCopyUtil",
                                                 "MoveByPath",
                                                 "CopyByPath",
                                                 "MoveToUsingPath",
                                                 "CopyToUsingPath",
                                                 "GetFolderByServerRelativePath"};
    return std::ranges::any_of(names, [&](std::string_view name) {
        return find_ignoring_case(request.raw_path, name) != std::string::npos;
    });
}

}  // namespace

http::Response ProtocolRouter::serve(http::Request& request, const User& user) {
    bool rest = rest::RestApi::owns(request);
    if (m_generation == Generation::modern)
        return rest ? m_rest.handle(request, user) : m_documents.handle(request, user);
    bool preview = find_ignoring_case(request.path, "/_layouts/15/") != std::string::npos;
    if ((rest || preview) && m_generation == Generation::server2010) return http::not_found_page();
    if (rest && is_newer_rest(request))
        return odata::error_response(
            odata::unknown_resource(request.raw_path.substr(request.raw_path.rfind('/') + 1)),
            odata::choose_mode(request.headers.get("Accept")));
    if (rest) return m_rest.handle(request, user);
    if (soap::SoapServer::owns(request)) return m_soap.handle(request, user);
    if (frontpage::FrontPageServer::owns(request)) return m_frontpage.handle(request, user);
    return m_dav.handle(request, user);
}

}  // namespace devserver
