#include "sharepoint/legacy/protocol.h"

#include <charconv>

namespace SharePoint2013 {

bool ReadSoapBool(const pugi::xml_node& result) {
    return result.text().as_bool(false);
}

std::optional<uint32_t> SoapErrorCode(const pugi::xml_document& answer) {
    pugi::xml_node node = answer;
    for (const char* step : {"soap:Envelope", "soap:Body", "soap:Fault", "detail", "errorcode"})
        node = node.child(step);
    std::string_view text = node.text().get();
    while (!text.empty() && (text.front() == ' ' || (text.front() >= '\t' && text.front() <= '\r')))
        text.remove_prefix(1);
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) text.remove_prefix(2);
    uint64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number, hexadecimal ? 16 : 10);
    if (read.ec != std::errc() || number > UINT32_MAX) return std::nullopt;
    return static_cast<uint32_t>(negative ? 0 - number : number);
}

}  // namespace SharePoint2013
