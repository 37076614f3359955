// get and put: documents out and in.
// The command's worker thread.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "host/cache/cache_entry.h"
#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/cli/run/output_file.h"
#include "host/cli/run/url_argument.h"

namespace cli {

namespace {

constexpr std::size_t kBlock = 1u << 20;

host::fs::path TargetOf(Run& run, const std::u16string& url) {
    const auto& arguments = run.options().arguments;
    const std::string name = host::LocalNameOf(host::ToUtf8(url));
    if (arguments.size() < 2) return name;
    if (host::fs::is_directory(arguments[1])) return host::fs::path(arguments[1]) / name;
    return arguments[1];
}

void SendContent(Run& run, TMK::IAFS_File* file, const host::fs::path& source, const host::Descriptor& from,
                 const std::string& what) {
    const auto block = std::make_unique<char[]>(kBlock);
    std::uint64_t position = 0;
    while (const std::size_t got = host::ReadAt(from.get(), source, block.get(), kBlock, position)) {
        LONGLONG written = 0;
        run.Check(file->Write(block.get(), static_cast<LONGLONG>(got), &written, run.details(), run.cancel()),
                  what);
        if (static_cast<std::size_t>(written) != got) run.Fail(E_FAIL, what, "the local copy takes no more");
        position += got;
    }
    if (position > 0) return;
    // Flush needs a write, so an empty document is written and then truncated.
    const char byte = 0;
    run.Check(file->Write(&byte, 1, nullptr, run.details(), run.cancel()), what);
    run.Check(file->SetSize(0, run.details(), run.cancel()), what);
}

host::Descriptor OpenSource(const host::fs::path& source) {
    host::Descriptor from = host::OpenFile(source, O_RDONLY);
    struct stat status;
    if (fstat(from.get(), &status) != 0) host::ThrowErrno("read", source, errno);
    if (S_ISDIR(status.st_mode)) host::ThrowErrno("read", source, EISDIR);
    return from;
}

}  // namespace

void Get(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const std::u16string url = ParseUrl(run.options().arguments[0]);
    const auto name = run.NameFor(url, what);
    if (IsFolder(run.InfoOf(name.get(), what).get()))
        run.Fail(E_INVALIDARG, what, "this is a folder, not a document");
    run.RefuseUnsent(run.UrlOf(name.get()), what);
    const auto file = run.Open(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting, what);
    LONGLONG size = 0;
    run.Check(file->GetSize(&size, run.details(), run.cancel()), what);
    const bool to_output = run.options().arguments.size() > 1 && run.options().arguments[1] == "-";
    std::optional<OutputFile> target;
    if (!to_output) target.emplace(TargetOf(run, url));
    const auto progress = run.host().front_end().ShowProgress(static_cast<std::uint64_t>(size));
    const auto block = std::make_unique<char[]>(kBlock);
    for (std::uint64_t position = 0;;) {
        LONGLONG got = 0;
        run.Check(file->Read(block.get(), kBlock, &got, run.details(), run.cancel()), what);
        if (got == 0) break;
        if (to_output) {
            run.Out(std::string(block.get(), static_cast<std::size_t>(got)));
        } else {
            target->Write(block.get(), static_cast<std::size_t>(got));
        }
        position += static_cast<std::uint64_t>(got);
        progress->Show(position);
    }
    if (target) target->Finish();
}

void Put(Run& run) {
    const Options& options = run.options();
    const host::fs::path source = options.arguments[0];
    const std::string what = What(options, options.arguments[1]);
    std::optional<host::PromptAnswer> check_in;
    if (options.Has("check-in")) check_in = CheckInAnswer(options, "check-in", "btn.checkIn");
    if (!check_in && options.Has("comment")) throw UsageError("--comment goes with --check-in");
    const host::Descriptor from = OpenSource(source);
    const std::u16string url = ParseUrl(options.arguments[1]);
    const auto name = run.NameFor(url, what);
    const auto info = run.FindInfo(name.get(), what);
    if (info && IsFolder(info.get()))
        run.Fail(E_INVALIDARG, what, "this is a folder; name the document in it");
    const std::string full_url = host::ToUtf8(run.UrlOf(name.get()));
    run.RefuseUnsent(host::ToUtf16(full_url), what);
    const DWORD disposition = info ? TMK::AFS_OpenFile_OpenExisting : TMK::AFS_OpenFile_OpenAlways;
    auto file = run.Open(name.get(), TMK::AFS_OpenFile_Write | disposition, what);
    try {
        // Also where no document was found: the lookup may have failed, and old content must not stay.
        run.Check(file->SetSize(0, run.details(), run.cancel()), what);
        SendContent(run, file.get(), source, from, what);
    } catch (...) {
        // The half copied file is discarded, since the source is still there.
        file.reset();
        run.host().cache()->DiscardIncomplete(full_url);
        throw;
    }
    run.Check(file->Flush(run.details(), run.cancel()), what);
    if (check_in) {
        run.host().prompts().AddAnswer("msg.checkInDialogMessage", *check_in);
        run.Exec(file.get(), u"CheckInWithUi", what);
        run.Check(file->Close(TMK::AFS_CloseFile_AllowUI, run.details(), run.cancel()), what);
    } else {
        FinishSave(run, file.get(), what);
    }
}

}  // namespace cli
