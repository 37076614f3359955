// What the plug-in's trace log says. One thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace testing_support {

// The text of all logs below a temporary folder, as UTF-8.
std::string ReadTraceLogs(const std::filesystem::path& temporary_folder);

// What this process logs while `action` runs, for programs with the plug-in's sources in them. Its log is
// empty before and gone afterwards: programs that start at the same time would write one file, so a program
// that calls this has a temporary folder to itself from the time that it is loaded.
std::string LogOf(std::int32_t level, const std::function<void()>& action);

// The folder of the logs of such a program.
std::filesystem::path LogFolder();

}  // namespace testing_support
