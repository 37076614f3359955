// Passes requests to the protocols that a generation of server has.
// Owner: app/service; any thread.
#pragma once
#include "auth/digest.h"
#include "base/generation.h"
#include "base/limits.h"
#include "content/documents.h"
#include "dav/dav_server.h"
#include "frontpage/frontpage_server.h"
#include "rest/rest_api.h"
#include "soap/soap_server.h"

namespace devserver {

class ProtocolRouter {
public:
    ProtocolRouter(Store& store, FormDigests& digests, Generation generation, dav::DavOptions dav_options,
                   const Limits& limits)
        : m_generation(generation),
          m_limits(limits),
          m_rest(store, digests, limits.list_threshold),
          m_documents(store),
          m_dav(store, m_documents, dav_options),
          m_soap(store),
          m_frontpage(store, generation) {}
    // Serves a request of a user who is signed in.
    http::Response Serve(http::Request& request, const User& user);

private:
    Generation m_generation;
    Limits m_limits;
    rest::RestApi m_rest;
    DocumentPages m_documents;
    dav::DavServer m_dav;
    soap::SoapServer m_soap;
    frontpage::FrontPageServer m_frontpage;
};

}  // namespace devserver
