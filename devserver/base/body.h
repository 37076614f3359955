// Bodies of requests, answers and documents as streams of bytes.
// Owner: everyone in devserver/; a stream belongs to one thread at a time.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace devserver {

class BodySource {
public:
    virtual ~BodySource() = default;
    // Returns the number of bytes read, 0 at the end; throws when the body breaks off.
    virtual std::size_t Read(char* buffer, std::size_t size) = 0;
};

class BodySink {
public:
    virtual ~BodySink() = default;
    virtual void Write(std::string_view bytes) = 0;
};

// An open file that is sent as a body; closes its descriptor.
class FileBody {
public:
    FileBody(int descriptor, std::uint64_t size) : m_descriptor(descriptor), m_size(size) {}
    ~FileBody();
    FileBody(const FileBody&) = delete;
    FileBody& operator=(const FileBody&) = delete;
    int descriptor() const { return m_descriptor; }
    std::uint64_t size() const { return m_size; }

private:
    int m_descriptor;
    std::uint64_t m_size;
};

}  // namespace devserver
