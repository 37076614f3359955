// The web, the site, and the operations that stand directly under "/_api/".
// Owner: rest/; a request's thread alone.

#include "base/text.h"
#include "content/sharing.h"
#include "rest/file_resource.h"

namespace devserver::rest {
namespace {

constexpr Link web_links[] = {{"AllProperties"},
                              {"CurrentUser"},
                              {"Lists", false, true},
                              {"RootFolder"},
                              {"SiteUsers", false, true},
                              {"Webs", false, true},
                              {"EffectiveBasePermissions", true}};
constexpr Link site_links[] = {{"RootWeb"}};

Node empty_feed() {
    return Node::of(feed_of(std::vector<int>{}, [](int) { return Entity{}; }));
}

Feed libraries_feed(const Context& context, const Web& web) {
    return feed_of(context.store.libraries(web.id),
                   [context](const Library& library) { return library_entity(context, library); });
}

Item root_folder(const Context& context, const Web& web) {
    return context.store.find(web.server_relative_url()).value();
}

Node resolve_web_link(const Context& context, const Web& web, std::string_view name) {
    if (name == "CurrentUser") return Node::of(user_entity(context.user, user_id(context.user.id)));
    if (name == "Lists") return Node::of(libraries_feed(context, web));
    if (name == "RootFolder")
        return Node::of(folder_entity(context, std::make_shared<Item>(root_folder(context, web))));
    if (name == "EffectiveBasePermissions") return Node::of(effective_permissions(context.user));
    if (name == "SiteUsers") {
        return Node::of(feed_of(context.store.users(),
                                [](const User& user) { return user_entity(user, user_id(user.id)); }));
    }
    if (name == "AllProperties") {
        Entity properties;
        properties.type = "SP.PropertyValues";
        properties.id = "Web/AllProperties";
        properties.add("vti_x005f_defaultlanguage", Value::of_text("en-us"));
        return Node::of(std::move(properties));
    }
    return empty_feed();
}

class LibrariesResource : public Resource {
public:
    explicit LibrariesResource(Web web) : m_web(std::move(web)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.arguments.empty()) return nullptr;
        auto wanted = segment.arguments[0].value.text;
        if (segment.is("getById")) return by_id(context, wanted);
        if (!segment.is("getByTitle")) return nullptr;
        for (const auto& library : context.store.libraries(m_web.id))
            if (equals_ignoring_case(library.title, wanted)) return make_library(library);
        throw odata::list_does_not_exist(wanted, context.web_url());
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        return by_id(context, value.text);
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(apply_feed_options(context, libraries_feed(context, m_web))), "Lists");
    }

private:
    ResourcePtr by_id(Context& context, const std::string& guid) {
        for (const auto& library : context.store.libraries(m_web.id))
            if (equals_ignoring_case(library.guid, guid)) return make_library(library);
        throw ApiError(404, "-2147024894, System.IO.FileNotFoundException", "List does not exist.");
    }

    Web m_web;
};

class WebResource : public Resource {
public:
    explicit WebResource(Web web) : m_web(std::move(web)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        auto argument = segment.arguments.empty() ? std::string() : decoded_url(segment.arguments[0].value);
        auto& store = context.store;
        if (segment.is("GetFileByServerRelativePath") || segment.is("GetFileByServerRelativeUrl")) {
            auto path = server_relative(context, argument);
            require_inside(context, path);
            return make_file(path, store.find(path));
        }
        if (segment.is("GetFolderByServerRelativePath") || segment.is("GetFolderByServerRelativeUrl")) {
            auto path = server_relative(context, argument);
            require_inside(context, path);
            return make_folder(path, store.find(path));
        }
        if (segment.is("GetFileByUrl")) {
            auto item = find_shared(store, context.server_url, argument);
            if (!item || item->folder) throw odata::file_does_not_exist(argument);
            return make_file(item->path, item);
        }
        if (segment.is("GetFileById") || segment.is("GetFolderById")) {
            auto item = store.item_by_guid(argument);
            if (!item) throw odata::folder_not_found();
            item = store.find(item->path);
            return segment.is("GetFileById") ? make_file(item->path, item) : make_folder(item->path, item);
        }
        if (segment.is("GetList") || segment.is("GetListUsingPath")) return list_at(context, argument);
        if (segment.is("CurrentUser")) return make_user(context.user, user_id(context.user.id));
        if (segment.is("GetUserById") || segment.is("EnsureUser")) return user(context, segment, argument);
        if (segment.is("SiteUsers")) return make_users();
        if (segment.is("Lists")) return make_libraries(m_web);
        if (segment.is("RootFolder"))
            return make_folder(m_web.server_relative_url(), root_folder(context, m_web));
        if (segment.is("Folders"))
            return make_folder(m_web.server_relative_url(), root_folder(context, m_web))
                ->child(context, segment);
        if (segment.is("DefaultDocumentLibrary")) return make_library(store.libraries(m_web.id).at(0));
        if (segment.is("GetUserEffectivePermissions")) {
            auto asked = store.user_by_name(argument);
            if (!asked) throw odata::user_not_found();
            return make_node(Node::of(effective_permissions(*asked)), "GetUserEffectivePermissions");
        }
        if (segment.is("DoesUserHavePermissions"))
            return make_node(Node::of(Value::boolean(context.user.rights != Rights::none)),
                             "DoesUserHavePermissions");
        for (const auto& link : web_links)
            if (segment.is(link.name))
                return make_node(resolve_web_link(context, m_web, link.name), std::string(link.name));
        return nullptr;
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(web_entity(context, m_web)), "Web");
    }

private:
    // Paths may come as text or as a structured path.
    static std::string decoded_url(const odata::Literal& literal) {
        if (literal.kind != odata::Literal::Kind::json) return literal.text;
        rapidjson::Document document;
        document.Parse<rapidjson::kParseIterativeFlag>(literal.text.c_str());
        if (!document.HasParseError() && document.IsObject() && document.HasMember("DecodedUrl") &&
            document["DecodedUrl"].IsString())
            return document["DecodedUrl"].GetString();
        throw odata::invalid_expression(literal.text);
    }

    void require_inside(Context& context, const std::string& path) const {
        bool inside = context.store.web_of(path).id == m_web.id;
        bool dotted =
            (path + "/").find("/../") != std::string::npos || (path + "/").find("/./") != std::string::npos;
        if (!inside || dotted)
            throw odata::invalid_argument("Value does not fall within the expected range.");
    }

    ResourcePtr list_at(Context& context, const std::string& argument) const {
        auto path = server_relative(context, argument);
        auto folder = context.store.find(path);
        for (const auto& library : context.store.libraries(m_web.id))
            if (folder && folder->id == library.root_item) return make_library(library);
        throw odata::folder_not_found();
    }

    static ResourcePtr user(Context& context, const Segment& segment, std::string argument) {
        if (segment.is("EnsureUser") && argument.empty()) {
            auto body = context.json_body();
            if (body.HasMember("logonName") && body["logonName"].IsString())
                argument = body["logonName"].GetString();
        }
        auto found = segment.is("EnsureUser") ? context.store.user_by_name(argument)
                                              : context.store.user_by_id(parse_integer(argument).value_or(0));
        if (!found && segment.is("EnsureUser"))
            throw ApiError(400, "-2146232832, Microsoft.SharePoint.SPException",
                           "The specified user " + argument + " could not be found.");
        if (!found) throw odata::user_not_found();
        return make_user(*found, user_id(found->id));
    }

    Web m_web;
};

Entity site_entity(const Context& context) {
    auto web = context.web;
    Entity entity;
    entity.type = "SP.Site";
    entity.id = "Site";
    entity.links = site_links;
    entity.resolve = [context, web](std::string_view) { return Node::of(web_entity(context, web)); };
    entity.add("Id", Value::guid(web.guid));
    entity.add("ReadOnly", Value::boolean(false));
    entity.add("ServerRelativeUrl", Value::of_text(web.server_relative_url()));
    entity.add("ShareByEmailEnabled", Value::boolean(false));
    entity.add("Url", Value::of_text(context.web_url()));
    return entity;
}

class SiteResource : public Resource {
public:
    ResourcePtr child(Context& context, const Segment& segment) override {
        return segment.is("RootWeb") ? make_web(context.web) : nullptr;
    }
    Outcome get(Context& context) override { return Outcome::of(Node::of(site_entity(context)), "Site"); }
};

Value context_information(Context& context) {
    Complex information{"SP.ContextWebInformation", {}};
    information.members = {{"FormDigestTimeoutSeconds", Value::int32(context.digests.lifetime_seconds())},
                           {"FormDigestValue", Value::of_text(context.digests.issue(context.user))},
                           {"LibraryVersion", Value::of_text("16.0.25318.12011")},
                           {"SiteFullUrl", Value::of_text(context.web_url())},
                           {"SupportedSchemaVersions", Value::of_texts({"14.0.0.0", "15.0.0.0"})},
                           {"WebFullUrl", Value::of_text(context.web_url())}};
    return Value::of_complex(std::move(information));
}

// A path member of a move or copy request: an address of this server.
std::string path_member(const Context& context, const rapidjson::Document& body, const char* name) {
    auto member = body.FindMember(name);
    if (member == body.MemberEnd()) throw odata::invalid_argument(std::string(name) + " is missing.");
    std::string url;
    if (member->value.IsString()) url = member->value.GetString();
    if (member->value.IsObject() && member->value.HasMember("DecodedUrl") &&
        member->value["DecodedUrl"].IsString())
        url = member->value["DecodedUrl"].GetString();
    // A structured path isn't escaped, a plain address is.
    if (starts_with_ignoring_case(url, context.server_url + "/")) {
        url = url.substr(context.server_url.size());
        return member->value.IsString() ? percent_decode(url) : url;
    }
    return url;
}

class RootResource : public Resource {
public:
    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.is("web")) return make_web(context.web);
        if (segment.is("site")) return std::make_unique<SiteResource>();
        if (segment.is("SP.RemoteWeb")) return std::make_unique<RootResource>();
        if (segment.is("lists")) return make_libraries(context.web);
        return nullptr;
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (segment.is("SP.Web.GetWebUrlFromPageUrl")) {
            auto page = segment.arguments.empty() ? std::string() : segment.arguments[0].value.text;
            return Outcome::of(Node::of(Value::of_text(web_url_of_page(context, page))),
                               "GetWebUrlFromPageUrl");
        }
        if (!context.is_post()) return std::nullopt;
        if (segment.is("contextinfo"))
            return Outcome::of(Node::of(context_information(context)), "GetContextWebInformation");
        if (segment.name.size() > 15 && starts_with_ignoring_case(segment.name, "SP.MoveCopyUtil"))
            return move_or_copy(context, segment);
        if (segment.is("SP.Web.CreateOrganizationSharingLink") || segment.is("SP.Web.CreateAnonymousLink"))
            return sharing_link(context, segment);
        return std::nullopt;
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(web_entity(context, context.web)), "Web");
    }

private:
    static std::string web_url_of_page(Context& context, const std::string& page) {
        if (!starts_with_ignoring_case(page + "/", context.server_url + "/"))
            throw odata::invalid_argument("Value does not fall within the expected range.");
        auto path = percent_decode(page.substr(context.server_url.size()));
        auto web = context.store.web_of(path.empty() ? "/" : path);
        return context.server_url + (web.path.empty() ? "" : "/" + web.path);
    }

    static std::optional<Outcome> move_or_copy(Context& context, const Segment& segment) {
        auto operation = segment.name.substr(segment.name.rfind('.') + 1);
        bool moves = starts_with_ignoring_case(operation, "Move");
        bool of_folder = find_ignoring_case(operation, "Folder") != std::string::npos;
        context.require_edit();
        auto body = context.json_body();
        bool by_path = body.HasMember("srcPath");
        auto from = path_member(context, body, by_path ? "srcPath" : "srcUrl");
        auto to = path_member(context, body, by_path ? "destPath" : "destUrl");
        bool overwrite = segment.boolean("overwrite", false, 0);
        if (body.HasMember("overwrite") && body["overwrite"].IsBool())
            overwrite = body["overwrite"].GetBool();
        if (auto options = body.FindMember("options");
            options != body.MemberEnd() && options->value.IsObject() &&
            options->value.HasMember("KeepBoth") && options->value["KeepBoth"].IsBool() &&
            options->value["KeepBoth"].GetBool())
            to = free_path(context.store, to);
        auto item = context.store.find(from);
        if (!item || item->folder != of_folder) throw odata::folder_not_found();
        if (moves)
            context.store.move(item->id, to, overwrite, context.user);
        else
            context.store.copy(item->id, to, overwrite, context.user);
        return Outcome::done(operation);
    }

    static std::optional<Outcome> sharing_link(Context& context, const Segment& segment) {
        auto url = segment.text("url", 0);
        if (url.empty()) {
            auto body = context.json_body();
            if (body.HasMember("url") && body["url"].IsString()) url = body["url"].GetString();
        }
        auto item = find_shared(context.store, context.server_url, url);
        if (!item) throw odata::folder_not_found();
        return Outcome::of(Node::of(Value::of_text(context.server_url + sharing_path(context.store, *item))),
                           segment.name.substr(segment.name.rfind('.') + 1));
    }
};

}  // namespace

Entity web_entity(const Context& context, const Web& web) {
    Entity entity;
    auto url = context.server_url + (web.path.empty() ? "" : "/" + encode_path(web.path));
    entity.type = "SP.Web";
    entity.id = "Web";
    entity.links = web_links;
    entity.resolve = [context, web](std::string_view name) { return resolve_web_link(context, web, name); };
    auto created = iso_time(web.created);
    entity.add("AlternateCssUrl", Value::of_text(""));
    entity.add("Configuration", Value::int32(0));
    entity.add("Created", Value::date(created.substr(0, created.size() - 1)));
    entity.add("Description", Value::of_text(""));
    entity.add("Id", Value::guid(web.guid));
    entity.add("IsMultilingual", Value::boolean(false));
    entity.add("Language", Value::int32(1033));
    entity.add("LastItemModifiedDate", Value::date(iso_time(web.created)));
    entity.add("NoCrawl", Value::boolean(false));
    entity.add("RecycleBinEnabled", Value::boolean(true));
    entity.add("ResourcePath",
               Value::of_complex({"SP.ResourcePath", {{"DecodedUrl", Value::of_text(percent_decode(url))}}}));
    entity.add("ServerRelativeUrl", Value::of_text(web.server_relative_url()));
    entity.add("Title", Value::of_text(web.title));
    entity.add("UIVersion", Value::int32(15));
    entity.add("Url", Value::of_text(percent_decode(url)));
    entity.add("WebTemplate", Value::of_text("STS"));
    entity.add("WelcomePage", Value::of_text(""));
    return entity;
}

ResourcePtr make_root(Context&) {
    return std::make_unique<RootResource>();
}
ResourcePtr make_web(const Web& web) {
    return std::make_unique<WebResource>(web);
}
ResourcePtr make_libraries(const Web& web) {
    return std::make_unique<LibrariesResource>(web);
}

}  // namespace devserver::rest
