#include "host/jobs/upload.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/base/posix_file.h"
#include "host/cache/cache_entry.h"
#include "host/jobs/address.h"

namespace host {

namespace {

constexpr std::size_t kBlock = 1u << 20;

void SendContent(Job& job, TMK::IAFS_File* file, const NextBlock& next, const std::string& what) {
    bool is_empty = true;
    for (std::string_view block; !(block = next()).empty(); is_empty = false) {
        LONGLONG written = 0;
        job.Check(file->Write(block.data(), static_cast<LONGLONG>(block.size()), &written, job.details(),
                              job.cancel()),
                  what);
        if (static_cast<std::size_t>(written) != block.size())
            Job::Fail(E_FAIL, what, "the local copy takes no more");
    }
    if (!is_empty) return;
    // Flush needs a write, so an empty document is written and then truncated.
    const char byte = 0;
    job.Check(file->Write(&byte, 1, nullptr, job.details(), job.cancel()), what);
    job.Check(file->SetSize(0, job.details(), job.cancel()), what);
}

}  // namespace

UploadTarget FindUploadTarget(Job& job, const std::u16string& url, const std::string& what) {
    UploadTarget target{url, {}, job.NameFor(url, what), false};
    const auto info = job.FindInfo(target.name.get(), what);
    if (info && IsFolder(info.get()))
        Job::Fail(E_INVALIDARG, what, "this is a folder; name the document in it");
    target.is_new = !info;
    target.full_url = ToUtf8(job.UrlOf(target.name.get()));
    return target;
}

namespace {

// Opens the document empty and lets `fill` give it its content.
template <class Fill>
ComPtr<TMK::IAFS_File> OpenAndFill(Job& job, const UploadTarget& target, const std::string& what,
                                   Fill&& fill) {
    const DWORD disposition = target.is_new ? TMK::AFS_OpenFile_OpenAlways : TMK::AFS_OpenFile_OpenExisting;
    if (target.is_new) job.host().cache()->NoteCreating(target.full_url);
    ComPtr<TMK::IAFS_File> file;
    try {
        file = job.Open(target.name.get(), TMK::AFS_OpenFile_Write | disposition, what);
        // Also where no document was found: the lookup may have failed, and old content must not stay.
        job.Check(file->SetSize(0, job.details(), job.cancel()), what);
        fill(file.get());
    } catch (...) {
        // The half copied file is discarded, since the source is still there.
        file.reset();
        job.host().cache()->DiscardIncomplete(target.full_url);
        if (target.is_new) RemovePlaceholder(job, target.url, what);
        throw;
    }
    return file;
}

}  // namespace

ComPtr<TMK::IAFS_File> FillCopy(Job& job, const UploadTarget& target, const NextBlock& next,
                                const std::string& what) {
    return OpenAndFill(job, target, what, [&](TMK::IAFS_File* file) { SendContent(job, file, next, what); });
}

ComPtr<TMK::IAFS_File> LinkCopy(Job& job, const UploadTarget& target, const fs::path& source,
                                const std::string& what) {
    return OpenAndFill(job, target, what, [&](TMK::IAFS_File* file) {
        job.host().cache()->LinkSource(target.full_url, source);
        job.MarkChanged(file, source, what);
    });
}

void UploadFile(Job& job, const std::u16string& url, const fs::path& source, const std::string& what) {
    const DocumentTurn turn = job.TakeTurn(url, what);
    const UploadTarget target = FindUploadTarget(job, url, what);
    const auto unsent = job.host().cache()->Unsent(target.full_url);
    if (unsent && unsent->state == UnsentDocument::State::editing)
        Job::Fail(kInUse, what, "the document is open in another window or program; close it there first");
    const UnsentPermission newer(*job.host().cache(), target.full_url, UnsentUse::supersede);
    const Descriptor input = OpenFile(source, O_RDONLY);
    std::string block(kBlock, '\0');
    const auto next = [&]() -> std::string_view {
        ssize_t got = 0;
        do {
            got = read(input.get(), block.data(), block.size());
        } while (got < 0 && errno == EINTR);
        if (got < 0) ThrowErrno("read", source, errno);
        return {block.data(), static_cast<std::size_t>(got)};
    };
    const auto file = FillCopy(job, target, next, what);
    job.Check(file->Flush(job.details(), job.cancel()), what);
    const std::string saved = what + " (it is saved; what follows a save failed)";
    job.Exec(file.get(), u"PerformAfterSave", saved);
    job.Check(file->Close(TMK::AFS_CloseFile_AllowUI, job.details(), job.cancel()), saved);
}

void RemovePlaceholder(Job& job, const std::u16string& url, const std::string& what) {
    job.IgnoreCancel();
    try {
        const auto name = job.NameFor(url, what);
        const auto info = job.FindInfo(name.get(), what);
        ULONGLONG size = 1;
        const bool is_empty = info && !IsFolder(info.get()) && SUCCEEDED(info->get_Size(&size)) && size == 0;
        if (is_empty) job.Check(job.file_system()->Delete(name.get(), job.details(), job.cancel()), what);
        job.host().cache()->ForgetCreating(ToUtf8(job.UrlOf(name.get())));
    } catch (const JobError& error) {
        job.host().front_end().Warn("an empty document may be left at " + EscapeUrl(url) + " (" +
                                    error.message + "); 'sphost recover --drop' removes it");
    }
}

}  // namespace host
