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

ApiError access_denied();
ApiError invalid_digest();
ApiError file_does_not_exist(const std::string& path);
ApiError folder_not_found();
ApiError no_list_item();
ApiError invalid_expression(const std::string& expression);
ApiError unknown_resource(const std::string& name);
ApiError unknown_property(const std::string& name);
ApiError invalid_argument(const std::string& text);
ApiError list_does_not_exist(const std::string& title, const std::string& web_url);
ApiError user_not_found();
ApiError etag_mismatch(const std::string& wanted, const std::string& actual);

}  // namespace devserver::odata
