// The properties of a file or folder as such servers write them, with the prefixes they use.
// Owner: dav/; a request's thread alone.
#pragma once
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/xml.h"
#include "store/store.h"

namespace devserver::dav {

inline constexpr const char* dav_space = "DAV:";
inline constexpr const char* win32_space = "urn:schemas-microsoft-com:";
inline constexpr const char* office_space = "urn:schemas-microsoft-com:office:office";
inline constexpr const char* repl_space = "http://schemas.microsoft.com/repl/";

enum class Asked { all, names, some };

// The root element of a body, which must be this one of "DAV:"; throws DavError 400.
pugi::xml_node parse_body(pugi::xml_document& document, const std::string& body, std::string_view root_name);

// What a PROPFIND asks for.
struct PropertyRequest {
    Asked asked = Asked::all;
    std::vector<xml::Name> names;
    // Throws DavError 400 for a body that isn't a propfind.
    static PropertyRequest parse(const std::string& body);
};

// Writes one D:response after the other; reads users and locks once for all of them.
class PropertyWriter {
public:
    PropertyWriter(Store& store, std::string server_url, bool relative_hrefs);
    void use_free_properties(std::map<Id, std::vector<FreeProperty>> properties);
    std::string response(const Item& item, const PropertyRequest& request);
    // The D:lockdiscovery element of an item.
    std::string lock_discovery(const Item& item);
    std::string href(const std::string& path) const;
    static std::string multistatus_begin();
    static std::string multistatus_end() { return "</D:multistatus>"; }
    // "HTTP/1.1 423 LOCKED" and the like.
    static std::string status_line(int status);

private:
    using Getter = std::optional<std::string> (PropertyWriter::*)(const Item&);
    struct Live {
        const char* space;
        const char* name;
        Getter getter;
    };
    static const std::vector<Live>& live();
    static bool is_live(const xml::Name& name);
    friend bool is_protected(const xml::Name& name);

    std::optional<std::string> display_name(const Item& item);
    std::optional<std::string> locks(const Item& item);
    std::optional<std::string> supported_locks(const Item& item);
    std::optional<std::string> is_folder(const Item& item);
    std::optional<std::string> is_collection(const Item& item);
    std::optional<std::string> is_hidden(const Item& item);
    std::optional<std::string> content_type(const Item& item);
    std::optional<std::string> content_length(const Item& item);
    std::optional<std::string> resource_type(const Item& item);
    std::optional<std::string> last_modified(const Item& item);
    std::optional<std::string> creation_date(const Item& item);
    std::optional<std::string> entity_tag(const Item& item);
    std::optional<std::string> repl_uid(const Item& item);
    std::optional<std::string> resource_tag(const Item& item);
    std::optional<std::string> modified_by(const Item& item);
    std::optional<std::string> win32_created(const Item& item);
    std::optional<std::string> win32_attributes(const Item& item);

    const std::string& login(Id user);
    std::vector<FreeProperty> free_of(const Item& item);
    std::string found_of(const Item& item, const PropertyRequest& request, std::string& missing);

    Store& m_store;
    std::string m_server_url;
    bool m_relative;
    std::unordered_map<Id, std::string> m_logins;
    std::map<Id, WriteLock> m_locks;
    std::optional<std::map<Id, std::vector<FreeProperty>>> m_free;
};

// A property as an element with the prefix that such servers use for its namespace.
std::string property_element(const xml::Name& name, const std::string& content);
// Whether clients may not set the property.
bool is_protected(const xml::Name& name);
// A token of the form that such servers give to locks.
std::string lock_token(const std::string& guid, Seconds time);
// The lock token of a check-out.
std::string check_out_token(const Item& item);

}  // namespace devserver::dav
