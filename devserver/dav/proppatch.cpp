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

std::optional<Seconds> ParseHttpDate(std::string_view text) {
    auto comma = text.find(", ");
    if (comma != std::string_view::npos) text.remove_prefix(comma + 2);
    return ParseDigestDate(ReplaceAll(std::string(Trim(text)), "GMT", "-0000"));
}

bool IsHexadecimal(const std::string& text) {
    return !text.empty() && text.size() <= 8 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

// The changes of one body, which are made all or not at all.
class PropertyUpdate {
public:
    explicit PropertyUpdate(const pugi::xml_node& root) {
        for (const auto& action : root.children()) {
            if (action.type() != pugi::node_element) continue;
            bool sets = xml::NameOf(action).Is(kDavSpace, "set");
            for (const auto& property : xml::Child(action, "prop").children())
                if (property.type() == pugi::node_element) Take(property, sets);
        }
    }

    bool Acceptable() const { return m_refused.empty(); }
    void Apply(Store& store, Id item) const { store.ChangeProperties(item, m_set, m_removed, m_times); }

    // One D:propstat for each property.
    std::string outcome() const {
        std::string text;
        for (const auto& name : m_names) {
            bool refused = std::ranges::find(m_refused, name) != m_refused.end();
            int status = Acceptable() ? 200 : refused ? 403 : 424;
            text += "<D:propstat><D:prop>" + PropertyElement(name, "") + "</D:prop><D:status>" +
                    PropertyWriter::StatusLine(status) + "</D:status></D:propstat>";
        }
        return text;
    }

private:
    void Take(const pugi::xml_node& property, bool sets) {
        auto name = xml::NameOf(property);
        auto value = xml::ContentOf(property);
        m_names.push_back(name);
        auto same = [&](const FreeProperty& other) { return name.Is(other.space, other.name); };
        std::erase_if(m_set, same);
        std::erase_if(m_removed, same);
        bool win32 = name.space == kWin32Space && name.local.starts_with("Win32");
        if (IsProtected(name) || (win32 && !(sets && TakeWin32(name.local, value)))) {
            m_refused.push_back(name);
        } else if (!win32) {
            (sets ? m_set : m_removed).push_back({name.space, name.local, value});
        }
    }

    // False for a value that can't be read.
    bool TakeWin32(const std::string& name, const std::string& value) {
        if (name == "Win32FileAttributes") {
            m_times.attributes = value;
            return IsHexadecimal(value);
        }
        auto time = ParseHttpDate(value);
        if (name == "Win32CreationTime") m_times.created = time;
        if (name == "Win32LastModifiedTime") m_times.modified = time;
        return time.has_value();
    }

    std::vector<FreeProperty> m_set, m_removed;
    std::vector<xml::Name> m_names, m_refused;
    PropertyTimes m_times;
};

}  // namespace

http::Response DavServer::Proppatch(Call& call) {
    RequireEdit(call);
    RequireItem(call);
    pugi::xml_document document;
    auto root = ParseBody(document, http::ReadText(call.request, 1 << 20), "propertyupdate");
    RequireConditions(call);
    RequireUnlocked(call, *call.item);
    if (call.item->library == 0) throw AccessDenied();
    PropertyUpdate update(root);
    if (update.Acceptable()) update.Apply(m_store, call.item->id);
    return http::MakeResponse(207, "text/xml; charset=utf-8",
                              PropertyWriter::MultistatusBegin() + "<D:response><D:href>" +
                                  xml::Escape(WriterFor(call).href(call.item->path)) + "</D:href>" +
                                  update.outcome() + "</D:response>" + PropertyWriter::MultistatusEnd());
}

}  // namespace devserver::dav
