// Libraries, their columns and their items, as the REST interface shows lists.
// Owner: rest/; a request's thread alone.
#include <algorithm>
#include <cstdlib>

#include "base/json.h"
#include "base/text.h"
#include "rest/file_resource.h"
#include "rest/list_data.h"

namespace devserver::rest {
namespace {

constexpr Link kLibraryLinks[] = {{"Fields", false, true},
                                  {"Items", false, true},
                                  {"ParentWeb"},
                                  {"RootFolder"},
                                  {"EffectiveBasePermissions", true}};
constexpr Link kItemLinks[] = {{"FieldValuesAsText"},
                               {"File"},
                               {"Folder"},
                               {"ParentList"},
                               {"Author", true},
                               {"Editor", true},
                               {"EffectiveBasePermissions", true},
                               {"FileRef", true},
                               {"FileLeafRef", true},
                               {"FileDirRef", true}};
constexpr int kDefaultPage = 100, kMaxPage = 5000;

std::string LibraryId(const Library& library) {
    return "Web/Lists(guid'" + library.guid + "')";
}

std::string EscapeName(const std::string& name) {
    bool plain = name.empty() || (name[0] != '_' && !(name[0] >= '0' && name[0] <= '9'));
    return plain ? name : "OData_" + name;
}

std::string TypeNameOf(int kind) {
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

Entity FieldEntity(const Library& library, const Column& column) {
    Entity entity;
    entity.type = TypeNameOf(column.kind);
    entity.polymorphic = true;
    entity.id = LibraryId(library) + "/Fields(guid'" + column.guid + "')";
    auto optional_text = [](const std::string& text) {
        return text.empty() ? Value::null() : Value::OfText(text);
    };
    entity.Add("CanBeDeleted", Value::boolean(!column.from_base));
    entity.Add("DefaultValue", optional_text(column.default_value));
    entity.Add("Description", Value::OfText(column.description));
    entity.Add("EntityPropertyName", Value::OfText(EscapeName(column.name)));
    entity.Add("FieldTypeKind", Value::Int32(column.kind));
    entity.Add("FromBaseType", Value::boolean(column.from_base));
    entity.Add("Group", Value::OfText(column.group));
    entity.Add("Hidden", Value::boolean(column.hidden));
    entity.Add("Id", Value::guid(column.guid));
    entity.Add("InternalName", Value::OfText(column.name));
    entity.Add("ReadOnlyField", Value::boolean(column.read_only));
    entity.Add("Required", Value::boolean(column.required));
    entity.Add("StaticName", Value::OfText(column.name));
    entity.Add("Title", Value::OfText(column.title));
    entity.Add("TypeAsString", Value::OfText(column.type_name));
    if (column.kind == 2)
        entity.Add("MaxLength", Value::Int32(column.max_length < 0 ? 255 : column.max_length));
    if (column.kind == 4) entity.Add("DisplayFormat", Value::Int32(std::max(0, column.display_format)));
    if (column.kind == 6) entity.Add("Choices", Value::OfTexts(column.choices));
    return entity;
}

Feed FieldsFeed(const Context& context, const Library& library) {
    return FeedOf(context.store.columns(library.id),
                  [library](const Column& column) { return FieldEntity(library, column); });
}

// A stored value as the interface shows it; unknown columns read as null.
Value ValueOf(const std::string& json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(json.c_str());
    if (document.HasParseError() || document.IsNull()) return Value::null();
    if (document.IsBool()) return Value::boolean(document.GetBool());
    if (document.IsInt64()) return Value::Int32(document.GetInt64());
    if (document.IsNumber()) return Value::OfReal(document.GetDouble());
    if (document.IsString()) return Value::OfText({document.GetString(), document.GetStringLength()});
    return Value::null();
}

Value DefaultOf(const Column& column) {
    if (column.default_value.empty()) return Value::null();
    if (column.kind == 8)
        return Value::boolean(column.default_value == "1" || column.default_value == "true");
    if (column.kind == 9) {
        auto number = ParseInteger(column.default_value);
        return number ? Value::Int32(*number)
                      : Value::OfReal(std::strtod(column.default_value.c_str(), nullptr));
    }
    return Value::OfText(column.default_value);
}

Node ResolveItemLink(const Context& context, const std::shared_ptr<const Item>& item, std::string_view name) {
    auto user = [&](Id id) { return UserNode(context, id, UserId(id)); };
    if (name == "EffectiveBasePermissions") return Node::Of(EffectivePermissions(context.user));
    if (name == "File") return item->folder ? Node::Nothing() : Node::Of(FileEntity(context, item));
    if (name == "Folder") return item->folder ? Node::Of(FolderEntity(context, item)) : Node::Nothing();
    if (name == "Author") return user(item->author);
    if (name == "Editor") return user(item->editor);
    if (name == "FileRef") return Node::Of(Value::OfText(item->path));
    if (name == "FileLeafRef") return Node::Of(Value::OfText(item->name));
    if (name == "FileDirRef") return Node::Of(Value::OfText(item->path.substr(0, item->path.rfind('/'))));
    if (name == "ParentList") {
        auto library = context.store.library(item->library);
        return library ? Node::Of(LibraryEntity(context, *library)) : Node::Nothing();
    }
    Entity values;
    values.type = "SP.FieldStringValues";
    values.id = "Web/Lists/Items(" + std::to_string(item->id) + ")/FieldValuesAsText";
    values.Add("FileLeafRef", Value::OfText(item->name));
    values.Add("FileRef", Value::OfText(item->path));
    values.Add("OData__x005f_UIVersionString", Value::OfText(item->VersionLabel()));
    return Node::Of(std::move(values));
}

// The length as .NET counts it, in 16-bit units.
std::size_t Utf16Length(std::string_view text) {
    std::size_t count = 0;
    for (char c : text) {
        auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80) count += byte >= 0xF0 ? 2 : 1;
    }
    return count;
}

std::string CheckedValue(const Column& column, const rapidjson::Value& value) {
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
        auto time = ParseIsoTime(text.size() == 10 ? text + "T00:00:00Z" : text);
        if (!time) return refuse();
        return JsonText(IsoTime(*time));
    }
    if (column.kind == 2 && value.IsString() &&
        Utf16Length({value.GetString(), value.GetStringLength()}) >
            static_cast<std::size_t>(column.max_length < 0 ? 255 : column.max_length)) {
        throw ApiError(500, "-2130575163, Microsoft.SharePoint.SPException",
                       "Invalid text value. The text field '" + column.title + "' contains too much text.");
    }
    bool too_small = value.IsNumber() && column.minimum && value.GetDouble() < *column.minimum;
    bool too_large = value.IsNumber() && column.maximum && value.GetDouble() > *column.maximum;
    if (too_small || too_large) {
        throw ApiError(
            500, "-2130575155, Microsoft.SharePoint.SPException",
            "The value of the field '" + column.title + "' is outside of the range allowed for it.");
    }
    if (column.kind == 6 && value.IsString() && value.GetStringLength() > 0 &&
        std::find(column.choices.begin(), column.choices.end(), value.GetString()) == column.choices.end())
        return refuse();
    return JsonText(value);
}

// The stored values for the members of an update; throws for a member that is no column.
std::map<std::string, std::string> ValuesFrom(const rapidjson::Document& body,
                                              const std::vector<Column>& columns) {
    std::map<std::string, std::string> result;
    for (const auto& member : body.GetObject()) {
        std::string name = member.name.GetString();
        if (name.starts_with("__") || name.starts_with("odata.") || name.starts_with("@odata")) continue;
        auto found = std::find_if(columns.begin(), columns.end(),
                                  [&](const Column& column) { return EscapeName(column.name) == name; });
        if (found == columns.end()) {
            throw ApiError(400, "-1, Microsoft.SharePoint.Client.InvalidClientQueryException",
                           "The property '" + name +
                               "' does not exist on type 'SP.Data.Shared_x0020_DocumentsItem'. "
                               "Make sure to only use property names that are defined by the type.");
        }
        if (found->kind == 18 || (found->read_only && found->from_base)) continue;
        if (found->read_only) {
            throw ApiError(400, "-2130575305, Microsoft.SharePoint.SPException",
                           "Invalid data has been used to update the list item. The field you are trying to "
                           "update may be read only.");
        }
        result[found->name] = CheckedValue(*found, member.value);
    }
    return result;
}

class ListItemResource : public Resource {
public:
    explicit ListItemResource(Item item) : m_item(std::move(item)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.Is("ParentList")) return MakeLibrary(context.store.library(m_item.library).value());
        if (segment.Is("File") && !m_item.folder) return MakeFile(m_item.path, m_item);
        if (segment.Is("Folder") && m_item.folder) return MakeFolder(m_item.path, m_item);
        for (const auto& link : kItemLinks) {
            if (segment.Is(link.name)) {
                return MakeNode(ResolveItemLink(context, std::make_shared<Item>(m_item), link.name),
                                std::string(link.name));
            }
        }
        return nullptr;
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.IsPost()) return std::nullopt;
        if (segment.Is("ValidateUpdateListItem")) return ValidateUpdate(context);
        if (segment.Is("Recycle")) {
            context.RequireEdit();
            return Recycle(context, m_item);
        }
        if (segment.Is("DeleteObject")) return Remove(context);
        return std::nullopt;
    }

    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(ListItemEntity(context, std::make_shared<Item>(m_item))),
                           "ListItemAllFields");
    }

    Outcome Merge(Context& context) override {
        context.RequireEdit();
        context.RequireMatch(ItemEtag(m_item));
        auto body = context.JsonBody();
        auto values = ValuesFrom(body, context.store.columns(m_item.library));
        if (auto name = body.FindMember("FileLeafRef"); name != body.MemberEnd() && name->value.IsString())
            Rename(context, name->value.GetString());
        context.store.SetValues(m_item.id, values, context.user);
        return Outcome::empty(204);
    }

    Outcome Remove(Context& context) override {
        context.RequireEdit();
        context.store.Remove(m_item.id, context.user);
        return Outcome::empty();
    }

    static std::string ItemEtag(const Item& item) { return "\"" + std::to_string(item.etag) + "\""; }

private:
    void Rename(Context& context, const std::string& name) {
        if (name.empty() || name == m_item.name) return;
        if (name.find('/') != std::string::npos) throw StoreError(Fault::invalid_name, name);
        context.store.Move(m_item.id, m_item.path.substr(0, m_item.path.rfind('/') + 1) + name, false,
                           context.user);
    }

    Outcome ValidateUpdate(Context& context) {
        context.RequireEdit();
        auto body = context.JsonBody();
        auto columns = context.store.columns(m_item.library);
        std::vector<Complex> rows;
        std::map<std::string, std::string> values;
        std::string new_name;
        bool failed = false;
        auto given = body.FindMember("formValues");
        if (given == body.MemberEnd() || !given->value.IsArray())
            throw odata::InvalidArgument("formValues is missing.");
        for (const auto& row : given->value.GetArray()) {
            if (!row.IsObject() || !row.HasMember("FieldName") || !row["FieldName"].IsString()) continue;
            std::string name = row["FieldName"].GetString();
            std::string text = row.HasMember("FieldValue") && row["FieldValue"].IsString()
                                   ? row["FieldValue"].GetString()
                                   : "";
            bool known =
                std::any_of(columns.begin(), columns.end(), [&](const Column& c) { return c.name == name; });
            if (known && name == "FileLeafRef") {
                new_name = text;
            } else if (known) {
                values[name] = JsonText(text);
            }
            failed |= !known;
            rows.push_back(
                {"SP.ListItemFormUpdateValue",
                 {{"ErrorCode", Value::Int32(known ? 0 : -2146232832)},
                  {"ErrorMessage", known ? Value::null() : Value::OfText("The field doesn't exist.")},
                  {"FieldName", Value::OfText(name)},
                  {"FieldValue", Value::OfText(text)},
                  {"HasException", Value::boolean(!known)},
                  {"ItemId", Value::Int32(m_item.id)}}});
        }
        if (!failed) {
            Rename(context, new_name);
            context.store.SetValues(m_item.id, values, context.user);
        }
        return Outcome::Of(Node::Of(std::move(rows)), "ValidateUpdateListItem");
    }

    Item m_item;
};

class ItemsResource : public Resource {
public:
    explicit ItemsResource(Library library) : m_library(std::move(library)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        return ByKey(context, segment, {"getById"});
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        auto item = context.store.item(ParseInteger(value.text).value_or(0));
        if (!item || item->library != m_library.id || item->id == m_library.root_item) {
            throw ApiError(404, "-2130575338, System.ArgumentException",
                           "Item does not exist. It may have been deleted by another user.");
        }
        return MakeListItem(*item);
    }

    Outcome get(Context& context) override {
        auto top = std::clamp<std::int64_t>(
            ParseInteger(QueryValue(context.request.query, "$top")).value_or(kDefaultPage), 1, kMaxPage);
        bool filtered =
            HasQuery(context.request.query, "$filter") || HasQuery(context.request.query, "$orderby");
        auto items = context.store.LibraryItems(m_library.id, position(context),
                                                static_cast<int>(filtered ? kMaxPage : top + 1));
        bool more = !filtered && items.size() > static_cast<std::size_t>(top);
        if (more) items.pop_back();
        auto last = items.empty() ? 0 : items.back().id;
        auto feed = FeedOf(std::move(items), [context](const Item& item) {
            return ListItemEntity(context, std::make_shared<Item>(item));
        });
        if (filtered) feed = ApplyFeedOptions(context, std::move(feed));
        if (more) feed.next_link = NextLink(context, last);
        return Outcome::Of(Node::Of(std::move(feed)), "Items");
    }

private:
    // "Paged=TRUE&p_ID=7" as a skip token.
    static Id position(const Context& context) {
        for (const auto& [name, value] : ParseQuery(QueryValue(context.request.query, "$skiptoken")))
            if (name == "p_ID") return ParseInteger(value).value_or(0);
        return 0;
    }

    std::string NextLink(const Context& context, Id last) const {
        auto link = context.ApiUrl() + "web/lists(guid%27" + m_library.guid +
                    "%27)/items?%24skiptoken=Paged%3dTRUE%26p_ID%3d" + std::to_string(last);
        for (const auto& [name, value] : context.request.query) {
            if (!EqualsIgnoringCase(name, "$skiptoken"))
                link += "&" + PercentEncode(name) + "=" + PercentEncode(value);
        }
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
            bool by_name = segment.Is("getByInternalNameOrTitle") &&
                           (column.name == wanted || EqualsIgnoringCase(column.title, wanted));
            bool by_title = segment.Is("getByTitle") && EqualsIgnoringCase(column.title, wanted);
            bool by_id = segment.Is("getById") && EqualsIgnoringCase(column.guid, wanted);
            if (by_name || by_title || by_id)
                return MakeNode(Node::Of(FieldEntity(m_library, column)), "Field");
        }
        throw odata::InvalidArgument("Column '" + wanted +
                                     "' does not exist. It may have been deleted by another user.");
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        return child(context, {"getById", true, {{"", value}}});
    }

    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(ApplyFeedOptions(context, FieldsFeed(context, m_library))), "Fields");
    }

private:
    Library m_library;
};

class LibraryResource : public Resource {
public:
    explicit LibraryResource(Library library) : m_library(std::move(library)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.Is("Fields")) return std::make_unique<FieldsResource>(m_library);
        if (segment.Is("Items")) return std::make_unique<ItemsResource>(m_library);
        if (segment.Is("GetItemById") && !segment.arguments.empty())
            return ItemsResource(m_library).key(context, segment.arguments[0].value);
        if (segment.Is("RootFolder")) {
            auto path = context.store.item(m_library.root_item)->path;
            return MakeFolder(path, context.store.Find(path));
        }
        if (segment.Is("ParentWeb")) return MakeWeb(context.web);
        if (segment.Is("EffectiveBasePermissions"))
            return MakeNode(Node::Of(EffectivePermissions(context.user)), "EffectiveBasePermissions");
        return nullptr;
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.IsPost() || !segment.Is("RenderListDataAsStream")) return std::nullopt;
        return RenderListData(context, m_library);
    }

    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(LibraryEntity(context, m_library)), "List");
    }

private:
    Library m_library;
};

}  // namespace

Entity LibraryEntity(const Context& context, const Library& library) {
    Entity entity;
    auto root = context.store.item(library.root_item).value_or(Item{});
    entity.type = "SP.List";
    entity.id = LibraryId(library);
    entity.etag = "\"1\"";
    entity.links = kLibraryLinks;
    entity.resolve = [context, library, root](std::string_view name) {
        if (name == "Fields") return Node::Of(FieldsFeed(context, library));
        if (name == "RootFolder")
            return Node::Of(FolderEntity(context, std::make_shared<Item>(*context.store.Find(root.path))));
        if (name == "ParentWeb") return Node::Of(WebEntity(context, context.web));
        if (name == "EffectiveBasePermissions") return Node::Of(EffectivePermissions(context.user));
        return Node::Of(FeedOf(
            context.store.LibraryItems(library.id, 0, kDefaultPage),
            [context](const Item& item) { return ListItemEntity(context, std::make_shared<Item>(item)); }));
    };
    auto entity_name = ReplaceAll(root.name, " ", "_x0020_");
    auto count = static_cast<std::int64_t>(context.store.LibraryItems(library.id, 0, 100000).size());
    entity.Add("AllowContentTypes", Value::boolean(true));
    entity.Add("BaseTemplate", Value::Int32(101));
    entity.Add("BaseType", Value::Int32(1));
    entity.Add("ContentTypesEnabled", Value::boolean(false));
    entity.Add("Created", Value::date(IsoTime(library.created)));
    entity.Add("Description", Value::OfText(""));
    entity.Add("DraftVersionVisibility", Value::Int32(0));
    entity.Add("EnableAttachments", Value::boolean(false));
    entity.Add("EnableFolderCreation", Value::boolean(true));
    entity.Add("EnableMinorVersions", Value::boolean(library.minor_versions));
    entity.Add("EnableModeration", Value::boolean(false));
    entity.Add("EnableVersioning", Value::boolean(true));
    entity.Add("EntityTypeName", Value::OfText(entity_name));
    entity.Add("ForceCheckout", Value::boolean(library.force_checkout));
    entity.Add("Hidden", Value::boolean(false));
    entity.Add("Id", Value::guid(library.guid));
    entity.Add("ItemCount", Value::Int32(count));
    entity.Add("ListItemEntityTypeFullName", Value::OfText("SP.Data." + entity_name + "Item"));
    entity.Add("NoCrawl", Value::boolean(false));
    entity.Add("ParentWebUrl", Value::OfText(context.web.ServerRelativeUrl()));
    entity.Add("Title", Value::OfText(library.title));
    return entity;
}

Entity ListItemEntity(const Context& context, const std::shared_ptr<const Item>& item) {
    Entity entity;
    auto library = context.store.library(item->library).value_or(Library{});
    entity.type = "SP.Data." + std::string(item->folder ? "FolderItem" : "Shared_x0020_DocumentsItem");
    entity.id = LibraryId(library) + "/Items(" + std::to_string(item->id) + ")";
    entity.etag = ListItemResource::ItemEtag(*item);
    entity.links = kItemLinks;
    entity.resolve = [context, item](std::string_view name) { return ResolveItemLink(context, item, name); };
    entity.Add("FileSystemObjectType", Value::Int32(item->folder ? 1 : 0));
    entity.Add("Id", Value::Int32(item->id));
    entity.Add("ServerRedirectedEmbedUri", Value::null());
    entity.Add("ServerRedirectedEmbedUrl", Value::OfText(""));
    entity.Add("ID", Value::Int32(item->id));
    entity.Add("ContentTypeId", Value::OfText(item->folder ? "0x012000" : "0x0101"));
    entity.Add("Created", Value::date(IsoTime(item->created)));
    entity.Add("AuthorId", Value::Int32(item->author));
    entity.Add("Modified", Value::date(IsoTime(item->modified)));
    entity.Add("EditorId", Value::Int32(item->editor));
    entity.Add("OData__CopySource", Value::null());
    entity.Add("CheckoutUserId",
               item->checked_out_by ? Value::OfText(std::to_string(item->checked_out_by)) : Value::null());
    entity.Add("OData__UIVersionString", Value::OfText(item->VersionLabel()));
    entity.Add("GUID", Value::guid(item->guid));
    auto values = context.store.values(item->id);
    for (const auto& column : context.store.columns(item->library)) {
        if (column.from_base && column.name != "Title") continue;
        auto value = values.find(column.name);
        entity.Add(EscapeName(column.name),
                   value == values.end() ? DefaultOf(column) : ValueOf(value->second));
    }
    return entity;
}

ResourcePtr MakeLibrary(const Library& library) {
    return std::make_unique<LibraryResource>(library);
}
ResourcePtr MakeListItem(const Item& item) {
    return std::make_unique<ListItemResource>(item);
}

}  // namespace devserver::rest
