#include "store/records.h"

#include "base/text.h"

namespace devserver {

std::string etag_of(const Item& item) {
    return "\"{" + to_upper(item.guid) + "}," + std::to_string(item.etag) + "\"";
}

std::string resource_tag_of(const Item& item) {
    return "rt:" + to_upper(item.guid) + "@" + std::to_string(item.etag);
}

}  // namespace devserver
