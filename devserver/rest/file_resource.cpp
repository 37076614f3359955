#include "rest/file_resource.h"

#include "base/text.h"
#include "rest/uploads.h"
#include "rest/version_resource.h"

namespace devserver::rest {
namespace {

constexpr Link kFileLinks[] = {{"Author"},
                               {"CheckedOutByUser"},
                               {"EffectiveInformationRightsManagementSettings"},
                               {"InformationRightsManagementSettings"},
                               {"ListItemAllFields"},
                               {"LockedByUser"},
                               {"ModifiedBy"},
                               {"Properties"},
                               {"VersionEvents", false, true},
                               {"Versions", false, true},
                               {"ListId", true},
                               {"SiteId", true},
                               {"WebId", true},
                               {"ServerRelativePath", true},
                               {"VroomDriveID", true}};

std::string ContentTagOf(const Item& item) {
    return "{" + ToUpper(item.guid) + "}," + std::to_string(item.etag) + "," +
           std::to_string(item.content_tag);
}

// The property bag, with names as they may stand in an address.
Entity PropertiesEntity(const Context& context, const Item& item, const std::string& id) {
    Entity entity;
    entity.type = "SP.PropertyValues";
    entity.id = id;
    auto stamp = IsoTime(item.created);
    auto text = [&](const char* name, std::string value) {
        entity.Add("vti_x005f_" + std::string(name), Value::OfText(std::move(value)));
    };
    auto number = [&](const char* name, std::int64_t value) {
        entity.Add("vti_x005f_" + std::string(name), Value::Int32(value));
    };
    text("etag", EtagOf(item));
    text("rtag", ResourceTagOf(item));
    text("contenttag", ContentTagOf(item));
    text("winfileattribs", item.Win32Attributes());
    text("timecreated", stamp.substr(0, stamp.size() - 1));
    auto written = IsoTime(item.modified);
    text("timelastwritten", written.substr(0, written.size() - 1));
    text("canmaybeedit", "true");
    text("parserversion", "16.0.0.25318");
    if (!item.folder) {
        number("filesize", item.size);
        number("level", item.level);
        number("docstoreversion", item.etag);
        text("modifiedby", context.store.LoginOf(item.editor));
        text("sourcecontrolversion", "V" + item.VersionLabel());
        text("sourcecontrolcookie", "fp_internal");
    } else {
        number("folderitemcount", item.child_count);
        text("isfolder", "true");
    }
    number("doclibrowid", item.id);
    return entity;
}

Node ResolveFileLink(const Context& context, const std::shared_ptr<const Item>& item, std::string_view name) {
    auto id = FileId(*item) + "/" + std::string(name);
    if (name == "Author") return UserNode(context, item->author, id);
    if (name == "ModifiedBy") return UserNode(context, item->editor, id);
    if (name == "CheckedOutByUser") return UserNode(context, item->checked_out_by, id);
    if (name == "ListItemAllFields") return Node::Of(ListItemEntity(context, item));
    if (name == "Properties") return Node::Of(PropertiesEntity(context, *item, id));
    if (name == "Versions") return Node::Of(VersionsFeed(context, *item));
    if (name == "VersionEvents") return Node::Of(FeedOf(std::vector<int>{}, [](int) { return Entity{}; }));
    if (name == "ServerRelativePath")
        return Node::Of(Value::OfComplex({"SP.ResourcePath", {{"DecodedUrl", Value::OfText(item->path)}}}));
    if (name == "ListId") {
        auto library = context.store.library(item->library);
        return library ? Node::Of(Value::guid(library->guid)) : Node::Nothing();
    }
    if (name == "WebId" || name == "SiteId") return Node::Of(Value::guid(context.web.guid));
    return Node::Nothing();
}

}  // namespace

std::string FileId(const Item& item) {
    return "Web/GetFileByServerRelativePath(decodedurl='" + ReplaceAll(item.path, "'", "''") + "')";
}

Node PropertiesNode(const Context& context, const Item& item, const std::string& id) {
    return Node::Of(PropertiesEntity(context, item, id));
}

Entity FileEntity(const Context& context, const std::shared_ptr<const Item>& item) {
    Entity entity;
    auto flat = ReplaceAll(item->guid, "-", "");
    entity.type = "SP.File";
    entity.id = FileId(*item);
    entity.links = kFileLinks;
    entity.resolve = [context, item](std::string_view name) { return ResolveFileLink(context, item, name); };
    entity.properties.reserve(22);
    entity.Add("CheckInComment", Value::OfText(item->comment));
    entity.Add("CheckOutType", Value::Int32(item->checked_out_by != 0 ? 0 : 2));
    entity.Add("ContentTag", Value::OfText(ContentTagOf(*item)));
    entity.Add("CustomizedPageStatus", Value::Int32(0));
    entity.Add("ETag", Value::OfText(EtagOf(*item)));
    entity.Add("Exists", Value::boolean(true));
    entity.Add("ExistsAllowThrowForPolicyFailures", Value::boolean(true));
    entity.Add("IrmEnabled", Value::boolean(false));
    entity.Add("Length", Value::Int64(item->size));
    entity.Add("Level", Value::Int32(item->level));
    entity.Add("LinkingUri", Value::OfText(context.server_url + EncodePath(item->path) + "?d=w" + flat));
    entity.Add("LinkingUrl", Value::OfText(context.server_url + item->path + "?d=w" + flat));
    entity.Add("MajorVersion", Value::Int32(item->major()));
    entity.Add("MinorVersion", Value::Int32(item->minor()));
    entity.Add("Name", Value::OfText(item->name));
    entity.Add("ServerRelativeUrl", Value::OfText(item->path));
    entity.Add("TimeCreated", Value::date(IsoTime(item->created)));
    entity.Add("TimeLastModified", Value::date(IsoTime(item->modified)));
    entity.Add("Title", Value::OfText(""));
    entity.Add("UIVersion", Value::Int32(item->ui_version));
    entity.Add("UIVersionLabel", Value::OfText(item->VersionLabel()));
    entity.Add("UniqueId", Value::guid(item->guid));
    return entity;
}

http::Response ContentResponse(const Context& context, const std::string& blob) {
    http::Response response;
    response.file = context.store.blobs().Open(blob);
    if (!response.file) throw std::runtime_error("a document's content is missing");
    response.file_length = response.file->size();
    response.headers.Set("Content-Type", "application/octet-stream");
    response.headers.Set("Accept-Ranges", "bytes");
    http::ApplyRange(context.request, response);
    return response;
}

const Item& FileResource::Require(Context& context) const {
    if (m_item && !m_item->folder) return *m_item;
    // Real servers look for the list item first, so that a missing file gives another error there.
    if (context.projection.names("listitemallfields") || context.projection.Expanded("listitemallfields"))
        throw odata::NoListItem();
    throw odata::FileDoesNotExist(m_path);
}

Outcome FileResource::Answer(Context& context, const Item& item) const {
    return Outcome::Of(Node::Of(FileEntity(context, std::make_shared<Item>(item))), "File");
}

Outcome FileResource::get(Context& context) {
    return Answer(context, Require(context));
}

Outcome FileResource::Remove(Context& context) {
    context.RequireEdit();
    const auto& item = Require(context);
    context.RequireMatch(EtagOf(item));
    context.store.Remove(item.id, context.user);
    return Outcome::empty();
}

Outcome FileResource::WriteContent(Context& context) {
    context.RequireEdit();
    const auto& item = Require(context);
    context.RequireMatch(EtagOf(item));
    context.store.RequireWritable(item, context.user);
    auto content = context.store.blobs().Create();
    content->WriteAll(*context.request.body);
    auto written = context.store.Write(item.id, std::move(content), context.user);
    http::Response response;
    response.status = 204;
    response.headers.Set("ETag", EtagOf(written));
    return Outcome::raw(std::move(response));
}

namespace {

// $value and the stream operations: the bytes themselves.
class FileContentResource : public Resource {
public:
    explicit FileContentResource(FileResource file) : m_file(std::move(file)) {}
    Outcome get(Context& context) override {
        const auto& item = m_file.Require(context);
        auto response = ContentResponse(context, item.blob);
        response.headers.Set("ETag", EtagOf(item));
        return Outcome::raw(std::move(response));
    }
    Outcome put(Context& context) override { return m_file.WriteContent(context); }

private:
    FileResource m_file;
};

class NodeResource : public Resource {
public:
    NodeResource(Node node, std::string name) : m_node(std::move(node)), m_name(std::move(name)) {}
    Outcome get(Context&) override { return Outcome::Of(m_node, m_name); }

private:
    Node m_node;
    std::string m_name;
};

}  // namespace

ResourcePtr MakeNode(Node node, std::string name) {
    return std::make_unique<NodeResource>(std::move(node), std::move(name));
}

ResourcePtr FileResource::child(Context& context, const Segment& segment) {
    if (segment.Is("$value") || segment.Is("OpenBinaryStream") || segment.Is("OpenBinaryStreamWithOptions"))
        return std::make_unique<FileContentResource>(*this);
    if (segment.Is("ListItemAllFields") || segment.Is("GetListItem")) {
        if (!m_item || m_item->folder || m_item->library == 0) throw odata::NoListItem();
        return MakeListItem(*m_item);
    }
    if (segment.Is("Versions")) return MakeVersions(Require(context));
    if (segment.Is("Author") || segment.Is("ModifiedBy") || segment.Is("CheckedOutByUser") ||
        segment.Is("LockedByUser") || segment.Is("Properties") || segment.Is("ServerRelativePath") ||
        segment.Is("VersionEvents") || segment.Is("ListId")) {
        auto item = std::make_shared<Item>(Require(context));
        for (const auto& link : kFileLinks) {
            if (segment.Is(link.name))
                return MakeNode(ResolveFileLink(context, item, link.name), std::string(link.name));
        }
    }
    return nullptr;
}

std::optional<Outcome> FileResource::operation(Context& context, const Segment& segment) {
    if (!context.IsPost()) return std::nullopt;
    if (auto outcome = workflow(context, segment)) return outcome;
    if (auto outcome = placement(context, segment)) return outcome;
    return UploadOperation(context, segment, [&]() -> const Item& { return Require(context); });
}

std::optional<Outcome> FileResource::workflow(Context& context, const Segment& segment) {
    auto& store = context.store;
    auto change = [&]() -> Id {
        context.RequireEdit();
        return Require(context).id;
    };
    auto comment = [&](const rapidjson::Document& body) {
        if (segment.argument("comment", 0)) return segment.text("comment", 0);
        auto member = body.FindMember("comment");
        return member != body.MemberEnd() && member->value.IsString() ? std::string(member->value.GetString())
                                                                      : std::string();
    };
    if (segment.Is("CheckOut")) {
        store.CheckOut(change(), context.user);
        return Outcome::done("CheckOut");
    }
    if (segment.Is("UndoCheckOut")) {
        store.UndoCheckOut(change(), context.user);
        return Outcome::done("UndoCheckOut");
    }
    if (segment.Is("CheckIn")) {
        auto body = context.JsonBody();
        std::int64_t type = 0;
        auto member = body.FindMember("checkInType");
        if (member == body.MemberEnd()) member = body.FindMember("checkintype");
        if (member != body.MemberEnd() && member->value.IsInt()) type = member->value.GetInt();
        if (const auto* given = segment.argument("checkintype", 1))
            type = ParseInteger(given->text).value_or(-1);
        if (type < 0 || type > 2)
            throw odata::InvalidArgument("Value does not fall within the expected range.");
        store.CheckIn(change(), comment(body), static_cast<CheckInType>(type), context.user);
        return Outcome::done("CheckIn");
    }
    if (segment.Is("Publish")) {
        store.Publish(change(), comment(context.JsonBody()), context.user);
        return Outcome::done("Publish");
    }
    if (segment.Is("UnPublish")) {
        store.Unpublish(change(), comment(context.JsonBody()), context.user);
        return Outcome::done("UnPublish");
    }
    if (segment.Is("Approve") || segment.Is("Deny")) {
        throw ApiError(500, "-2147024891, Microsoft.SharePoint.SPException",
                       "Approval isn't enabled for this library.");
    }
    return std::nullopt;
}

std::optional<Outcome> FileResource::placement(Context& context, const Segment& segment) {
    bool moves = segment.Is("MoveTo") || segment.Is("MoveToUsingPath");
    bool copies = segment.Is("CopyTo") || segment.Is("CopyToUsingPath");
    if (moves || copies) {
        context.RequireEdit();
        const auto& item = Require(context);
        std::string target;
        for (const auto& argument : segment.arguments) {
            if (argument.value.kind == odata::Literal::Kind::text) {
                target = argument.value.text;
                break;
            }
        }
        target = ServerRelative(context, target);
        if (moves) {
            auto flags = ParseInteger(segment.text("flags", 1)).value_or(0);
            if (flags == 0) flags = ParseInteger(segment.text("moveOperations", 1)).value_or(0);
            context.store.Move(item.id, target, (flags & 1) != 0, context.user);
        } else {
            bool overwrite = segment.boolean("boverwrite", segment.boolean("overwrite", false, 1), 1);
            context.store.Copy(item.id, target, overwrite, context.user);
        }
        return Outcome::done(moves ? "MoveTo" : "CopyTo");
    }
    if (segment.Is("Recycle")) {
        context.RequireEdit();
        return Recycle(context, Require(context));
    }
    if (segment.Is("DeleteObject") || segment.Is("DeleteWithParameters")) return Remove(context);
    if (segment.Is("SaveBinaryStream")) return WriteContent(context);
    return std::nullopt;
}

ResourcePtr MakeFile(std::string path, std::optional<Item> item) {
    return std::make_unique<FileResource>(std::move(path), std::move(item));
}

}  // namespace devserver::rest
