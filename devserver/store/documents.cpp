// The store's documents: contents, versions, check-outs.
// Owner: store/; any thread.
#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/crypto.h"
#include "store/store.h"

namespace devserver {
namespace {

void TakeContent(Item& file, BlobWriter& content) {
    file.size = content.size();
    file.blob = content.Keep();
}

// Makes a new file version 1.0 without a check-out, whatever the settings of its library.
void PublishFirst(Item& file) {
    file.ui_version = 512;
    file.level = level::kPublished;
    file.checked_out_by = file.checked_out_at = 0;
}

}  // namespace

bool Store::HasBlob(const std::string& blob) {
    DatabaseLock lock(m_database);
    return m_database
        .query(
            "SELECT 1 FROM items WHERE blob=?1 UNION SELECT 1 FROM versions WHERE blob=?1 "
            "UNION SELECT 1 FROM uploads WHERE blob=?1 LIMIT 1",
            blob)
        .Step();
}

void Store::ReleaseBlob(const std::string& blob) {
    if (!blob.empty() && !HasBlob(blob)) m_blobs.Remove(blob);
}

Item Store::RequireFile(Id id) {
    auto file = RequireItem(id);
    if (file.folder) throw StoreError(Fault::not_found, file.path);
    return file;
}

void Store::RequireWritable(const Item& file, const User& user) {
    if (file.checked_out_by != 0 && file.checked_out_by != user.id)
        throw StoreError(Fault::checked_out_by_other, file.path, LoginOf(file.checked_out_by));
    if (auto lock = FindWriteLock(file.id); lock && lock->user != user.id)
        throw StoreError(Fault::locked, file.path, LoginOf(lock->user));
}

Item Store::RequireCheckedInFile(Id id, const User& user) {
    auto file = RequireFile(id);
    if (file.checked_out_by != 0)
        throw StoreError(Fault::checked_out_by_other, file.path, LoginOf(file.checked_out_by));
    RequireWritable(file, user);
    return file;
}

void Store::PushVersion(const Item& file) {
    m_database.Run("INSERT OR REPLACE INTO versions VALUES (?,?,?,?,?,?,?,?)", file.id, file.ui_version,
                   file.level, file.blob, file.size, file.modified, file.editor, file.comment);
}

std::vector<Version> Store::versions(Id file) {
    DatabaseLock lock(m_database);
    std::vector<Version> result;
    auto rows = m_database.query(
        "SELECT ui_version, level, blob, comment, size, created, author FROM versions WHERE item=? ORDER BY "
        "ui_version",
        file);
    while (rows.Step()) {
        Version version;
        rows.Read(version.ui_version, version.level, version.blob, version.comment, version.size,
                  version.created, version.author);
        result.push_back(version);
    }
    return result;
}

// Keeps the present state as an older version, and gives the document the next number.
void Store::BeginVersion(Item& file) {
    PushVersion(file);
    bool minor = LibraryOf(file).minor_versions;
    file.ui_version = minor ? file.ui_version + 1 : (file.major() + 1) * 512;
    file.level = minor ? level::kDraft : level::kPublished;
}

// Stores a changed document with another content; the old one is removed unless a version has it.
Item Store::ReplaceContent(Item file, const std::string& blob, std::int64_t size, Seconds modified,
                           Transaction& transaction) {
    auto old_blob = std::exchange(file.blob, blob);
    file.size = size;
    file.modified = modified;
    ++file.etag;
    ++file.content_tag;
    Save(file);
    transaction.Commit();
    ReleaseBlob(old_blob);
    return RequireItem(file.id);
}

std::optional<Version> Store::NewestVersion(Id file) {
    auto all = versions(file);
    if (all.empty()) return std::nullopt;
    return all.back();
}

void Store::Save(const Item& file) {
    m_database.Run(
        "UPDATE items SET modified=?, editor=?, blob=?, comment=?, attributes=?, size=?, etag=?, "
        "content_tag=?, "
        "ui_version=?, level=?, checked_out_by=?, checked_out_at=? WHERE id=?",
        file.modified, file.editor, file.blob, file.comment, file.attributes, file.size, file.etag,
        file.content_tag, file.ui_version, file.level, file.checked_out_by, file.checked_out_at, file.id);
}

// A file that isn't in the database yet, with the first version and check-out of its library.
Item Store::NewFile(const Place& place, const std::string& path, const User& user) {
    if (place.parent.library == 0) throw StoreError(Fault::not_allowed_here, path);
    auto library = LibraryOf(place.parent);
    Item file;
    file.guid = RandomGuid();
    file.parent = place.parent.id;
    file.library = place.parent.library;
    file.name = place.name;
    file.created = file.modified = Now();
    file.author = file.editor = user.id;
    file.attributes = "00000020";
    file.ui_version = library.minor_versions ? 1 : 512;
    file.level = library.minor_versions ? level::kDraft : level::kPublished;
    if (library.force_checkout) {
        file.level = level::kCheckedOut;
        file.checked_out_by = user.id;
        file.checked_out_at = file.created;
    }
    return file;
}

Item Store::AddFile(std::string_view path, std::unique_ptr<BlobWriter> content, const User& user,
                    bool overwrite) {
    DatabaseLock lock(m_database);
    if (auto existing = Find(path)) {
        if (existing->folder || !overwrite) throw StoreError(Fault::already_exists, existing->path);
        return Write(existing->id, std::move(content), user);
    }
    auto file = NewFile(PlaceFor(path), std::string(path), user);
    TakeContent(file, *content);
    return RequireItem(InsertItem(file));
}

Item Store::AddPublished(std::string_view path, std::unique_ptr<BlobWriter> content, Seconds modified,
                         const User& user) {
    DatabaseLock lock(m_database);
    auto file = NewFile(PlaceFor(path), std::string(path), user);
    file.created = file.modified = modified;
    PublishFirst(file);
    TakeContent(file, *content);
    return RequireItem(InsertItem(file));
}

void Store::AddMany(std::string_view folder_path, int count, const User& user) {
    DatabaseLock lock(m_database);
    Transaction transaction(m_database);
    auto folder = CreateFolder(folder_path, user);
    auto content = m_blobs.Create();
    content->Write("%PDF-1.4\n%%EOF\n", 15);
    auto file = NewFile({folder, ""}, folder.path, user);
    PublishFirst(file);
    TakeContent(file, *content);
    for (int i = 1; i <= count; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "file %05d.pdf", i);
        file.name = name;
        file.guid = RandomGuid();
        InsertItem(file);
    }
    transaction.Commit();
}

Item Store::Write(Id id, std::unique_ptr<BlobWriter> content, const User& user, bool force,
                  std::optional<Seconds> modified) {
    DatabaseLock lock(m_database);
    auto file = RequireFile(id);
    if (!force) RequireWritable(file, user);
    auto library = LibraryOf(file);
    if (library.force_checkout && file.checked_out_by == 0 && !force)
        throw StoreError(Fault::must_check_out, file.path);
    Transaction transaction(m_database);
    if (file.level != level::kCheckedOut) {
        BeginVersion(file);
        file.comment.clear();
    }
    file.editor = user.id;
    auto size = content->size();
    return ReplaceContent(file, content->Keep(), size, modified.value_or(Now()), transaction);
}

Item Store::CheckOut(Id id, const User& user) {
    DatabaseLock lock(m_database);
    auto file = RequireCheckedInFile(id, user);
    Transaction transaction(m_database);
    PushVersion(file);
    ++file.ui_version;
    file.level = level::kCheckedOut;
    file.checked_out_by = user.id;
    file.checked_out_at = Now();
    file.comment.clear();
    ++file.etag;
    Save(file);
    transaction.Commit();
    return RequireItem(id);
}

Item Store::UndoCheckOut(Id id, const User& user) {
    DatabaseLock lock(m_database);
    auto file = RequireFile(id);
    if (file.checked_out_by == 0) throw StoreError(Fault::not_checked_out, file.path);
    RequireWritable(file, user);
    auto base = NewestVersion(id);
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
    m_database.Run("DELETE FROM versions WHERE item=? AND ui_version=?", id, base->ui_version);
    Save(file);
    transaction.Commit();
    ReleaseBlob(old_blob);
    return RequireItem(id);
}

void Store::RequireColumns(const Item& file) {
    auto given = values(file.id);
    for (const auto& column : columns(file.library)) {
        if (!column.required || column.from_base || column.hidden || column.read_only) continue;
        auto value = given.find(column.name);
        bool empty = value == given.end() ? column.default_value.empty()
                                          : value->second == "null" || value->second == "\"\"";
        if (empty) throw StoreError(Fault::required_columns, file.path, column.title);
    }
}

Item Store::CheckIn(Id id, const std::string& comment, CheckInType type, const User& user) {
    DatabaseLock lock(m_database);
    auto file = RequireFile(id);
    if (file.checked_out_by == 0) throw StoreError(Fault::not_checked_out, file.path);
    RequireWritable(file, user);
    RequireColumns(file);
    auto library = LibraryOf(file);
    auto base = NewestVersion(id);
    Transaction transaction(m_database);
    std::string replaced;
    if (type == CheckInType::overwrite && base) {
        file.ui_version = base->ui_version;
        m_database.Run("DELETE FROM versions WHERE item=? AND ui_version=?", id, base->ui_version);
        replaced = base->blob;
    } else if (type == CheckInType::major || !library.minor_versions) {
        file.ui_version = (file.major() + 1) * 512;
    }
    if (file.ui_version == 0) file.ui_version = 1;
    file.level = file.minor() == 0 ? level::kPublished : level::kDraft;
    file.comment = comment;
    file.checked_out_by = file.checked_out_at = 0;
    ++file.etag;
    Save(file);
    transaction.Commit();
    ReleaseBlob(replaced);
    return RequireItem(id);
}

Item Store::Publish(Id id, const std::string& comment, const User& user) {
    DatabaseLock lock(m_database);
    auto file = RequireCheckedInFile(id, user);
    if (file.minor() != 0) {
        file.ui_version = (file.major() + 1) * 512;
        file.level = level::kPublished;
        ++file.etag;
    }
    file.comment = comment;
    Save(file);
    return RequireItem(id);
}

Item Store::Unpublish(Id id, const std::string& comment, const User& user) {
    DatabaseLock lock(m_database);
    auto file = RequireCheckedInFile(id, user);
    if (file.minor() == 0 && LibraryOf(file).minor_versions) {
        file.ui_version = (file.major() - 1) * 512 + 1;
        auto older = versions(id);
        while (std::ranges::find(older, file.ui_version, &Version::ui_version) != older.end())
            ++file.ui_version;
        file.level = level::kDraft;
        ++file.etag;
    }
    file.comment = comment;
    Save(file);
    return RequireItem(id);
}

Version Store::RequireVersion(const Item& file, int ui_version) {
    auto all = versions(file.id);
    auto found = std::ranges::find(all, ui_version, &Version::ui_version);
    if (found == all.end()) throw StoreError(Fault::version_not_found, file.path);
    return *found;
}

void Store::RemoveVersion(Id id, int ui_version, const User& user) {
    DatabaseLock lock(m_database);
    auto file = RequireFile(id);
    RequireWritable(file, user);
    const auto version = RequireVersion(file, ui_version);
    bool is_base = file.checked_out_by != 0 && versions(id).back().ui_version == ui_version;
    if (is_base) throw StoreError(Fault::version_not_found, file.path);
    m_database.Run("DELETE FROM versions WHERE item=? AND ui_version=?", id, ui_version);
    ReleaseBlob(version.blob);
}

Item Store::RestoreVersion(Id id, int ui_version, const User& user) {
    DatabaseLock lock(m_database);
    auto file = RequireFile(id);
    RequireWritable(file, user);
    const auto version = RequireVersion(file, ui_version);
    Transaction transaction(m_database);
    if (file.level != level::kCheckedOut) BeginVersion(file);
    file.editor = user.id;
    return ReplaceContent(file, version.blob, version.size, Now(), transaction);
}

}  // namespace devserver
