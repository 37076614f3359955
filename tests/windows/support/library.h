// Loaded libraries, and what the system counts for this process.
#pragma once

#include <cstddef>
#include <filesystem>

namespace testing_support {

// Null when it can't be loaded.
void* LoadLibraryFile(const std::filesystem::path& file);
void* FunctionOf(void* library, const char* name);
void FreeLibraryFile(void* library);
// By the name of its file.
bool IsLoaded(const std::filesystem::path& file);

// The number of the next handle: the lowest that is free, so it rises when handles leak.
unsigned NextHandle();
unsigned Threads();
// The most memory that this process held at once.
std::size_t PeakBytes();

}  // namespace testing_support
