#include "store/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace devserver {

FolderLock::FolderLock(const std::string& folder) {
    auto file = folder + "/lock";
    m_descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_descriptor < 0) throw std::runtime_error("cannot open " + file + ": " + std::strerror(errno));
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0) return;
    int error = errno;
    ::close(m_descriptor);
    if (error == EWOULDBLOCK)
        throw std::runtime_error("the data folder " + folder + " is in use by another process");
    throw std::runtime_error("cannot lock " + file + ": " + std::strerror(error));
}

FolderLock::~FolderLock() {
    ::close(m_descriptor);
}

}  // namespace devserver
