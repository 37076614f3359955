#include "odata/errors.h"

namespace devserver::odata {

ApiError AccessDenied() {
    return {403, "-2147024891, System.UnauthorizedAccessException",
            "Access denied. You do not have permission to perform this action or access this resource."};
}

ApiError InvalidDigest() {
    return {403, "-2130575251, Microsoft.SharePoint.SPException",
            "The security validation for this page is invalid and might be corrupted. Please use your web "
            "browser's Back button to try your operation again."};
}

ApiError FileDoesNotExist(const std::string& path) {
    return {404, "-2130575338, Microsoft.SharePoint.SPException", "The file " + path + " does not exist."};
}

ApiError FolderNotFound() {
    return {404, "-2147024894, System.IO.FileNotFoundException", "File Not Found."};
}

ApiError FolderMissing() {
    return {404, "-2147024893, System.IO.DirectoryNotFoundException", "File Not Found."};
}

ApiError OverThreshold() {
    return {500, "-2147024860, Microsoft.SharePoint.SPQueryThrottledException",
            "The attempted operation is prohibited because it exceeds the list view threshold."};
}

ApiError UnknownParameter(const std::string& name) {
    return {400, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
            "The parameter name " + name + " is not valid."};
}

ApiError NoListItem() {
    return {500, "-2113929210, Microsoft.SharePoint.SPException",
            "The object specified does not belong to a list."};
}

ApiError InvalidExpression(const std::string& expression) {
    return {400, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
            "The expression \"" + expression + "\" is not valid."};
}

ApiError UnknownResource(const std::string& name) {
    return {404, "-1, Microsoft.SharePoint.Client.ResourceNotFoundException",
            "Cannot find resource for the request " + name + "."};
}

ApiError UnknownProperty(const std::string& name) {
    return {400, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
            "The field or property '" + name + "' does not exist."};
}

ApiError InvalidArgument(const std::string& text) {
    return {400, "-2147024809, System.ArgumentException", text};
}

ApiError ListDoesNotExist(const std::string& title, const std::string& web_url) {
    return {404, "-1, System.ArgumentException",
            "List '" + title + "' does not exist at site with URL '" + web_url + "'."};
}

ApiError UserNotFound() {
    return {500, "-2146232832, Microsoft.SharePoint.SPException", "User cannot be found."};
}

ApiError EtagMismatch(const std::string& wanted, const std::string& actual) {
    return {
        412, "-1, Microsoft.SharePoint.Client.ClientServiceException",
        "The request ETag value '" + wanted + "' does not match the object's ETag value '" + actual + "'."};
}

}  // namespace devserver::odata
