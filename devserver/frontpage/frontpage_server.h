// FrontPage's remote calls: "/_vti_bin/_vti_aut/author.dll", "/_vti_bin/shtml.dll" and "/_vti_inf.html".
// Owner: app/service; any thread.
#pragma once
#include "base/generation.h"
#include "frontpage/vermeer.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver::frontpage {

class FrontPageServer {
public:
    FrontPageServer(Store& store, Generation generation) : m_store(store), m_generation(generation) {}
    static bool owns(const http::Request& request);
    http::Response handle(http::Request& request, const User& user);

private:
    http::Response describe();
    std::string call(const RpcRequest& rpc, const Web& web, const User& user);
    std::string server_version(const RpcRequest& rpc);
    std::string open_service(const RpcRequest& rpc, const Web& web, const User& user);
    std::string documents(const RpcRequest& rpc, const Web& web, const User& user);
    std::string url_to_web(const RpcRequest& rpc);
    std::string error(const RpcRequest& rpc, long status, const std::string& message);
    void describe_document(RpcPage& page, const Item& item, const std::string& name, const User& user);
    std::string version() const { return version_of(m_generation); }

    Store& m_store;
    Generation m_generation;
};

}  // namespace devserver::frontpage
