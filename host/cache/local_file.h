// The file of a local copy, compared with what the journal knows of it. Pure functions over files; any
// thread.
#pragma once

#include <string>

#include "host/cache/journal.h"

namespace host {

// Size, times and place of the file; empty when there is none.
std::string StampOf(const fs::path& path);
// Of its content. Throws a Failure.
std::string HashOf(const fs::path& path);
// Seconds since 1970 of its last change; the present when it is gone.
std::int64_t TimeOf(const fs::path& path);

// Whether the local file is still there; anything else of its name is moved aside.
bool HasFile(const fs::path& path);

// Whether the local file is the one that the journal describes: nothing is lost when it is replaced.
bool IsKnown(const JournalEntry& entry, const fs::path& path);

// Describes the present file, whose content nobody has read.
void NoteFile(JournalEntry& entry, const fs::path& path);
// Describes a file that isn't there: whatever appears later is somebody else's.
void NoteNoFile(JournalEntry& entry);

// Whether the name is that of a file that was set aside.
bool IsSetAside(const fs::path& path);
// Renames a file that something else has changed; returns the new path.
fs::path SetAside(const fs::path& path);

}  // namespace host
