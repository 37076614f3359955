#include "rest/file_resource.h"

#include "base/text.h"
#include "rest/uploads.h"
#include "rest/version_resource.h"

namespace devserver::rest {
namespace {

constexpr Link file_links[] = {{"Author"},
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

std::string content_tag_of(const Item& item) {
    return "{" + to_upper(item.guid) + "}," + std::to_string(item.etag) + "," +
           std::to_string(item.content_tag);
}

// The property bag, with names as they may stand in an address.
Entity properties_entity(const Item& item, const std::string& id) {
    Entity entity;
    entity.type = "SP.PropertyValues";
    entity.id = id;
    auto stamp = iso_time(item.created);
    auto text = [&](const char* name, std::string value) {
        entity.add("vti_x005f_" + std::string(name), Value::of_text(std::move(value)));
    };
    auto number = [&](const char* name, std::int64_t value) {
        entity.add("vti_x005f_" + std::string(name), Value::int32(value));
    };
    text("etag", etag_of(item));
    text("rtag", resource_tag_of(item));
    text("contenttag", content_tag_of(item));
    text("winfileattribs", item.win32_attributes());
    text("timecreated", stamp.substr(0, stamp.size() - 1));
    auto written = iso_time(item.modified);
    text("timelastwritten", written.substr(0, written.size() - 1));
    text("canmaybeedit", "true");
    text("parserversion", "16.0.0.25318");
    if (!item.folder) {
        number("filesize", item.size);
        number("level", item.level);
        number("docstoreversion", item.etag);
        text("sourcecontrolversion", "V" + item.version_label());
        text("sourcecontrolcookie", "fp_internal");
    } else {
        number("folderitemcount", item.child_count);
        text("isfolder", "true");
    }
    number("doclibrowid", item.id);
    return entity;
}

Node resolve_file_link(const Context& context, const std::shared_ptr<const Item>& item,
                       std::string_view name) {
    auto id = file_id(*item) + "/" + std::string(name);
    if (name == "Author") return user_node(context, item->author, id);
    if (name == "ModifiedBy") return user_node(context, item->editor, id);
    if (name == "CheckedOutByUser") return user_node(context, item->checked_out_by, id);
    if (name == "ListItemAllFields") return Node::of(list_item_entity(context, item));
    if (name == "Properties") return Node::of(properties_entity(*item, id));
    if (name == "Versions") return Node::of(versions_feed(context, *item));
    if (name == "VersionEvents") return Node::of(feed_of(std::vector<int>{}, [](int) { return Entity{}; }));
    if (name == "ServerRelativePath")
        return Node::of(Value::of_complex({"SP.ResourcePath", {{"DecodedUrl", Value::of_text(item->path)}}}));
    if (name == "ListId") {
        auto library = context.store.library(item->library);
        return library ? Node::of(Value::guid(library->guid)) : Node::nothing();
    }
    if (name == "WebId" || name == "SiteId") return Node::of(Value::guid(context.web.guid));
    return Node::nothing();
}

}  // namespace

std::string file_id(const Item& item) {
    return "Web/GetFileByServerRelativePath(decodedurl='" + replace_all(item.path, "'", "''") + "')";
}

Node properties_node(const Item& item, const std::string& id) {
    return Node::of(properties_entity(item, id));
}

Entity file_entity(const Context& context, std::shared_ptr<const Item> item) {
    Entity entity;
    auto flat = replace_all(item->guid, "-", "");
    entity.type = "SP.File";
    entity.id = file_id(*item);
    entity.links = file_links;
    entity.resolve = [context, item](std::string_view name) {
        return resolve_file_link(context, item, name);
    };
    entity.properties.reserve(22);
    entity.add("CheckInComment", Value::of_text(item->comment));
    entity.add("CheckOutType", Value::int32(item->checked_out_by != 0 ? 0 : 2));
    entity.add("ContentTag", Value::of_text(content_tag_of(*item)));
    entity.add("CustomizedPageStatus", Value::int32(0));
    entity.add("ETag", Value::of_text(etag_of(*item)));
    entity.add("Exists", Value::boolean(true));
    entity.add("ExistsAllowThrowForPolicyFailures", Value::boolean(true));
    entity.add("IrmEnabled", Value::boolean(false));
    entity.add("Length", Value::int64(item->size));
    entity.add("Level", Value::int32(item->level));
    entity.add("LinkingUri", Value::of_text(context.server_url + encode_path(item->path) + "?d=w" + flat));
    entity.add("LinkingUrl", Value::of_text(context.server_url + item->path + "?d=w" + flat));
    entity.add("MajorVersion", Value::int32(item->major()));
    entity.add("MinorVersion", Value::int32(item->minor()));
    entity.add("Name", Value::of_text(item->name));
    entity.add("ServerRelativeUrl", Value::of_text(item->path));
    entity.add("TimeCreated", Value::date(iso_time(item->created)));
    entity.add("TimeLastModified", Value::date(iso_time(item->modified)));
    entity.add("Title", Value::of_text(""));
    entity.add("UIVersion", Value::int32(item->ui_version));
    entity.add("UIVersionLabel", Value::of_text(item->version_label()));
    entity.add("UniqueId", Value::guid(item->guid));
    return entity;
}

http::Response content_response(const Context& context, const std::string& blob) {
    http::Response response;
    response.file = context.store.blobs().open(blob);
    if (!response.file) throw std::runtime_error("a document's content is missing");
    response.file_length = response.file->size();
    response.headers.set("Content-Type", "application/octet-stream");
    response.headers.set("Accept-Ranges", "bytes");
    http::apply_range(context.request, response);
    return response;
}

const Item& FileResource::require(Context& context) const {
    if (m_item && !m_item->folder) return *m_item;
    // Real servers look for the list item first, so that a missing file gives another error there.
    if (context.projection.names("listitemallfields") || context.projection.expanded("listitemallfields"))
        throw odata::no_list_item();
    throw odata::file_does_not_exist(m_path);
}

Outcome FileResource::answer(Context& context, const Item& item) const {
    return Outcome::of(Node::of(file_entity(context, std::make_shared<Item>(item))), "File");
}

Outcome FileResource::get(Context& context) {
    return answer(context, require(context));
}

Outcome FileResource::remove(Context& context) {
    context.require_edit();
    const auto& item = require(context);
    context.require_match(etag_of(item));
    context.store.remove(item.id, context.user);
    return Outcome::empty();
}

Outcome FileResource::write_content(Context& context) {
    context.require_edit();
    const auto& item = require(context);
    context.require_match(etag_of(item));
    context.store.require_writable(item, context.user);
    auto content = context.store.blobs().create();
    content->write_all(*context.request.body);
    auto written = context.store.write(item.id, std::move(content), context.user);
    http::Response response;
    response.status = 204;
    response.headers.set("ETag", etag_of(written));
    return Outcome::raw(std::move(response));
}

namespace {

// $value and the stream operations: the bytes themselves.
class FileContentResource : public Resource {
public:
    explicit FileContentResource(FileResource file) : m_file(std::move(file)) {}
    Outcome get(Context& context) override {
        const auto& item = m_file.require(context);
        auto response = content_response(context, item.blob);
        response.headers.set("ETag", etag_of(item));
        return Outcome::raw(std::move(response));
    }
    Outcome put(Context& context) override { return m_file.write_content(context); }

private:
    FileResource m_file;
};

class NodeResource : public Resource {
public:
    NodeResource(Node node, std::string name) : m_node(std::move(node)), m_name(std::move(name)) {}
    Outcome get(Context&) override { return Outcome::of(m_node, m_name); }

private:
    Node m_node;
    std::string m_name;
};

}  // namespace

ResourcePtr make_node(Node node, std::string name) {
    return std::make_unique<NodeResource>(std::move(node), std::move(name));
}

ResourcePtr FileResource::child(Context& context, const Segment& segment) {
    if (segment.is("$value") || segment.is("OpenBinaryStream") || segment.is("OpenBinaryStreamWithOptions"))
        return std::make_unique<FileContentResource>(*this);
    if (segment.is("ListItemAllFields") || segment.is("GetListItem")) {
        if (!m_item || m_item->folder || m_item->library == 0) throw odata::no_list_item();
        return make_list_item(*m_item);
    }
    if (segment.is("Versions")) return make_versions(require(context));
    if (segment.is("Author") || segment.is("ModifiedBy") || segment.is("CheckedOutByUser") ||
        segment.is("LockedByUser") || segment.is("Properties") || segment.is("ServerRelativePath") ||
        segment.is("VersionEvents") || segment.is("ListId")) {
        auto item = std::make_shared<Item>(require(context));
        for (const auto& link : file_links)
            if (segment.is(link.name))
                return make_node(resolve_file_link(context, item, link.name), std::string(link.name));
    }
    return nullptr;
}

std::optional<Outcome> FileResource::operation(Context& context, const Segment& segment) {
    if (!context.is_post()) return std::nullopt;
    if (auto outcome = workflow(context, segment)) return outcome;
    if (auto outcome = placement(context, segment)) return outcome;
    return upload_operation(context, segment, [&]() -> const Item& { return require(context); });
}

std::optional<Outcome> FileResource::workflow(Context& context, const Segment& segment) {
    auto& store = context.store;
    auto change = [&]() -> Id {
        context.require_edit();
        return require(context).id;
    };
    auto comment = [&](const rapidjson::Document& body) {
        if (segment.argument("comment", 0)) return segment.text("comment", 0);
        auto member = body.FindMember("comment");
        return member != body.MemberEnd() && member->value.IsString() ? std::string(member->value.GetString())
                                                                      : std::string();
    };
    if (segment.is("CheckOut")) {
        store.check_out(change(), context.user);
        return Outcome::done("CheckOut");
    }
    if (segment.is("UndoCheckOut")) {
        store.undo_check_out(change(), context.user);
        return Outcome::done("UndoCheckOut");
    }
    if (segment.is("CheckIn")) {
        auto body = context.json_body();
        std::int64_t type = 0;
        auto member = body.FindMember("checkInType");
        if (member == body.MemberEnd()) member = body.FindMember("checkintype");
        if (member != body.MemberEnd() && member->value.IsInt()) type = member->value.GetInt();
        if (const auto* given = segment.argument("checkintype", 1))
            type = parse_integer(given->text).value_or(-1);
        if (type < 0 || type > 2)
            throw odata::invalid_argument("Value does not fall within the expected range.");
        store.check_in(change(), comment(body), static_cast<CheckInType>(type), context.user);
        return Outcome::done("CheckIn");
    }
    if (segment.is("Publish")) {
        store.publish(change(), comment(context.json_body()), context.user);
        return Outcome::done("Publish");
    }
    if (segment.is("UnPublish")) {
        store.unpublish(change(), comment(context.json_body()), context.user);
        return Outcome::done("UnPublish");
    }
    if (segment.is("Approve") || segment.is("Deny"))
        throw ApiError(500, "-2147024891, Microsoft.SharePoint.SPException",
                       "Approval isn't enabled for this library.");
    return std::nullopt;
}

std::optional<Outcome> FileResource::placement(Context& context, const Segment& segment) {
    bool moves = segment.is("MoveTo") || segment.is("MoveToUsingPath");
    bool copies = segment.is("CopyTo") || segment.is("CopyToUsingPath");
    if (moves || copies) {
        context.require_edit();
        const auto& item = require(context);
        std::string target;
        for (const auto& argument : segment.arguments)
            if (argument.value.kind == odata::Literal::Kind::text) {
                target = argument.value.text;
                break;
            }
        target = server_relative(context, target);
        if (moves) {
            auto flags = parse_integer(segment.text("flags", 1)).value_or(0);
            if (flags == 0) flags = parse_integer(segment.text("moveOperations", 1)).value_or(0);
            context.store.move(item.id, target, (flags & 1) != 0, context.user);
        } else {
            bool overwrite = segment.boolean("boverwrite", segment.boolean("overwrite", false, 1), 1);
            context.store.copy(item.id, target, overwrite, context.user);
        }
        return Outcome::done(moves ? "MoveTo" : "CopyTo");
    }
    if (segment.is("Recycle")) {
        context.require_edit();
        return recycle(context, require(context));
    }
    if (segment.is("DeleteObject") || segment.is("DeleteWithParameters")) return remove(context);
    if (segment.is("SaveBinaryStream")) return write_content(context);
    return std::nullopt;
}

ResourcePtr make_file(std::string path, std::optional<Item> item) {
    return std::make_unique<FileResource>(std::move(path), std::move(item));
}

}  // namespace devserver::rest
