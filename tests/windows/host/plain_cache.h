// A files cache in plain files, without a journal: a local copy goes with its last handle. Any thread.
#pragma once

#include <filesystem>

#include "hostapi/iafs.h"
#include "platform/com_ptr.h"

namespace windows_host {

// The folder is there, and outlives the cache.
ComPtr<TMK::IAFS_FilesCache> MakePlainCache(std::filesystem::path folder);

}  // namespace windows_host
