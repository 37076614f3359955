// The store's write locks and free-form properties, for WebDAV.
// Owner: store/; any thread.
#include "base/clock.h"
#include "store/store.h"

namespace devserver {
namespace {

WriteLock read_lock(const Statement& row) {
    WriteLock lock;
    row.read(lock.token, lock.item, lock.user, lock.owner, lock.timeout, lock.expires);
    return lock;
}

constexpr const char* all_locks =
    "SELECT token, item, user, owner, timeout, expires FROM write_locks WHERE expires>?";
constexpr const char* lock_of_item =
    "SELECT token, item, user, owner, timeout, expires FROM write_locks WHERE expires>? AND item=?";

}  // namespace

std::optional<WriteLock> Store::write_lock(Id item) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(lock_of_item, now(), item);
    if (!row.step()) return std::nullopt;
    return read_lock(row);
}

std::map<Id, WriteLock> Store::write_locks() {
    DatabaseLock lock(m_database);
    std::map<Id, WriteLock> result;
    auto rows = m_database.query(all_locks, now());
    while (rows.step()) result[rows.integer(1)] = read_lock(rows);
    return result;
}

bool Store::add_write_lock(const WriteLock& record) {
    DatabaseLock lock(m_database);
    m_database.run("DELETE FROM write_locks WHERE expires<=?", now());
    return m_database.run("INSERT OR IGNORE INTO write_locks VALUES (?,?,?,?,?,?)", record.item, record.token,
                          record.user, record.owner, record.timeout, record.expires) > 0;
}

void Store::extend_write_lock(const WriteLock& record) {
    DatabaseLock lock(m_database);
    m_database.run("UPDATE write_locks SET timeout=?, expires=? WHERE item=? AND token=?", record.timeout,
                   record.expires, record.item, record.token);
}

void Store::drop_write_lock(Id item) {
    DatabaseLock lock(m_database);
    m_database.run("DELETE FROM write_locks WHERE item=?", item);
}

std::vector<FreeProperty> Store::free_properties(Id item) {
    DatabaseLock lock(m_database);
    std::vector<FreeProperty> result;
    auto rows = m_database.query("SELECT space, name, value FROM free_properties WHERE item=?", item);
    while (rows.step()) {
        auto& property = result.emplace_back();
        rows.read(property.space, property.name, property.value);
    }
    return result;
}

std::map<Id, std::vector<FreeProperty>> Store::free_properties_below(Id folder) {
    DatabaseLock lock(m_database);
    std::map<Id, std::vector<FreeProperty>> result;
    auto rows = m_database.query(
        "SELECT p.item, p.space, p.name, p.value FROM free_properties p JOIN items i ON i.id=p.item WHERE "
        "i.parent=?",
        folder);
    while (rows.step()) {
        Id item = 0;
        FreeProperty property;
        rows.read(item, property.space, property.name, property.value);
        result[item].push_back(std::move(property));
    }
    return result;
}

void Store::change_properties(Id id, const std::vector<FreeProperty>& set,
                              const std::vector<FreeProperty>& removed, const PropertyTimes& times) {
    DatabaseLock lock(m_database);
    auto item = require_item(id);
    Transaction transaction(m_database);
    for (const auto& property : set)
        m_database.run("INSERT OR REPLACE INTO free_properties VALUES (?,?,?,?)", id, property.space,
                       property.name, property.value);
    for (const auto& property : removed)
        m_database.run("DELETE FROM free_properties WHERE item=? AND space=? AND name=?", id, property.space,
                       property.name);
    if (times.modified) item.modified = *times.modified;
    if (times.attributes) item.attributes = *times.attributes;
    if (times.modified || times.attributes) save(item);
    if (times.created) m_database.run("UPDATE items SET created=? WHERE id=?", *times.created, id);
    transaction.commit();
}

}  // namespace devserver
