// Whether a string leads to a SharePoint server at all.
#pragma once

#include <string>

namespace Utility::SharepointChecker {

// Judges the form of the string, then probes the server. Throws what the probe throws.
bool IsSharePoint(const std::u16string& url);

}  // namespace Utility::SharepointChecker
