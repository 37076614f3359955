// How open flags are read. Pure functions.
#pragma once

#include "hostapi/iafs.h"

namespace Afs::OpenFlags {

inline constexpr DWORD kAccessMask = 3;
inline constexpr DWORD kDispositionMask = 0x3C;
// Flags that need the document checked out to the user.
inline constexpr DWORD kCheckOutMask = TMK::AFS_OpenFile_CheckOut | TMK::AFS_OpenFile_Write;

// No access means reading, no disposition an existing file.
constexpr DWORD Normalize(DWORD flags) {
    if ((flags & kAccessMask) == 0) flags |= TMK::AFS_OpenFile_Read;
    if ((flags & kDispositionMask) == 0) flags |= TMK::AFS_OpenFile_OpenExisting;
    return flags;
}

}  // namespace Afs::OpenFlags
