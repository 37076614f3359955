// The preferences of the plug-in as it has them in use: read and changed through its file system, which alone
// knows their names, kinds and defaults. Any thread.
#pragma once

#include <string>
#include <vector>

#include "hostapi/iafs.h"
#include "platform/com_ptr.h"

namespace cli {

struct Preference {
    std::string name;
    Variant value;     // a number, true or false, or a text
    LONG largest = 0;  // of a number
};

// "24", "true", or the text itself.
std::string TextOf(const Preference& preference);

// Throws a host::Failure when the plug-in has none.
std::vector<Preference> ReadPreferences(TMK::IAFS_FileSys* file_system);

// Throws a UsageError for a name that isn't there.
Preference FindPreference(const std::vector<Preference>& preferences, const std::string& name);

// Changes a preference, which the plug-in saves. Throws a UsageError for a name that isn't there and for a
// text that doesn't fit.
void SetPreference(TMK::IAFS_FileSys* file_system, const std::string& name, const std::string& text);

}  // namespace cli
