#include "store/blobs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <vector>

#include "base/crypto.h"

namespace devserver {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t kBlockSize = 512 * 1024;

void WriteFully(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        auto count = ::write(descriptor, data, size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0)
            throw std::runtime_error(std::string("cannot store a document: ") + std::strerror(errno));
        data += count;
        size -= static_cast<std::size_t>(count);
    }
}

}  // namespace

BlobWriter::BlobWriter(const std::string& folder, const std::string& name)
    : m_file(folder + "/" + name), m_name(name) {
    m_descriptor = ::open(m_file.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (m_descriptor < 0)
        throw std::runtime_error(std::string("cannot store a document: ") + std::strerror(errno));
}

BlobWriter::~BlobWriter() {
    ::close(m_descriptor);
    if (!m_kept) ::unlink(m_file.c_str());
}

void BlobWriter::Write(const char* data, std::size_t size) {
    WriteFully(m_descriptor, data, size);
    m_size += static_cast<std::int64_t>(size);
}

void BlobWriter::WriteAll(BodySource& source) {
    std::vector<char> block(kBlockSize);
    while (auto count = source.Read(block.data(), block.size())) Write(block.data(), count);
}

std::string BlobWriter::Keep() {
    m_kept = true;
    return m_name;
}

Blobs::Blobs(std::string folder) : m_folder(std::move(folder)) {
    fs::create_directories(m_folder);
}

std::unique_ptr<BlobWriter> Blobs::Create() const {
    return std::make_unique<BlobWriter>(m_folder, RandomGuid());
}

std::shared_ptr<FileBody> Blobs::Open(const std::string& name) const {
    int descriptor = ::open((m_folder + "/" + name).c_str(), O_RDONLY | O_CLOEXEC);
    struct stat information {};
    if (descriptor < 0 || ::fstat(descriptor, &information) != 0) {
        if (descriptor >= 0) ::close(descriptor);
        return nullptr;
    }
    return std::make_shared<FileBody>(descriptor, static_cast<std::uint64_t>(information.st_size));
}

void Blobs::Append(const std::string& name, BodySource& source, std::int64_t& added) const {
    int descriptor = ::open((m_folder + "/" + name).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (descriptor < 0) throw std::runtime_error("cannot go on with an upload");
    FileBody guard(descriptor, 0);
    std::vector<char> block(kBlockSize);
    while (auto count = source.Read(block.data(), block.size())) {
        WriteFully(descriptor, block.data(), count);
        added += static_cast<std::int64_t>(count);
    }
}

void Blobs::Remove(const std::string& name) const {
    if (!name.empty()) ::unlink((m_folder + "/" + name).c_str());
}

void Blobs::Sweep(const std::function<bool(const std::string&)>& is_known) const {
    for (const auto& entry : fs::directory_iterator(m_folder)) {
        auto name = entry.path().filename().string();
        if (!is_known(name)) Remove(name);
    }
}

}  // namespace devserver
