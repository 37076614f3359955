#include "store/store.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

std::string PrepareFolder(const std::string& folder) {
    std::filesystem::create_directories(folder);
    ::chmod(folder.c_str(), 0700);
    return folder;
}

const char* ReasonOf(Fault fault) {
    switch (fault) {
        case Fault::not_found:
            return "there is nothing of this name";
        case Fault::already_exists:
            return "there is something of this name already";
        case Fault::invalid_name:
            return "a name that a site doesn't take";
        case Fault::invalid_path:
            return "not a path of the site";
        case Fault::checked_out_by_other:
            return "checked out by somebody else";
        case Fault::locked:
            return "locked by somebody else";
        case Fault::not_checked_out:
            return "not checked out";
        case Fault::must_check_out:
            return "must be checked out first";
        case Fault::no_checked_in_version:
            return "no version to go back to";
        case Fault::required_columns:
            return "a required column is empty";
        case Fault::version_not_found:
            return "there is no such version";
        case Fault::not_allowed_here:
            return "not possible at this place";
    }
    return "refused";
}

std::string DisplayName(std::string name) {
    if (!name.empty() && name[0] >= 'a' && name[0] <= 'z') name[0] = static_cast<char>(name[0] - 32);
    return name;
}

User ReadUser(const Statement& row) {
    User user;
    row.Read(user.id, user.name, user.login, user.title, user.email, user.password, user.rights);
    return user;
}

#define SELECT_USERS "SELECT id, name, login, title, email, password, rights FROM users "

constexpr const char* kMailDomain = "contoso.example";

Library ReadLibrary(const Statement& row) {
    Library library;
    row.Read(library.id, library.web, library.root_item, library.guid, library.title, library.minor_versions,
             library.force_checkout, library.created);
    return library;
}

#define SELECT_LIBRARIES \
    "SELECT id, web, root_item, guid, title, minor_versions, force_checkout, created FROM libraries "

std::string MakeLogin(LoginForm form, const std::string& name) {
    if (form == LoginForm::windows) return "i:0#.w|contoso\\" + ToLower(name);
    if (form == LoginForm::classic) return "CONTOSO\\" + name;
    return "i:0#.f|membership|" + ToLower(name + "@" + kMailDomain);
}

}  // namespace

StoreError::StoreError(Fault what, std::string about, std::string whom)
    : std::runtime_error(about + ": " + ReasonOf(what)),
      fault(what),
      subject(std::move(about)),
      who(std::move(whom)) {}

Store::Store(const std::string& folder)
    : m_lock(PrepareFolder(folder)), m_database(folder + "/site.db"), m_blobs(folder + "/documents") {
    CreateSchema();
    m_blobs.Sweep([this](const std::string& name) { return HasBlob(name); });
    LoadWebs();
}

void Store::LoadWebs() {
    m_webs.clear();
    auto rows = m_database.query("SELECT id, path, guid, title, root_item, created FROM webs");
    while (rows.Step()) {
        auto& web = m_webs.emplace_back();
        rows.Read(web.id, web.path, web.guid, web.title, web.root_item, web.created);
    }
    std::stable_sort(m_webs.begin(), m_webs.end(),
                     [](const Web& a, const Web& b) { return a.path.size() > b.path.size(); });
}

Id Store::MakeRootItem(const std::string& name, Id parent, Id library) {
    Item item;
    item.guid = RandomGuid();
    item.parent = parent;
    item.library = library;
    item.name = name;
    item.folder = true;
    item.created = item.modified = Now();
    item.author = item.editor = 1;
    return InsertItem(item);
}

void Store::SetUpSite(const std::string& site_path, const std::string& library_title, bool force_checkout,
                      bool minor_versions) {
    DatabaseLock lock(m_database);
    Transaction transaction(m_database);
    for (const std::string& path : {std::string(), site_path}) {
        if (std::any_of(m_webs.begin(), m_webs.end(),
                        [&](const Web& web) { return EqualsIgnoringCase(web.path, path); }))
            continue;
        auto name = path.substr(path.rfind('/') + 1);
        auto title = path.empty() ? "Home" : DisplayName(name);
        auto root = MakeRootItem(name, 0, 0);
        m_database.Run("INSERT INTO webs (path, guid, title, root_item, created) VALUES (?,?,?,?,?)", path,
                       RandomGuid(), title, root, Now());
        auto web = m_database.LastId();
        m_database.Run(
            "INSERT INTO libraries (web, guid, title, root_item, minor_versions, force_checkout, created) "
            "VALUES (?,?,?,0,?,?,?)",
            web, RandomGuid(), library_title == "Shared Documents" ? "Documents" : library_title,
            minor_versions, force_checkout, Now());
        auto library = m_database.LastId();
        auto folder = MakeRootItem(library_title, root, library);
        m_database.Run("UPDATE libraries SET root_item=? WHERE id=?", folder, library);
        LoadWebs();
    }
    m_database.Run("INSERT OR REPLACE INTO settings VALUES ('site', ?)", site_path);
    auto site_web = site().id;
    m_database.Run("UPDATE libraries SET force_checkout=?, minor_versions=? WHERE web=?", force_checkout,
                   minor_versions, site_web);
    transaction.Commit();
}

void Store::PutUser(const std::string& name, const std::string& password, Rights rights) {
    DatabaseLock lock(m_database);
    auto email = name + "@" + kMailDomain;
    m_database.Run(
        "INSERT INTO users (name, login, title, email, password, rights) VALUES (?,?,?,?,?,?) "
        "ON CONFLICT (name) DO UPDATE SET password=excluded.password, rights=excluded.rights",
        name, MakeLogin(m_login_form, name), DisplayName(name), email, password, static_cast<int>(rights));
}

std::optional<User> Store::UserByName(std::string_view name) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(
        SELECT_USERS "WHERE name=?1 OR login=?1 COLLATE NOCASE OR email=?1 COLLATE NOCASE", name);
    if (!row.Step()) return std::nullopt;
    return ReadUser(row);
}

std::optional<User> Store::UserById(Id id) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(SELECT_USERS "WHERE id=?", id);
    if (!row.Step()) return std::nullopt;
    return ReadUser(row);
}

std::vector<User> Store::users() {
    DatabaseLock lock(m_database);
    std::vector<User> result;
    auto rows = m_database.query(SELECT_USERS "ORDER BY id");
    while (rows.Step()) result.push_back(ReadUser(rows));
    return result;
}

std::string Store::LoginOf(Id user) {
    DatabaseLock lock(m_database);
    auto record = UserById(user);
    return record ? record->login : std::string();
}

std::string Store::secret(const std::string& purpose) {
    DatabaseLock lock(m_database);
    {
        auto row = m_database.query("SELECT value FROM settings WHERE name=?", "secret:" + purpose);
        if (row.Step()) return row.text(0);
    }
    RenewSecret(purpose);
    return secret(purpose);
}

void Store::RenewSecret(const std::string& purpose) {
    DatabaseLock lock(m_database);
    m_database.Run("INSERT OR REPLACE INTO settings VALUES (?, ?)", "secret:" + purpose,
                   HexEncode(RandomBytes(32)));
}

bool Store::IsSeeded() {
    DatabaseLock lock(m_database);
    return m_database.query("SELECT 1 FROM settings WHERE name='seeded'").Step();
}

void Store::SetSeeded() {
    DatabaseLock lock(m_database);
    m_database.Run("INSERT OR REPLACE INTO settings VALUES ('seeded', '1')");
}

Web Store::site() {
    DatabaseLock lock(m_database);
    std::string path;
    {
        auto row = m_database.query("SELECT value FROM settings WHERE name='site'");
        if (row.Step()) path = row.text(0);
    }
    return WebAt(path).value();
}

Web Store::RootWeb() {
    return WebAt("").value();
}

std::optional<Web> Store::WebAt(std::string_view path) {
    DatabaseLock lock(m_database);
    while (!path.empty() && path.front() == '/') path.remove_prefix(1);
    while (!path.empty() && path.back() == '/') path.remove_suffix(1);
    for (const auto& web : m_webs)
        if (EqualsIgnoringCase(web.path, path)) return web;
    return std::nullopt;
}

Web Store::WebOf(std::string_view path) {
    DatabaseLock lock(m_database);
    while (!path.empty() && path.front() == '/') path.remove_prefix(1);
    for (const auto& web : m_webs) {
        if (!StartsWithIgnoringCase(path, web.path)) continue;
        if (web.path.empty() || path.size() == web.path.size() || path[web.path.size()] == '/') return web;
    }
    throw std::runtime_error("the store has no root web");
}

std::vector<Library> Store::libraries(Id web) {
    DatabaseLock lock(m_database);
    std::vector<Library> result;
    auto rows = m_database.query(SELECT_LIBRARIES "WHERE web=? ORDER BY id", web);
    while (rows.Step()) result.push_back(ReadLibrary(rows));
    return result;
}

std::optional<Library> Store::library(Id id) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(SELECT_LIBRARIES "WHERE id=?", id);
    if (!row.Step()) return std::nullopt;
    return ReadLibrary(row);
}

Library Store::LibraryOf(const Item& item) {
    return library(item.library).value_or(Library{});
}

}  // namespace devserver
