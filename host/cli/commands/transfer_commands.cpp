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
#include "host/jobs/listing.h"
#include "host/jobs/upload.h"

namespace cli {

namespace {

constexpr std::size_t kBlock = 1u << 20;
constexpr off_t kLarge = 8 << 20;

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
        m_is_large = S_ISREG(status.st_mode) && path != "-" && status.st_size >= kLarge;
        m_size = Fill();
    }
    // Whether it is a file that is worth sending without a copy of it.
    bool IsLarge() const { return m_is_large; }
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
    bool m_is_large = false;
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

constexpr std::uint64_t kTicks = 10000000;
constexpr std::uint64_t kEpoch = 11644473600;  // of Unix, in seconds of a Windows file time

std::uint64_t TimeOf(const struct stat& file) {
    return (static_cast<std::uint64_t>(file.st_mtim.tv_sec) + kEpoch) * kTicks;
}

// The name of a document as it is, which no folder of this machine would take for another place.
std::string NameOf(Run& run, TMK::IAFS_Name* name, const std::string& what) {
    std::string last = host::ToUtf8(host::LastPart(run.UrlOf(name)));
    if (last.empty() || last == "." || last == "..")
        run.Fail(E_INVALIDARG, what, "this is no name of a file");
    return last;
}

// A large document that was copied out is not kept twice; its local copy stays where something else of the
// document does.
void DropCopy(Run& run, TMK::IAFS_Name* name) {
    const std::string url = host::ToUtf8(run.UrlOf(name));
    try {
        if (!run.host().cache()->Unsent(url)) run.host().cache()->Drop(url);
    } catch (const host::Failure&) {
        // It is open elsewhere, so somebody does need it.
    }
}

void GetDocument(Run& run, TMK::IAFS_Name* name, const host::fs::path& path, const std::string& what) {
    const auto info = run.InfoOf(name, what);
    if (host::IsFolder(info.get()))
        run.Fail(E_INVALIDARG, what, "this is a folder; -r copies it with all in it");
    ULONGLONG server_time = 0;
    info->get_LastWriteTime(&server_time);
    std::optional<host::UnsentPermission> bypass;
    if (run.options().Has("server")) {
        bypass.emplace(*run.host().cache(), host::ToUtf8(run.UrlOf(name)), host::UnsentUse::bypass);
    } else {
        run.RefuseUnsent(run.UrlOf(name), what);
    }
    const bool to_output = path == "-";
    if (!to_output && run.options().Has("no-clobber") && host::fs::exists(path))
        run.Fail(HRESULT_FROM_WIN32(ERROR_FILE_EXISTS), what, path.string() + " is there already");
    const bool had_copy = run.host().cache()->Entry(host::ToUtf8(run.UrlOf(name))).complete;
    auto file = run.Open(name, TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting, what);
    LONGLONG size = 0;
    run.Check(file->GetSize(&size, run.details(), run.cancel()), what);
    std::optional<OutputFile> target;
    if (!to_output) target.emplace(path);
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
    if (target) {
        AskBeforeReplacing(run, *target, server_time, what);
        target->Finish(server_time);
    }
    file.reset();
    if (size >= kLarge && !had_copy && !bypass) DropCopy(run, name);
}

// How far a command on many documents has come. A failure doesn't stop the others.
class Tally {
public:
    explicit Tally(Run& run) : m_run(run) {}

    template <class Work>
    void Try(const std::string& what, Work&& work) {
        try {
            work();
        } catch (const CommandError& error) {
            if (error.code == host::kCanceled && host::IsCanceled(m_run.cancel())) throw;
            Note(error);
        } catch (const host::Failure& failure) {
            if (failure.code() == host::kCanceled) throw;
            Note({what, failure.code(), failure.what()});
        }
    }
    void Count() { m_run.status().ShowCount(++m_done); }
    void Skip() { ++m_same; }
    // Throws when anything failed.
    void End() {
        std::string text = std::to_string(m_done) + " copied";
        if (m_same > 0) text += ", " + std::to_string(m_same) + " there already";
        if (m_failed > 0) {
            m_run.Fail(
                m_first, m_run.options().command,
                std::to_string(m_failed) + " failed, " + text + "; the same command again copies the rest");
        }
        m_run.Say(text);
    }

private:
    void Note(const CommandError& error) {
        m_run.host().front_end().Warn(error.what + ": " + error.message + " (" +
                                      host::FormatResult(error.code) + ")");
        if (m_failed++ == 0) m_first = error.code;
    }

    Run& m_run;
    std::uint64_t m_done = 0;
    std::uint64_t m_same = 0;
    std::uint64_t m_failed = 0;
    HRESULT m_first = E_FAIL;
};

// What is left out of a recursive copy: a file of the document's size and time.
bool IsCopyOf(Run& run, const host::fs::path& path, TMK::IAFS_Name* name, const std::string& what) {
    struct stat there {};
    if (stat(path.c_str(), &there) != 0 || !S_ISREG(there.st_mode)) return false;
    if (run.options().Has("no-clobber")) return true;
    const auto info = run.InfoOf(name, what);
    ULONGLONG time = 0;
    ULONGLONG size = 0;
    return SUCCEEDED(info->get_LastWriteTime(&time)) && SUCCEEDED(info->get_Size(&size)) &&
           static_cast<ULONGLONG>(there.st_size) == size && TimeOf(there) / kTicks == time / kTicks;
}

// One folder's listing is held for each level.
void GetFolder(Run& run, TMK::IAFS_Name* folder, const host::fs::path& path, Tally& tally) {
    const std::string what = What(run.options(), host::EscapeUrl(run.UrlOf(folder)));
    std::error_code error;
    host::fs::create_directories(path, error);
    if (error)
        throw host::Failure(host::ResultOfErrno(error.value()), "can't make the folder " + path.string());
    std::vector<std::pair<bool, ComPtr<TMK::IAFS_Name>>> items;
    host::ListFolder(run, folder, what, [&](TMK::IAFS_EnumFolderItem* item) {
        DWORD attributes = 0;
        run.Check(item->get_Attributes(&attributes), what);
        ComPtr<TMK::IAFS_Name> name;
        run.Check(item->get_Name(name.put()), what);
        items.emplace_back((attributes & TMK::AFS_FileAttribute_Folder) != 0, std::move(name));
    });
    for (const auto& [is_folder, name] : items) {
        const std::string one = What(run.options(), host::EscapeUrl(run.UrlOf(name.get())));
        const host::fs::path target = path / NameOf(run, name.get(), one);
        if (is_folder) {
            tally.Try(one, [&, &name = name] { GetFolder(run, name.get(), target, tally); });
        } else if (IsCopyOf(run, target, name.get(), one)) {
            tally.Skip();
        } else {
            tally.Try(one, [&, &name = name] {
                GetDocument(run, name.get(), target, one);
                tally.Count();
            });
        }
    }
}

struct GetTarget {
    std::vector<std::string> addresses;
    std::optional<std::string> path;  // nothing for the present folder
};

GetTarget ReadGetTarget(Run& run) {
    GetTarget target{run.options().arguments, {}};
    if (target.addresses.size() > 1 && !run.IsAddress(target.addresses.back())) {
        target.path = target.addresses.back();
        target.addresses.pop_back();
    }
    if (target.addresses.size() > 1 && target.path && !run.options().Has("recursive") &&
        !host::fs::is_directory(*target.path))
        throw UsageError("several documents are copied into a folder, and '" + *target.path + "' is none");
    return target;
}

// A recursive copy goes into the folder, which is made when it is missing, so that the same command again
// goes on.
host::fs::path PathIn(const GetTarget& target, const std::string& name, bool is_deep) {
    if (!target.path) return name;
    if (is_deep) return host::fs::path(*target.path) / name;
    if (*target.path != "-" && host::fs::is_directory(*target.path))
        return host::fs::path(*target.path) / name;
    return *target.path;
}

// Puts one file or standard input at a URL, and follows with the check-in.
void PutFile(Run& run, const std::string& source_path, const std::u16string& url, const std::string& what) {
    const Options& options = run.options();
    std::optional<host::PromptAnswer> check_in;
    if (options.Has("check-in")) check_in = CheckInAnswer(options, "check-in", "btn.checkIn");
    Source source(source_path);
    const host::UploadTarget target = run.Making(url, [&] { return host::FindUploadTarget(run, url, what); });
    if (!target.is_new && options.Has("no-clobber"))
        run.Fail(HRESULT_FROM_WIN32(ERROR_FILE_EXISTS), what, "this is there already");
    if (target.is_new) RequireParent(run, url, what);
    run.RefuseOpen(host::ToUtf16(target.full_url), what);
    const host::UnsentPermission newer(*run.host().cache(), target.full_url, host::UnsentUse::supersede);
    const auto file = run.Making(url, [&] {
        if (source.IsLarge()) return host::LinkCopy(run, target, source_path, what);
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
    } catch (CommandError& error) {
        AddCheckOutHint(run, file.get(), host::EscapeUrl(url), error);
        throw;
    }
}

// What is left out of a recursive copy: a document of the file's size that was saved after the file's last
// change.
bool IsSent(Run& run, const host::fs::path& path, TMK::IAFS_FileInfo* info) {
    if (run.options().Has("no-clobber")) return true;
    struct stat here {};
    ULONGLONG time = 0;
    ULONGLONG size = 0;
    return stat(path.c_str(), &here) == 0 && SUCCEEDED(info->get_LastWriteTime(&time)) &&
           SUCCEEDED(info->get_Size(&size)) && static_cast<ULONGLONG>(here.st_size) == size &&
           time / kTicks >= TimeOf(here) / kTicks;
}

void PutOne(Run& run, const host::fs::path& path, const std::u16string& url, Tally& tally) {
    const std::string what = What(run.options(), host::EscapeUrl(url));
    tally.Try(what, [&] {
        const auto info = run.FindInfo(run.NameFor(url, what).get(), what);
        if (info && !host::IsFolder(info.get()) && IsSent(run, path, info.get())) return tally.Skip();
        PutFile(run, path.string(), url, what);
        tally.Count();
    });
}

void PutFolder(Run& run, const host::fs::path& path, const std::u16string& url, Tally& tally) {
    const std::string what = What(run.options(), host::EscapeUrl(url));
    if (!run.FindInfo(run.NameFor(url, what).get(), what)) {
        RequireParent(run, url, what);
        run.Making(url, [&] {
            const auto name = run.NameFor(url, what);
            run.Check(run.file_system()->CreateFolder(name.get(), 0, run.details(), run.cancel()), what);
        });
    }
    for (const auto& entry : host::fs::directory_iterator(path)) {
        const std::u16string item = url + u"/" + host::ToUtf16(entry.path().filename().string());
        if (entry.is_directory() && !entry.is_symlink()) {
            tally.Try(what, [&] { PutFolder(run, entry.path(), item, tally); });
        } else if (entry.is_regular_file()) {
            PutOne(run, entry.path(), item, tally);
        }
    }
}

}  // namespace

void Get(Run& run) {
    const GetTarget target = ReadGetTarget(run);
    const bool is_deep = run.options().Has("recursive");
    if (target.addresses.size() == 1 && !is_deep) {
        const std::string what = What(run.options(), target.addresses[0]);
        const auto name = run.NameFor(run.Address(target.addresses[0]), what);
        run.InfoOf(name.get(), what);  // the name of what a sharing link leads to
        return GetDocument(run, name.get(), PathIn(target, NameOf(run, name.get(), what), is_deep), what);
    }
    if (target.path == "-") throw UsageError("standard output takes one document");
    Tally tally(run);
    for (const std::string& address : target.addresses) {
        const std::string what = What(run.options(), address);
        tally.Try(what, [&] {
            const auto name = run.NameFor(run.Address(address), what);
            const bool is_folder = host::IsFolder(run.InfoOf(name.get(), what).get());
            const host::fs::path path = PathIn(target, NameOf(run, name.get(), what), is_deep);
            if (is_folder && is_deep) return GetFolder(run, name.get(), path, tally);
            if (IsCopyOf(run, path, name.get(), what)) return tally.Skip();
            if (is_deep && path.has_parent_path()) host::fs::create_directories(path.parent_path());
            GetDocument(run, name.get(), path, what);
            tally.Count();
        });
    }
    tally.End();
}

void Put(Run& run) {
    const Options& options = run.options();
    if (!options.Has("check-in") && options.Has("comment"))
        throw UsageError("--comment goes with --check-in");
    if (options.Has("check-in")) CheckInAnswer(options, "check-in", "");  // refuses a wrong type
    const std::string& address = options.arguments.back();
    const std::string what = What(options, address);
    const std::vector<std::string> sources(options.arguments.begin(), options.arguments.end() - 1);
    if (sources.size() == 1 && !options.Has("recursive")) {
        PutFile(run, sources[0], run.Address(address), what);
        run.Say(SavedText(run));
        return;
    }
    const std::u16string url = run.Address(address);
    if (!run.FindInfo(run.NameFor(url, what).get(), what)) {
        run.Fail(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), what,
                 "several files go into a folder, and there is none here");
    }
    Tally tally(run);
    for (const std::string& source : sources) {
        const host::fs::path path = host::fs::path(source).lexically_normal();
        const bool is_folder = host::fs::is_directory(path);
        const host::fs::path named = path.has_filename() ? path : path.parent_path();
        const std::u16string item = url + u"/" + host::ToUtf16(host::fs::absolute(named).filename().string());
        if (is_folder && !options.Has("recursive")) {
            tally.Try(what, [&] {
                run.Fail(E_INVALIDARG, what, source + " is a folder; -r sends it with all in it");
            });
        } else if (is_folder) {
            tally.Try(what, [&] { PutFolder(run, path, item, tally); });
        } else {
            PutOne(run, path, item, tally);
        }
    }
    tally.End();
}

}  // namespace cli
