// A refusal over WebDAV: status, the extended error of such servers, and a condition from RFC 4918.
// Owner: dav/; a request's thread alone.
#pragma once
#include <stdexcept>
#include <string>

#include "http/message.h"
#include "store/store.h"

namespace devserver::dav {

struct DavError : std::runtime_error {
    DavError(int status_code, const std::string& text, long extended_code = 0,
             std::string condition_name = {})
        : std::runtime_error(text),
          status(status_code),
          extended(extended_code),
          condition(std::move(condition_name)) {}
    int status;
    long extended;          // value of the extended error header; 0: none
    std::string condition;  // an element of the namespace "DAV:"
};

DavError AccessDenied();
DavError NotFound(const std::string& path);
DavError Locked(const std::string& path, const std::string& login, bool checked_out);
DavError ErrorOf(const StoreError& error);
http::Response ResponseOf(const DavError& error);

}  // namespace devserver::dav
