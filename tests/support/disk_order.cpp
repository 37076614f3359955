#include "tests/support/disk_order.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <mutex>

namespace {

struct Step {
    bool is_rename;
    std::string path;  // of the synchronised file, or the old name
    std::string to;
};

std::mutex g_mutex;
bool g_watches = false;
std::vector<Step> g_steps;

void Note(Step step) {
    const std::lock_guard lock(g_mutex);
    if (g_watches) g_steps.push_back(std::move(step));
}

std::string PathOf(int descriptor) {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error).string();
}

}  // namespace

// They take the place of the system's own in the programs that link them.
extern "C" int fsync(int descriptor) {
    Note({false, PathOf(descriptor), {}});
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char* from, const char* to) noexcept {
    Note({true, from, to});
    return static_cast<int>(syscall(SYS_renameat2, -100, from, -100, to, 0));
}

namespace testing_support {

DiskOrder::DiskOrder() {
    const std::lock_guard lock(g_mutex);
    g_steps.clear();
    g_watches = true;
}

DiskOrder::~DiskOrder() {
    const std::lock_guard lock(g_mutex);
    g_watches = false;
}

void DiskOrder::ExpectSafe(const std::filesystem::path& path) {
    std::vector<Step> steps;
    {
        const std::lock_guard lock(g_mutex);
        steps.swap(g_steps);
    }
    const auto is_synced = [](auto from, auto to, const std::string& synced) {
        return std::any_of(from, to, [&](const Step& s) { return !s.is_rename && s.path == synced; });
    };
    int renames = 0;
    for (auto step = steps.begin(); step != steps.end(); ++step) {
        if (!step->is_rename || step->to != path) continue;
        ++renames;
        EXPECT_TRUE(is_synced(steps.begin(), step, step->path)) << "content of " << step->path;
        EXPECT_TRUE(is_synced(step, steps.end(), path.parent_path())) << "folder of " << path;
    }
    EXPECT_GT(renames, 0) << path;
}

}  // namespace testing_support
