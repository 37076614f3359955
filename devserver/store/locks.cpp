// The store's write locks and free-form properties, for WebDAV.
// Owner: store/; any thread.
#include "base/clock.h"
#include "store/store.h"

namespace devserver {
namespace {

WriteLock ReadLock(const Statement& row) {
    WriteLock lock;
    row.Read(lock.token, lock.item, lock.user, lock.owner, lock.timeout, lock.expires);
    return lock;
}

constexpr const char* kAllLocks =
    "SELECT token, item, user, owner, timeout, expires FROM write_locks WHERE expires>?";
constexpr const char* kLockOfItem =
    "SELECT token, item, user, owner, timeout, expires FROM write_locks WHERE expires>? AND item=?";

}  // namespace

std::optional<WriteLock> Store::FindWriteLock(Id item) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(kLockOfItem, Now(), item);
    if (!row.Step()) return std::nullopt;
    return ReadLock(row);
}

std::map<Id, WriteLock> Store::WriteLocks() {
    DatabaseLock lock(m_database);
    std::map<Id, WriteLock> result;
    auto rows = m_database.query(kAllLocks, Now());
    while (rows.Step()) result[rows.integer(1)] = ReadLock(rows);
    return result;
}

bool Store::AddWriteLock(const WriteLock& record) {
    DatabaseLock lock(m_database);
    m_database.Run("DELETE FROM write_locks WHERE expires<=?", Now());
    return m_database.Run("INSERT OR IGNORE INTO write_locks VALUES (?,?,?,?,?,?)", record.item, record.token,
                          record.user, record.owner, record.timeout, record.expires) > 0;
}

void Store::ExtendWriteLock(const WriteLock& record) {
    DatabaseLock lock(m_database);
    m_database.Run("UPDATE write_locks SET timeout=?, expires=? WHERE item=? AND token=?", record.timeout,
                   record.expires, record.item, record.token);
}

void Store::DropWriteLock(Id item) {
    DatabaseLock lock(m_database);
    m_database.Run("DELETE FROM write_locks WHERE item=?", item);
}

std::vector<FreeProperty> Store::FreeProperties(Id item) {
    DatabaseLock lock(m_database);
    std::vector<FreeProperty> result;
    auto rows = m_database.query("SELECT space, name, value FROM free_properties WHERE item=?", item);
    while (rows.Step()) {
        auto& property = result.emplace_back();
        rows.Read(property.space, property.name, property.value);
    }
    return result;
}

std::map<Id, std::vector<FreeProperty>> Store::FreePropertiesBelow(Id folder) {
    DatabaseLock lock(m_database);
    std::map<Id, std::vector<FreeProperty>> result;
    auto rows = m_database.query(
        "SELECT p.item, p.space, p.name, p.value FROM free_properties p JOIN items i ON i.id=p.item WHERE "
        "i.parent=?",
        folder);
    while (rows.Step()) {
        Id item = 0;
        FreeProperty property;
        rows.Read(item, property.space, property.name, property.value);
        result[item].push_back(std::move(property));
    }
    return result;
}

void Store::ChangeProperties(Id id, const std::vector<FreeProperty>& set,
                             const std::vector<FreeProperty>& removed, const PropertyTimes& times) {
    DatabaseLock lock(m_database);
    auto item = RequireItem(id);
    Transaction transaction(m_database);
    for (const auto& property : set) {
        m_database.Run("INSERT OR REPLACE INTO free_properties VALUES (?,?,?,?)", id, property.space,
                       property.name, property.value);
    }
    for (const auto& property : removed) {
        m_database.Run("DELETE FROM free_properties WHERE item=? AND space=? AND name=?", id, property.space,
                       property.name);
    }
    if (times.modified) item.modified = *times.modified;
    if (times.attributes) item.attributes = *times.attributes;
    if (times.modified || times.attributes) Save(item);
    if (times.created) m_database.Run("UPDATE items SET created=? WHERE id=?", *times.created, id);
    transaction.Commit();
}

}  // namespace devserver
