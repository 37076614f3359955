// Everything that the site remembers: accounts, webs, libraries, documents, versions, check-outs.
// Owner: app/main makes one; every operation locks the database and may be called from any thread.
#pragma once
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "store/blobs.h"
#include "store/database.h"
#include "store/folder_lock.h"
#include "store/records.h"

namespace devserver {

enum class Fault {
    not_found,
    already_exists,
    invalid_name,
    invalid_path,
    checked_out_by_other,
    locked,
    not_checked_out,
    must_check_out,
    no_checked_in_version,
    required_columns,
    version_not_found,
    not_allowed_here,
};

// A refusal of the store; `subject` is the path or name concerned, `who` the login of the user who blocks it.
struct StoreError : std::runtime_error {
    StoreError(Fault what, std::string about, std::string whom = {});
    Fault fault;
    std::string subject, who;
};

enum class CheckInType { minor = 0, major = 1, overwrite = 2 };

struct Upload {
    Id item = 0, user = 0;
    std::string blob;
    std::int64_t size = 0;
};

class Store {
public:
    // Throws std::runtime_error when another process uses the folder.
    explicit Store(const std::string& folder);
    // For tables of other classes.
    Database& database() { return m_database; }

    // --- Site and accounts
    void SetUpSite(const std::string& site_path, const std::string& library_title, bool force_checkout,
                   bool minor_versions);
    // The form of login names for new users.
    void UseLogins(LoginForm form) { m_login_form = form; }
    void PutUser(const std::string& name, const std::string& password, Rights rights);
    std::optional<User> UserByName(std::string_view name);  // also by login and by mail address
    std::optional<User> UserById(Id id);
    // Empty for an unknown user.
    std::string LoginOf(Id user);
    std::vector<User> users();
    std::string secret(const std::string& purpose);  // random, made once
    void RenewSecret(const std::string& purpose);
    bool IsSeeded();
    void SetSeeded();
    Web site();
    Web RootWeb();
    // The web of a server-relative path.
    Web WebOf(std::string_view path);
    std::optional<Web> WebAt(std::string_view path);
    std::vector<Library> libraries(Id web);
    std::optional<Library> library(Id id);

    // --- Tree
    std::optional<Item> Find(std::string_view path);
    std::optional<Item> item(Id id);
    std::optional<Item> ItemByGuid(std::string_view guid);
    std::vector<Item> children(const Item& folder, bool folders);
    std::vector<Item> LibraryItems(Id library, Id after, int limit);
    Item CreateFolder(std::string_view path, const User& user);
    void Remove(Id item, const User& user);
    std::string Recycle(Id item, const User& user);
    Item Move(Id item, std::string_view new_path, bool overwrite, const User& user);
    Item Copy(Id item, std::string_view new_path, bool overwrite, const User& user);

    // --- Documents
    const Blobs& blobs() const { return m_blobs; }
    // Throws when the user can't write the document now.
    void RequireWritable(const Item& file, const User& user);
    Item AddFile(std::string_view path, std::unique_ptr<BlobWriter> content, const User& user,
                 bool overwrite);
    Item AddPublished(std::string_view path, std::unique_ptr<BlobWriter> content, Seconds modified,
                      const User& user);
    // Adds `count` small files named like "file 00001.pdf" in one transaction.
    void AddMany(std::string_view folder_path, int count, const User& user);
    Item Write(Id file, std::unique_ptr<BlobWriter> content, const User& user, bool force = false,
               std::optional<Seconds> modified = {});
    Item CheckOut(Id file, const User& user);
    Item UndoCheckOut(Id file, const User& user);
    Item CheckIn(Id file, const std::string& comment, CheckInType type, const User& user);
    Item Publish(Id file, const std::string& comment, const User& user);
    Item Unpublish(Id file, const std::string& comment, const User& user);
    std::vector<Version> versions(Id file);  // older ones, oldest first
    void RemoveVersion(Id file, int ui_version, const User& user);
    Item RestoreVersion(Id file, int ui_version, const User& user);

    // --- Columns
    std::vector<Column> columns(Id library);
    void PutColumn(Id library, const Column& column);
    // Values as JSON texts by column name.
    std::map<std::string, std::string> values(Id item);
    Item SetValues(Id item, const std::map<std::string, std::string>& values, const User& user);

    // --- Write locks and free-form properties
    std::optional<WriteLock> FindWriteLock(Id item);
    std::map<Id, WriteLock> WriteLocks();
    // False when there is a lock on the item already.
    bool AddWriteLock(const WriteLock& lock);
    // Stores the lock's new timeout and end.
    void ExtendWriteLock(const WriteLock& lock);
    void DropWriteLock(Id item);
    std::vector<FreeProperty> FreeProperties(Id item);
    std::map<Id, std::vector<FreeProperty>> FreePropertiesBelow(Id folder);
    void ChangeProperties(Id item, const std::vector<FreeProperty>& set,
                          const std::vector<FreeProperty>& removed, const PropertyTimes& times);

    // --- Uploads in pieces
    void StartUpload(const std::string& id, const Upload& upload);
    std::optional<Upload> FindUpload(const std::string& id);
    void AdvanceUpload(const std::string& id, std::int64_t size);
    // Makes the pieces the document's content.
    Item FinishUpload(const std::string& id, const User& user);
    void CancelUpload(const std::string& id);

private:
    struct Place {
        Item parent;
        std::string name;
    };

    void CreateSchema();
    void LoadWebs();
    Id MakeRootItem(const std::string& name, Id parent, Id library);
    Item ReadItem(const Statement& row, const std::string& parent_path) const;
    std::string PathOf(Id item);
    Item RequireItem(Id id);
    Item RequireFile(Id id);
    Place PlaceFor(std::string_view path);
    bool HasBlob(const std::string& blob);
    void ReleaseBlob(const std::string& blob);
    void PushVersion(const Item& file);
    void BeginVersion(Item& file);
    Item ReplaceContent(Item file, const std::string& blob, std::int64_t size, Seconds modified,
                        Transaction& transaction);
    Item RequireCheckedInFile(Id id, const User& user);
    std::optional<Version> NewestVersion(Id file);
    Version RequireVersion(const Item& file, int ui_version);
    void Save(const Item& file);
    void RequireColumns(const Item& file);
    Id InsertItem(const Item& item);
    void RemoveTree(const Item& item);
    void RequireTreeFree(const Item& item, const User& user);
    void RequireMovable(const Item& item, const User& user);
    Item NewFile(const Place& place, const std::string& path, const User& user);
    Library LibraryOf(const Item& item);
    bool TargetTaken(const Place& place, Id mover, bool overwrite, const User& user);

    FolderLock m_lock;
    Database m_database;
    Blobs m_blobs;
    LoginForm m_login_form = LoginForm::membership;
    std::vector<Web> m_webs;  // longest path first
};

}  // namespace devserver
