#include "store/records.h"

#include "base/text.h"

namespace devserver {

std::string EtagOf(const Item& item) {
    return "\"{" + ToUpper(item.guid) + "}," + std::to_string(item.etag) + "\"";
}

std::string ResourceTagOf(const Item& item) {
    return "rt:" + ToUpper(item.guid) + "@" + std::to_string(item.etag);
}

}  // namespace devserver
