// Keeps a data folder for one process; the system releases it when the process ends.
// Owner: store/; one thread.
#pragma once
#include <string>

namespace devserver {

class FolderLock {
public:
    // Throws std::runtime_error when another process has the folder.
    explicit FolderLock(const std::string& folder);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    int m_descriptor;
};

}  // namespace devserver
