// Contents of documents: one file each in a folder, under random names.
// Owner: store/; any thread.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "base/body.h"

namespace devserver {

// A content that is being written; removed unless it is kept.
class BlobWriter {
public:
    BlobWriter(const std::string& folder, const std::string& name);
    ~BlobWriter();
    BlobWriter(const BlobWriter&) = delete;
    BlobWriter& operator=(const BlobWriter&) = delete;
    // Throws std::runtime_error when the disk is full or fails.
    void Write(const char* data, std::size_t size);
    void WriteAll(BodySource& source);
    // The content stays; returns its name.
    std::string Keep();
    std::int64_t size() const { return m_size; }

private:
    std::string m_file, m_name;
    int m_descriptor = -1;
    std::int64_t m_size = 0;
    bool m_kept = false;
};

class Blobs {
public:
    explicit Blobs(std::string folder);
    std::unique_ptr<BlobWriter> Create() const;
    // Null when the content isn't there.
    std::shared_ptr<FileBody> Open(const std::string& name) const;
    void Append(const std::string& name, BodySource& source, std::int64_t& added) const;
    void Remove(const std::string& name) const;
    // Removes files that a killed process left behind; `is_known` tells which names are in use.
    void Sweep(const std::function<bool(const std::string&)>& is_known) const;

private:
    std::string m_folder;
};

}  // namespace devserver
