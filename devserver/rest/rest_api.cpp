#include "rest/rest_api.h"

#include <algorithm>

#include "base/text.h"
#include "rest/batch.h"
#include "rest/resource.h"

namespace devserver::rest {
namespace {

std::size_t ApiPosition(std::string_view raw_path) {
    auto at = FindIgnoringCase(raw_path, "/_api/");
    if (at == std::string_view::npos && raw_path.size() >= 5 &&
        EqualsIgnoringCase(raw_path.substr(raw_path.size() - 5), "/_api"))
        return raw_path.size() - 5;
    auto quote = raw_path.find('\'');
    return at < quote ? at : std::string_view::npos;
}

std::string EffectiveMethod(const http::Request& request) {
    auto given = request.headers.get("X-HTTP-Method");
    if (given.empty()) given = request.headers.get("X-HTTP-Method-Override");
    return request.method == "POST" && !given.empty() ? ToUpper(given) : request.method;
}

// Throws for a name in $select that is neither a property nor a link of the entity.
void CheckSelection(const Entity& entity, const odata::Projection& projection) {
    if (entity.polymorphic) return;
    for (const auto& name : projection.Selected()) {
        bool link = std::any_of(entity.links.begin(), entity.links.end(), [&](const Link& candidate) {
            return EqualsIgnoringCase(candidate.name, name);
        });
        if (name != "*" && !link && !entity.Find(name)) throw odata::UnknownProperty(name);
    }
}

// Checks the first element before the answer begins, since a refusal is possible no later.
void CheckFeed(Feed& feed, const odata::Projection& projection) {
    auto first = std::make_shared<Entity>();
    if (!feed.next(*first)) {
        feed.next = [](Entity&) { return false; };
        return;
    }
    CheckSelection(*first, projection);
    feed.next = [first, next = feed.next](Entity& entity) mutable {
        if (!first) return next(entity);
        entity = std::move(*first);
        first.reset();
        return true;
    };
}

Outcome Run(Context& context, const std::vector<Segment>& segments) {
    auto resource = MakeRoot(context);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const auto& segment = segments[i];
        bool last = i + 1 == segments.size();
        if (last)
            if (auto outcome = resource->operation(context, segment)) return std::move(*outcome);
        auto child = resource->child(context, segment);
        if (child && segment.called && !segment.arguments.empty())
            if (auto element = child->key(context, segment.arguments[0].value)) child = std::move(element);
        if (!child) {
            bool value_of_property = i + 2 == segments.size() && segments[i + 1].Is("$value");
            if (!last && !value_of_property) throw odata::UnknownResource(segment.name);
            auto outcome = resource->get(context);
            const auto* value =
                outcome.node.kind == Node::Kind::entity ? outcome.node.entity->Find(segment.name) : nullptr;
            if (!value) throw odata::UnknownResource(segment.name);
            if (value_of_property)
                return Outcome::raw(http::MakeResponse(200, "text/plain;charset=utf-8", value->text));
            return Outcome::Of(Node::Of(*value), segment.name);
        }
        resource = std::move(child);
    }
    if (context.method == "GET" || context.method == "HEAD") return resource->get(context);
    if (context.method == "PUT") return resource->put(context);
    if (context.method == "POST") return resource->Post(context);
    if (context.method == "DELETE") return resource->Remove(context);
    if (context.method == "MERGE" || context.method == "PATCH") return resource->Merge(context);
    throw ApiError(405, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
                   "The HTTP method '" + context.method + "' isn't supported.");
}

http::Response Respond(Outcome outcome, const Context& context) {
    if (outcome.response) return std::move(*outcome.response);
    auto answer = std::make_shared<odata::Answer>();
    answer->node = std::move(outcome.node);
    answer->name = outcome.name;
    answer->projection = context.projection;
    answer->api_url = context.ApiUrl();
    auto mode = context.mode;
    http::Response response;
    response.status = outcome.status;
    response.headers.Set("Content-Type", ContentType(mode, answer->node));
    if (answer->node.kind == Node::Kind::entity) {
        CheckSelection(*answer->node.entity, answer->projection);
        const auto* tag = answer->node.entity->Find("ETag");
        auto etag = tag ? tag->text : answer->node.entity->etag;
        if (!etag.empty()) response.headers.Set("ETag", etag);
    }
    if (answer->node.kind == Node::Kind::feed) CheckFeed(*answer->node.feed, answer->projection);
    response.producer = [answer, mode](BodySink& sink) { WriteAnswer(*answer, mode, sink); };
    return response;
}

}  // namespace

bool RestApi::Owns(const http::Request& request) {
    return ApiPosition(request.raw_path) != std::string::npos;
}

http::Response RestApi::Handle(http::Request& request, const User& user, bool batched) {
    auto mode = odata::ChooseMode(request.headers.get("Accept"));
    try {
        return Dispatch(request, user, EffectiveMethod(request), batched);
    } catch (const ApiError& error) {
        auto response = ErrorResponse(error, mode);
        return response;
    } catch (const StoreError& error) {
        return ErrorResponse(ApiErrorOf(error, request.base_url), mode);
    }
}

http::Response RestApi::Dispatch(http::Request& request, const User& user, const std::string& method,
                                 bool batched) {
    if (user.rights == Rights::none) throw odata::AccessDenied();
    auto raw = std::string_view(request.raw_path);
    auto at = ApiPosition(raw);
    auto prefix = PercentDecode(raw.substr(0, at));
    auto rest = raw.size() > at + 6 ? raw.substr(at + 6) : std::string_view();
    auto web = m_store.WebOf(prefix.empty() ? "/" : prefix);
    bool exact = EqualsIgnoringCase(web.path, Trim(prefix.empty() ? "" : prefix.substr(1)));
    if (!exact && !m_store.Find(prefix))
        throw ApiError(404, "-2147024894, System.IO.FileNotFoundException", "The site does not exist.");
    bool reads = method == "GET" || method == "HEAD" || method == "OPTIONS";
    bool gives_digest = EqualsIgnoringCase(rest, "contextinfo");
    if (!reads && !gives_digest && !batched &&
        !m_digests.Accepts(request.headers.get("X-RequestDigest"), user))
        throw odata::InvalidDigest();
    if (EqualsIgnoringCase(rest, "$batch")) return RunBatch(request, user);
    auto select = QueryValue(request.query, "$select");
    auto expand = QueryValue(request.query, "$expand");
    Context context{request,
                    m_store,
                    m_digests,
                    user,
                    web,
                    method,
                    odata::ChooseMode(request.headers.get("Accept")),
                    odata::Projection::Parse(select, expand),
                    request.base_url,
                    m_list_threshold};
    return Respond(Run(context, odata::ParseSegments(rest, request.query)), context);
}

http::Response RestApi::RunBatch(http::Request& request, const User& user) {
    return AnswerBatch(request, [&](http::Request& part) { return Handle(part, user, true); });
}

odata::ApiError ApiErrorOf(const StoreError& error, const std::string& server_url) {
    auto url = server_url + EncodePath(error.subject);
    switch (error.fault) {
        case Fault::not_found:
            return odata::FolderNotFound();
        case Fault::already_exists:
            return {400, "-2130575257, Microsoft.SharePoint.SPException",
                    "A file or folder with the name " + error.subject + " already exists."};
        case Fault::invalid_name:
            return {400, "-2130575245, Microsoft.SharePoint.SPException",
                    "The file or folder name \"" + error.subject +
                        "\" contains characters that are not permitted. Please use a different name."};
        case Fault::invalid_path:
            return odata::InvalidArgument("Value does not fall within the expected range.");
        case Fault::checked_out_by_other:
            return {423, "-2130575306, Microsoft.SharePoint.SPFileCheckOutException",
                    "The file \"" + url + "\" is checked out for editing by " + error.who + "."};
        case Fault::locked:
            return {423, "-2147018894, Microsoft.SharePoint.SPFileLockException",
                    "The file \"" + url + "\" is locked for exclusive use by " + error.who + "."};
        case Fault::not_checked_out:
            return {500, "-2147024738, Microsoft.SharePoint.SPFileCheckOutException",
                    "The file \"" + url + "\" is not checked out."};
        case Fault::must_check_out:
            return {423, "-2130575339, Microsoft.SharePoint.SPFileCheckOutException",
                    "The file \"" + url + "\" is not checked out. Check it out before you change it."};
        case Fault::no_checked_in_version:
            return {500, "-2130239094, Microsoft.SharePoint.SPException",
                    "The check-out of the file \"" + url +
                        "\" can't be discarded: it has no checked in version."};
        case Fault::required_columns:
            return {500, "-2146232832, Microsoft.SharePoint.SPFieldValidationException",
                    "The file can't be checked in: the required property '" + error.who + "' has no value."};
        case Fault::version_not_found:
            return {404, "-2147024894, System.IO.FileNotFoundException", "The version does not exist."};
        case Fault::not_allowed_here:
            return {500, "-2130575332, Microsoft.SharePoint.SPException",
                    "The operation isn't allowed at " + error.subject + "."};
    }
    return odata::InvalidArgument("Value does not fall within the expected range.");
}

}  // namespace devserver::rest
