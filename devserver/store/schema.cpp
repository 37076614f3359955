// The tables of the store.
// Owner: store/; called once when the store opens.
#include "store/store.h"

namespace devserver {

void Store::CreateSchema() {
    m_database.Execute(R"sql(
CREATE TABLE IF NOT EXISTS settings (name TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS users (
    id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE COLLATE NOCASE, login TEXT NOT NULL, title TEXT NOT NULL,
    email TEXT NOT NULL, password TEXT NOT NULL, rights INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS webs (
    id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE COLLATE NOCASE, guid TEXT NOT NULL, title TEXT NOT NULL,
    root_item INTEGER NOT NULL, created INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS libraries (
    id INTEGER PRIMARY KEY, web INTEGER NOT NULL, guid TEXT NOT NULL, title TEXT NOT NULL,
    root_item INTEGER NOT NULL, minor_versions INTEGER NOT NULL, force_checkout INTEGER NOT NULL,
    created INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS items (
    id INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT NOT NULL UNIQUE, parent INTEGER,
    library INTEGER NOT NULL, name TEXT NOT NULL COLLATE NOCASE, folder INTEGER NOT NULL,
    created INTEGER NOT NULL, modified INTEGER NOT NULL, author INTEGER NOT NULL, editor INTEGER NOT NULL,
    blob TEXT NOT NULL DEFAULT '', comment TEXT NOT NULL DEFAULT '', attributes TEXT NOT NULL DEFAULT '',
    size INTEGER NOT NULL DEFAULT 0, etag INTEGER NOT NULL DEFAULT 1, content_tag INTEGER NOT NULL DEFAULT 1,
    ui_version INTEGER NOT NULL DEFAULT 512, level INTEGER NOT NULL DEFAULT 1,
    checked_out_by INTEGER NOT NULL DEFAULT 0, checked_out_at INTEGER NOT NULL DEFAULT 0,
    recycled_from TEXT);
CREATE UNIQUE INDEX IF NOT EXISTS items_by_place ON items (parent, name);
CREATE INDEX IF NOT EXISTS items_by_library ON items (library, id);
CREATE INDEX IF NOT EXISTS items_by_blob ON items (blob);
CREATE TABLE IF NOT EXISTS versions (
    item INTEGER NOT NULL, ui_version INTEGER NOT NULL, level INTEGER NOT NULL, blob TEXT NOT NULL,
    size INTEGER NOT NULL, created INTEGER NOT NULL, author INTEGER NOT NULL, comment TEXT NOT NULL,
    PRIMARY KEY (item, ui_version));
CREATE INDEX IF NOT EXISTS versions_by_blob ON versions (blob);
CREATE TABLE IF NOT EXISTS columns (
    library INTEGER NOT NULL, name TEXT NOT NULL, title TEXT NOT NULL, kind INTEGER NOT NULL,
    type_name TEXT NOT NULL, required INTEGER NOT NULL, description TEXT NOT NULL, default_value TEXT NOT NULL,
    choices TEXT NOT NULL, max_length INTEGER NOT NULL, display_format INTEGER NOT NULL, guid TEXT NOT NULL,
    PRIMARY KEY (library, name));
CREATE TABLE IF NOT EXISTS column_traits (
    library INTEGER NOT NULL, name TEXT NOT NULL, hidden INTEGER NOT NULL, read_only INTEGER NOT NULL,
    minimum REAL, maximum REAL, PRIMARY KEY (library, name));
CREATE TABLE IF NOT EXISTS item_values (
    item INTEGER NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL, PRIMARY KEY (item, name));
CREATE TABLE IF NOT EXISTS write_locks (
    item INTEGER PRIMARY KEY, token TEXT NOT NULL, user INTEGER NOT NULL, owner TEXT NOT NULL,
    timeout INTEGER NOT NULL, expires INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS free_properties (
    item INTEGER NOT NULL, space TEXT NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL,
    PRIMARY KEY (item, space, name));
CREATE TABLE IF NOT EXISTS uploads (
    id TEXT PRIMARY KEY, item INTEGER NOT NULL, user INTEGER NOT NULL, blob TEXT NOT NULL, size INTEGER NOT NULL);
)sql");
}

}  // namespace devserver
