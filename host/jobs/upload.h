// A file sent as a document of a site, new or over one that is there. The thread of the job.
#pragma once

#include <functional>
#include <string_view>

#include "host/jobs/job.h"

namespace host {

struct UploadTarget {
    std::u16string url;    // as given
    std::string full_url;  // as the site names it
    ComPtr<TMK::IAFS_Name> name;
    bool is_new;
};

// Throws a JobError for a folder.
UploadTarget FindUploadTarget(Job& job, const std::u16string& url, const std::string& what);

// The content block by block; an empty one ends it.
using NextBlock = std::function<std::string_view()>;

// Opens the document and copies the content into its local copy. Where that fails nothing of it stays, on the
// server either. Throws a JobError.
ComPtr<TMK::IAFS_File> FillCopy(Job& job, const UploadTarget& target, const NextBlock& next,
                                const std::string& what);

// The same with a person's own file, which stays where it is: it is sent without a copy.
ComPtr<TMK::IAFS_File> LinkCopy(Job& job, const UploadTarget& target, const fs::path& source,
                                const std::string& what);

// Sends a whole file and follows the preferences for what comes after a save. Throws a JobError.
void UploadFile(Job& job, const std::u16string& url, const fs::path& source, const std::string& what);

// Removes the empty document that a failed upload has left at `url`, and warns where it can't.
void RemovePlaceholder(Job& job, const std::u16string& url, const std::string& what);

}  // namespace host
