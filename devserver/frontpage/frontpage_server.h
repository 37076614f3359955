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
    static bool Owns(const http::Request& request);
    http::Response Handle(http::Request& request, const User& user);

private:
    http::Response Describe();
    std::string Call(const RpcRequest& rpc, const Web& web, const User& user);
    std::string ServerVersion(const RpcRequest& rpc);
    std::string OpenService(const RpcRequest& rpc, const Web& web, const User& user);
    std::string documents(const RpcRequest& rpc, const Web& web, const User& user);
    std::string UrlToWeb(const RpcRequest& rpc);
    std::string error(const RpcRequest& rpc, long status, const std::string& message);
    void DescribeDocument(RpcPage& page, const Item& item, const std::string& name, const User& user);
    std::string version() const { return VersionOf(m_generation); }

    Store& m_store;
    Generation m_generation;
};

}  // namespace devserver::frontpage
