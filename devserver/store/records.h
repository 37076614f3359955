// The plain records that the store hands out; copies, never references into it.
// Owner: store/; any thread.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/clock.h"

namespace devserver {

using Id = std::int64_t;

enum class Rights { none, read, edit };

// "i:0#.f|membership|alice@...", "i:0#.w|contoso\\alice" and "CONTOSO\\alice".
enum class LoginForm { membership, windows, classic };

struct User {
    Id id = 0;
    std::string name, login, title, email, password;
    Rights rights = Rights::edit;
};

struct Web {
    Id id = 0;
    std::string path;  // without slashes at its ends; empty for the root web
    std::string guid, title;
    Id root_item = 0;
    Seconds created = 0;
    std::string ServerRelativeUrl() const { return "/" + path; }
};

struct Library {
    Id id = 0, web = 0, root_item = 0;
    std::string guid, title;
    bool minor_versions = true, force_checkout = false;
    Seconds created = 0;
};

namespace level {
constexpr int kPublished = 1, kDraft = 2, kCheckedOut = 255;
}

struct Item {
    Id id = 0, parent = 0, library = 0;
    std::string guid, name, path;  // path begins with '/'
    bool folder = false;
    Seconds created = 0, modified = 0;
    Id author = 0, editor = 0;
    // Files alone:
    std::string blob, comment, attributes;
    std::int64_t size = 0, etag = 1, content_tag = 1;
    int ui_version = 512, level = level::kPublished;
    Id checked_out_by = 0;
    Seconds checked_out_at = 0;
    // Folders alone:
    std::int64_t child_count = 0;

    int major() const { return ui_version / 512; }
    int minor() const { return ui_version % 512; }
    // Win32's attributes as eight hexadecimal digits; by default those of a folder or an archived file.
    std::string Win32Attributes() const {
        if (!attributes.empty()) return attributes;
        return folder ? "00000010" : "00000020";
    }
    std::string VersionLabel() const { return std::to_string(major()) + "." + std::to_string(minor()); }
};

// The entity tag of an item, quoted, as every protocol shows it.
std::string EtagOf(const Item& item);
std::string ResourceTagOf(const Item& item);

struct Version {
    int ui_version = 512, level = level::kPublished;
    std::string blob, comment;
    std::int64_t size = 0;
    Seconds created = 0;
    Id author = 0;
    std::string label() const {
        return std::to_string(ui_version / 512) + "." + std::to_string(ui_version % 512);
    }
};

struct Column {
    std::string name, title, type_name, group, description, default_value;
    int kind = 2;
    bool required = false, read_only = false, hidden = false, from_base = false;
    std::vector<std::string> choices;
    int max_length = -1, display_format = -1;
    std::optional<double> minimum, maximum;  // of numbers
    std::string guid;
};

// A write lock on a document; a check-out isn't one of these.
struct WriteLock {
    std::string token, owner;  // `owner` is the text that the client gave, as XML content
    Id item = 0, user = 0;
    int timeout = 0;  // seconds
    Seconds expires = 0;
};

// A property that the server only stores for clients; the value is XML content.
struct FreeProperty {
    std::string space, name, value;
};

struct PropertyTimes {
    std::optional<Seconds> created, modified;
    std::optional<std::string> attributes;
};

}  // namespace devserver
