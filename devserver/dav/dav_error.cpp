#include "dav/dav_error.h"

#include "base/text.h"

namespace devserver::dav {
namespace {

constexpr long url_not_found = 589830, file_in_use = 589838, denied = 917656, bad_url = 589826;

}  // namespace

DavError access_denied() {
    return {403, "Access denied.", denied};
}

DavError not_found(const std::string& path) {
    return {404, "There is no file with URL '" + path + "' in this Web.", url_not_found};
}

DavError locked(const std::string& path, const std::string& login, bool checked_out) {
    return {423,
            "The file \"" + path + "\" is " +
                (checked_out ? "checked out for editing by " : "locked for exclusive use by ") + login + ".",
            file_in_use, "lock-token-submitted"};
}

DavError error_of(const StoreError& error) {
    switch (error.fault) {
        case Fault::not_found:
        case Fault::version_not_found:
            return {409, "The folder of '" + error.subject + "' doesn't exist.", url_not_found};
        case Fault::already_exists:
            return {412, "'" + error.subject + "' exists already."};
        case Fault::invalid_name:
        case Fault::invalid_path:
            return {400, "The name '" + error.subject + "' isn't permitted.", bad_url};
        case Fault::checked_out_by_other:
            return locked(error.subject, error.who, true);
        case Fault::locked:
            return locked(error.subject, error.who, false);
        case Fault::must_check_out:
            return {423, "The file \"" + error.subject + "\" isn't checked out.", file_in_use,
                    "lock-token-submitted"};
        case Fault::not_checked_out:
        case Fault::no_checked_in_version:
        case Fault::required_columns:
            return {409, "The state of '" + error.subject + "' doesn't allow this.", file_in_use};
        case Fault::not_allowed_here:
            return {403, "The operation isn't allowed at '" + error.subject + "'.", denied};
    }
    return {500, "The server failed."};
}

http::Response response_of(const DavError& error) {
    auto response = http::make_response(error.status, "text/html; charset=utf-8",
                                        "<html><head><title>Error</title></head><body><p>" +
                                            html_escape(error.what()) + "</p></body></html>");
    if (!error.condition.empty())
        response = http::make_response(
            error.status, "text/xml; charset=utf-8",
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><D:error xmlns:D=\"DAV:\"><D:" + error.condition +
                "/></D:error>");
    if (error.extended != 0)
        response.headers.set("X-MSDAVEXT_Error", std::to_string(error.extended) + "; " +
                                                     percent_encode(error.what(), "-_.~:/@|"));
    return response;
}

}  // namespace devserver::dav
