// The store's tree of webs, folders and files: finding, listing, making, moving, copying, removing.
// Owner: store/; any thread.
#include <algorithm>

#include "base/crypto.h"
#include "base/text.h"
#include "store/store.h"

namespace devserver {
namespace {

#define ITEM_COLUMNS                                                                                   \
    "i.id, i.guid, i.parent, i.library, i.name, i.folder, i.created, i.modified, i.author, i.editor, " \
    "i.blob, i.comment, i.attributes, i.size, i.etag, i.content_tag, i.ui_version, i.level, "          \
    "i.checked_out_by, i.checked_out_at"

// The parts of a path; empty ones are left out.
std::vector<std::string> PathParts(std::string_view path) {
    auto parts = Split(path, '/');
    std::erase_if(parts, [](const std::string& part) { return part.empty(); });
    return parts;
}

bool IsValidName(std::string_view name) {
    if (name.empty() || name.size() > 400 || name == "." || name == "..") return false;
    if (name.front() == ' ' || name.back() == ' ' || name.back() == '.') return false;
    if (name.find_first_of("\"*:<>?/\\|") != std::string_view::npos || !IsValidUtf8(name)) return false;
    return std::none_of(name.begin(), name.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

}  // namespace

Item Store::ReadItem(const Statement& row, const std::string& parent_path) const {
    Item item;
    row.Read(item.id, item.guid, item.parent, item.library, item.name, item.folder, item.created,
             item.modified, item.author, item.editor, item.blob, item.comment, item.attributes, item.size,
             item.etag, item.content_tag, item.ui_version, item.level, item.checked_out_by,
             item.checked_out_at);
    for (const auto& web : m_webs) {
        if (web.root_item == item.id) {
            item.path = web.ServerRelativeUrl();
            return item;
        }
    }
    item.path = (parent_path == "/" ? "" : parent_path) + "/" + item.name;
    return item;
}

std::string Store::PathOf(Id id) {
    std::string path;
    while (id != 0) {
        for (const auto& web : m_webs) {
            if (web.root_item == id) {
                return path.empty() ? web.ServerRelativeUrl()
                                    : (web.path.empty() ? "" : "/" + web.path) + path;
            }
        }
        auto row = m_database.query("SELECT parent, name FROM items WHERE id=?", id);
        if (!row.Step()) break;
        path = "/" + row.text(1) + path;
        id = row.IsNull(0) ? 0 : row.integer(0);
    }
    return path;
}

std::optional<Item> Store::item(Id id) {
    DatabaseLock lock(m_database);
    auto path = PathOf(id);
    auto row = m_database.query("SELECT " ITEM_COLUMNS " FROM items i WHERE id=?", id);
    if (!row.Step()) return std::nullopt;
    auto result = ReadItem(row, "");
    result.path = path;
    return result;
}

std::optional<Item> Store::ItemByGuid(std::string_view guid) {
    DatabaseLock lock(m_database);
    Id id = 0;
    {
        auto row =
            m_database.query("SELECT id FROM items WHERE guid=? AND recycled_from IS NULL", ToLower(guid));
        if (!row.Step()) return std::nullopt;
        id = row.integer(0);
    }
    return item(id);
}

std::optional<Item> Store::Find(std::string_view path) {
    DatabaseLock lock(m_database);
    auto web = WebOf(path);
    auto parts = PathParts(path);
    auto skipped = PathParts(web.path).size();
    auto current = item(web.root_item);
    for (auto part = skipped; current && part < parts.size(); ++part) {
        auto row = m_database.query("SELECT " ITEM_COLUMNS " FROM items i WHERE parent=? AND name=?",
                                    current->id, parts[part]);
        if (!row.Step()) return std::nullopt;
        current = ReadItem(row, current->path);
    }
    if (current && current->folder) {
        auto row = m_database.query("SELECT count(*) FROM items WHERE parent=?", current->id);
        row.Step();
        current->child_count = row.integer(0);
    }
    return current;
}

std::vector<Item> Store::children(const Item& folder, bool folders) {
    DatabaseLock lock(m_database);
    std::vector<Item> result;
    auto rows =
        m_database.query("SELECT " ITEM_COLUMNS
                         ", CASE WHEN i.folder THEN (SELECT count(*) FROM items c WHERE c.parent=i.id) "
                         "ELSE 0 END FROM items i WHERE i.parent=? AND i.folder=? ORDER BY i.name",
                         folder.id, folders);
    while (rows.Step()) {
        result.push_back(ReadItem(rows, folder.path));
        result.back().child_count = rows.integer(20);
    }
    return result;
}

std::vector<Item> Store::LibraryItems(Id library, Id after, int limit) {
    DatabaseLock lock(m_database);
    std::vector<Id> ids;
    {
        auto rows = m_database.query(
            "SELECT i.id FROM items i WHERE i.library=?1 AND i.id>?2 AND i.recycled_from IS NULL AND i.id<>"
            "(SELECT root_item FROM libraries WHERE id=?1) ORDER BY i.id LIMIT ?3",
            library, after, limit);
        while (rows.Step()) ids.push_back(rows.integer(0));
    }
    std::vector<Item> result;
    for (auto id : ids) result.push_back(*item(id));
    return result;
}

Item Store::RequireItem(Id id) {
    auto found = item(id);
    if (!found) throw StoreError(Fault::not_found, std::to_string(id));
    return *found;
}

Store::Place Store::PlaceFor(std::string_view path) {
    while (!path.empty() && path.back() == '/') path.remove_suffix(1);
    auto slash = path.rfind('/');
    if (path.empty() || slash == std::string_view::npos)
        throw StoreError(Fault::invalid_path, std::string(path));
    std::string name(path.substr(slash + 1));
    if (!IsValidName(name)) throw StoreError(Fault::invalid_name, name);
    auto parent = Find(path.substr(0, slash));
    if (!parent || !parent->folder) throw StoreError(Fault::not_found, std::string(path.substr(0, slash)));
    return {*parent, name};
}

Id Store::InsertItem(const Item& item) {
    if (item.parent == 0) {
        m_database.Run(
            "INSERT INTO items (guid, parent, library, name, folder, created, modified, author, editor) "
            "VALUES (?,NULL,?,?,?,?,?,?,?)",
            item.guid, item.library, item.name, item.folder, item.created, item.modified, item.author,
            item.editor);
    } else {
        m_database.Run(
            "INSERT INTO items (guid, parent, library, name, folder, created, modified, author, editor, "
            "blob, "
            "comment, attributes, size, etag, content_tag, ui_version, level, checked_out_by, "
            "checked_out_at) "
            "VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)",
            item.guid, item.parent, item.library, item.name, item.folder, item.created, item.modified,
            item.author, item.editor, item.blob, item.comment, item.attributes, item.size, item.etag,
            item.content_tag, item.ui_version, item.level, item.checked_out_by, item.checked_out_at);
    }
    return m_database.LastId();
}

Item Store::CreateFolder(std::string_view path, const User& user) {
    DatabaseLock lock(m_database);
    auto place = PlaceFor(path);
    if (auto existing = Find(path)) {
        if (!existing->folder) throw StoreError(Fault::already_exists, existing->path);
        return *existing;
    }
    if (place.parent.library == 0) throw StoreError(Fault::not_allowed_here, std::string(path));
    Item folder;
    folder.guid = RandomGuid();
    folder.parent = place.parent.id;
    folder.library = place.parent.library;
    folder.name = place.name;
    folder.folder = true;
    folder.created = folder.modified = Now();
    folder.author = folder.editor = user.id;
    return RequireItem(InsertItem(folder));
}

void Store::RequireTreeFree(const Item& item, const User& user) {
    if (!item.folder) return RequireWritable(item, user);
    for (bool folders : {false, true})
        for (const auto& child : children(item, folders)) RequireTreeFree(child, user);
}

// Throws for sites and libraries, and for what another user has locked or checked out.
void Store::RequireMovable(const Item& item, const User& user) {
    if (item.library == 0 || LibraryOf(item).root_item == item.id)
        throw StoreError(Fault::not_allowed_here, item.path);
    RequireTreeFree(item, user);
}

void Store::RemoveTree(const Item& item) {
    if (item.folder) {
        for (bool folders : {false, true})
            for (const auto& child : children(item, folders)) RemoveTree(child);
    }
    std::vector<std::string> contents{item.blob};
    for (const auto& version : versions(item.id)) contents.push_back(version.blob);
    m_database.Run("DELETE FROM versions WHERE item=?", item.id);
    m_database.Run("DELETE FROM item_values WHERE item=?", item.id);
    m_database.Run("DELETE FROM write_locks WHERE item=?", item.id);
    m_database.Run("DELETE FROM free_properties WHERE item=?", item.id);
    m_database.Run("DELETE FROM items WHERE id=?", item.id);
    for (const auto& blob : contents) ReleaseBlob(blob);
}

void Store::Remove(Id id, const User& user) {
    DatabaseLock lock(m_database);
    auto item = RequireItem(id);
    RequireMovable(item, user);
    Transaction transaction(m_database);
    RemoveTree(item);
    transaction.Commit();
}

std::string Store::Recycle(Id id, const User& user) {
    DatabaseLock lock(m_database);
    auto item = RequireItem(id);
    RequireMovable(item, user);
    m_database.Run("UPDATE items SET parent=NULL, recycled_from=? WHERE id=?", item.path, id);
    return RandomGuid();
}

// Whether something else is at the place; a file that may be overwritten is removed first.
bool Store::TargetTaken(const Place& place, Id mover, bool overwrite, const User& user) {
    auto existing = Find((place.parent.path == "/" ? "" : place.parent.path) + "/" + place.name);
    if (!existing || existing->id == mover) return false;
    if (!overwrite || existing->folder) return true;
    RequireWritable(*existing, user);
    RemoveTree(*existing);
    return false;
}

Item Store::Move(Id id, std::string_view new_path, bool overwrite, const User& user) {
    DatabaseLock lock(m_database);
    auto item = RequireItem(id);
    auto place = PlaceFor(new_path);
    if (place.parent.library == 0) throw StoreError(Fault::not_allowed_here, item.path);
    for (auto above = std::optional<Item>(place.parent); above; above = this->item(above->parent))
        if (above->id == item.id) throw StoreError(Fault::not_allowed_here, item.path);
    RequireMovable(item, user);
    Transaction transaction(m_database);
    if (TargetTaken(place, id, overwrite, user))
        throw StoreError(Fault::already_exists, std::string(new_path));
    m_database.Run("UPDATE items SET parent=?, name=?, library=?, etag=etag+1 WHERE id=?", place.parent.id,
                   place.name, place.parent.library, id);
    m_database.Run("DELETE FROM write_locks WHERE item=?", id);
    transaction.Commit();
    return RequireItem(id);
}

Item Store::Copy(Id id, std::string_view new_path, bool overwrite, const User& user) {
    DatabaseLock lock(m_database);
    auto source = RequireItem(id);
    if (source.folder) {
        if (Find(new_path)) throw StoreError(Fault::already_exists, std::string(new_path));
        auto files = children(source, false);
        auto folders = children(source, true);
        auto target = CreateFolder(new_path, user);
        for (const auto& list : {files, folders})
            for (const auto& child : list) Copy(child.id, target.path + "/" + child.name, overwrite, user);
        return target;
    }
    auto place = PlaceFor(new_path);
    if (place.parent.library == 0) throw StoreError(Fault::not_allowed_here, std::string(new_path));
    if (auto existing = Find(new_path); existing && existing->id == id) return source;
    Transaction transaction(m_database);
    if (TargetTaken(place, id, overwrite, user))
        throw StoreError(Fault::already_exists, std::string(new_path));
    auto item = NewFile(place, std::string(new_path), user);
    item.blob = source.blob;
    item.size = source.size;
    auto copied = InsertItem(item);
    m_database.Run("INSERT INTO item_values SELECT ?, name, value FROM item_values WHERE item=?", copied, id);
    m_database.Run(
        "INSERT INTO free_properties SELECT ?, space, name, value FROM free_properties WHERE item=?", copied,
        id);
    transaction.Commit();
    return RequireItem(copied);
}

}  // namespace devserver
