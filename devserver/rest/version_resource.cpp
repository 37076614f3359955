#include "rest/version_resource.h"

#include <algorithm>

#include "base/text.h"
#include "rest/file_resource.h"

namespace devserver::rest {
namespace {

constexpr Link version_links[] = {{"CreatedBy"}};

Entity version_entity(const Context& context, const Item& file, const Version& version) {
    Entity entity;
    entity.type = "SP.FileVersion";
    entity.id = file_id(file) + "/Versions(" + std::to_string(version.ui_version) + ")";
    entity.links = version_links;
    entity.resolve = [context, version, id = entity.id](std::string_view) {
        return user_node(context, version.author, id + "/CreatedBy");
    };
    auto in_web = file.path.substr(context.web.path.empty() ? 1 : context.web.path.size() + 2);
    entity.add("CheckInComment", Value::of_text(version.comment));
    entity.add("Created", Value::date(iso_time(version.created)));
    entity.add("ExpirationDate", Value::null());
    entity.add("ID", Value::int32(version.ui_version));
    entity.add("IsCurrentVersion", Value::boolean(false));
    entity.add("Length", Value::int64(version.size));
    entity.add("Size", Value::int32(version.size));
    entity.add("SnapshotDate", Value::null());
    entity.add("SnapshotId", Value::null());
    entity.add("Url", Value::of_text("_vti_history/" + std::to_string(version.ui_version) + "/" + in_web));
    entity.add("VersionLabel", Value::of_text(version.label()));
    return entity;
}

class VersionContentResource : public Resource {
public:
    explicit VersionContentResource(Version version) : m_version(std::move(version)) {}
    Outcome get(Context& context) override { return Outcome::raw(content_response(context, m_version.blob)); }

private:
    Version m_version;
};

class VersionResource : public Resource {
public:
    VersionResource(Item file, Version version) : m_file(std::move(file)), m_version(std::move(version)) {}
    ResourcePtr child(Context& context, const Segment& segment) override {
        if (segment.is("$value") || segment.is("OpenBinaryStream"))
            return std::make_unique<VersionContentResource>(m_version);
        if (!segment.is("CreatedBy")) return nullptr;
        return make_node(user_node(context, m_version.author,
                                   version_entity(context, m_file, m_version).id + "/CreatedBy"),
                         "CreatedBy");
    }
    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.is_post() || !segment.is("DeleteObject")) return std::nullopt;
        return remove(context);
    }
    Outcome get(Context& context) override {
        return Outcome::of(Node::of(version_entity(context, m_file, m_version)), "FileVersion");
    }
    Outcome remove(Context& context) override {
        context.require_edit();
        context.store.remove_version(m_file.id, m_version.ui_version, context.user);
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
        return by_key(context, segment, {"getById"});
    }

    ResourcePtr key(Context& context, const odata::Literal& value) override {
        return std::make_unique<VersionResource>(m_file, find(context, [&](const Version& version) {
                                                     return version.ui_version ==
                                                            parse_integer(value.text).value_or(-1);
                                                 }));
    }

    std::optional<Outcome> operation(Context& context, const Segment& segment) override {
        if (!context.is_post()) return std::nullopt;
        auto by_label = [&](const Version& version) {
            return version.label() == segment.text("versionlabel", 0);
        };
        auto by_id = [&](const Version& version) {
            return version.ui_version == parse_integer(segment.text("vid", 0)).value_or(-1);
        };
        bool known = segment.is("RestoreByLabel") || segment.is("DeleteByLabel") ||
                     segment.is("DeleteByID") || segment.is("DeleteAll") || segment.is("RecycleByLabel") ||
                     segment.is("RecycleByID");
        if (!known) return std::nullopt;
        context.require_edit();
        if (segment.is("RestoreByLabel")) {
            context.store.restore_version(m_file.id, find(context, by_label).ui_version, context.user);
        } else if (segment.is("DeleteAll")) {
            for (const auto& version : context.store.versions(m_file.id))
                context.store.remove_version(m_file.id, version.ui_version, context.user);
        } else {
            bool labelled = segment.is("DeleteByLabel") || segment.is("RecycleByLabel");
            auto version = labelled ? find(context, by_label) : find(context, by_id);
            context.store.remove_version(m_file.id, version.ui_version, context.user);
        }
        return Outcome::done(segment.name);
    }

    Outcome get(Context& context) override {
        return Outcome::of(Node::of(apply_feed_options(context, versions_feed(context, m_file))), "Versions");
    }

private:
    template <typename Test>
    Version find(Context& context, Test test) {
        auto all = context.store.versions(m_file.id);
        auto found = std::ranges::find_if(all, test);
        if (found == all.end())
            throw ApiError(404, "-2147024894, System.IO.FileNotFoundException",
                           "The version does not exist.");
        return *found;
    }

    Item m_file;
};

}  // namespace

Feed versions_feed(const Context& context, const Item& file) {
    return feed_of(context.store.versions(file.id), [context, file](const Version& version) {
        return version_entity(context, file, version);
    });
}

ResourcePtr make_versions(const Item& file) {
    return std::make_unique<VersionsResource>(file);
}

}  // namespace devserver::rest
