// The log of a program with the plug-in's sources in it.
#include <cstdlib>

#include "base/log.h"
#include "tests/support/trace_log.h"

namespace testing_support {

namespace fs = std::filesystem;

namespace {

// The log's folder is fixed when the program is loaded, so this comes before other initialisers.
struct OwnTemporaryFolder {
    static inline char path[] = "/tmp/sp-log-test-XXXXXX";
    __attribute__((constructor(101))) static void Make() { setenv("TMPDIR", mkdtemp(path), 1); }
    ~OwnTemporaryFolder() { fs::remove_all(path); }
} g_own_temporary_folder;

}  // namespace

fs::path LogFolder() {
    return fs::path(g_own_temporary_folder.path) / "TSMK-SharePoint";
}

std::string LogOf(std::int32_t level, const std::function<void()>& action) {
    constexpr std::int32_t kDaysToStore = 10;
    Log::ApplyPreferences(Log::none, kDaysToStore);
    fs::remove_all(LogFolder());
    Log::ApplyPreferences(level, kDaysToStore);
    action();
    Log::ApplyPreferences(Log::none, kDaysToStore);
    std::string text = ReadTraceLogs(g_own_temporary_folder.path);
    fs::remove_all(LogFolder());
    return text;
}

}  // namespace testing_support
