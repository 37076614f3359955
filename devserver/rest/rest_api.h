// The REST interface: from an address after "/_api/" to an answer in the format that the client asks for.
// Owner: app/service; any thread.
#pragma once
#include "auth/digest.h"
#include "http/message.h"
#include "odata/errors.h"
#include "store/store.h"

namespace devserver::rest {

class RestApi {
public:
    RestApi(Store& store, FormDigests& digests, int list_threshold)
        : m_store(store), m_digests(digests), m_list_threshold(list_threshold) {}
    // Whether the path is one of the interface's, in whichever web.
    static bool Owns(const http::Request& request);
    // `batched`: the digest was checked for the batch as a whole.
    http::Response Handle(http::Request& request, const User& user, bool batched = false);

private:
    http::Response Dispatch(http::Request& request, const User& user, const std::string& method,
                            bool batched);
    http::Response RunBatch(http::Request& request, const User& user);

    Store& m_store;
    FormDigests& m_digests;
    const int m_list_threshold;
};

// The interface's error for a refusal of the store.
odata::ApiError ApiErrorOf(const StoreError& error, const std::string& server_url);

}  // namespace devserver::rest
