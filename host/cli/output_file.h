// Where a document goes when it is copied out: a plain file takes its name only when it is whole, anything
// else (a device, a pipe) takes the bytes as they come. Failures are thrown. One thread.
#pragma once

#include "host/base/posix_file.h"

namespace cli {

class OutputFile {
public:
    explicit OutputFile(host::fs::path target);
    // Without Finish a plain file is what it was.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(const void* data, std::size_t size);
    void Finish();

private:
    host::fs::path m_target;  // behind symbolic links, which stay
    host::fs::path m_part;    // empty once it has its name, and for what is no plain file
    host::Descriptor m_file;
};

}  // namespace cli
