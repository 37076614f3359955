#include "dav/dav_error.h"

#include "base/text.h"

namespace devserver::dav {
namespace {

constexpr long kUrlNotFound = 589830, kFileInUse = 589838, kDenied = 917656, kBadUrl = 589826;

}  // namespace

DavError AccessDenied() {
    return {403, "Access denied.", kDenied};
}

DavError NotFound(const std::string& path) {
    return {404, "There is no file with URL '" + path + "' in this Web.", kUrlNotFound};
}

DavError Locked(const std::string& path, const std::string& login, bool checked_out) {
    return {423,
            "The file \"" + path + "\" is " +
                (checked_out ? "checked out for editing by " : "locked for exclusive use by ") + login + ".",
            kFileInUse, "lock-token-submitted"};
}

DavError ErrorOf(const StoreError& error) {
    switch (error.fault) {
        case Fault::not_found:
        case Fault::version_not_found:
            return {409, "The folder of '" + error.subject + "' doesn't exist.", kUrlNotFound};
        case Fault::already_exists:
            return {412, "'" + error.subject + "' exists already."};
        case Fault::invalid_name:
        case Fault::invalid_path:
            return {400, "The name '" + error.subject + "' isn't permitted.", kBadUrl};
        case Fault::checked_out_by_other:
            return Locked(error.subject, error.who, true);
        case Fault::locked:
            return Locked(error.subject, error.who, false);
        case Fault::must_check_out:
            return {423, "The file \"" + error.subject + "\" isn't checked out.", kFileInUse,
                    "lock-token-submitted"};
        case Fault::not_checked_out:
        case Fault::no_checked_in_version:
        case Fault::required_columns:
            return {409, "The state of '" + error.subject + "' doesn't allow this.", kFileInUse};
        case Fault::not_allowed_here:
            return {403, "The operation isn't allowed at '" + error.subject + "'.", kDenied};
    }
    return {500, "The server failed."};
}

http::Response ResponseOf(const DavError& error) {
    auto response = http::MakeResponse(
        error.status, "text/html; charset=utf-8",
        "<html><head><title>Error</title></head><body><p>" + HtmlEscape(error.what()) + "</p></body></html>");
    if (!error.condition.empty()) {
        response = http::MakeResponse(
            error.status, "text/xml; charset=utf-8",
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><D:error xmlns:D=\"DAV:\"><D:" + error.condition +
                "/></D:error>");
    }
    if (error.extended != 0) {
        response.headers.Set("X-MSDAVEXT_Error",
                             std::to_string(error.extended) + "; " + PercentEncode(error.what(), "-_.~:/@|"));
    }
    return response;
}

}  // namespace devserver::dav
