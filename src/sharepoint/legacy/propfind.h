// What a WebDAV answer says of an item. Elements are matched by their literal names, prefixes included, as
// such servers write them. Re-entrant.
#pragma once

#include <pugixml.hpp>
#include <string>

#include "sharepoint/object.h"

namespace SharePoint2013 {

// Reads one "D:response". False for an address of another server and for a file without a length. An item
// none of whose properties could be had leaves an empty record with its path.
bool ParseWebDavPropfind(const std::u16string& server_url, const pugi::xml_node& response,
                         SharePoint::Information& out_information, bool& out_is_folder);

}  // namespace SharePoint2013
