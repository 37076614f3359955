// Reading of a WebDAV answer's properties. Re-entrant.
#include "sharepoint/legacy/propfind.h"

#include <charconv>
#include <iomanip>
#include <optional>
#include <sstream>

#include "platform/base.h"
#include "platform/text.h"
#include "plugin/encoding.h"
#include "plugin/url.h"
#include "sharepoint/reading.h"

namespace SharePoint2013 {

namespace {

bool IsOneOf(const std::u16string& text, std::initializer_list<const char16_t*> words) {
    for (const char16_t* word : words) {
        if (CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, text.c_str(), -1, word, -1) == CSTR_EQUAL)
            return true;
    }
    return false;
}

// "Fri, 04 Oct 2013 10:20:30 GMT" as a file time, 0 for anything else.
uint64_t ParseDateTimeRfc1123(const std::u16string& text) {
    std::tm fields{};
    std::istringstream stream(ToUtf8(text));
    stream.imbue(std::locale::classic());  // the names of days and months are English
    stream >> std::get_time(&fields, "%a, %d %b %Y %H:%M:%S GMT");
    if (stream.fail()) return 0;
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(fields.tm_year + 1900);
    time.wMonth = static_cast<WORD>(fields.tm_mon + 1);
    time.wDay = static_cast<WORD>(fields.tm_mday);
    time.wHour = static_cast<WORD>(fields.tm_hour);
    time.wMinute = static_cast<WORD>(fields.tm_min);
    time.wSecond = static_cast<WORD>(fields.tm_sec);
    FILETIME file_time{};
    if (!SystemTimeToFileTime(&time, &file_time)) return 0;
    return (static_cast<uint64_t>(file_time.dwHighDateTime) << 32) | file_time.dwLowDateTime;
}

// The children of one "D:prop". What can't be read is logged and counts as missing.
class Properties {
public:
    Properties(const pugi::xml_node& prop, const std::u16string& path) : m_prop(prop), m_path(path) {}

    std::optional<std::u16string> Text(const char* name, Log::Level when_missing = Log::none) const {
        TRACE_NAME("SharePoint2013::ReadWebDavPropChild");
        const pugi::xml_node child = m_prop.child(name);
        if (child) return FromUtf8(child.text().get());
        LOG_LINE(when_missing,
                 u"Cannot find '%s' child node for PROPFIND result '%s' in 'D:prop' element:\n%s",
                 Widen(name), MaskForLog(m_path), XmlForLog(m_prop));
        return std::nullopt;
    }

    bool Bool(const char* name) const {
        const auto text = Text(name);
        if (!text || IsOneOf(*text, {u"f", u"false", u"n", u"no", u"0"})) return false;
        if (IsOneOf(*text, {u"t", u"true", u"y", u"yes", u"1"})) return true;
        LogUnexpected("SharePoint2013::ReadWebDavPropChildBool", u"boolean", name, *text);
        return false;
    }

    uint64_t DateTime(const char* name) const {
        const auto text = Text(name);
        if (!text) return 0;
        if (const uint64_t time = SharePoint2010::Utility::ParseDateTimeIso8601(*text, Log::none))
            return time;
        if (const uint64_t time = ParseDateTimeRfc1123(*text)) return time;
        LogUnexpected("SharePoint2013::ReadWebDavPropChildDateTime", u"date-time", name, *text);
        return 0;
    }

    uint32_t Hexadecimal(const char* name) const {
        const std::string text = ToUtf8(Text(name).value_or(u""));
        uint32_t number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number, 16);
        return number;
    }

    std::u16string LockOwner() const {
        const pugi::xml_node owner = m_prop.child("D:lockdiscovery").child("D:activelock").child("D:owner");
        return FromUtf8(owner.text().get());
    }

private:
    void LogUnexpected(const char* trace_function, const char16_t* kind, const char* name,
                       const std::u16string& text) const {
        LOG_LINE(Log::error,
                 u"Unexpected %s '%s' of '%s' child node for PROPFIND result '%s' in 'D:prop' element:\n%s",
                 kind, MaskForLog(text), Widen(name), MaskForLog(m_path), XmlForLog(m_prop));
    }

    const pugi::xml_node& m_prop;
    const std::u16string& m_path;
};

uint64_t Decimal(const std::u16string& text) {
    uint64_t number = 0;
    const std::string digits = ToUtf8(text);
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

bool ReadProperties(const Properties& properties, SharePoint::Information& information, bool& is_folder) {
    information.m_attributes = properties.Hexadecimal("Z:Win32FileAttributes");
    information.m_name = properties.Text("D:displayname", Log::warning).value_or(u"");
    if (information.m_name.empty()) information.m_name = SharePoint::LastPathPart(information.m_path);
    is_folder = properties.Bool("D:isFolder");
    information.m_size = 0;
    information.m_checkout_user.clear();
    if (!is_folder) {
        const auto length = properties.Text("D:getcontentlength", Log::error);
        if (!length) return false;
        information.m_size = Decimal(*length);
        information.m_checkout_user = properties.LockOwner();
    }
    information.m_created_time = properties.DateTime("D:creationdate");
    information.m_modified_time = properties.DateTime("D:getlastmodified");
    information.m_modified_by = properties.Text("Office:modifiedby", Log::warning).value_or(u"");
    information.m_modified_by.erase(0, information.m_modified_by.rfind(u'|') + 1);
    return true;
}

}  // namespace

bool ParseWebDavPropfind(const std::u16string& server_url, const pugi::xml_node& response,
                         SharePoint::Information& out_information, bool& out_is_folder) {
    TRACE_ENTRY("SharePoint2013::ParseWebDavPropfind");
    const std::u16string href = FromUtf8(UrlDecode(response.child("D:href").text().get()));
    const CompareUrlsResult to_server = CompareUrls(server_url, href, &out_information.m_path, false);
    if (to_server > CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error,
                 u"Unexpected result %u of comparison server URL '%s' to PROPFIND result URL '%s'", to_server,
                 MaskForLog(server_url), MaskForLog(href));
        return false;
    }
    for (const pugi::xml_node propstat : response.children("D:propstat")) {
        if (std::string_view(propstat.child("D:status").text().get()).find("200") == std::string_view::npos) {
            LOG_LINE(Log::warning,
                     u"Unexpected multistatus code for PROPFIND result '%s' in 'D:propstat' element:\n%s",
                     MaskForLog(out_information.m_path), XmlForLog(propstat));
            continue;
        }
        const pugi::xml_node prop = propstat.child("D:prop");
        const bool read =
            ReadProperties(Properties(prop, out_information.m_path), out_information, out_is_folder);
        TRACE_EXIT(read ? u"true" : u"false");
        return read;
    }
    TRACE_EXIT(u"true");
    return true;
}

}  // namespace SharePoint2013
