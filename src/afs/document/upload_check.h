// What the look at a document after an upload shows: the version that was sent, the one from before, or
// somebody else's. Re-entrant.
#pragma once

#include <cstdint>
#include <string>

#include "sharepoint/object.h"

namespace Afs {

struct SentUpload {
    SharePoint::Information before;
    uint64_t size = 0;          // of what was sent
    std::u16string entity_tag;  // of the answer to the upload, empty when it has none
};

enum class UploadOutcome {
    own,
    of_somebody_else,
    not_taken,  // the version from before is still there
    same_tags,  // nothing has changed, and the server names the version as before
    same_time,  // nothing has changed in the same second, and the server has no names for versions
};

UploadOutcome JudgeUpload(const SentUpload& sent, const SharePoint::Information& now);

}  // namespace Afs
