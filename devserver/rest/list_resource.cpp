// Libraries, their columns and their items, as the REST interface shows lists.
// Owner: rest/; a request's thread alone.
#include <algorithm>
#include <cstdlib>

#include "base/json.h"
#include "base/text.h"
#include "rest/file_resource.h"

namespace devserver::rest {
namespace {

constexpr Link library_links[] = {{"Fields", false, true},
                                  {"Items", false, true},
                                  {"ParentWeb"},
                                  {"RootFolder"},
                                  {"EffectiveBasePermissions", true}};
constexpr Link item_links[] = {{"FieldValuesAsText"},
                               {"File"},
                               {"Folder"},
                               {"ParentList"},
                               {"Author", true},
                               {"Editor", true},
                               {"EffectiveBasePermissions", true},
                               {"FileRef", true},
                               {"FileLeafRef", true},
                               {"FileDirRef", true}};
constexpr int default_page = 100, max_page = 5000;

std::string library_id(const Library& library) {
    return "Web/Lists(guid'" + library.guid + "')";
}

std::string escape_name(const std::string& name) {
    return name.starts_with("_") ? "OData_" + name : name;
}

std::string type_name_of(int kind) {
    switch (kind) {
        case 2:
            return "SP.FieldText";
        case 3:
            return "SP.FieldMultiLineText";
        case 4:
            return "SP.FieldDateTime";
        case 6:
            return "SP.FieldChoice";
        case 7:
            return "SP.FieldLookup";
        case 9:
            return "SP.FieldNumber";
        case 20:
            return "SP.FieldUser";
        default:
            return "SP.Field";
    }
}

Entity field_entity(const Library& library, const Column& column) {
    Entity entity;
    entity.type = type_name_of(column.kind);
    entity.polymorphic = true;
    entity.id = library_id(library) + "/Fields(guid'" + column.guid + "')";
    auto optional_text = [](const std::string& text) {
        return text.empty() ? Value::null() : Value::of_text(text);
    };
    entity.add("CanBeDeleted", Value::boolean(!column.from_base));
    entity.add("DefaultValue", optional_text(column.default_value));
    entity.add("Description", Value::of_text(column.description));
    entity.add("EntityPropertyName", Value::of_text(escape_name(column.name)));
    entity.add("FieldTypeKind", Value::int32(column.kind));
    entity.add("FromBaseType", Value::boolean(column.from_base));
    entity.add("Group", Value::of_text(column.group));
    entity.add("Hidden", Value::boolean(column.hidden));
    entity.add("Id", Value::guid(column.guid));
    entity.add("InternalName", Value::of_text(column.name));
    entity.add("ReadOnlyField", Value::boolean(column.read_only));
    entity.add("Required", Value::boolean(column.required));
    entity.add("StaticName", Value::of_text(column.name));
    entity.add("Title", Value::of_text(column.title));
    entity.add("TypeAsString", Value::of_text(column.type_name));
    if (column.kind == 2)
        entity.add("MaxLength", Value::int32(column.max_length < 0 ? 255 : column.max_length));
    if (column.kind == 4) entity.add("DisplayFormat", Value::int32(std::max(0, column.display_format)));
    if (column.kind == 6) entity.add("Choices", Value::of_texts(column.choices));
    return entity;
}

Feed fields_feed(const Context& context, const Library& library) {
    return feed_of(context.store.columns(library.id),
                   [library](const Column& column) { return field_entity(library, column); });
}

// A stored value as the interface shows it; unknown columns read as null.
Value value_of(const std::string& json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(json.c_str());
    if (document.HasParseError() || document.IsNull()) return Value::null();
    if (document.IsBool()) return Value::boolean(document.GetBool());
    if (document.IsInt64()) return Value::int32(document.GetInt64());
    if (document.IsNumber()) return Value::of_real(document.GetDouble());
    if (document.IsString()) return Value::of_text({document.GetString(), document.GetStringLength()});
    return Value::null();
}

Value default_of(const Column& column) {
    if (column.default_value.empty()) return Value::null();
    if (column.kind == 8)
        return Value::boolean(column.default_value == "1" || column.default_value == "true");
    if (column.kind == 9) {
        auto number = parse_integer(column.default_value);
        return number ? Value::int32(*number)
                      : Value::of_real(std::strtod(column.default_value.c_str(), nullptr));
    }
    return Value::of_text(column.default_value);
}

Node resolve_item_link(const Context& context, const std::shared_ptr<const Item>& item,
                       std::string_view name) {
    auto user = [&](Id id) { return user_node(context, id, user_id(id)); };
    if (name == "EffectiveBasePermissions") return Node::of(effective_permissions(context.user));
    if (name == "File") return item->folder ? Node::nothing() : Node::of(file_entity(context, item));
    if (name == "Folder") return item->folder ? Node::of(folder_entity(context, item)) : Node::nothing();
    if (name == "Author") return user(item->author);
    if (name == "Editor") return user(item->editor);
    if (name == "FileRef") return Node::of(Value::of_text(item->path));
    if (name == "FileLeafRef") return Node::of(Value::of_text(item->name));
    if (name == "FileDirRef") return Node::of(Value::of_text(item->path.substr(0, item->path.rfind('/'))));
    if (name == "ParentList") {
        auto library = context.store.library(item->library);
        return library ? Node::of(library_entity(context, *library)) : Node::nothing();
    }
    Entity values;
    values.type = "SP.FieldStringValues";
    values.id = "Web/Lists/Items(" + std::to_string(item->id) + ")/FieldValuesAsText";
    values.add("FileLeafRef", Value::of_text(item->name));
    values.add("FileRef", Value::of_text(item->path));
    values.add("OData__x005f_UIVersionString", Value::of_text(item->version_label()));
    return Node::of(std::move(values));
}

// The length as .NET counts it, in 16-bit units.
std::size_t utf16_length(std::string_view text) {
    std::size_t count = 0;
    for (char c : text) {
        auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80) count += byte >= 0xF0 ? 2 : 1;
    }
    return count;
}

std::string checked_value(const Column& column, const rapidjson::Value& value) {
    auto refuse = [&]() -> std::string {
        throw ApiError(400, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
                       "The value of the field '" + column.name + "' is of the wrong type.");
    };
    bool textual = column.kind == 2 || column.kind == 3 || column.kind == 4 || column.kind == 6;
    if (value.IsObject() || value.IsArray()) return refuse();
    if (!value.IsNull()) {
        if (textual && !value.IsString()) return refuse();
        if (column.kind == 8 && !value.IsBool()) return refuse();
        if (column.kind == 9 && !value.IsNumber()) return refuse();
    }
    if (column.kind == 4 && value.IsString()) {
        std::string text = value.GetString();
        if (text.empty()) return "null";
        auto time = parse_iso_time(text.size() == 10 ? text + "T00:00:00Z" : text);
        if (!time) return refuse();
        return json_text(iso_time(*time));
    }
    if (column.kind == 2 && value.IsString() &&
        utf16_length({value.GetString(), value.GetStringLength()}) >
            static_cast<std::size_t>(column.max_length < 0 ? 255 : column.max_length))
        throw ApiError(500, "-2130575163, Microsoft.SharePoint.SPException",
                       "Invalid text value. The text field '" + column.title + "' contains too much text.");
    bool too_small = value.IsNumber() && column.minimum && value.GetDouble() < *column.minimum;
    bool too_large = value.IsNumber() && column.maximum && value.GetDouble() > *column.maximum;
    if (too_small || too_large)
        throw ApiError(
            500, "-2130575155, Microsoft.SharePoint.SPException",
            "The value of the field '" + column.title + "' is outside of the range allowed for it.");
    if (column.kind == 6 && value.IsString() && value.GetStringLength() > 0 &&
        std::find(column.choices.begin(), column.choices.end(), value.GetString()) == column.choices.end())
        return refuse();
    return json_text(value);
}

// The stored values for the members of an update; throws for a member that is no column.
std::map<std::string, std::string> values_from(const rapidjson::Document& body,
                                               const std::vector<Column>& columns) {
    std::map<std::string, std::string> result;
    for (const auto& member : body.GetObject()) {
        std::string name = member.name.GetString();
        if (name.starts_with("__") || name.starts_with("odata.") || name.starts_with("@odata")) continue;
        auto found = std::find_if(columns.begin(), columns.end(), [&](const Column& column) {
            return column.name == name || escape_name(column.name) == name;
        });
        if (found == columns.end())
            throw ApiError(400, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
                           "The property '" + name +
                               "' does not exist on type 'SP.Data.Shared_x0020_DocumentsItem'. "
                               "Make sure to only use property names that are defined by the type.");
        if (found->kind == 18 || (found->read_only && found->from_base)) continue;
        if (found->read_only)
            throw ApiError(400, "-2130575305, Microsoft.SharePoint.SPException",
                           "Invalid data has been used to update the list item. The field you are trying to "
                           "update may be read only.");
        result[found->name] = checked_value(*found, member.value);
    }
    return result;
}

class ListItemResource : public Resource {
public:
    explicit ListItemResource(Item item) : m_item(std::move(item)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.is("ParentList")) return make_library(context.store.library(m_item.library).value());
        if (segment.is("File") && !m_item.folder) return make_file(m_item.path, m_item);
        if (segment.is("Folder") && m_item.folder) return make_folder(m_item.path, m_item);
        for (const auto& link : item_links)
            if (segment.is(link.name))
                return make_node(resolve_item_link(context, std::make_shared<Item>(m_item), link.name),
                                 std::string(link.name));
        return nullptr;
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.is_post()) return std::nullopt;
        if (segment.is("ValidateUpdateListItem")) return validate_update(context);
        if (segment.is("Recycle")) {
            context.require_edit();
            return recycle(context, m_item);
        }
        if (segment.is("DeleteObject")) return remove(context);
        return std::nullopt;
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(list_item_entity(context, std::make_shared<Item>(m_item))),
                           "ListItemAllFields");
    }

    Outcome merge(Context& context) override {
        context.require_edit();
        context.require_match(item_etag(m_item));
        auto body = context.json_body();
        auto values = values_from(body, context.store.columns(m_item.library));
        if (auto name = body.FindMember("FileLeafRef"); name != body.MemberEnd() && name->value.IsString())
            rename(context, name->value.GetString());
        context.store.set_values(m_item.id, values, context.user);
        return Outcome::empty(204);
    }

    Outcome remove(Context& context) override {
        context.require_edit();
        context.store.remove(m_item.id, context.user);
        return Outcome::empty();
    }

    static std::string item_etag(const Item& item) { return "\"" + std::to_string(item.etag) + "\""; }

private:
    void rename(Context& context, const std::string& name) {
        if (name.empty() || name == m_item.name) return;
        if (name.find('/') != std::string::npos) throw StoreError(Fault::invalid_name, name);
        context.store.move(m_item.id, m_item.path.substr(0, m_item.path.rfind('/') + 1) + name, false,
                           context.user);
    }

    Outcome validate_update(Context& context) {
        context.require_edit();
        auto body = context.json_body();
        auto columns = context.store.columns(m_item.library);
        std::vector<Complex> rows;
        std::map<std::string, std::string> values;
        std::string new_name;
        bool failed = false;
        auto given = body.FindMember("formValues");
        if (given == body.MemberEnd() || !given->value.IsArray())
            throw odata::invalid_argument("formValues is missing.");
        for (const auto& row : given->value.GetArray()) {
            if (!row.IsObject() || !row.HasMember("FieldName") || !row["FieldName"].IsString()) continue;
            std::string name = row["FieldName"].GetString();
            std::string text = row.HasMember("FieldValue") && row["FieldValue"].IsString()
                                   ? row["FieldValue"].GetString()
                                   : "";
            bool known =
                std::any_of(columns.begin(), columns.end(), [&](const Column& c) { return c.name == name; });
            if (known && name == "FileLeafRef")
                new_name = text;
            else if (known)
                values[name] = json_text(text);
            failed |= !known;
            rows.push_back(
                {"SP.ListItemFormUpdateValue",
                 {{"ErrorCode", Value::int32(known ? 0 : -2146232832)},
                  {"ErrorMessage", known ? Value::null() : Value::of_text("The field doesn't exist.")},
                  {"FieldName", Value::of_text(name)},
                  {"FieldValue", Value::of_text(text)},
                  {"HasException", Value::boolean(!known)},
                  {"ItemId", Value::int32(m_item.id)}}});
        }
        if (!failed) {
            rename(context, new_name);
            context.store.set_values(m_item.id, values, context.user);
        }
        return Outcome::of(Node::of(std::move(rows)), "ValidateUpdateListItem");
    }

    Item m_item;
};

class ItemsResource : public Resource {
public:
    explicit ItemsResource(Library library) : m_library(std::move(library)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        return by_key(context, segment, {"getById"});
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        auto item = context.store.item(parse_integer(value.text).value_or(0));
        if (!item || item->library != m_library.id || item->id == m_library.root_item)
            throw ApiError(404, "-2130575338, System.ArgumentException",
                           "Item does not exist. It may have been deleted by another user.");
        return make_list_item(*item);
    }

    Outcome get(Context& context) override {
        auto top = std::clamp<std::int64_t>(
            parse_integer(query_value(context.request.query, "$top")).value_or(default_page), 1, max_page);
        bool filtered =
            has_query(context.request.query, "$filter") || has_query(context.request.query, "$orderby");
        auto items = context.store.library_items(m_library.id, position(context),
                                                 static_cast<int>(filtered ? max_page : top + 1));
        bool more = !filtered && items.size() > static_cast<std::size_t>(top);
        if (more) items.pop_back();
        auto last = items.empty() ? 0 : items.back().id;
        auto feed = feed_of(std::move(items), [context](const Item& item) {
            return list_item_entity(context, std::make_shared<Item>(item));
        });
        if (filtered) feed = apply_feed_options(context, std::move(feed));
        if (more) feed.next_link = next_link(context, last);
        return Outcome::of(Node::of(std::move(feed)), "Items");
    }

private:
    // "Paged=TRUE&p_ID=7" as a skip token.
    static Id position(const Context& context) {
        for (const auto& [name, value] : parse_query(query_value(context.request.query, "$skiptoken")))
            if (name == "p_ID") return parse_integer(value).value_or(0);
        return 0;
    }

    std::string next_link(const Context& context, Id last) const {
        auto link = context.api_url() + "web/lists(guid%27" + m_library.guid +
                    "%27)/items?%24skiptoken=Paged%3dTRUE%26p_ID%3d" + std::to_string(last);
        for (const auto& [name, value] : context.request.query)
            if (!equals_ignoring_case(name, "$skiptoken"))
                link += "&" + percent_encode(name) + "=" + percent_encode(value);
        return link;
    }

    Library m_library;
};

class FieldsResource : public Resource {
public:
    explicit FieldsResource(Library library) : m_library(std::move(library)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.arguments.empty()) return nullptr;
        auto wanted = segment.arguments[0].value.text;
        for (const auto& column : context.store.columns(m_library.id)) {
            bool by_name = segment.is("getByInternalNameOrTitle") &&
                           (column.name == wanted || equals_ignoring_case(column.title, wanted));
            bool by_title = segment.is("getByTitle") && equals_ignoring_case(column.title, wanted);
            bool by_id = segment.is("getById") && equals_ignoring_case(column.guid, wanted);
            if (by_name || by_title || by_id)
                return make_node(Node::of(field_entity(m_library, column)), "Field");
        }
        throw odata::invalid_argument("Column '" + wanted +
                                      "' does not exist. It may have been deleted by another user.");
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        return child(context, {"getById", true, {{"", value}}});
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(apply_feed_options(context, fields_feed(context, m_library))), "Fields");
    }

private:
    Library m_library;
};

class LibraryResource : public Resource {
public:
    explicit LibraryResource(Library library) : m_library(std::move(library)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.is("Fields")) return std::make_unique<FieldsResource>(m_library);
        if (segment.is("Items")) return std::make_unique<ItemsResource>(m_library);
        if (segment.is("GetItemById") && !segment.arguments.empty())
            return ItemsResource(m_library).key(context, segment.arguments[0].value);
        if (segment.is("RootFolder")) {
            auto path = context.store.item(m_library.root_item)->path;
            return make_folder(path, context.store.find(path));
        }
        if (segment.is("ParentWeb")) return make_web(context.web);
        if (segment.is("EffectiveBasePermissions"))
            return make_node(Node::of(effective_permissions(context.user)), "EffectiveBasePermissions");
        return nullptr;
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(library_entity(context, m_library)), "List");
    }

private:
    Library m_library;
};

}  // namespace

Entity library_entity(const Context& context, const Library& library) {
    Entity entity;
    auto root = context.store.item(library.root_item).value_or(Item{});
    entity.type = "SP.List";
    entity.id = library_id(library);
    entity.etag = "\"1\"";
    entity.links = library_links;
    entity.resolve = [context, library, root](std::string_view name) {
        if (name == "Fields") return Node::of(fields_feed(context, library));
        if (name == "RootFolder")
            return Node::of(folder_entity(context, std::make_shared<Item>(*context.store.find(root.path))));
        if (name == "ParentWeb") return Node::of(web_entity(context, context.web));
        if (name == "EffectiveBasePermissions") return Node::of(effective_permissions(context.user));
        return Node::of(feed_of(
            context.store.library_items(library.id, 0, default_page),
            [context](const Item& item) { return list_item_entity(context, std::make_shared<Item>(item)); }));
    };
    auto entity_name = replace_all(root.name, " ", "_x0020_");
    auto count = static_cast<std::int64_t>(context.store.library_items(library.id, 0, 100000).size());
    entity.add("AllowContentTypes", Value::boolean(true));
    entity.add("BaseTemplate", Value::int32(101));
    entity.add("BaseType", Value::int32(1));
    entity.add("ContentTypesEnabled", Value::boolean(false));
    entity.add("Created", Value::date(iso_time(library.created)));
    entity.add("Description", Value::of_text(""));
    entity.add("DraftVersionVisibility", Value::int32(0));
    entity.add("EnableAttachments", Value::boolean(false));
    entity.add("EnableFolderCreation", Value::boolean(true));
    entity.add("EnableMinorVersions", Value::boolean(library.minor_versions));
    entity.add("EnableModeration", Value::boolean(false));
    entity.add("EnableVersioning", Value::boolean(true));
    entity.add("EntityTypeName", Value::of_text(entity_name));
    entity.add("ForceCheckout", Value::boolean(library.force_checkout));
    entity.add("Hidden", Value::boolean(false));
    entity.add("Id", Value::guid(library.guid));
    entity.add("ItemCount", Value::int32(count));
    entity.add("ListItemEntityTypeFullName", Value::of_text("SP.Data." + entity_name + "Item"));
    entity.add("NoCrawl", Value::boolean(false));
    entity.add("ParentWebUrl", Value::of_text(context.web.server_relative_url()));
    entity.add("Title", Value::of_text(library.title));
    return entity;
}

Entity list_item_entity(const Context& context, std::shared_ptr<const Item> item) {
    Entity entity;
    auto library = context.store.library(item->library).value_or(Library{});
    entity.type = "SP.Data." + std::string(item->folder ? "FolderItem" : "Shared_x0020_DocumentsItem");
    entity.id = library_id(library) + "/Items(" + std::to_string(item->id) + ")";
    entity.etag = ListItemResource::item_etag(*item);
    entity.links = item_links;
    entity.resolve = [context, item](std::string_view name) {
        return resolve_item_link(context, item, name);
    };
    entity.add("FileSystemObjectType", Value::int32(item->folder ? 1 : 0));
    entity.add("Id", Value::int32(item->id));
    entity.add("ServerRedirectedEmbedUri", Value::null());
    entity.add("ServerRedirectedEmbedUrl", Value::of_text(""));
    entity.add("ID", Value::int32(item->id));
    entity.add("ContentTypeId", Value::of_text(item->folder ? "0x012000" : "0x0101"));
    entity.add("Created", Value::date(iso_time(item->created)));
    entity.add("AuthorId", Value::int32(item->author));
    entity.add("Modified", Value::date(iso_time(item->modified)));
    entity.add("EditorId", Value::int32(item->editor));
    entity.add("OData__CopySource", Value::null());
    entity.add("CheckoutUserId",
               item->checked_out_by ? Value::of_text(std::to_string(item->checked_out_by)) : Value::null());
    entity.add("OData__UIVersionString", Value::of_text(item->version_label()));
    entity.add("GUID", Value::guid(item->guid));
    auto values = context.store.values(item->id);
    for (const auto& column : context.store.columns(item->library)) {
        if (column.from_base && column.name != "Title") continue;
        auto value = values.find(column.name);
        entity.add(escape_name(column.name),
                   value == values.end() ? default_of(column) : value_of(value->second));
    }
    return entity;
}

ResourcePtr make_library(const Library& library) {
    return std::make_unique<LibraryResource>(library);
}
ResourcePtr make_list_item(const Item& item) {
    return std::make_unique<ListItemResource>(item);
}

}  // namespace devserver::rest
