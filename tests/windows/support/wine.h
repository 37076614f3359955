// What Wine does otherwise than Windows and would hide what a test looks at. Without Wine nothing is done.
#pragma once

namespace testing_support {

// Whether this runs under Wine.
bool IsWine();

// A loaded module's calls of InternetCanonicalizeUrlW keep unsafe characters as they are in browser mode with
// ICU_NO_ENCODE, where Wine escapes them. Null for this program.
void MendCanonicalUrls(void* module);

}  // namespace testing_support
