// WebDAV's PROPPATCH: times and attributes of Win32, and properties that are kept for the client.
// Owner: app/service; any thread.
#include <algorithm>

#include "base/clock.h"
#include "base/text.h"
#include "dav/dav_error.h"
#include "dav/dav_server.h"
#include "dav/properties.h"

namespace devserver::dav {
namespace {

std::optional<Seconds> parse_http_date(std::string_view text) {
    auto comma = text.find(", ");
    if (comma != std::string_view::npos) text.remove_prefix(comma + 2);
    return parse_digest_date(replace_all(std::string(trim(text)), "GMT", "-0000"));
}

bool is_hexadecimal(const std::string& text) {
    return !text.empty() && text.size() <= 8 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

// The changes of one body, which are made all or not at all.
class PropertyUpdate {
public:
    explicit PropertyUpdate(const pugi::xml_node& root) {
        for (const auto& action : root.children()) {
            if (action.type() != pugi::node_element) continue;
            bool sets = xml::name_of(action).is(dav_space, "set");
            for (const auto& property : xml::child(action, "prop").children())
                if (property.type() == pugi::node_element) take(property, sets);
        }
    }

    bool acceptable() const { return m_refused.empty(); }
    void apply(Store& store, Id item) const { store.change_properties(item, m_set, m_removed, m_times); }

    // One D:propstat for each property.
    std::string outcome() const {
        std::string text;
        for (const auto& name : m_names) {
            bool refused = std::ranges::find(m_refused, name) != m_refused.end();
            int status = acceptable() ? 200 : refused ? 403 : 424;
            text += "<D:propstat><D:prop>" + property_element(name, "") + "</D:prop><D:status>" +
                    PropertyWriter::status_line(status) + "</D:status></D:propstat>";
        }
        return text;
    }

private:
    void take(const pugi::xml_node& property, bool sets) {
        auto name = xml::name_of(property);
        auto value = xml::content_of(property);
        m_names.push_back(name);
        auto same = [&](const FreeProperty& other) { return name.is(other.space, other.name); };
        std::erase_if(m_set, same);
        std::erase_if(m_removed, same);
        bool win32 = name.space == win32_space && name.local.starts_with("Win32");
        if (is_protected(name) || (win32 && !(sets && take_win32(name.local, value))))
            m_refused.push_back(name);
        else if (!win32)
            (sets ? m_set : m_removed).push_back({name.space, name.local, value});
    }

    // False for a value that can't be read.
    bool take_win32(const std::string& name, const std::string& value) {
        if (name == "Win32FileAttributes") {
            m_times.attributes = value;
            return is_hexadecimal(value);
        }
        auto time = parse_http_date(value);
        if (name == "Win32CreationTime") m_times.created = time;
        if (name == "Win32LastModifiedTime") m_times.modified = time;
        return time.has_value();
    }

    std::vector<FreeProperty> m_set, m_removed;
    std::vector<xml::Name> m_names, m_refused;
    PropertyTimes m_times;
};

}  // namespace

http::Response DavServer::proppatch(Call& call) {
    require_edit(call);
    require_item(call);
    pugi::xml_document document;
    auto root = parse_body(document, http::read_text(call.request, 1 << 20), "propertyupdate");
    require_conditions(call);
    require_unlocked(call, *call.item);
    if (call.item->library == 0) throw access_denied();
    PropertyUpdate update(root);
    if (update.acceptable()) update.apply(m_store, call.item->id);
    return http::make_response(207, "text/xml; charset=utf-8",
                               PropertyWriter::multistatus_begin() + "<D:response><D:href>" +
                                   xml::escape(writer_for(call).href(call.item->path)) + "</D:href>" +
                                   update.outcome() + "</D:response>" + PropertyWriter::multistatus_end());
}

}  // namespace devserver::dav
