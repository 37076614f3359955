#include "rest/version_resource.h"

#include <algorithm>

#include "base/text.h"
#include "rest/file_resource.h"

namespace devserver::rest {
namespace {

constexpr Link kVersionLinks[] = {{"CreatedBy"}};

Entity VersionEntity(const Context& context, const Item& file, const Version& version) {
    Entity entity;
    entity.type = "SP.FileVersion";
    entity.id = FileId(file) + "/Versions(" + std::to_string(version.ui_version) + ")";
    entity.links = kVersionLinks;
    entity.resolve = [context, version, id = entity.id](std::string_view) {
        return UserNode(context, version.author, id + "/CreatedBy");
    };
    auto in_web = file.path.substr(context.web.path.empty() ? 1 : context.web.path.size() + 2);
    entity.Add("CheckInComment", Value::OfText(version.comment));
    entity.Add("Created", Value::date(IsoTime(version.created)));
    entity.Add("ExpirationDate", Value::null());
    entity.Add("ID", Value::Int32(version.ui_version));
    entity.Add("IsCurrentVersion", Value::boolean(false));
    entity.Add("Length", Value::Int64(version.size));
    entity.Add("Size", Value::Int32(version.size));
    entity.Add("SnapshotDate", Value::null());
    entity.Add("SnapshotId", Value::null());
    entity.Add("Url", Value::OfText("_vti_history/" + std::to_string(version.ui_version) + "/" + in_web));
    entity.Add("VersionLabel", Value::OfText(version.label()));
    return entity;
}

class VersionContentResource : public Resource {
public:
    explicit VersionContentResource(Version version) : m_version(std::move(version)) {}
    Outcome get(Context& context) override { return Outcome::raw(ContentResponse(context, m_version.blob)); }

private:
    Version m_version;
};

class VersionResource : public Resource {
public:
    VersionResource(Item file, Version version) : m_file(std::move(file)), m_version(std::move(version)) {}
    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.Is("$value") || segment.Is("OpenBinaryStream"))
            return std::make_unique<VersionContentResource>(m_version);
        if (!segment.Is("CreatedBy")) return nullptr;
        return MakeNode(
            UserNode(context, m_version.author, VersionEntity(context, m_file, m_version).id + "/CreatedBy"),
            "CreatedBy");
    }
    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.IsPost() || !segment.Is("DeleteObject")) return std::nullopt;
        return Remove(context);
    }
    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(VersionEntity(context, m_file, m_version)), "FileVersion");
    }
    Outcome Remove(Context& context) override {
        context.RequireEdit();
        context.store.RemoveVersion(m_file.id, m_version.ui_version, context.user);
        return Outcome::empty();
    }

private:
    Item m_file;
    Version m_version;
};

class VersionsResource : public Resource {
public:
    explicit VersionsResource(Item file) : m_file(std::move(file)) {}

    ResourcePtr child(Context& context, const Segment& segment) override {
        return ByKey(context, segment, {"getById"});
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        return std::make_unique<VersionResource>(m_file, Find(context, [&](const Version& version) {
                                                     return version.ui_version ==
                                                            ParseInteger(value.text).value_or(-1);
                                                 }));
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.IsPost()) return std::nullopt;
        auto by_label = [&](const Version& version) {
            return version.label() == segment.text("versionlabel", 0);
        };
        auto by_id = [&](const Version& version) {
            return version.ui_version == ParseInteger(segment.text("vid", 0)).value_or(-1);
        };
        bool known = segment.Is("RestoreByLabel") || segment.Is("DeleteByLabel") ||
                     segment.Is("DeleteByID") || segment.Is("DeleteAll") || segment.Is("RecycleByLabel") ||
                     segment.Is("RecycleByID");
        if (!known) return std::nullopt;
        context.RequireEdit();
        if (segment.Is("RestoreByLabel")) {
            context.store.RestoreVersion(m_file.id, Find(context, by_label).ui_version, context.user);
        } else if (segment.Is("DeleteAll")) {
            for (const auto& version : context.store.versions(m_file.id))
                context.store.RemoveVersion(m_file.id, version.ui_version, context.user);
        } else {
            bool labelled = segment.Is("DeleteByLabel") || segment.Is("RecycleByLabel");
            auto version = labelled ? Find(context, by_label) : Find(context, by_id);
            context.store.RemoveVersion(m_file.id, version.ui_version, context.user);
        }
        return Outcome::done(segment.name);
    }

    Outcome get(Context& context) override {
        return Outcome::Of(Node::Of(ApplyFeedOptions(context, VersionsFeed(context, m_file))), "Versions");
    }

private:
    template <typename Test>
    Version Find(Context& context, Test test) {
        auto all = context.store.versions(m_file.id);
        auto found = std::ranges::find_if(all, test);
        if (found == all.end()) {
            throw ApiError(404, "-2147024894, System.IO.FileNotFoundException",
                           "The version does not exist.");
        }
        return *found;
    }

    Item m_file;
};

}  // namespace

Feed VersionsFeed(const Context& context, const Item& file) {
    return FeedOf(context.store.versions(file.id),
                  [context, file](const Version& version) { return VersionEntity(context, file, version); });
}

ResourcePtr MakeVersions(const Item& file) {
    return std::make_unique<VersionsResource>(file);
}

}  // namespace devserver::rest
