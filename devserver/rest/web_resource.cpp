// The web, the site, and the operations that stand directly under "/_api/".
// Owner: rest/; a request's thread alone.

#include "base/text.h"
#include "content/sharing.h"
#include "rest/file_resource.h"

namespace devserver::rest {
namespace {

constexpr Link kWebLinks[] = {{"AllProperties"},
                              {"CurrentUser"},
                              {"Lists", false, true},
                              {"RootFolder"},
                              {"SiteUsers", false, true},
                              {"Webs", false, true},
                              {"EffectiveBasePermissions", true}};
constexpr Link kSiteLinks[] = {{"RootWeb"}};

Node EmptyFeed() {
    return Node::Of(FeedOf(std::vector<int>{}, [](int) { return Entity{}; }));
}

Feed LibrariesFeed(const Context& context, const Web& web) {
    return FeedOf(context.store.libraries(web.id),
                  [context](const Library& library) { return LibraryEntity(context, library); });
}

Item RootFolder(const Context& context, const Web& web) {
    return context.store.Find(web.ServerRelativeUrl()).value();
}

Node ResolveWebLink(const Context& context, const Web& web, std::string_view name) {
    if (name == "CurrentUser") return Node::Of(UserEntity(context.user, UserId(context.user.id)));
    if (name == "Lists") return Node::Of(LibrariesFeed(context, web));
    if (name == "RootFolder")
        return Node::Of(FolderEntity(context, std::make_shared<Item>(RootFolder(context, web))));
    if (name == "EffectiveBasePermissions") return Node::Of(EffectivePermissions(context.user));
    if (name == "SiteUsers") {
        return Node::Of(FeedOf(context.store.users(),
                               [](const User& user) { return UserEntity(user, UserId(user.id)); }));
    }
    if (name == "AllProperties") {
        Entity properties;
        properties.type = "SP.PropertyValues";
        properties.id = "Web/AllProperties";
        properties.Add("vti_x005f_defaultlanguage", Value::OfText("en-us"));
        return Node::Of(std::move(properties));
    }
    return EmptyFeed();
}

class LibrariesResource : public Resource {
public:
    explicit LibrariesResource(Web web) : m_web(std::move(web)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.arguments.empty()) return nullptr;
        auto wanted = segment.arguments[0].value.text;
        if (segment.Is("getById")) return ById(context, wanted);
        if (!segment.Is("getByTitle")) return nullptr;
        for (const auto& library : context.store.libraries(m_web.id))
            if (EqualsIgnoringCase(library.title, wanted)) return MakeLibrary(library);
        throw odata::ListDoesNotExist(wanted, context.WebUrl());
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        return ById(context, value.text);
    }

    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(ApplyFeedOptions(context, LibrariesFeed(context, m_web))), "Lists");
    }

private:
    ResourcePtr ById(Context& context, const std::string& guid) {
        for (const auto& library : context.store.libraries(m_web.id))
            if (EqualsIgnoringCase(library.guid, guid)) return MakeLibrary(library);
        throw ApiError(404, "-2147024894, System.IO.FileNotFoundException", "List does not exist.");
    }

    Web m_web;
};

struct Group {
    int id;
    std::string title;
};

// The groups that every new site has.
std::vector<Group> GroupsOf(const Web& web) {
    return {{3, web.title + " Owners"}, {4, web.title + " Visitors"}, {5, web.title + " Members"}};
}

Entity GroupEntity(const Group& group) {
    Entity entity;
    entity.type = "SP.Group";
    entity.id = "Web/SiteGroups/GetById(" + std::to_string(group.id) + ")";
    entity.Add("Id", Value::Int32(group.id));
    entity.Add("IsHiddenInUI", Value::boolean(false));
    entity.Add("LoginName", Value::OfText(group.title));
    entity.Add("Title", Value::OfText(group.title));
    entity.Add("PrincipalType", Value::Int32(8));
    entity.Add("AllowMembersEditMembership", Value::boolean(group.id == 5));
    entity.Add("Description", Value::null());
    entity.Add("OnlyAllowMembersViewMembership", Value::boolean(false));
    entity.Add("OwnerTitle", Value::OfText(group.title.substr(0, group.title.rfind(' ')) + " Owners"));
    return entity;
}

class WebResource : public Resource {
public:
    explicit WebResource(Web web) : m_web(std::move(web)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        auto argument = segment.arguments.empty() ? std::string() : DecodedUrl(segment.arguments[0].value);
        auto& store = context.store;
        if (segment.Is("GetFileByServerRelativePath") || segment.Is("GetFileByServerRelativeUrl")) {
            auto path = ServerRelative(context, argument);
            RequireInside(context, path);
            return MakeFile(path, store.Find(path));
        }
        if (segment.Is("GetFolderByServerRelativePath") || segment.Is("GetFolderByServerRelativeUrl")) {
            auto path = ServerRelative(context, argument);
            RequireInside(context, path);
            return MakeFolder(path, store.Find(path));
        }
        if (segment.Is("GetFileByUrl")) {
            auto item = FindShared(store, context.server_url, argument);
            if (!item || item->folder) throw odata::FileDoesNotExist(argument);
            return MakeFile(item->path, item);
        }
        if (segment.Is("GetFileById") || segment.Is("GetFolderById")) {
            auto item = store.ItemByGuid(argument);
            if (!item) throw odata::FolderNotFound();
            item = store.Find(item->path);
            return segment.Is("GetFileById") ? MakeFile(item->path, item) : MakeFolder(item->path, item);
        }
        if (segment.Is("GetList") || segment.Is("GetListUsingPath")) return ListAt(context, argument);
        if (segment.Is("CurrentUser")) return MakeUser(context.user, UserId(context.user.id));
        if (segment.Is("GetUserById") || segment.Is("EnsureUser")) return user(context, segment, argument);
        if (segment.Is("SiteUsers")) return MakeUsers();
        if (segment.Is("SiteGroups"))
            return MakeNode(Node::Of(FeedOf(GroupsOf(m_web), GroupEntity)), "SiteGroups");
        if (segment.Is("Lists")) return MakeLibraries(m_web);
        if (segment.Is("RootFolder"))
            return MakeFolder(m_web.ServerRelativeUrl(), RootFolder(context, m_web));
        if (segment.Is("Folders"))
            return MakeFolder(m_web.ServerRelativeUrl(), RootFolder(context, m_web))->child(context, segment);
        if (segment.Is("DefaultDocumentLibrary")) return MakeLibrary(store.libraries(m_web.id).at(0));
        if (segment.Is("GetUserEffectivePermissions")) {
            auto asked = store.UserByName(argument);
            if (!asked) throw odata::UserNotFound();
            return MakeNode(Node::Of(EffectivePermissions(*asked)), "GetUserEffectivePermissions");
        }
        if (segment.Is("DoesUserHavePermissions")) {
            return MakeNode(Node::Of(Value::boolean(context.user.rights != Rights::none)),
                            "DoesUserHavePermissions");
        }
        for (const auto& link : kWebLinks) {
            if (segment.Is(link.name))
                return MakeNode(ResolveWebLink(context, m_web, link.name), std::string(link.name));
        }
        return nullptr;
    }

    Outcome get(Context& context) override { return Outcome::Of(Node::Of(WebEntity(context, m_web)), "Web"); }

private:
    // Paths may come as text or as a structured path.
    static std::string DecodedUrl(const odata::Literal& literal) {
        if (literal.kind != odata::Literal::Kind::json) return literal.text;
        rapidjson::Document document;
        document.Parse<rapidjson::kParseIterativeFlag>(literal.text.c_str());
        if (!document.HasParseError() && document.IsObject() && document.HasMember("DecodedUrl") &&
            document["DecodedUrl"].IsString())
            return document["DecodedUrl"].GetString();
        throw odata::InvalidExpression(literal.text);
    }

    void RequireInside(Context& context, const std::string& path) const {
        bool inside = context.store.WebOf(path).id == m_web.id;
        bool dotted =
            (path + "/").find("/../") != std::string::npos || (path + "/").find("/./") != std::string::npos;
        if (!inside || dotted) throw odata::InvalidArgument("Value does not fall within the expected range.");
    }

    ResourcePtr ListAt(Context& context, const std::string& argument) const {
        auto path = ServerRelative(context, argument);
        auto folder = context.store.Find(path);
        for (const auto& library : context.store.libraries(m_web.id))
            if (folder && folder->id == library.root_item) return MakeLibrary(library);
        throw odata::FolderNotFound();
    }

    static ResourcePtr user(Context& context, const Segment& segment, std::string argument) {
        if (segment.Is("EnsureUser") && argument.empty()) {
            auto body = context.JsonBody();
            if (body.HasMember("logonName") && body["logonName"].IsString())
                argument = body["logonName"].GetString();
        }
        auto found = segment.Is("EnsureUser") ? context.store.UserByName(argument)
                                              : context.store.UserById(ParseInteger(argument).value_or(0));
        if (!found && segment.Is("EnsureUser")) {
            throw ApiError(400, "-2146232832, Microsoft.SharePoint.SPException",
                           "The specified user " + argument + " could not be found.");
        }
        if (!found) throw odata::UserNotFound();
        return MakeUser(*found, UserId(found->id));
    }

    Web m_web;
};

Entity SiteEntity(const Context& context) {
    auto web = context.web;
    Entity entity;
    entity.type = "SP.Site";
    entity.id = "Site";
    entity.links = kSiteLinks;
    entity.resolve = [context, web](std::string_view) { return Node::Of(WebEntity(context, web)); };
    entity.Add("Id", Value::guid(web.guid));
    entity.Add("ReadOnly", Value::boolean(false));
    entity.Add("ServerRelativeUrl", Value::OfText(web.ServerRelativeUrl()));
    entity.Add("ShareByEmailEnabled", Value::boolean(false));
    entity.Add("Url", Value::OfText(context.WebUrl()));
    return entity;
}

class SiteResource : public Resource {
public:
    ResourcePtr child(Context& context, const Segment& segment) override {
        return segment.Is("RootWeb") ? MakeWeb(context.web) : nullptr;
    }
    Outcome get(Context& context) override { return Outcome::Of(Node::Of(SiteEntity(context)), "Site"); }
};

Value ContextInformation(Context& context) {
    Complex information{"SP.ContextWebInformation", {}};
    information.members = {{"FormDigestTimeoutSeconds", Value::Int32(context.digests.LifetimeSeconds())},
                           {"FormDigestValue", Value::OfText(context.digests.Issue(context.user))},
                           {"LibraryVersion", Value::OfText("16.0.25318.12011")},
                           {"SiteFullUrl", Value::OfText(context.WebUrl())},
                           {"SupportedSchemaVersions", Value::OfTexts({"14.0.0.0", "15.0.0.0"})},
                           {"WebFullUrl", Value::OfText(context.WebUrl())}};
    return Value::OfComplex(std::move(information));
}

// A path member of a move or copy request: an address of this server.
std::string PathMember(const Context& context, const rapidjson::Document& body, const char* name) {
    auto member = body.FindMember(name);
    if (member == body.MemberEnd()) throw odata::InvalidArgument(std::string(name) + " is missing.");
    std::string url;
    if (member->value.IsString()) url = member->value.GetString();
    if (member->value.IsObject() && member->value.HasMember("DecodedUrl") &&
        member->value["DecodedUrl"].IsString())
        url = member->value["DecodedUrl"].GetString();
    // A structured path isn't escaped, a plain address is.
    if (StartsWithIgnoringCase(url, context.server_url + "/")) {
        url = url.substr(context.server_url.size());
        return member->value.IsString() ? PercentDecode(url) : url;
    }
    return url;
}

class RootResource : public Resource {
public:
    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.Is("web")) return MakeWeb(context.web);
        if (segment.Is("site")) return std::make_unique<SiteResource>();
        if (segment.Is("SP.RemoteWeb")) return std::make_unique<RootResource>();
        if (segment.Is("lists")) return MakeLibraries(context.web);
        return nullptr;
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (segment.Is("SP.Web.GetWebUrlFromPageUrl")) {
            auto page = segment.arguments.empty() ? std::string() : segment.arguments[0].value.text;
            return Outcome::Of(Node::Of(Value::OfText(WebUrlOfPage(context, page))), "GetWebUrlFromPageUrl");
        }
        if (!context.IsPost()) return std::nullopt;
        if (segment.Is("contextinfo"))
            return Outcome::Of(Node::Of(ContextInformation(context)), "GetContextWebInformation");
        if (segment.name.size() > 15 && StartsWithIgnoringCase(segment.name, "SP.MoveCopyUtil"))
            return MoveOrCopy(context, segment);
        if (segment.Is("SP.Web.CreateOrganizationSharingLink") || segment.Is("SP.Web.CreateAnonymousLink"))
            return SharingLink(context, segment);
        return std::nullopt;
    }

    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(WebEntity(context, context.web)), "Web");
    }

private:
    static std::string WebUrlOfPage(Context& context, const std::string& page) {
        if (!StartsWithIgnoringCase(page + "/", context.server_url + "/"))
            throw odata::InvalidArgument("Value does not fall within the expected range.");
        auto path = PercentDecode(page.substr(context.server_url.size()));
        auto web = context.store.WebOf(path.empty() ? "/" : path);
        return context.server_url + (web.path.empty() ? "" : "/" + web.path);
    }

    static std::optional<Outcome> MoveOrCopy(Context& context, const Segment& segment) {
        auto operation = segment.name.substr(segment.name.rfind('.') + 1);
        bool moves = StartsWithIgnoringCase(operation, "Move");
        bool of_folder = FindIgnoringCase(operation, "Folder") != std::string::npos;
        context.RequireEdit();
        auto body = context.JsonBody();
        bool by_path = body.HasMember("srcPath");
        auto from = PathMember(context, body, by_path ? "srcPath" : "srcUrl");
        auto to = PathMember(context, body, by_path ? "destPath" : "destUrl");
        bool overwrite = segment.boolean("overwrite", false, 0);
        if (body.HasMember("overwrite") && body["overwrite"].IsBool())
            overwrite = body["overwrite"].GetBool();
        if (auto options = body.FindMember("options");
            options != body.MemberEnd() && options->value.IsObject() &&
            options->value.HasMember("KeepBoth") && options->value["KeepBoth"].IsBool() &&
            options->value["KeepBoth"].GetBool())
            to = FreePath(context.store, to);
        auto item = context.store.Find(from);
        if (!item || item->folder != of_folder) throw odata::FolderNotFound();
        if (moves) {
            context.store.Move(item->id, to, overwrite, context.user);
        } else {
            context.store.Copy(item->id, to, overwrite, context.user);
        }
        return Outcome::done(operation);
    }

    static std::optional<Outcome> SharingLink(Context& context, const Segment& segment) {
        auto url = segment.text("url", 0);
        if (url.empty()) {
            auto body = context.JsonBody();
            if (body.HasMember("url") && body["url"].IsString()) url = body["url"].GetString();
        }
        auto item = FindShared(context.store, context.server_url, url);
        if (!item) throw odata::FolderNotFound();
        return Outcome::Of(Node::Of(Value::OfText(context.server_url + SharingPath(context.store, *item))),
                           segment.name.substr(segment.name.rfind('.') + 1));
    }
};

}  // namespace

Entity WebEntity(const Context& context, const Web& web) {
    Entity entity;
    auto url = context.server_url + (web.path.empty() ? "" : "/" + EncodePath(web.path));
    entity.type = "SP.Web";
    entity.polymorphic = true;
    entity.id = "Web";
    entity.links = kWebLinks;
    entity.resolve = [context, web](std::string_view name) { return ResolveWebLink(context, web, name); };
    auto created = IsoTime(web.created);
    entity.Add("AlternateCssUrl", Value::OfText(""));
    entity.Add("Configuration", Value::Int32(0));
    entity.Add("Created", Value::date(created.substr(0, created.size() - 1)));
    entity.Add("Description", Value::OfText(""));
    entity.Add("Id", Value::guid(web.guid));
    entity.Add("IsMultilingual", Value::boolean(false));
    entity.Add("Language", Value::Int32(1033));
    entity.Add("LastItemModifiedDate", Value::date(IsoTime(web.created)));
    entity.Add("NoCrawl", Value::boolean(false));
    entity.Add("RecycleBinEnabled", Value::boolean(true));
    entity.Add("ResourcePath",
               Value::OfComplex({"SP.ResourcePath", {{"DecodedUrl", Value::OfText(PercentDecode(url))}}}));
    entity.Add("ServerRelativeUrl", Value::OfText(web.ServerRelativeUrl()));
    entity.Add("Title", Value::OfText(web.title));
    entity.Add("UIVersion", Value::Int32(15));
    entity.Add("Url", Value::OfText(PercentDecode(url)));
    entity.Add("WebTemplate", Value::OfText("STS"));
    entity.Add("WelcomePage", Value::OfText(""));
    return entity;
}

ResourcePtr MakeRoot(Context&) {
    return std::make_unique<RootResource>();
}
ResourcePtr MakeWeb(const Web& web) {
    return std::make_unique<WebResource>(web);
}
ResourcePtr MakeLibraries(const Web& web) {
    return std::make_unique<LibrariesResource>(web);
}

}  // namespace devserver::rest
