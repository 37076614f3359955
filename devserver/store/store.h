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
    StoreError(Fault what, std::string about, std::string whom = {})
        : std::runtime_error("store refused: " + about),
          fault(what),
          subject(std::move(about)),
          who(std::move(whom)) {}
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
    explicit Store(const std::string& folder);
    // For tables of other classes.
    Database& database() { return m_database; }

    // --- Site and accounts
    void set_up_site(const std::string& site_path, const std::string& library_title, bool force_checkout,
                     bool minor_versions);
    // The form of login names for new users.
    void use_logins(LoginForm form) { m_login_form = form; }
    void put_user(const std::string& name, const std::string& password, Rights rights);
    std::optional<User> user_by_name(std::string_view name);  // also by login and by mail address
    std::optional<User> user_by_id(Id id);
    // Empty for an unknown user.
    std::string login_of(Id user);
    std::vector<User> users();
    std::string secret(const std::string& purpose);  // random, made once
    void renew_secret(const std::string& purpose);
    bool is_seeded();
    void set_seeded();
    Web site();
    Web root_web();
    // The web of a server-relative path.
    Web web_of(std::string_view path);
    std::optional<Web> web_at(std::string_view path);
    std::vector<Library> libraries(Id web);
    std::optional<Library> library(Id id);

    // --- Tree
    std::optional<Item> find(std::string_view path);
    std::optional<Item> item(Id id);
    std::optional<Item> item_by_guid(std::string_view guid);
    std::vector<Item> children(const Item& folder, bool folders);
    std::vector<Item> library_items(Id library, Id after, int limit);
    Item create_folder(std::string_view path, const User& user);
    void remove(Id item, const User& user);
    std::string recycle(Id item, const User& user);
    Item move(Id item, std::string_view new_path, bool overwrite, const User& user);
    Item copy(Id item, std::string_view new_path, bool overwrite, const User& user);

    // --- Documents
    const Blobs& blobs() const { return m_blobs; }
    // Throws when the user can't write the document now.
    void require_writable(const Item& file, const User& user);
    Item add_file(std::string_view path, std::unique_ptr<BlobWriter> content, const User& user,
                  bool overwrite);
    Item add_published(std::string_view path, std::unique_ptr<BlobWriter> content, Seconds modified,
                       const User& user);
    // Adds `count` small files named like "file 00001.pdf" in one transaction.
    void add_many(std::string_view folder_path, int count, const User& user);
    Item write(Id file, std::unique_ptr<BlobWriter> content, const User& user, bool force = false,
               std::optional<Seconds> modified = {});
    Item check_out(Id file, const User& user);
    Item undo_check_out(Id file, const User& user);
    Item check_in(Id file, const std::string& comment, CheckInType type, const User& user);
    Item publish(Id file, const std::string& comment, const User& user);
    Item unpublish(Id file, const std::string& comment, const User& user);
    std::vector<Version> versions(Id file);  // older ones, oldest first
    void remove_version(Id file, int ui_version, const User& user);
    Item restore_version(Id file, int ui_version, const User& user);

    // --- Columns
    std::vector<Column> columns(Id library);
    void put_column(Id library, const Column& column);
    // Values as JSON texts by column name.
    std::map<std::string, std::string> values(Id item);
    Item set_values(Id item, const std::map<std::string, std::string>& values, const User& user);

    // --- Write locks and free-form properties
    std::optional<WriteLock> write_lock(Id item);
    std::map<Id, WriteLock> write_locks();
    // False when there is a lock on the item already.
    bool add_write_lock(const WriteLock& lock);
    // Stores the lock's new timeout and end.
    void extend_write_lock(const WriteLock& lock);
    void drop_write_lock(Id item);
    std::vector<FreeProperty> free_properties(Id item);
    std::map<Id, std::vector<FreeProperty>> free_properties_below(Id folder);
    void change_properties(Id item, const std::vector<FreeProperty>& set,
                           const std::vector<FreeProperty>& removed, const PropertyTimes& times);

    // --- Uploads in pieces
    void start_upload(const std::string& id, const Upload& upload);
    std::optional<Upload> upload(const std::string& id);
    void advance_upload(const std::string& id, std::int64_t size);
    // Makes the pieces the document's content.
    Item finish_upload(const std::string& id, const User& user);
    void cancel_upload(const std::string& id);

private:
    struct Place {
        Item parent;
        std::string name;
    };

    void create_schema();
    void load_webs();
    Id make_root_item(const std::string& name, Id parent, Id library);
    Item read_item(const Statement& row, const std::string& parent_path) const;
    std::string path_of(Id item);
    Item require_item(Id id);
    Item require_file(Id id);
    Place place_for(std::string_view path);
    bool has_blob(const std::string& blob);
    void release_blob(const std::string& blob);
    void push_version(const Item& file);
    void begin_version(Item& file);
    Item replace_content(Item file, const std::string& blob, std::int64_t size, Seconds modified,
                         Transaction& transaction);
    void require_checked_in(const Item& file);
    std::optional<Version> newest_version(Id file);
    void save(const Item& file);
    void require_columns(const Item& file);
    Id insert_item(const Item& item);
    void remove_tree(const Item& item);
    void require_tree_free(const Item& item, const User& user);
    void require_movable(const Item& item, const User& user);
    Item new_file(const Place& place, const std::string& path, const User& user);
    Library library_of(const Item& item);
    bool target_taken(const Place& place, Id mover, bool overwrite, const User& user);

    Database m_database;
    Blobs m_blobs;
    LoginForm m_login_form = LoginForm::membership;
    std::vector<Web> m_webs;  // longest path first
};

}  // namespace devserver
