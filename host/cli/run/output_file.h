// The target of a copied document. A plain file gets its name when it is complete; anything else (a device, a
// pipe) gets the bytes as they arrive. Failures are thrown. One thread.
#pragma once

#include "host/base/posix_file.h"

namespace cli {

class OutputFile {
public:
    explicit OutputFile(host::fs::path target);
    // Without Finish a plain file stays as it was.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(const void* data, std::size_t size);
    // `modified` is the time that a plain file gets, a Windows file time; 0 is the present.
    void Finish(std::uint64_t modified = 0);
    // Whether the target is there and holds other bytes than what was written.
    bool ReplacesOther() const;
    const host::fs::path& target() const { return m_target; }

private:
    host::fs::path m_target;  // with symbolic links resolved
    host::fs::path m_part;    // empty after Finish, and for anything but a plain file
    host::Descriptor m_file;
};

}  // namespace cli
