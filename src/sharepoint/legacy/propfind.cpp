#include "sharepoint/legacy/propfind.h"

#include <charconv>
#include <ctime>
#include <iomanip>
#include <optional>
#include <sstream>

#include "base/text/encoding.h"
#include "base/text/ignore_case.h"
#include "base/url.h"
#include "platform/base.h"
#include "sharepoint/reading.h"

namespace SharePoint2013 {

namespace {

bool IsOneOf(const std::u16string& text, std::initializer_list<const char16_t*> words) {
    for (const char16_t* word : words) {
        if (EqualIgnoringCase(text, word)) return true;
    }
    return false;
}

// The index of a three-letter name of a day or month; -1 when it is none.
int IndexOfName(std::string_view names, std::string_view wanted) {
    for (size_t at = 0; at < names.size(); at += 3)
        if (names.substr(at, 3) == wanted) return static_cast<int>(at / 3);
    return -1;
}

// The usual form, parsed by hand because a listing has one for each item. False for any other.
bool ReadUsualForm(std::string_view text, std::tm& fields) {
    static constexpr std::string_view kForm = "???, 00 ??? 0000 00:00:00 GMT";
    if (text.size() != kForm.size()) return false;
    for (size_t at = 0; at < kForm.size(); ++at) {
        const bool fits =
            kForm[at] == '0' ? text[at] >= '0' && text[at] <= '9' : kForm[at] == '?' || kForm[at] == text[at];
        if (!fits) return false;
    }
    const auto number = [&](size_t at, size_t size) {
        int value = 0;
        for (const char c : text.substr(at, size)) value = value * 10 + (c - '0');
        return value;
    };
    fields.tm_wday = IndexOfName("SunMonTueWedThuFriSat", text.substr(0, 3));
    fields.tm_mday = number(5, 2);
    fields.tm_mon = IndexOfName("JanFebMarAprMayJunJulAugSepOctNovDec", text.substr(8, 3));
    fields.tm_year = number(12, 4) - 1900;
    fields.tm_hour = number(17, 2);
    fields.tm_min = number(20, 2);
    fields.tm_sec = number(23, 2);
    return fields.tm_wday >= 0 && fields.tm_mon >= 0;
}

// The same with more blanks, long names or another case.
bool ReadLooseForm(const std::string& text, std::tm& fields) {
    if (text.find("GMT") == std::string::npos) return false;  // std::get_time accepts a text that ends early
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());  // the names of days and months are English
    stream >> std::get_time(&fields, "%a, %d %b %Y %H:%M:%S GMT");
    return !stream.fail();
}

// "Fri, 04 Oct 2013 10:20:30 GMT" as a file time, 0 for anything else.
uint64_t ParseDateTimeRfc1123(const std::string& text) {
    std::tm fields{};
    if (!ReadUsualForm(text, fields) && !ReadLooseForm(text, fields)) return 0;
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

enum Property {
    attributes,
    name,
    is_folder,
    length,
    lock,
    created,
    modified,
    modified_by,
    entity_tag,
    property_count
};

constexpr std::string_view kPropertyNames[property_count] = {
    "Z:Win32FileAttributes", "D:displayname",     "D:isFolder",
    "D:getcontentlength",    "D:lockdiscovery",   "D:creationdate",
    "D:getlastmodified",     "Office:modifiedby", "D:getetag"};

// The children of one "D:prop", found in one pass. What can't be read is logged and counts as missing.
class Properties {
public:
    Properties(const pugi::xml_node& prop, const std::u16string& path) : m_prop(prop), m_path(path) {
        for (const pugi::xml_node child : prop.children()) {
            const std::string_view child_name = child.name();
            for (size_t i = 0; i < property_count; ++i)
                if (child_name == kPropertyNames[i] && !m_children[i]) m_children[i] = child;
        }
    }

    std::optional<std::u16string> Text(Property property, Log::Level when_missing = Log::none) const {
        TRACE_NAME("SharePoint2013::ReadWebDavPropChild");
        if (const pugi::xml_node child = m_children[property]) return FromUtf8(child.text().get());
        LOG_LINE(when_missing,
                 u"Cannot find '%s' child node for PROPFIND result '%s' in 'D:prop' element:\n%s",
                 Widen(kPropertyNames[property]), MaskForLog(m_path), XmlForLog(m_prop));
        return std::nullopt;
    }

    bool Bool(Property property) const {
        const auto text = Text(property);
        if (!text || IsOneOf(*text, {u"f", u"false", u"n", u"no", u"0"})) return false;
        if (IsOneOf(*text, {u"t", u"true", u"y", u"yes", u"1"})) return true;
        LogUnexpected("SharePoint2013::ReadWebDavPropChildBool", u"boolean", property, *text);
        return false;
    }

    uint64_t DateTime(Property property) const {
        const pugi::xml_node child = m_children[property];
        if (!child) return 0;
        const std::string text = child.text().get();
        if (const uint64_t time = ParseDateTimeRfc1123(text)) return time;
        const std::u16string wide = FromUtf8(text);
        if (const uint64_t time = SharePoint2010::Utility::ParseDateTimeIso8601(wide, Log::none)) return time;
        LogUnexpected("SharePoint2013::ReadWebDavPropChildDateTime", u"date-time", property, wide);
        return 0;
    }

    uint32_t Hexadecimal(Property property) const {
        const std::string_view text = m_children[property].text().get();
        uint32_t number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number, 16);
        return number;
    }

    std::u16string LockOwner() const {
        return FromUtf8(m_children[lock].child("D:activelock").child("D:owner").text().get());
    }

private:
    void LogUnexpected(const char* trace_function, const char16_t* kind, Property property,
                       const std::u16string& text) const {
        LOG_LINE(Log::error,
                 u"Unexpected %s '%s' of '%s' child node for PROPFIND result '%s' in 'D:prop' element:\n%s",
                 kind, MaskForLog(text), Widen(kPropertyNames[property]), MaskForLog(m_path),
                 XmlForLog(m_prop));
    }

    const pugi::xml_node& m_prop;
    const std::u16string& m_path;
    pugi::xml_node m_children[property_count];
};

uint64_t Decimal(const std::u16string& text) {
    uint64_t number = 0;
    const std::string digits = ToUtf8(text);
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

bool ReadProperties(const Properties& properties, SharePoint::Information& information, bool& out_is_folder) {
    information.m_attributes = properties.Hexadecimal(attributes);
    information.m_name = properties.Text(name, Log::warning).value_or(u"");
    if (information.m_name.empty()) information.m_name = SharePoint::LastPathPart(information.m_path);
    out_is_folder = properties.Bool(is_folder);
    information.m_size = 0;
    information.m_checkout_user.clear();
    if (!out_is_folder) {
        const auto size = properties.Text(length, Log::error);
        if (!size) return false;
        information.m_size = Decimal(*size);
        information.m_checkout_user = properties.LockOwner();
        information.m_tags.m_entity = properties.Text(entity_tag).value_or(u"");
    }
    information.m_created_time = properties.DateTime(created);
    information.m_modified_time = properties.DateTime(modified);
    information.m_modified_by = properties.Text(modified_by, Log::warning).value_or(u"");
    information.m_modified_by.erase(0, information.m_modified_by.rfind(u'|') + 1);
    information.m_last_author = information.m_modified_by;
    return true;
}

// docs/compatibility.md: A relative address in a listing is left out
// The path of an item; false when it is on another server.
bool ReadPath(const std::u16string& server_url, const pugi::xml_node& response, std::u16string& out_path) {
    TRACE_NAME("SharePoint2013::ParseWebDavPropfind");
    const std::u16string href = FromUtf8(UrlDecode(response.child("D:href").text().get()));
    if (IsPlainlyBelow(server_url, href, out_path)) return true;
    const CompareUrlsResult to_server = CompareUrls(server_url, href, &out_path, false);
    if (to_server <= CompareUrlsResult::url1_is_parent) return true;
    LOG_LINE(Log::error, u"Unexpected result %u of comparison server URL '%s' to PROPFIND result URL '%s'",
             to_server, MaskForLog(server_url), MaskForLog(href));
    return false;
}

}  // namespace

bool ParseWebDavPropfind(const std::u16string& server_url, const pugi::xml_node& response,
                         SharePoint::Information& out_information, bool& out_is_folder) {
    TRACE_ENTRY("SharePoint2013::ParseWebDavPropfind");
    if (!ReadPath(server_url, response, out_information.m_path)) return false;
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
