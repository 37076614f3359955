// What the server says about an item of a web, from JSON to a record. Re-entrant.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "sharepoint/json.h"
#include "sharepoint/object.h"

namespace SharePointRestAPI {

// The file time behind `key`, 0 when it is missing or no date.
uint64_t ParseRestDateTime(const Json::Value& value, const char16_t* key);

// Gives the login of who has the file at a path checked out.
using CheckOutUserFinder = std::function<std::u16string(const std::u16string& path)>;

// Reads a file or folder; `find_user` is asked for a file that is checked out. False when it has no path or
// can't be read, also when `find_user` throws.
bool ParseRestFileInfo(const Json::Value& json, SharePoint::Information& out_information, bool& out_is_folder,
                       const CheckOutUserFinder& find_user);

}  // namespace SharePointRestAPI
