// The files cache of one session, which gives each handle its local copy. Any thread.
#pragma once

#include <memory>

#include "host/cache/cache_store.h"
#include "hostapi/iafs.h"
#include "platform/com_ptr.h"

namespace host {

ComPtr<TMK::IAFS_FilesCache> MakeFilesCache(std::shared_ptr<CacheStore> store);

}  // namespace host
