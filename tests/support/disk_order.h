// Watches in which order this process synchronises and renames files. One thread; one object at a time.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace testing_support {

class DiskOrder {
public:
    DiskOrder();
    ~DiskOrder();
    DiskOrder(const DiskOrder&) = delete;
    DiskOrder& operator=(const DiskOrder&) = delete;

    // The content of each file that got this name was on the disk before, and its folder was after. What was
    // watched is forgotten. A failure of the running test.
    void ExpectSafe(const std::filesystem::path& path);
};

}  // namespace testing_support
