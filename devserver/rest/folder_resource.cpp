// A folder: its properties, its files and folders, adding, moving and removing.
// Owner: rest/; a request's thread alone.
#include "base/text.h"
#include "rest/file_resource.h"

namespace devserver::rest {
namespace {

constexpr Link folder_links[] = {{"Files", false, true},
                                 {"ListItemAllFields"},
                                 {"ParentFolder"},
                                 {"Properties"},
                                 {"StorageMetrics"},
                                 {"Folders", false, true},
                                 {"ServerRelativePath", true}};

std::string folder_id(const Item& item) {
    return "Web/GetFolderByServerRelativePath(decodedurl='" + replace_all(item.path, "'", "''") + "')";
}

Feed files_feed(const Context& context, const Item& folder) {
    return feed_of(context.store.children(folder, false), [context](const Item& item) {
        return file_entity(context, std::make_shared<Item>(item));
    });
}

Feed folders_feed(const Context& context, const Item& folder) {
    return feed_of(context.store.children(folder, true), [context](const Item& item) {
        return folder_entity(context, std::make_shared<Item>(item));
    });
}

bool is_library_item(const Context& context, const Item& item) {
    auto library = context.store.library(item.library);
    return library && library->root_item != item.id;
}

Entity storage_metrics(const Context& context, const Item& item, const std::string& id) {
    std::int64_t size = 0, count = 0;
    auto add = [&](auto&& self, const Item& folder) -> void {
        for (const auto& file : context.store.children(folder, false)) size += file.size, ++count;
        for (const auto& inner : context.store.children(folder, true)) self(self, inner);
    };
    add(add, item);
    Entity entity;
    entity.type = "SP.StorageMetrics";
    entity.id = id;
    entity.add("LastModified", Value::date(iso_time(item.modified)));
    entity.add("TotalFileCount", Value::int64(count));
    entity.add("TotalFileStreamSize", Value::int64(size));
    entity.add("TotalSize", Value::int64(size));
    return entity;
}

Node resolve_folder_link(const Context& context, const std::shared_ptr<const Item>& item,
                         std::string_view name) {
    auto id = folder_id(*item) + "/" + std::string(name);
    if (name == "Files") return Node::of(files_feed(context, *item));
    if (name == "Folders") return Node::of(folders_feed(context, *item));
    if (name == "Properties") return properties_node(*item, id);
    if (name == "StorageMetrics") return Node::of(storage_metrics(context, *item, id));
    if (name == "ServerRelativePath")
        return Node::of(Value::of_complex({"SP.ResourcePath", {{"DecodedUrl", Value::of_text(item->path)}}}));
    if (name == "ListItemAllFields")
        return is_library_item(context, *item) ? Node::of(list_item_entity(context, item)) : Node::nothing();
    if (name == "ParentFolder") {
        auto parent =
            item->parent ? context.store.find(item->path.substr(0, item->path.rfind('/'))) : std::nullopt;
        return parent ? Node::of(folder_entity(context, std::make_shared<Item>(*parent))) : Node::nothing();
    }
    return Node::nothing();
}

Outcome folder_outcome(const Context& context, const Item& folder, std::string name) {
    return Outcome::of(Node::of(folder_entity(context, std::make_shared<Item>(folder))), std::move(name));
}

std::string join(const Item& folder, const std::string& name) {
    return (folder.path == "/" ? "" : folder.path) + "/" + name;
}

// The path of a child by the name, the absolute or the server-relative address that an argument gives.
std::string child_path(const Context& context, const Item& folder, std::string given) {
    if (starts_with_ignoring_case(given, context.server_url + "/")) given = server_relative(context, given);
    if (starts_with_ignoring_case(given, join(folder, ""))) given = given.substr(join(folder, "").size());
    if (given.empty()) throw odata::invalid_argument("Value does not fall within the expected range.");
    if (given.find('/') != std::string::npos) throw odata::folder_not_found();
    return join(folder, given);
}

// The files or the folders of a folder, each by its name.
class ChildrenResource : public Resource {
public:
    ResourcePtr child(Context& context, const Segment& segment) override {
        return by_key(context, segment, {"getByUrl", "getByPath"});
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        auto path = child_path(context, m_folder, value.text);
        return m_make(path, context.store.find(path));
    }

protected:
    using Make = ResourcePtr (*)(std::string path, std::optional<Item> item);
    ChildrenResource(Item folder, Make make) : m_folder(std::move(folder)), m_make(make) {}

    const Item m_folder;

private:
    const Make m_make;
};

class FilesResource : public ChildrenResource {
public:
    explicit FilesResource(Item folder) : ChildrenResource(std::move(folder), make_file) {}

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        bool adds = segment.is("Add") || segment.is("AddUsingPath");
        bool stubs = segment.is("AddStub") || segment.is("AddStubUsingPath");
        if (!context.is_post() || (!adds && !stubs)) return std::nullopt;
        context.require_edit();
        auto name = segment.text("decodedurl", 0);
        if (name.empty()) name = segment.text("url", 0);
        if (name.empty()) name = segment.text("urlOfFile", 0);
        auto path = child_path(context, m_folder, name);
        bool overwrite = segment.boolean("overwrite", false, 1);
        if (const auto* parameters = segment.argument("parameters", 99))
            overwrite =
                overwrite || find_ignoring_case(parameters->text, "\"overwrite\":true") != std::string::npos;
        if (segment.boolean("EnsureUniqueFileName", false, 99)) path = free_path(context.store, path);
        auto existing = context.store.find(path);
        if (existing && (existing->folder || !overwrite)) throw StoreError(Fault::already_exists, path);
        if (existing) context.store.require_writable(*existing, context.user);
        auto content = context.store.blobs().create();
        if (adds) content->write_all(*context.request.body);
        auto file = context.store.add_file(path, std::move(content), context.user, overwrite);
        return Outcome::of(Node::of(file_entity(context, std::make_shared<Item>(file))), segment.name);
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(apply_feed_options(context, files_feed(context, m_folder))), "Files");
    }
};

class FoldersResource : public ChildrenResource {
public:
    explicit FoldersResource(Item folder) : ChildrenResource(std::move(folder), make_folder) {}

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.is_post() || !(segment.is("Add") || segment.is("AddUsingPath"))) return std::nullopt;
        auto name = segment.text("decodedurl", 0);
        return add(context, name.empty() ? segment.text("url", 0) : name);
    }

    // POST to the collection, with the folder in the body.
    Outcome post(Context& context) override {
        auto body = context.json_body();
        auto member = body.FindMember("ServerRelativeUrl");
        if (member == body.MemberEnd() || !member->value.IsString())
            throw odata::invalid_argument("ServerRelativeUrl is missing.");
        std::string path = member->value.GetString();
        context.require_edit();
        auto folder = context.store.create_folder(path[0] == '/' ? path : join(m_folder, path), context.user);
        auto outcome = folder_outcome(context, folder, "Folder");
        outcome.status = 201;
        return outcome;
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(apply_feed_options(context, folders_feed(context, m_folder))), "Folders");
    }

    // A server-relative path may lead to any depth below the folder.
    Outcome add(Context& context, const std::string& name) {
        context.require_edit();
        bool is_path = starts_with_ignoring_case(name, join(m_folder, ""));
        auto folder =
            context.store.create_folder(is_path ? name : child_path(context, m_folder, name), context.user);
        return folder_outcome(context, folder, "AddUsingPath");
    }
};

class FolderResource : public Resource {
public:
    FolderResource(std::string path, std::optional<Item> item)
        : m_path(std::move(path)), m_item(std::move(item)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.is("Exists") && (!m_item || !m_item->folder))
            return make_node(Node::of(Value::boolean(false)), "Exists");
        const auto& item = require();
        if (segment.is("Files")) return std::make_unique<FilesResource>(item);
        if (segment.is("Folders")) return std::make_unique<FoldersResource>(item);
        if (segment.is("ListItemAllFields")) {
            if (!is_library_item(context, item)) return make_node(Node::nothing(), "ListItemAllFields");
            return make_list_item(item);
        }
        for (const auto& link : folder_links)
            if (segment.is(link.name))
                return make_node(resolve_folder_link(context, std::make_shared<Item>(item), link.name),
                                 std::string(link.name));
        return nullptr;
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.is_post()) return std::nullopt;
        if (segment.is("MoveTo") || segment.is("MoveToUsingPath")) {
            context.require_edit();
            auto target = segment.arguments.empty() ? std::string() : segment.arguments[0].value.text;
            bool overwrite = (parse_integer(segment.text("flags", 1)).value_or(0) & 1) != 0;
            context.store.move(require().id, server_relative(context, target), overwrite, context.user);
            return Outcome::done("MoveTo");
        }
        if (segment.is("Recycle")) {
            context.require_edit();
            return recycle(context, require());
        }
        if (segment.is("DeleteObject") || segment.is("DeleteWithParameters")) return remove(context);
        if (segment.is("AddSubFolder") || segment.is("AddSubFolderUsingPath"))
            return FoldersResource(require()).add(context, leaf_name(context, segment));
        return std::nullopt;
    }

    Outcome get(Context& context) override { return folder_outcome(context, require(), "Folder"); }

    Outcome remove(Context& context) override {
        context.require_edit();
        context.store.remove(require().id, context.user);
        return Outcome::empty();
    }

private:
    // The new folder's name, from the address or as a structured path in the body.
    static std::string leaf_name(const Context& context, const Segment& segment) {
        if (!segment.arguments.empty()) return segment.arguments[0].value.text;
        auto body = context.json_body();
        auto path = body.FindMember("leafPath");
        if (path == body.MemberEnd() || !path->value.IsObject()) return {};
        auto name = path->value.FindMember("DecodedUrl");
        return name != path->value.MemberEnd() && name->value.IsString() ? name->value.GetString() : "";
    }

    const Item& require() const {
        if (!m_item || !m_item->folder) throw odata::folder_not_found();
        return *m_item;
    }

    std::string m_path;
    std::optional<Item> m_item;
};

}  // namespace

Entity folder_entity(const Context& context, std::shared_ptr<const Item> item) {
    Entity entity;
    entity.type = "SP.Folder";
    entity.id = folder_id(*item);
    entity.links = folder_links;
    entity.resolve = [context, item](std::string_view name) {
        return resolve_folder_link(context, item, name);
    };
    entity.add("Exists", Value::boolean(true));
    entity.add("ExistsAllowThrowForPolicyFailures", Value::boolean(true));
    entity.add("IsWOPIEnabled", Value::boolean(false));
    entity.add("ItemCount", Value::int32(item->child_count));
    entity.add("Name", Value::of_text(item->path == "/" ? "" : item->name));
    entity.add("ProgID", Value::null());
    entity.add("ServerRelativeUrl", Value::of_text(item->path));
    entity.add("TimeCreated", Value::date(iso_time(item->created)));
    entity.add("TimeLastModified", Value::date(iso_time(item->modified)));
    entity.add("UniqueId", Value::guid(item->guid));
    entity.add("WelcomePage", Value::of_text(""));
    return entity;
}

ResourcePtr make_folder(std::string path, std::optional<Item> item) {
    return std::make_unique<FolderResource>(std::move(path), std::move(item));
}

}  // namespace devserver::rest
