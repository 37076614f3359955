// get and put: documents out and in.
// The command's worker thread.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

#include "host/base/interrupt.h"
#include "host/cache/cache_entry.h"
#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/cli/run/output_file.h"
#include "host/jobs/address.h"
#include "host/jobs/upload.h"

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

// What is put: a file, or standard input. Its first block is read at once, so that a source that can't be
// read fails before anything exists on the server.
class Source {
public:
    explicit Source(const std::string& path)
        : m_path(path == "-" ? "standard input" : path),
          m_file(path == "-" ? host::Descriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0))
                             : host::OpenFile(path, O_RDONLY)),
          m_block(std::make_unique<char[]>(kBlock)) {
        struct stat status;
        if (fstat(m_file.get(), &status) != 0) host::ThrowErrno("read", m_path, errno);
        if (S_ISDIR(status.st_mode)) host::ThrowErrno("read", m_path, EISDIR);
        m_size = Fill();
    }
    // The next block; empty at the end.
    std::string_view Next() {
        const std::size_t size = m_is_first ? m_size : Fill();
        m_is_first = false;
        return {m_block.get(), size};
    }

private:
    std::size_t Fill() {
        std::size_t size = 0;
        while (size < kBlock) {
            std::array<pollfd, 2> watched{
                {{m_file.get(), POLLIN, 0}, {host::InterruptDescriptor(), POLLIN, 0}}};
            poll(watched.data(), watched.size(), -1);
            if (host::InterruptFlag()) throw host::Failure(host::kCanceled, "cancelled");
            const ssize_t got = read(m_file.get(), m_block.get() + size, kBlock - size);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) host::ThrowErrno("read", m_path, errno);
            if (got == 0) break;
            size += static_cast<std::size_t>(got);
        }
        return size;
    }

    const host::fs::path m_path;
    const host::Descriptor m_file;
    const std::unique_ptr<char[]> m_block;
    std::size_t m_size = 0;
    bool m_is_first = true;
};

// A target that is newer than the server's document may hold work that is nowhere else.
void AskBeforeReplacing(Run& run, const OutputFile& target, std::uint64_t server_time,
                        const std::string& what) {
    const bool can_ask = run.host().front_end().CanAsk() || !run.options().answers.empty();
    if (run.options().Has("force") || !can_ask) return;
    constexpr std::uint64_t kEpoch = 11644473600;
    struct stat there;
    if (stat(target.target().c_str(), &there) != 0) return;
    const std::uint64_t local_time = (static_cast<std::uint64_t>(there.st_mtim.tv_sec) + kEpoch) * 10000000;
    if (local_time <= server_time || !target.ReplacesOther()) return;
    const std::string text =
        target.target().string() + " is newer than the server's document and differs from it. Overwrite it?";
    if (!run.Agrees({u"sphost.replaceFile.question", text, u"overwrite", u"keep"}, what))
        run.Fail(host::kCanceled, what, target.target().string() + " was left as it is");
}

}  // namespace

void Get(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const std::u16string url = host::ParseUrl(run.options().arguments[0]);
    const auto name = run.NameFor(url, what);
    const auto info = run.InfoOf(name.get(), what);
    if (host::IsFolder(info.get())) run.Fail(E_INVALIDARG, what, "this is a folder, not a document");
    ULONGLONG server_time = 0;
    info->get_LastWriteTime(&server_time);
    std::optional<host::UnsentPermission> bypass;
    if (run.options().Has("server")) {
        bypass.emplace(*run.host().cache(), host::ToUtf8(run.UrlOf(name.get())), host::UnsentUse::bypass);
    } else {
        run.RefuseUnsent(run.UrlOf(name.get()), what);
    }
    const bool to_output = run.options().arguments.size() > 1 && run.options().arguments[1] == "-";
    if (!to_output && run.options().Has("no-clobber") && host::fs::exists(TargetOf(run, url))) {
        run.Fail(HRESULT_FROM_WIN32(ERROR_FILE_EXISTS), what,
                 TargetOf(run, url).string() + " is there already");
    }
    const auto file = run.Open(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting, what);
    LONGLONG size = 0;
    run.Check(file->GetSize(&size, run.details(), run.cancel()), what);
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
    if (!target) return;
    AskBeforeReplacing(run, *target, server_time, what);
    target->Finish();
}

void Put(Run& run) {
    const Options& options = run.options();
    const std::string what = What(options, options.arguments[1]);
    std::optional<host::PromptAnswer> check_in;
    if (options.Has("check-in")) check_in = CheckInAnswer(options, "check-in", "btn.checkIn");
    if (!check_in && options.Has("comment")) throw UsageError("--comment goes with --check-in");
    Source source(options.arguments[0]);
    const std::u16string url = host::ParseUrl(options.arguments[1]);
    const host::UploadTarget target = run.Making(url, [&] { return host::FindUploadTarget(run, url, what); });
    run.RefuseOpen(host::ToUtf16(target.full_url), what);
    const host::UnsentPermission newer(*run.host().cache(), target.full_url, host::UnsentUse::supersede);
    const auto file = run.Making(url, [&] {
        return host::FillCopy(
            run, target, [&] { return source.Next(); }, what);
    });
    try {
        run.Check(file->Flush(run.details(), run.cancel()), what + " (it is kept, see 'sphost recover')");
        if (check_in) {
            run.host().prompts().AddAnswer("msg.checkInDialogMessage", *check_in);
            run.Exec(file.get(), u"CheckInWithUi", what);
            run.Check(file->Close(TMK::AFS_CloseFile_AllowUI, run.details(), run.cancel()), what);
        } else {
            FinishSave(run, file.get(), what);
        }
        run.Say(SavedText(run));
    } catch (CommandError& error) {
        AddCheckOutHint(run, file.get(), options.arguments[1], error);
        throw;
    }
}

}  // namespace cli
