#include "dav/properties.h"

#include <algorithm>

#include "base/text.h"
#include "content/documents.h"
#include "dav/dav_error.h"

namespace devserver::dav {
namespace {

using Text = std::optional<std::string>;

struct PrefixRow {
    std::string_view space, prefix;
};
constexpr PrefixRow kPrefixes[] = {
    {kDavSpace, "D"}, {kWin32Space, "Z"}, {kOfficeSpace, "Office"}, {kReplSpace, "Repl"}};

std::string ActiveLock(const std::string& owner, const std::string& token, const std::string& timeout) {
    return "<D:activelock><D:locktype><D:write/></D:locktype><D:lockscope><D:exclusive/></D:lockscope>"
           "<D:depth>0</D:depth><D:owner>" +
           owner + "</D:owner><D:timeout>" + timeout + "</D:timeout><D:locktoken><D:href>" +
           xml::Escape(token) + "</D:href></D:locktoken></D:activelock>";
}

}  // namespace

std::string PropertyElement(const xml::Name& name, const std::string& content) {
    auto prefix =
        std::ranges::find_if(kPrefixes, [&](const PrefixRow& row) { return row.space == name.space; });
    bool known = prefix != std::end(kPrefixes);
    auto tag = known ? std::string(prefix->prefix) + ":" + name.local
                     : (name.space.empty() ? name.local : "P:" + name.local);
    auto out = "<" + tag;
    if (!known && !name.space.empty()) out += " xmlns:P=\"" + xml::Escape(name.space) + "\"";
    return out + (content.empty() ? "/>" : ">" + content + "</" + tag + ">");
}

std::string LockToken(const std::string& guid, Seconds time) {
    auto digits = IsoTime(time);
    std::erase_if(digits, [](char c) { return c == '-' || c == ':'; });
    return "opaquelocktoken:{" + ToUpper(guid) + "}" + digits;
}

std::string CheckOutToken(const Item& item) {
    return LockToken(item.guid, item.checked_out_at);
}

pugi::xml_node ParseBody(pugi::xml_document& document, const std::string& body, std::string_view root_name) {
    try {
        xml::Parse(document, body);
    } catch (const xml::Malformed& error) {
        throw DavError(400, error.what());
    }
    auto root = document.document_element();
    if (!xml::NameOf(root).Is(kDavSpace, root_name))
        throw DavError(400, "The body isn't a " + std::string(root_name) + ".");
    return root;
}

PropertyRequest PropertyRequest::Parse(const std::string& body) {
    PropertyRequest request;
    if (Trim(body).empty()) return request;
    pugi::xml_document document;
    auto root = ParseBody(document, body, "propfind");
    for (const auto& element : root.children()) {
        if (element.type() != pugi::node_element) continue;
        auto name = xml::NameOf(element);
        if (name.Is(kDavSpace, "propname")) request.asked = Asked::names;
        if (!name.Is(kDavSpace, "prop") && !name.Is(kDavSpace, "include")) continue;
        if (name.local == "prop") request.asked = Asked::some;
        for (const auto& property : element.children())
            if (property.type() == pugi::node_element) request.names.push_back(xml::NameOf(property));
    }
    return request;
}

PropertyWriter::PropertyWriter(Store& store, std::string server_url, bool relative_hrefs)
    : m_store(store),
      m_server_url(std::move(server_url)),
      m_relative(relative_hrefs),
      m_locks(store.WriteLocks()) {}

void PropertyWriter::UseFreeProperties(std::map<Id, std::vector<FreeProperty>> properties) {
    m_free = std::move(properties);
}

const std::string& PropertyWriter::login(Id user) {
    auto [place, is_new] = m_logins.try_emplace(user);
    if (is_new) place->second = xml::Escape(m_store.LoginOf(user));
    return place->second;
}

std::string PropertyWriter::href(const std::string& path) const {
    return (m_relative ? "" : m_server_url) + EncodePath(path);
}

std::string PropertyWriter::MultistatusBegin() {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:multistatus xmlns:D=\"DAV:\" xmlns:Office=\"" +
           std::string(kOfficeSpace) + "\" xmlns:Repl=\"" + kReplSpace + "\" xmlns:Z=\"" + kWin32Space +
           "\">";
}

std::string PropertyWriter::StatusLine(int status) {
    return "HTTP/1.1 " + std::to_string(status) + " " + ToUpper(http::ReasonPhrase(status));
}

const std::vector<PropertyWriter::Live>& PropertyWriter::LiveProperties() {
    using W = PropertyWriter;
    static const std::vector<Live> kRows = {{kDavSpace, "displayname", &W::DisplayName},
                                            {kDavSpace, "lockdiscovery", &W::locks},
                                            {kDavSpace, "supportedlock", &W::SupportedLocks},
                                            {kDavSpace, "isFolder", &W::IsFolder},
                                            {kDavSpace, "iscollection", &W::IsCollection},
                                            {kDavSpace, "ishidden", &W::IsHidden},
                                            {kDavSpace, "getcontenttype", &W::ContentType},
                                            {kDavSpace, "getcontentlength", &W::ContentLength},
                                            {kDavSpace, "resourcetype", &W::ResourceType},
                                            {kDavSpace, "getlastmodified", &W::LastModified},
                                            {kDavSpace, "creationdate", &W::CreationDate},
                                            {kReplSpace, "repl-uid", &W::ReplUid},
                                            {kReplSpace, "resourcetag", &W::ResourceTag},
                                            {kDavSpace, "getetag", &W::EntityTag},
                                            {kOfficeSpace, "modifiedby", &W::ModifiedBy},
                                            {kWin32Space, "Win32CreationTime", &W::Win32Created},
                                            {kWin32Space, "Win32LastAccessTime", &W::LastModified},
                                            {kWin32Space, "Win32LastModifiedTime", &W::LastModified},
                                            {kWin32Space, "Win32FileAttributes", &W::Win32Attributes}};
    return kRows;
}

bool PropertyWriter::IsLive(const xml::Name& name) {
    return std::ranges::any_of(LiveProperties(),
                               [&](const Live& row) { return name.Is(row.space, row.name); });
}

bool IsProtected(const xml::Name& name) {
    return name.space == kDavSpace || (name.space != kWin32Space && PropertyWriter::IsLive(name));
}

Text PropertyWriter::DisplayName(const Item& item) {
    if (item.library == 0)
        if (auto web = m_store.WebAt(item.path)) return xml::Escape(web->title);
    return xml::Escape(item.name);
}

Text PropertyWriter::locks(const Item& item) {
    if (item.checked_out_by != 0)
        return ActiveLock(login(item.checked_out_by), CheckOutToken(item), "Infinite");
    auto lock = m_locks.find(item.id);
    if (lock == m_locks.end()) return "";
    const auto& record = lock->second;
    return ActiveLock(record.owner.empty() ? login(record.user) : record.owner, record.token,
                      "Second-" + std::to_string(std::max<Seconds>(1, record.expires - Now())));
}

std::string PropertyWriter::LockDiscovery(const Item& item) {
    return "<D:lockdiscovery>" + locks(item).value_or("") + "</D:lockdiscovery>";
}

Text PropertyWriter::SupportedLocks(const Item& item) {
    if (item.folder) return "";
    return "<D:lockentry><D:lockscope><D:exclusive/></D:lockscope><D:locktype><D:write/></D:locktype>"
           "</D:lockentry>";
}

Text PropertyWriter::IsFolder(const Item& item) {
    if (!item.folder) return std::nullopt;
    return "t";
}

Text PropertyWriter::IsCollection(const Item& item) {
    return item.folder ? "1" : "0";
}

Text PropertyWriter::IsHidden(const Item&) {
    return "0";
}

Text PropertyWriter::ContentType(const Item& item) {
    return item.folder ? "application/octet-stream" : DocumentTypeOf(item.name);
}

Text PropertyWriter::ContentLength(const Item& item) {
    return std::to_string(item.folder ? 0 : item.size);
}

Text PropertyWriter::ResourceType(const Item& item) {
    return item.folder ? "<D:collection/>" : "";
}

Text PropertyWriter::LastModified(const Item& item) {
    return HttpDate(item.modified);
}

Text PropertyWriter::CreationDate(const Item& item) {
    return IsoTime(item.created);
}

Text PropertyWriter::EntityTag(const Item& item) {
    return xml::Escape(EtagOf(item));
}

Text PropertyWriter::ReplUid(const Item& item) {
    return "rid:{" + ToUpper(item.guid) + "}";
}

Text PropertyWriter::ResourceTag(const Item& item) {
    auto number = std::to_string(item.etag);
    return "rt:" + ToUpper(item.guid) + "@" + std::string(number.size() < 11 ? 11 - number.size() : 0, '0') +
           number;
}

Text PropertyWriter::ModifiedBy(const Item& item) {
    return login(item.editor);
}

Text PropertyWriter::Win32Created(const Item& item) {
    return HttpDate(item.created);
}

Text PropertyWriter::Win32Attributes(const Item& item) {
    return xml::Escape(item.Win32Attributes());
}

std::vector<FreeProperty> PropertyWriter::FreeOf(const Item& item) {
    if (!m_free) return m_store.FreeProperties(item.id);
    auto found = m_free->find(item.id);
    return found == m_free->end() ? std::vector<FreeProperty>{} : found->second;
}

// The elements of the properties that exist; others that were asked for go to `missing`.
std::string PropertyWriter::FoundOf(const Item& item, const PropertyRequest& request, std::string& missing) {
    std::string found;
    auto free = FreeOf(item);
    bool names_only = request.asked == Asked::names;
    if (request.asked != Asked::some) {
        for (const auto& row : LiveProperties()) {
            if (auto value = (this->*row.getter)(item))
                found += PropertyElement({row.space, row.name}, names_only ? "" : *value);
        }
        for (const auto& property : free)
            found += PropertyElement({property.space, property.name}, names_only ? "" : property.value);
        return found;
    }
    for (const auto& name : request.names) {
        auto row =
            std::ranges::find_if(LiveProperties(), [&](const Live& r) { return name.Is(r.space, r.name); });
        auto own =
            std::ranges::find_if(free, [&](const FreeProperty& p) { return name.Is(p.space, p.name); });
        std::optional<std::string> value;
        if (own != free.end()) {
            value = own->value;
        } else if (row != LiveProperties().end()) {
            value = (this->*row->getter)(item);
        }
        (value ? found : missing) += PropertyElement(name, value.value_or(""));
    }
    return found;
}

std::string PropertyWriter::response(const Item& item, const PropertyRequest& request) {
    std::string missing;
    auto found = FoundOf(item, request, missing);
    auto part = [](const std::string& properties, int status) {
        return "<D:propstat><D:prop>" + properties + "</D:prop><D:status>" + StatusLine(status) +
               "</D:status></D:propstat>";
    };
    std::string out = "<D:response><D:href>" + xml::Escape(href(item.path)) + "</D:href>";
    if (!found.empty() || missing.empty()) out += part(found, 200);
    if (!missing.empty()) out += part(missing, 404);
    return out + "</D:response>";
}

}  // namespace devserver::dav
