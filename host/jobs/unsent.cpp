#include "host/jobs/unsent.h"

#include <fcntl.h>

namespace host {

Comparison CompareWithServer(Job& job, const UnsentDocument& document, const std::string& what) {
    const auto name = job.NameFor(ToUtf16(document.entry.url), what);
    const auto info = job.FindInfo(name.get(), what);
    if (!info || IsFolder(info.get())) return {ServerVersion::gone};
    ULONGLONG time = 0;
    ULONGLONG size = 0;
    job.Check(info->get_LastWriteTime(&time), what);
    const bool is_same_size = SUCCEEDED(info->get_Size(&size)) && size == document.size;
    // Without a known base the server's version may be newer.
    const bool is_newer = document.entry.base_time == 0 || time > document.entry.base_time;
    return {is_newer ? ServerVersion::newer : ServerVersion::same, is_same_size};
}

bool IsOnServer(Job& job, const UnsentDocument& document, const std::string& what) {
    const UnsentPermission bypass(*job.host().cache(), document.entry.url, UnsentUse::bypass);
    const auto name = job.NameFor(ToUtf16(document.entry.url), what);
    ULONGLONG size = 0;
    const auto info = job.FindInfo(name.get(), what);
    if (!info || FAILED(info->get_Size(&size)) || size != document.size) return false;
    const auto file = job.Open(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting, what);
    const Descriptor local = OpenFile(document.path, O_RDONLY);
    std::string theirs(1u << 18, '\0');
    std::string ours = theirs;
    for (std::uint64_t position = 0;;) {
        LONGLONG got = 0;
        job.Check(file->Read(theirs.data(), static_cast<LONGLONG>(theirs.size()), &got, job.details(),
                             job.cancel()),
                  what);
        const auto count = static_cast<std::size_t>(got);
        if (count == 0) return position == size;
        if (ReadAt(local.get(), document.path, ours.data(), count, position) != count ||
            ours.compare(0, count, theirs, 0, count) != 0)
            return false;
        position += count;
    }
}

ComPtr<TMK::IAFS_File> Upload(Job& job, const UnsentDocument& document, ServerVersion server,
                              const std::string& what) {
    const UnsentPermission permission(*job.host().cache(), document.entry.url, UnsentUse::take_up);
    const auto name = job.NameFor(ToUtf16(document.entry.url), what);
    const DWORD disposition =
        server == ServerVersion::gone ? TMK::AFS_OpenFile_OpenAlways : TMK::AFS_OpenFile_OpenExisting;
    auto file = job.Open(name.get(), TMK::AFS_OpenFile_Write | disposition, what);
    job.MarkChanged(file.get(), document.path, what);
    job.Check(file->Flush(job.details(), job.cancel()), what);
    return file;
}

}  // namespace host
