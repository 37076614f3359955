// GET on plain addresses: documents, old versions, previews, sharing links and folders.
// Owner: app/service; any thread.
#pragma once
#include "http/message.h"
#include "store/store.h"

namespace devserver {

// Media type by a document's name.
std::string DocumentTypeOf(const std::string& name);

class DocumentPages {
public:
    explicit DocumentPages(Store& store) : m_store(store) {}
    http::Response Handle(http::Request& request, const User& user);

private:
    http::Response document(const http::Request& request);
    http::Response OldVersion(const http::Request& request, std::size_t at);
    http::Response preview(const http::Request& request);
    http::Response content(const http::Request& request, const std::string& blob, const std::string& name,
                           const std::string& etag, Seconds modified);

    Store& m_store;
};

}  // namespace devserver
