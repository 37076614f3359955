// What of a document's columns is to be saved, and the columns as JSON text, for hosts that have no
// properties dialog. Pure functions; re-entrant.
#pragma once

#include <string>
#include <vector>

#include "sharepoint/fields.h"

namespace SharePoint {

// {"requiredUnsupported": false, "fields": [{"name", "title", "kind": "text", "required", "value", "choices",
// "description", "default", "maxLength"}]}. A value is null, a text (dates in ISO 8601, UTC), a number, true
// or false; choices are there for a choice alone.
std::u16string DescribeFields(const FieldsData& data);

// Reads {"NAME": "text"} and puts the texts into the columns of these names, by kind. The result is what has
// to be saved. HResultException E_INVALIDARG, with a sentence for a person, for anything that doesn't fit;
// then nothing is to be saved.
FieldsData ChangedFields(const FieldsData& data, const std::u16string& changes);

// What each column would send, to be compared with later.
std::vector<std::string> SentValues(const FieldsData& data);

// The columns that would send something else than `before`, as copies with their texts escaped for the writer
// of changes. What nobody touched is left alone: an empty date or number can't be sent.
FieldsData ChangedSince(const std::vector<std::string>& before, const FieldsData& data);

}  // namespace SharePoint
