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
constexpr PrefixRow prefixes[] = {
    {dav_space, "D"}, {win32_space, "Z"}, {office_space, "Office"}, {repl_space, "Repl"}};

std::string active_lock(const std::string& owner, const std::string& token, const std::string& timeout) {
    return "<D:activelock><D:locktype><D:write/></D:locktype><D:lockscope><D:exclusive/></D:lockscope>"
           "<D:depth>0</D:depth><D:owner>" +
           owner + "</D:owner><D:timeout>" + timeout + "</D:timeout><D:locktoken><D:href>" +
           xml::escape(token) + "</D:href></D:locktoken></D:activelock>";
}

}  // namespace

std::string property_element(const xml::Name& name, const std::string& content) {
    auto prefix =
        std::ranges::find_if(prefixes, [&](const PrefixRow& row) { return row.space == name.space; });
    bool known = prefix != std::end(prefixes);
    auto tag = known ? std::string(prefix->prefix) + ":" + name.local
                     : (name.space.empty() ? name.local : "P:" + name.local);
    auto out = "<" + tag;
    if (!known && !name.space.empty()) out += " xmlns:P=\"" + xml::escape(name.space) + "\"";
    return out + (content.empty() ? "/>" : ">" + content + "</" + tag + ">");
}

std::string lock_token(const std::string& guid, Seconds time) {
    auto digits = iso_time(time);
    std::erase_if(digits, [](char c) { return c == '-' || c == ':'; });
    return "opaquelocktoken:{" + to_upper(guid) + "}" + digits;
}

std::string check_out_token(const Item& item) {
    return lock_token(item.guid, item.checked_out_at);
}

pugi::xml_node parse_body(pugi::xml_document& document, const std::string& body, std::string_view root_name) {
    try {
        xml::parse(document, body);
    } catch (const xml::Malformed& error) {
        throw DavError(400, error.what());
    }
    auto root = document.document_element();
    if (!xml::name_of(root).is(dav_space, root_name))
        throw DavError(400, "The body isn't a " + std::string(root_name) + ".");
    return root;
}

PropertyRequest PropertyRequest::parse(const std::string& body) {
    PropertyRequest request;
    if (trim(body).empty()) return request;
    pugi::xml_document document;
    auto root = parse_body(document, body, "propfind");
    for (const auto& element : root.children()) {
        if (element.type() != pugi::node_element) continue;
        auto name = xml::name_of(element);
        if (name.is(dav_space, "propname")) request.asked = Asked::names;
        if (!name.is(dav_space, "prop") && !name.is(dav_space, "include")) continue;
        if (name.local == "prop") request.asked = Asked::some;
        for (const auto& property : element.children())
            if (property.type() == pugi::node_element) request.names.push_back(xml::name_of(property));
    }
    return request;
}

PropertyWriter::PropertyWriter(Store& store, std::string server_url, bool relative_hrefs)
    : m_store(store),
      m_server_url(std::move(server_url)),
      m_relative(relative_hrefs),
      m_locks(store.write_locks()) {}

void PropertyWriter::use_free_properties(std::map<Id, std::vector<FreeProperty>> properties) {
    m_free = std::move(properties);
}

const std::string& PropertyWriter::login(Id user) {
    auto [place, is_new] = m_logins.try_emplace(user);
    if (is_new) place->second = xml::escape(m_store.login_of(user));
    return place->second;
}

std::string PropertyWriter::href(const std::string& path) const {
    return (m_relative ? "" : m_server_url) + encode_path(path);
}

std::string PropertyWriter::multistatus_begin() {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:multistatus xmlns:D=\"DAV:\" xmlns:Office=\"" +
           std::string(office_space) + "\" xmlns:Repl=\"" + repl_space + "\" xmlns:Z=\"" + win32_space +
           "\">";
}

std::string PropertyWriter::status_line(int status) {
    return "HTTP/1.1 " + std::to_string(status) + " " + to_upper(http::reason_phrase(status));
}

const std::vector<PropertyWriter::Live>& PropertyWriter::live() {
    using W = PropertyWriter;
    static const std::vector<Live> rows = {{dav_space, "displayname", &W::display_name},
                                           {dav_space, "lockdiscovery", &W::locks},
                                           {dav_space, "supportedlock", &W::supported_locks},
                                           {dav_space, "isFolder", &W::is_folder},
                                           {dav_space, "iscollection", &W::is_collection},
                                           {dav_space, "ishidden", &W::is_hidden},
                                           {dav_space, "getcontenttype", &W::content_type},
                                           {dav_space, "getcontentlength", &W::content_length},
                                           {dav_space, "resourcetype", &W::resource_type},
                                           {dav_space, "getlastmodified", &W::last_modified},
                                           {dav_space, "creationdate", &W::creation_date},
                                           {repl_space, "repl-uid", &W::repl_uid},
                                           {repl_space, "resourcetag", &W::resource_tag},
                                           {dav_space, "getetag", &W::entity_tag},
                                           {office_space, "modifiedby", &W::modified_by},
                                           {win32_space, "Win32CreationTime", &W::win32_created},
                                           {win32_space, "Win32LastAccessTime", &W::last_modified},
                                           {win32_space, "Win32LastModifiedTime", &W::last_modified},
                                           {win32_space, "Win32FileAttributes", &W::win32_attributes}};
    return rows;
}

bool PropertyWriter::is_live(const xml::Name& name) {
    return std::ranges::any_of(live(), [&](const Live& row) { return name.is(row.space, row.name); });
}

bool is_protected(const xml::Name& name) {
    return name.space == dav_space || (name.space != win32_space && PropertyWriter::is_live(name));
}

Text PropertyWriter::display_name(const Item& item) {
    if (item.library == 0)
        if (auto web = m_store.web_at(item.path)) return xml::escape(web->title);
    return xml::escape(item.name);
}

Text PropertyWriter::locks(const Item& item) {
    if (item.checked_out_by != 0)
        return active_lock(login(item.checked_out_by), check_out_token(item), "Infinite");
    auto lock = m_locks.find(item.id);
    if (lock == m_locks.end()) return "";
    const auto& record = lock->second;
    return active_lock(record.owner.empty() ? login(record.user) : record.owner, record.token,
                       "Second-" + std::to_string(std::max<Seconds>(1, record.expires - now())));
}

std::string PropertyWriter::lock_discovery(const Item& item) {
    return "<D:lockdiscovery>" + locks(item).value_or("") + "</D:lockdiscovery>";
}

Text PropertyWriter::supported_locks(const Item& item) {
    if (item.folder) return "";
    return "<D:lockentry><D:lockscope><D:exclusive/></D:lockscope><D:locktype><D:write/></D:locktype>"
           "</D:lockentry>";
}

Text PropertyWriter::is_folder(const Item& item) {
    if (!item.folder) return std::nullopt;
    return "t";
}

Text PropertyWriter::is_collection(const Item& item) {
    return item.folder ? "1" : "0";
}

Text PropertyWriter::is_hidden(const Item&) {
    return "0";
}

Text PropertyWriter::content_type(const Item& item) {
    return item.folder ? "application/octet-stream" : document_type_of(item.name);
}

Text PropertyWriter::content_length(const Item& item) {
    return std::to_string(item.folder ? 0 : item.size);
}

Text PropertyWriter::resource_type(const Item& item) {
    return item.folder ? "<D:collection/>" : "";
}

Text PropertyWriter::last_modified(const Item& item) {
    return http_date(item.modified);
}

Text PropertyWriter::creation_date(const Item& item) {
    return iso_time(item.created);
}

Text PropertyWriter::entity_tag(const Item& item) {
    return xml::escape(etag_of(item));
}

Text PropertyWriter::repl_uid(const Item& item) {
    return "rid:{" + to_upper(item.guid) + "}";
}

Text PropertyWriter::resource_tag(const Item& item) {
    auto number = std::to_string(item.etag);
    return "rt:" + to_upper(item.guid) + "@" + std::string(number.size() < 11 ? 11 - number.size() : 0, '0') +
           number;
}

Text PropertyWriter::modified_by(const Item& item) {
    return login(item.editor);
}

Text PropertyWriter::win32_created(const Item& item) {
    return http_date(item.created);
}

Text PropertyWriter::win32_attributes(const Item& item) {
    return xml::escape(item.win32_attributes());
}

std::vector<FreeProperty> PropertyWriter::free_of(const Item& item) {
    if (!m_free) return m_store.free_properties(item.id);
    auto found = m_free->find(item.id);
    return found == m_free->end() ? std::vector<FreeProperty>{} : found->second;
}

// The elements of the properties that exist; others that were asked for go to `missing`.
std::string PropertyWriter::found_of(const Item& item, const PropertyRequest& request, std::string& missing) {
    std::string found;
    auto free = free_of(item);
    bool names_only = request.asked == Asked::names;
    if (request.asked != Asked::some) {
        for (const auto& row : live())
            if (auto value = (this->*row.getter)(item))
                found += property_element({row.space, row.name}, names_only ? "" : *value);
        for (const auto& property : free)
            found += property_element({property.space, property.name}, names_only ? "" : property.value);
        return found;
    }
    for (const auto& name : request.names) {
        auto row = std::ranges::find_if(live(), [&](const Live& r) { return name.is(r.space, r.name); });
        auto own =
            std::ranges::find_if(free, [&](const FreeProperty& p) { return name.is(p.space, p.name); });
        std::optional<std::string> value;
        if (own != free.end())
            value = own->value;
        else if (row != live().end())
            value = (this->*row->getter)(item);
        (value ? found : missing) += property_element(name, value.value_or(""));
    }
    return found;
}

std::string PropertyWriter::response(const Item& item, const PropertyRequest& request) {
    std::string missing;
    auto found = found_of(item, request, missing);
    auto part = [](const std::string& properties, int status) {
        return "<D:propstat><D:prop>" + properties + "</D:prop><D:status>" + status_line(status) +
               "</D:status></D:propstat>";
    };
    std::string out = "<D:response><D:href>" + xml::escape(href(item.path)) + "</D:href>";
    if (!found.empty() || missing.empty()) out += part(found, 200);
    if (!missing.empty()) out += part(missing, 404);
    return out + "</D:response>";
}

}  // namespace devserver::dav
