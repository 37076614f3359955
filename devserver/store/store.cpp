#include "store/store.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

std::string prepare_folder(const std::string& folder) {
    std::filesystem::create_directories(folder);
    ::chmod(folder.c_str(), 0700);
    return folder + "/site.db";
}

std::string display_name(std::string name) {
    if (!name.empty() && name[0] >= 'a' && name[0] <= 'z') name[0] = static_cast<char>(name[0] - 32);
    return name;
}

User read_user(const Statement& row) {
    User user;
    row.read(user.id, user.name, user.login, user.title, user.email, user.password, user.rights);
    return user;
}

#define SELECT_USERS "SELECT id, name, login, title, email, password, rights FROM users "

constexpr const char* mail_domain = "contoso.example";

Library read_library(const Statement& row) {
    Library library;
    row.read(library.id, library.web, library.root_item, library.guid, library.title, library.minor_versions,
             library.force_checkout, library.created);
    return library;
}

#define SELECT_LIBRARIES \
    "SELECT id, web, root_item, guid, title, minor_versions, force_checkout, created FROM libraries "

std::string make_login(LoginForm form, const std::string& name) {
    if (form == LoginForm::windows) return "i:0#.w|contoso\\" + to_lower(name);
    if (form == LoginForm::classic) return "CONTOSO\\" + name;
    return "i:0#.f|membership|" + to_lower(name + "@" + mail_domain);
}

}  // namespace

Store::Store(const std::string& folder) : m_database(prepare_folder(folder)), m_blobs(folder + "/documents") {
    create_schema();
    m_blobs.sweep([this](const std::string& name) { return has_blob(name); });
    load_webs();
}

void Store::load_webs() {
    m_webs.clear();
    auto rows = m_database.query("SELECT id, path, guid, title, root_item, created FROM webs");
    while (rows.step()) {
        auto& web = m_webs.emplace_back();
        rows.read(web.id, web.path, web.guid, web.title, web.root_item, web.created);
    }
    std::stable_sort(m_webs.begin(), m_webs.end(),
                     [](const Web& a, const Web& b) { return a.path.size() > b.path.size(); });
}

Id Store::make_root_item(const std::string& name, Id parent, Id library) {
    Item item;
    item.guid = random_guid();
    item.parent = parent;
    item.library = library;
    item.name = name;
    item.folder = true;
    item.created = item.modified = now();
    item.author = item.editor = 1;
    return insert_item(item);
}

void Store::set_up_site(const std::string& site_path, const std::string& library_title, bool force_checkout,
                        bool minor_versions) {
    DatabaseLock lock(m_database);
    Transaction transaction(m_database);
    for (const std::string& path : {std::string(), site_path}) {
        if (std::any_of(m_webs.begin(), m_webs.end(),
                        [&](const Web& web) { return equals_ignoring_case(web.path, path); }))
            continue;
        auto name = path.substr(path.rfind('/') + 1);
        auto title = path.empty() ? "Home" : display_name(name);
        auto root = make_root_item(name, 0, 0);
        m_database.run("INSERT INTO webs (path, guid, title, root_item, created) VALUES (?,?,?,?,?)", path,
                       random_guid(), title, root, now());
        auto web = m_database.last_id();
        m_database.run(
            "INSERT INTO libraries (web, guid, title, root_item, minor_versions, force_checkout, created) "
            "VALUES (?,?,?,0,?,?,?)",
            web, random_guid(), library_title == "Shared Documents" ? "Documents" : library_title,
            minor_versions, force_checkout, now());
        auto library = m_database.last_id();
        auto folder = make_root_item(library_title, root, library);
        m_database.run("UPDATE libraries SET root_item=? WHERE id=?", folder, library);
        load_webs();
    }
    m_database.run("INSERT OR REPLACE INTO settings VALUES ('site', ?)", site_path);
    auto site_web = site().id;
    m_database.run("UPDATE libraries SET force_checkout=?, minor_versions=? WHERE web=?", force_checkout,
                   minor_versions, site_web);
    transaction.commit();
}

void Store::put_user(const std::string& name, const std::string& password, Rights rights) {
    DatabaseLock lock(m_database);
    auto email = name + "@" + mail_domain;
    m_database.run(
        "INSERT INTO users (name, login, title, email, password, rights) VALUES (?,?,?,?,?,?) "
        "ON CONFLICT (name) DO UPDATE SET password=excluded.password, rights=excluded.rights",
        name, make_login(m_login_form, name), display_name(name), email, password, static_cast<int>(rights));
}

std::optional<User> Store::user_by_name(std::string_view name) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(
        SELECT_USERS "WHERE name=?1 OR login=?1 COLLATE NOCASE OR email=?1 COLLATE NOCASE", name);
    if (!row.step()) return std::nullopt;
    return read_user(row);
}

std::optional<User> Store::user_by_id(Id id) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(SELECT_USERS "WHERE id=?", id);
    if (!row.step()) return std::nullopt;
    return read_user(row);
}

std::vector<User> Store::users() {
    DatabaseLock lock(m_database);
    std::vector<User> result;
    auto rows = m_database.query(SELECT_USERS "ORDER BY id");
    while (rows.step()) result.push_back(read_user(rows));
    return result;
}

std::string Store::login_of(Id user) {
    DatabaseLock lock(m_database);
    auto record = user_by_id(user);
    return record ? record->login : std::string();
}

std::string Store::secret(const std::string& purpose) {
    DatabaseLock lock(m_database);
    {
        auto row = m_database.query("SELECT value FROM settings WHERE name=?", "secret:" + purpose);
        if (row.step()) return row.text(0);
    }
    renew_secret(purpose);
    return secret(purpose);
}

void Store::renew_secret(const std::string& purpose) {
    DatabaseLock lock(m_database);
    m_database.run("INSERT OR REPLACE INTO settings VALUES (?, ?)", "secret:" + purpose,
                   hex_encode(random_bytes(32)));
}

bool Store::is_seeded() {
    DatabaseLock lock(m_database);
    return m_database.query("SELECT 1 FROM settings WHERE name='seeded'").step();
}

void Store::set_seeded() {
    DatabaseLock lock(m_database);
    m_database.run("INSERT OR REPLACE INTO settings VALUES ('seeded', '1')");
}

Web Store::site() {
    DatabaseLock lock(m_database);
    std::string path;
    {
        auto row = m_database.query("SELECT value FROM settings WHERE name='site'");
        if (row.step()) path = row.text(0);
    }
    return web_at(path).value();
}

Web Store::root_web() {
    return web_at("").value();
}

std::optional<Web> Store::web_at(std::string_view path) {
    DatabaseLock lock(m_database);
    while (!path.empty() && path.front() == '/') path.remove_prefix(1);
    while (!path.empty() && path.back() == '/') path.remove_suffix(1);
    for (const auto& web : m_webs)
        if (equals_ignoring_case(web.path, path)) return web;
    return std::nullopt;
}

Web Store::web_of(std::string_view path) {
    DatabaseLock lock(m_database);
    while (!path.empty() && path.front() == '/') path.remove_prefix(1);
    for (const auto& web : m_webs) {
        if (!starts_with_ignoring_case(path, web.path)) continue;
        if (web.path.empty() || path.size() == web.path.size() || path[web.path.size()] == '/') return web;
    }
    throw std::runtime_error("the store has no root web");
}

std::vector<Library> Store::libraries(Id web) {
    DatabaseLock lock(m_database);
    std::vector<Library> result;
    auto rows = m_database.query(SELECT_LIBRARIES "WHERE web=? ORDER BY id", web);
    while (rows.step()) result.push_back(read_library(rows));
    return result;
}

std::optional<Library> Store::library(Id id) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(SELECT_LIBRARIES "WHERE id=?", id);
    if (!row.step()) return std::nullopt;
    return read_library(row);
}

Library Store::library_of(const Item& item) {
    return library(item.library).value_or(Library{});
}

}  // namespace devserver
