// What an older server's REST interface says of a document behind a sharing link. Re-entrant.
#pragma once

#include "sharepoint/json.h"
#include "sharepoint/object.h"

namespace SharePoint2013 {

// Reads the record of an answer without metadata. False when it has no path; Exception for one of another
// shape.
bool ParseRestFileInfo(const Json::Value& json, SharePoint::Information& out_information);

}  // namespace SharePoint2013
