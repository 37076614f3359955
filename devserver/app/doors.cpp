// The protocols behind the sign-in, and which of them a generation of server has.
// Owner: app/service; any thread.
#include "app/doors.h"

namespace devserver {

http::Response Doors::serve(http::Request& request, const User& user) {
    bool rest = rest::RestApi::owns(request);
    if (m_generation == Generation::modern)
        return rest ? m_rest.handle(request, user) : m_documents.handle(request, user);
    if (rest && m_generation == Generation::server2010)
        return http::make_response(404, "text/html; charset=utf-8",
                                   "<html><body>404 NOT FOUND</body></html>");
    if (rest) return m_rest.handle(request, user);
    if (soap::SoapServer::owns(request)) return m_soap.handle(request, user);
    if (frontpage::FrontPageServer::owns(request)) return m_frontpage.handle(request, user);
    return m_dav.handle(request, user);
}

}  // namespace devserver
