// Times and sizes as the user's locale writes them. Any thread.
#pragma once

#include <cstdint>
#include <string>

// Local date and time of a Windows file time in UTC; empty for 0.
std::u16string FormatTime(uint64_t file_time);
// "0 KB", "1 KB" up to 1,024 bytes, "5.2 MB" from a megabyte on.
std::u16string FormatSize(uint64_t bytes);
