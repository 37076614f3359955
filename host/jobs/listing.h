// The content of a folder, and what a refused listing means. The thread of the job.
#pragma once

#include <functional>

#include "host/jobs/job.h"

namespace host {

using EachItem = std::function<void(TMK::IAFS_EnumFolderItem* item)>;

// Hands out the items of a folder. Throws a JobError where there is no folder, and after the last item where
// the server's answer was no listing.
void ListFolder(Job& job, TMK::IAFS_Name* folder, const std::string& what, const EachItem& each);

}  // namespace host
