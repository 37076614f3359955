// A folder: its properties, its files and folders, adding, moving and removing.
// Owner: rest/; a request's thread alone.
#include "base/text.h"
#include "rest/file_resource.h"

namespace devserver::rest {
namespace {

constexpr Link kFolderLinks[] = {{"Files", false, true},
                                 {"ListItemAllFields"},
                                 {"ParentFolder"},
                                 {"Properties"},
                                 {"StorageMetrics"},
                                 {"Folders", false, true},
                                 {"ServerRelativePath", true}};

std::string FolderId(const Item& item) {
    return "Web/GetFolderByServerRelativePath(decodedurl='" + ReplaceAll(item.path, "'", "''") + "')";
}

void RequireFew(const Context& context, const Item& folder) {
    if (context.IsOverThreshold(folder)) throw odata::OverThreshold();
}

Feed FilesFeed(const Context& context, const Item& folder) {
    RequireFew(context, folder);
    return FeedOf(context.store.children(folder, false),
                  [context](const Item& item) { return FileEntity(context, std::make_shared<Item>(item)); });
}

Feed FoldersFeed(const Context& context, const Item& folder) {
    RequireFew(context, folder);
    return FeedOf(context.store.children(folder, true), [context](const Item& item) {
        return FolderEntity(context, std::make_shared<Item>(item));
    });
}

bool IsLibraryItem(const Context& context, const Item& item) {
    auto library = context.store.library(item.library);
    return library && library->root_item != item.id;
}

Entity StorageMetrics(const Context& context, const Item& item, const std::string& id) {
    std::int64_t size = 0, count = 0;
    auto add = [&](auto&& self, const Item& folder) -> void {
        for (const auto& file : context.store.children(folder, false)) size += file.size, ++count;
        for (const auto& inner : context.store.children(folder, true)) self(self, inner);
    };
    add(add, item);
    Entity entity;
    entity.type = "SP.StorageMetrics";
    entity.id = id;
    entity.Add("LastModified", Value::date(IsoTime(item.modified)));
    entity.Add("TotalFileCount", Value::Int64(count));
    entity.Add("TotalFileStreamSize", Value::Int64(size));
    entity.Add("TotalSize", Value::Int64(size));
    return entity;
}

Node ResolveFolderLink(const Context& context, const std::shared_ptr<const Item>& item,
                       std::string_view name) {
    auto id = FolderId(*item) + "/" + std::string(name);
    if (name == "Files") return Node::Of(FilesFeed(context, *item));
    if (name == "Folders") return Node::Of(FoldersFeed(context, *item));
    if (name == "Properties") return PropertiesNode(context, *item, id);
    if (name == "StorageMetrics") return Node::Of(StorageMetrics(context, *item, id));
    if (name == "ServerRelativePath")
        return Node::Of(Value::OfComplex({"SP.ResourcePath", {{"DecodedUrl", Value::OfText(item->path)}}}));
    if (name == "ListItemAllFields")
        return IsLibraryItem(context, *item) ? Node::Of(ListItemEntity(context, item)) : Node::Nothing();
    if (name == "ParentFolder") {
        auto parent =
            item->parent ? context.store.Find(item->path.substr(0, item->path.rfind('/'))) : std::nullopt;
        return parent ? Node::Of(FolderEntity(context, std::make_shared<Item>(*parent))) : Node::Nothing();
    }
    return Node::Nothing();
}

Outcome FolderOutcome(const Context& context, const Item& folder, std::string name) {
    return Outcome::Of(Node::Of(FolderEntity(context, std::make_shared<Item>(folder))), std::move(name));
}

std::string Join(const Item& folder, const std::string& name) {
    return (folder.path == "/" ? "" : folder.path) + "/" + name;
}

// The path of a child by the name, the absolute or the server-relative address that an argument gives.
std::string ChildPath(const Context& context, const Item& folder, std::string given) {
    if (StartsWithIgnoringCase(given, context.server_url + "/")) given = ServerRelative(context, given);
    if (StartsWithIgnoringCase(given, Join(folder, ""))) given = given.substr(Join(folder, "").size());
    if (given.empty()) throw odata::InvalidArgument("Value does not fall within the expected range.");
    if (given.find('/') != std::string::npos) throw odata::FolderNotFound();
    return Join(folder, given);
}

// The files or the folders of a folder, each by its name.
class ChildrenResource : public Resource {
public:
    ResourcePtr child(Context& context, const Segment& segment) override {
        return ByKey(context, segment, {"getByUrl", "getByPath"});
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        auto path = ChildPath(context, m_folder, value.text);
        return m_make(path, context.store.Find(path));
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
    explicit FilesResource(Item folder) : ChildrenResource(std::move(folder), MakeFile) {}

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        bool adds = segment.Is("Add") || segment.Is("AddUsingPath");
        bool stubs = segment.Is("AddStub") || segment.Is("AddStubUsingPath");
        if (!context.IsPost() || (!adds && !stubs)) return std::nullopt;
        context.RequireEdit();
        auto name = segment.text("decodedurl", 0);
        if (name.empty()) name = segment.text("url", 0);
        if (name.empty()) name = segment.text("urlOfFile", 0);
        auto path = ChildPath(context, m_folder, name);
        bool overwrite = segment.boolean("overwrite", false, 1);
        if (const auto* parameters = segment.argument("parameters", 99)) {
            overwrite =
                overwrite || FindIgnoringCase(parameters->text, "\"overwrite\":true") != std::string::npos;
        }
        if (segment.boolean("EnsureUniqueFileName", false, 99)) path = FreePath(context.store, path);
        auto existing = context.store.Find(path);
        if (existing && (existing->folder || !overwrite)) throw StoreError(Fault::already_exists, path);
        if (existing) context.store.RequireWritable(*existing, context.user);
        auto content = context.store.blobs().Create();
        if (adds) content->WriteAll(*context.request.body);
        auto file = context.store.AddFile(path, std::move(content), context.user, overwrite);
        return Outcome::Of(Node::Of(FileEntity(context, std::make_shared<Item>(file))), segment.name);
    }

    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(ApplyFeedOptions(context, FilesFeed(context, m_folder))), "Files");
    }
};

class FoldersResource : public ChildrenResource {
public:
    explicit FoldersResource(Item folder) : ChildrenResource(std::move(folder), MakeFolder) {}

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.IsPost() || !(segment.Is("Add") || segment.Is("AddUsingPath"))) return std::nullopt;
        auto name = segment.text("decodedurl", 0);
        return Add(context, name.empty() ? segment.text("url", 0) : name);
    }

    // POST to the collection, with the folder in the body.
    Outcome Post(Context& context) override {
        auto body = context.JsonBody();
        auto member = body.FindMember("ServerRelativeUrl");
        if (member == body.MemberEnd() || !member->value.IsString())
            throw odata::InvalidArgument("ServerRelativeUrl is missing.");
        std::string path = member->value.GetString();
        context.RequireEdit();
        auto folder = context.store.CreateFolder(path[0] == '/' ? path : Join(m_folder, path), context.user);
        auto outcome = FolderOutcome(context, folder, "Folder");
        outcome.status = 201;
        return outcome;
    }

    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(ApplyFeedOptions(context, FoldersFeed(context, m_folder))), "Folders");
    }

    // A server-relative path may lead to any depth below the folder.
    Outcome Add(Context& context, const std::string& name) {
        context.RequireEdit();
        bool is_path = StartsWithIgnoringCase(name, Join(m_folder, ""));
        auto folder =
            context.store.CreateFolder(is_path ? name : ChildPath(context, m_folder, name), context.user);
        return FolderOutcome(context, folder, "AddUsingPath");
    }
};

class FolderResource : public Resource {
public:
    FolderResource(std::string path, std::optional<Item> item)
        : m_path(std::move(path)), m_item(std::move(item)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.Is("Exists") && (!m_item || !m_item->folder))
            return MakeNode(Node::Of(Value::boolean(false)), "Exists");
        if (segment.Is("Files") && context.IsPost() && (!m_item || !m_item->folder))
            throw odata::FolderMissing();
        const auto& item = Require();
        if (segment.Is("Files")) return std::make_unique<FilesResource>(item);
        if (segment.Is("Folders")) return std::make_unique<FoldersResource>(item);
        if (segment.Is("ListItemAllFields")) {
            if (!IsLibraryItem(context, item)) return MakeNode(Node::Nothing(), "ListItemAllFields");
            return MakeListItem(item);
        }
        for (const auto& link : kFolderLinks) {
            if (segment.Is(link.name)) {
                return MakeNode(ResolveFolderLink(context, std::make_shared<Item>(item), link.name),
                                std::string(link.name));
            }
        }
        return nullptr;
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.IsPost()) return std::nullopt;
        if (segment.Is("MoveTo") || segment.Is("MoveToUsingPath")) {
            context.RequireEdit();
            // Only a file's operation has flags.
            if (segment.argument("flags", 1)) throw odata::UnknownParameter("flags");
            auto target = segment.arguments.empty() ? std::string() : segment.arguments[0].value.text;
            context.store.Move(Require().id, ServerRelative(context, target), /*overwrite=*/false,
                               context.user);
            return Outcome::done("MoveTo");
        }
        if (segment.Is("Recycle")) {
            context.RequireEdit();
            return Recycle(context, Require());
        }
        if (segment.Is("DeleteObject") || segment.Is("DeleteWithParameters")) return Remove(context);
        if (segment.Is("AddSubFolder") || segment.Is("AddSubFolderUsingPath"))
            return FoldersResource(Require()).Add(context, LeafName(context, segment));
        return std::nullopt;
    }

    Outcome get(Context& context) override {
        // The refusal has to come before the answer begins.
        if (context.projection.Expanded("files") || context.projection.Expanded("folders"))
            RequireFew(context, Require());
        return FolderOutcome(context, Require(), "Folder");
    }

    Outcome Remove(Context& context) override {
        context.RequireEdit();
        context.store.Remove(Require().id, context.user);
        return Outcome::empty();
    }

private:
    // The new folder's name, from the address or as a structured path in the body.
    static std::string LeafName(const Context& context, const Segment& segment) {
        if (!segment.arguments.empty()) return segment.arguments[0].value.text;
        auto body = context.JsonBody();
        auto path = body.FindMember("leafPath");
        if (path == body.MemberEnd() || !path->value.IsObject()) return {};
        auto name = path->value.FindMember("DecodedUrl");
        return name != path->value.MemberEnd() && name->value.IsString() ? name->value.GetString() : "";
    }

    const Item& Require() const {
        if (!m_item || !m_item->folder) throw odata::FolderNotFound();
        return *m_item;
    }

    std::string m_path;
    std::optional<Item> m_item;
};

}  // namespace

Entity FolderEntity(const Context& context, const std::shared_ptr<const Item>& item) {
    Entity entity;
    entity.type = "SP.Folder";
    entity.polymorphic = true;
    entity.id = FolderId(*item);
    entity.links = kFolderLinks;
    entity.resolve = [context, item](std::string_view name) {
        return ResolveFolderLink(context, item, name);
    };
    entity.Add("Exists", Value::boolean(true));
    entity.Add("ExistsAllowThrowForPolicyFailures", Value::boolean(true));
    entity.Add("IsWOPIEnabled", Value::boolean(false));
    entity.Add("ItemCount", Value::Int32(item->child_count));
    entity.Add("Name", Value::OfText(item->path == "/" ? "" : item->name));
    entity.Add("ProgID", Value::null());
    entity.Add("ServerRelativeUrl", Value::OfText(item->path));
    entity.Add("TimeCreated", Value::date(IsoTime(item->created)));
    entity.Add("TimeLastModified", Value::date(IsoTime(item->modified)));
    entity.Add("UniqueId", Value::guid(item->guid));
    entity.Add("WelcomePage", Value::OfText(""));
    return entity;
}

ResourcePtr MakeFolder(std::string path, std::optional<Item> item) {
    return std::make_unique<FolderResource>(std::move(path), std::move(item));
}

}  // namespace devserver::rest
