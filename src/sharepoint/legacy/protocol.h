// The older dialect's accept lists, booleans and error codes. Pure functions; re-entrant.
#pragma once

#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string_view>

#include "sharepoint/object.h"

namespace SharePoint2013 {

inline constexpr const char16_t* kAcceptXml[] = {u"application/xml", u"text/xml", nullptr};
inline constexpr const char16_t* kAcceptAny[] = {u"*/*", nullptr};
inline constexpr const char16_t* kAcceptBytes[] = {u"application/octet-stream", nullptr};
inline constexpr const char16_t* kAcceptNoMetadata[] = {u"application/json; odata=nometadata", nullptr};

inline constexpr uint32_t kNoCheckedInVersion = 0x8107218A;
inline constexpr uint32_t kRequiredPropertiesMissing = 0x82000009;

// The text of a call's result: true when it begins with 1, t or y, in either case. False for a null node.
bool ReadSoapBool(const pugi::xml_node& result);

// "detail/errorcode" of a fault as 32 bits, written decimal or hexadecimal; nothing when there is none.
std::optional<uint32_t> SoapErrorCode(const pugi::xml_document& answer);

}  // namespace SharePoint2013
