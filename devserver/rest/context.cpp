// What all resources use: their request, outcomes, and shared operations.
// Owner: rest/; a request's thread alone.
#include <algorithm>

#include "base/text.h"
#include "rest/resource.h"

namespace devserver::rest {

void Context::RequireEdit() const {
    if (user.rights != Rights::edit) throw odata::AccessDenied();
}

void Context::RequireMatch(const std::string& etag) const {
    auto wanted = request.headers.get("If-Match");
    if (!wanted.empty() && wanted != "*" && wanted != etag) throw odata::EtagMismatch(wanted, etag);
}

rapidjson::Document Context::JsonBody() const {
    auto text = http::ReadText(request);
    rapidjson::Document document;
    if (Trim(text).empty()) {
        document.SetObject();
        return document;
    }
    // Deep nesting must not exhaust the stack, hence the iterative parser.
    document.Parse<rapidjson::kParseIterativeFlag>(text.c_str(), text.size());
    if (document.HasParseError() || !document.IsObject()) {
        throw ApiError(400, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
                       "Invalid JSON. The request body isn't a JSON object.");
    }
    return document;
}

Outcome Outcome::empty(int status) {
    http::Response response;
    response.status = status;
    return raw(std::move(response));
}

Outcome Outcome::raw(http::Response response) {
    Outcome outcome;
    outcome.status = response.status;
    outcome.response = std::move(response);
    return outcome;
}

ApiError Resource::NotSupported() {
    return {405, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
            "The HTTP method isn't supported for this resource."};
}

ResourcePtr Resource::ByKey(Context& context, const Segment& segment,
                            std::initializer_list<std::string_view> methods) {
    bool known = std::ranges::any_of(methods, [&](std::string_view method) { return segment.Is(method); });
    return known && !segment.arguments.empty() ? key(context, segment.arguments[0].value) : nullptr;
}

Outcome Recycle(Context& context, const Item& item) {
    return Outcome::Of(Node::Of(Value::guid(context.store.Recycle(item.id, context.user))), "Recycle");
}

std::string FreePath(Store& store, const std::string& path) {
    auto dot = path.rfind('.');
    if (dot == std::string::npos || dot < path.rfind('/')) dot = path.size();
    auto candidate = path;
    for (int number = 1; store.Find(candidate); ++number)
        candidate = path.substr(0, dot) + std::to_string(number) + path.substr(dot);
    return candidate;
}

std::string ServerRelative(const Context& context, std::string path) {
    if (StartsWithIgnoringCase(path, context.server_url + "/"))
        path = PercentDecode(path.substr(context.server_url.size()));
    if (path.empty() || path[0] != '/')
        path = (context.web.path.empty() ? "" : "/" + context.web.path) + "/" + path;
    return path;
}

Value EffectivePermissions(const User& user) {
    Complex mask{"SP.BasePermissions", {}};
    const char* high = user.rights == Rights::edit ? "432" : user.rights == Rights::read ? "176" : "0";
    const char* low = user.rights == Rights::edit   ? "1011030767"
                      : user.rights == Rights::read ? "138612833"
                                                    : "0";
    mask.members = {{"High", Value::OfText(high)}, {"Low", Value::OfText(low)}};
    return Value::OfComplex(std::move(mask));
}

}  // namespace devserver::rest
