// Refusals with the codes and texts of the REST interface.
// Owner: odata/; any thread.
#pragma once
#include <stdexcept>
#include <string>

namespace devserver::odata {

struct ApiError : std::runtime_error {
    ApiError(int http_status, std::string error_code, const std::string& message)
        : std::runtime_error(message), status(http_status), code(std::move(error_code)) {}
    int status;
    std::string code;  // number, comma, blank, type name
};

ApiError AccessDenied();
ApiError InvalidDigest();
ApiError FileDoesNotExist(const std::string& path);
ApiError FolderNotFound();
ApiError FolderMissing();  // where a file is to be added
ApiError OverThreshold();
ApiError UnknownParameter(const std::string& name);
ApiError NoListItem();
ApiError InvalidExpression(const std::string& expression);
ApiError UnknownResource(const std::string& name);
ApiError UnknownProperty(const std::string& name);
ApiError InvalidArgument(const std::string& text);
ApiError ListDoesNotExist(const std::string& title, const std::string& web_url);
ApiError UserNotFound();
ApiError EtagMismatch(const std::string& wanted, const std::string& actual);

}  // namespace devserver::odata
