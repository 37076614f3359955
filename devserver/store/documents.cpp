// The store's documents: contents, versions, check-outs.
// Owner: store/; any thread.
#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/crypto.h"
#include "store/store.h"

namespace devserver {
namespace {

void take_content(Item& file, BlobWriter& content) {
    file.size = content.size();
    file.blob = content.keep();
}

// Makes a new file version 1.0 without a check-out, whatever the settings of its library.
void publish_first(Item& file) {
    file.ui_version = 512;
    file.level = level::published;
    file.checked_out_by = file.checked_out_at = 0;
}

}  // namespace

bool Store::has_blob(const std::string& blob) {
    DatabaseLock lock(m_database);
    return m_database
        .query(
            "SELECT 1 FROM items WHERE blob=?1 UNION SELECT 1 FROM versions WHERE blob=?1 "
            "UNION SELECT 1 FROM uploads WHERE blob=?1 LIMIT 1",
            blob)
        .step();
}

void Store::release_blob(const std::string& blob) {
    if (!blob.empty() && !has_blob(blob)) m_blobs.remove(blob);
}

Item Store::require_file(Id id) {
    auto file = require_item(id);
    if (file.folder) throw StoreError(Fault::not_found, file.path);
    return file;
}

void Store::require_writable(const Item& file, const User& user) {
    if (file.checked_out_by != 0 && file.checked_out_by != user.id)
        throw StoreError(Fault::checked_out_by_other, file.path, login_of(file.checked_out_by));
    if (auto lock = write_lock(file.id); lock && lock->user != user.id)
        throw StoreError(Fault::locked, file.path, login_of(lock->user));
}

void Store::require_checked_in(const Item& file) {
    if (file.checked_out_by != 0)
        throw StoreError(Fault::checked_out_by_other, file.path, login_of(file.checked_out_by));
}

void Store::push_version(const Item& file) {
    m_database.run("INSERT OR REPLACE INTO versions VALUES (?,?,?,?,?,?,?,?)", file.id, file.ui_version,
                   file.level, file.blob, file.size, file.modified, file.editor, file.comment);
}

std::vector<Version> Store::versions(Id file) {
    DatabaseLock lock(m_database);
    std::vector<Version> result;
    auto rows = m_database.query(
        "SELECT ui_version, level, blob, comment, size, created, author FROM versions WHERE item=? ORDER BY "
        "ui_version",
        file);
    while (rows.step()) {
        Version version;
        rows.read(version.ui_version, version.level, version.blob, version.comment, version.size,
                  version.created, version.author);
        result.push_back(version);
    }
    return result;
}

// Keeps the present state as an older version, and gives the document the next number.
void Store::begin_version(Item& file) {
    push_version(file);
    bool minor = library_of(file).minor_versions;
    file.ui_version = minor ? file.ui_version + 1 : (file.major() + 1) * 512;
    file.level = minor ? level::draft : level::published;
}

// Stores a changed document with another content; the old one is removed unless a version has it.
Item Store::replace_content(Item file, const std::string& blob, std::int64_t size, Seconds modified,
                            Transaction& transaction) {
    auto old_blob = std::exchange(file.blob, blob);
    file.size = size;
    file.modified = modified;
    ++file.etag;
    ++file.content_tag;
    save(file);
    transaction.commit();
    release_blob(old_blob);
    return require_item(file.id);
}

std::optional<Version> Store::newest_version(Id file) {
    auto all = versions(file);
    if (all.empty()) return std::nullopt;
    return all.back();
}

void Store::save(const Item& file) {
    m_database.run(
        "UPDATE items SET modified=?, editor=?, blob=?, comment=?, attributes=?, size=?, etag=?, "
        "content_tag=?, "
        "ui_version=?, level=?, checked_out_by=?, checked_out_at=? WHERE id=?",
        file.modified, file.editor, file.blob, file.comment, file.attributes, file.size, file.etag,
        file.content_tag, file.ui_version, file.level, file.checked_out_by, file.checked_out_at, file.id);
}

// A file that isn't in the database yet, with the first version and check-out of its library.
Item Store::new_file(const Place& place, const std::string& path, const User& user) {
    if (place.parent.library == 0) throw StoreError(Fault::not_allowed_here, path);
    auto library = library_of(place.parent);
    Item file;
    file.guid = random_guid();
    file.parent = place.parent.id;
    file.library = place.parent.library;
    file.name = place.name;
    file.created = file.modified = now();
    file.author = file.editor = user.id;
    file.attributes = "00000020";
    file.ui_version = library.minor_versions ? 1 : 512;
    file.level = library.minor_versions ? level::draft : level::published;
    if (library.force_checkout) {
        file.level = level::checked_out;
        file.checked_out_by = user.id;
        file.checked_out_at = file.created;
    }
    return file;
}

Item Store::add_file(std::string_view path, std::unique_ptr<BlobWriter> content, const User& user,
                     bool overwrite) {
    DatabaseLock lock(m_database);
    if (auto existing = find(path)) {
        if (existing->folder || !overwrite) throw StoreError(Fault::already_exists, existing->path);
        return write(existing->id, std::move(content), user);
    }
    auto file = new_file(place_for(path), std::string(path), user);
    take_content(file, *content);
    return require_item(insert_item(file));
}

Item Store::add_published(std::string_view path, std::unique_ptr<BlobWriter> content, Seconds modified,
                          const User& user) {
    DatabaseLock lock(m_database);
    auto file = new_file(place_for(path), std::string(path), user);
    file.created = file.modified = modified;
    publish_first(file);
    take_content(file, *content);
    return require_item(insert_item(file));
}

void Store::add_many(std::string_view folder_path, int count, const User& user) {
    DatabaseLock lock(m_database);
    Transaction transaction(m_database);
    auto folder = create_folder(folder_path, user);
    auto content = m_blobs.create();
    content->write("%PDF-1.4\n%%EOF\n", 15);
    auto file = new_file({folder, ""}, folder.path, user);
    publish_first(file);
    take_content(file, *content);
    for (int i = 1; i <= count; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "file %05d.pdf", i);
        file.name = name;
        file.guid = random_guid();
        insert_item(file);
    }
    transaction.commit();
}

Item Store::write(Id id, std::unique_ptr<BlobWriter> content, const User& user, bool force,
                  std::optional<Seconds> modified) {
    DatabaseLock lock(m_database);
    auto file = require_file(id);
    if (!force) require_writable(file, user);
    auto library = library_of(file);
    if (library.force_checkout && file.checked_out_by == 0 && !force)
        throw StoreError(Fault::must_check_out, file.path);
    Transaction transaction(m_database);
    if (file.level != level::checked_out) {
        begin_version(file);
        file.comment.clear();
    }
    file.editor = user.id;
    auto size = content->size();
    return replace_content(file, content->keep(), size, modified.value_or(now()), transaction);
}

Item Store::check_out(Id id, const User& user) {
    DatabaseLock lock(m_database);
    auto file = require_file(id);
    require_checked_in(file);
    require_writable(file, user);
    Transaction transaction(m_database);
    push_version(file);
    ++file.ui_version;
    file.level = level::checked_out;
    file.checked_out_by = user.id;
    file.checked_out_at = now();
    file.comment.clear();
    ++file.etag;
    save(file);
    transaction.commit();
    return require_item(id);
}

Item Store::undo_check_out(Id id, const User& user) {
    DatabaseLock lock(m_database);
    auto file = require_file(id);
    if (file.checked_out_by == 0) throw StoreError(Fault::not_checked_out, file.path);
    require_writable(file, user);
    auto base = newest_version(id);
    if (!base) throw StoreError(Fault::no_checked_in_version, file.path);
    Transaction transaction(m_database);
    auto old_blob = file.blob;
    file.ui_version = base->ui_version;
    file.level = base->level;
    file.blob = base->blob;
    file.size = base->size;
    file.modified = base->created;
    file.editor = base->author;
    file.comment = base->comment;
    file.checked_out_by = file.checked_out_at = 0;
    ++file.etag;
    if (file.blob != old_blob) ++file.content_tag;
    m_database.run("DELETE FROM versions WHERE item=? AND ui_version=?", id, base->ui_version);
    save(file);
    transaction.commit();
    release_blob(old_blob);
    return require_item(id);
}

void Store::require_columns(const Item& file) {
    auto given = values(file.id);
    for (const auto& column : columns(file.library)) {
        if (!column.required || column.from_base || column.hidden || column.read_only) continue;
        auto value = given.find(column.name);
        bool empty = value == given.end() ? column.default_value.empty()
                                          : value->second == "null" || value->second == "\"\"";
        if (empty) throw StoreError(Fault::required_columns, file.path, column.title);
    }
}

Item Store::check_in(Id id, const std::string& comment, CheckInType type, const User& user) {
    DatabaseLock lock(m_database);
    auto file = require_file(id);
    if (file.checked_out_by == 0) throw StoreError(Fault::not_checked_out, file.path);
    require_writable(file, user);
    require_columns(file);
    auto library = library_of(file);
    auto base = newest_version(id);
    Transaction transaction(m_database);
    std::string replaced;
    if (type == CheckInType::overwrite && base) {
        file.ui_version = base->ui_version;
        m_database.run("DELETE FROM versions WHERE item=? AND ui_version=?", id, base->ui_version);
        replaced = base->blob;
    } else if (type == CheckInType::major || !library.minor_versions) {
        file.ui_version = (file.major() + 1) * 512;
    }
    if (file.ui_version == 0) file.ui_version = 1;
    file.level = file.minor() == 0 ? level::published : level::draft;
    file.comment = comment;
    file.checked_out_by = file.checked_out_at = 0;
    ++file.etag;
    save(file);
    transaction.commit();
    release_blob(replaced);
    return require_item(id);
}

Item Store::publish(Id id, const std::string& comment, const User& user) {
    DatabaseLock lock(m_database);
    auto file = require_file(id);
    require_writable(file, user);
    require_checked_in(file);
    if (file.minor() != 0) {
        file.ui_version = (file.major() + 1) * 512;
        file.level = level::published;
        ++file.etag;
    }
    file.comment = comment;
    save(file);
    return require_item(id);
}

Item Store::unpublish(Id id, const std::string& comment, const User& user) {
    DatabaseLock lock(m_database);
    auto file = require_file(id);
    require_writable(file, user);
    require_checked_in(file);
    if (file.minor() == 0 && library_of(file).minor_versions) {
        file.ui_version = (file.major() - 1) * 512 + 1;
        auto older = versions(id);
        while (std::ranges::find(older, file.ui_version, &Version::ui_version) != older.end())
            ++file.ui_version;
        file.level = level::draft;
        ++file.etag;
    }
    file.comment = comment;
    save(file);
    return require_item(id);
}

void Store::remove_version(Id id, int ui_version, const User& user) {
    DatabaseLock lock(m_database);
    auto file = require_file(id);
    require_writable(file, user);
    auto all = versions(id);
    auto found = std::ranges::find(all, ui_version, &Version::ui_version);
    bool is_base = file.checked_out_by != 0 && !all.empty() && all.back().ui_version == ui_version;
    if (found == all.end() || is_base) throw StoreError(Fault::version_not_found, file.path);
    m_database.run("DELETE FROM versions WHERE item=? AND ui_version=?", id, ui_version);
    release_blob(found->blob);
}

Item Store::restore_version(Id id, int ui_version, const User& user) {
    DatabaseLock lock(m_database);
    auto file = require_file(id);
    require_writable(file, user);
    auto all = versions(id);
    auto found = std::ranges::find(all, ui_version, &Version::ui_version);
    if (found == all.end()) throw StoreError(Fault::version_not_found, file.path);
    Transaction transaction(m_database);
    if (file.level != level::checked_out) begin_version(file);
    file.editor = user.id;
    return replace_content(file, found->blob, found->size, now(), transaction);
}

}  // namespace devserver
