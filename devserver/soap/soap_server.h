// The SOAP services under "/_vti_bin/": Webs, UserGroup and Lists, in every web and at the root.
// Owner: app/service; any thread.
#pragma once
#include "http/message.h"
#include "soap/envelope.h"
#include "store/store.h"

namespace devserver::soap {

// A call of an operation: the user, the web and the parameters.
struct Call {
    Store& store;
    const User& user;
    const Web& web;
    const Operation& operation;
    std::string server_url;
};

class SoapServer {
public:
    explicit SoapServer(Store& store) : m_store(store) {}
    static bool Owns(const http::Request& request);
    http::Response Handle(http::Request& request, const User& user);

private:
    Store& m_store;
};

// The services' operations; nothing when there is no such operation.
std::optional<http::Response> Webs(const Call& call);
std::optional<http::Response> UserGroup(const Call& call);
std::optional<http::Response> Lists(const Call& call);

// The server-relative path of a page's address; nothing when it isn't an address of this server.
std::optional<std::string> PathOfPage(const Call& call, const std::string& address);

}  // namespace devserver::soap
