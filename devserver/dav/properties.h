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

inline constexpr const char* kDavSpace = "DAV:";
inline constexpr const char* kWin32Space = "urn:schemas-microsoft-com:";
inline constexpr const char* kOfficeSpace = "urn:schemas-microsoft-com:office:office";
inline constexpr const char* kReplSpace = "http://schemas.microsoft.com/repl/";

enum class Asked { all, names, some };

// The root element of a body, which must be this one of "DAV:"; throws DavError 400.
pugi::xml_node ParseBody(pugi::xml_document& document, const std::string& body, std::string_view root_name);

// What a PROPFIND asks for.
struct PropertyRequest {
    Asked asked = Asked::all;
    std::vector<xml::Name> names;
    // Throws DavError 400 for a body that isn't a propfind.
    static PropertyRequest Parse(const std::string& body);
};

// Writes one D:response after the other; reads users and locks once for all of them.
class PropertyWriter {
public:
    PropertyWriter(Store& store, std::string server_url, bool relative_hrefs);
    void UseFreeProperties(std::map<Id, std::vector<FreeProperty>> properties);
    std::string response(const Item& item, const PropertyRequest& request);
    // The D:lockdiscovery element of an item.
    std::string LockDiscovery(const Item& item);
    std::string href(const std::string& path) const;
    static std::string MultistatusBegin();
    static std::string MultistatusEnd() { return "</D:multistatus>"; }
    // "HTTP/1.1 423 LOCKED" and the like.
    static std::string StatusLine(int status);

private:
    using Getter = std::optional<std::string> (PropertyWriter::*)(const Item&);
    struct Live {
        const char* space;
        const char* name;
        Getter getter;
    };
    static const std::vector<Live>& LiveProperties();
    static bool IsLive(const xml::Name& name);
    friend bool IsProtected(const xml::Name& name);

    std::optional<std::string> DisplayName(const Item& item);
    std::optional<std::string> locks(const Item& item);
    std::optional<std::string> SupportedLocks(const Item& item);
    std::optional<std::string> IsFolder(const Item& item);
    std::optional<std::string> IsCollection(const Item& item);
    std::optional<std::string> IsHidden(const Item& item);
    std::optional<std::string> ContentType(const Item& item);
    std::optional<std::string> ContentLength(const Item& item);
    std::optional<std::string> ResourceType(const Item& item);
    std::optional<std::string> LastModified(const Item& item);
    std::optional<std::string> CreationDate(const Item& item);
    std::optional<std::string> EntityTag(const Item& item);
    std::optional<std::string> ReplUid(const Item& item);
    std::optional<std::string> ResourceTag(const Item& item);
    std::optional<std::string> ModifiedBy(const Item& item);
    std::optional<std::string> Win32Created(const Item& item);
    std::optional<std::string> Win32Attributes(const Item& item);

    const std::string& login(Id user);
    std::vector<FreeProperty> FreeOf(const Item& item);
    std::string FoundOf(const Item& item, const PropertyRequest& request, std::string& missing);

    Store& m_store;
    std::string m_server_url;
    bool m_relative;
    std::unordered_map<Id, std::string> m_logins;
    std::map<Id, WriteLock> m_locks;
    std::optional<std::map<Id, std::vector<FreeProperty>>> m_free;
};

// A property as an element with the prefix that such servers use for its namespace.
std::string PropertyElement(const xml::Name& name, const std::string& content);
// Whether clients may not set the property.
bool IsProtected(const xml::Name& name);
// A token of the form that such servers give to locks.
std::string LockToken(const std::string& guid, Seconds time);
// The lock token of a check-out.
std::string CheckOutToken(const Item& item);

}  // namespace devserver::dav
