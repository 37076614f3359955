// edit: a document opened as the editor opens it, changed by another program, saved and closed.
// The command's worker thread; the program is a process of its own.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>

#include "host/base/interrupt.h"
#include "host/cli/commands/commands.h"
#include "host/cli/run/preferences.h"
#include "host/jobs/address.h"

namespace cli {

namespace {

constexpr auto kSudden = std::chrono::seconds(1);

// Puts the path where "{}" stands, or at the end. It never becomes part of a shell command, where its letters
// could mean anything.
std::vector<std::string> CommandLine(const std::vector<std::string>& program, const std::string& path) {
    std::vector<std::string> words = program;
    bool is_placed = false;
    for (std::string& word : words) {
        const std::size_t at = word.find("{}");
        if (at == std::string::npos) continue;
        const bool is_value = at + 2 == word.size() && at > 0 && word[at - 1] == '=';
        if (word != "{}" && (!is_value || word.find_first_of(" \t\n'\"") != std::string::npos)) {
            throw UsageError(
                "'{}' stands alone or behind '='; in a shell command the file is \"$1\", as in: "
                "sh -c 'COMMAND \"$1\"' sh");
        }
        word.replace(at, 2, path);
        is_placed = true;
    }
    if (!is_placed) words.push_back(path);
    return words;
}

// The program's wait status. An interrupt meanwhile shows what sphost waits for.
int WaitFor(pid_t child, const std::string& program) {
    const host::Descriptor ended(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    std::array<pollfd, 2> watched{{{ended.get(), POLLIN, 0}, {host::InterruptDescriptor(), POLLIN, 0}}};
    while (ended && watched[0].revents == 0) {
        if (poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR) break;
        if (watched[1].revents == 0) continue;
        std::fprintf(stderr, "sphost: stopping when %s ends\n", program.c_str());
        watched[1] = {-1, 0, 0};
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// Runs the program and returns its status as a shell does. Ctrl-C goes to the program while it runs.
// It inherits the lock: when sphost is killed, the document stays locked as long as the program has it open.
int RunProgram(Run& run, const std::vector<std::string>& words, int lock, const std::string& what) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const StatusLine::Pause pause(run.status());  // the terminal is the program's
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) run.Fail(host::ResultOfErrno(errno), what, "can't start a program");
    const host::Descriptor read_end(report[0]);
    host::Descriptor write_end(report[1]);
    struct sigaction ignore {};
    struct sigaction saved {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignore, &saved);
    const pid_t child = fork();
    if (child == 0) {
        for (const int number : {SIGINT, SIGTERM, SIGPIPE, SIGXFSZ}) signal(number, SIG_DFL);
        // Libraries open some that a program would inherit.
        close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
        fcntl(lock, F_SETFD, 0);
        execvp(arguments[0], arguments.data());
        const int error = errno;
        [[maybe_unused]] const ssize_t written = write(report[1], &error, sizeof(error));
        _exit(127);
    }
    const int fork_error = errno;
    write_end.reset();
    const int status = child > 0 ? WaitFor(child, words[0]) : 0;
    sigaction(SIGINT, &saved, nullptr);
    if (child < 0) run.Fail(host::ResultOfErrno(fork_error), what, "can't start a program");
    int error = 0;
    if (read(read_end.get(), &error, sizeof(error)) == sizeof(error)) {
        run.Fail(host::ResultOfErrno(error), what, "can't run " + words[0] + ": " + std::strerror(error));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// What an edit has come to.
struct Outcome {
    int status = 0;
    bool is_changed = false;
    bool is_finished = true;  // the person says so
};

// Asks when a program that returned at once is really done.
bool AskWhetherDone(Run& run, const std::string& what) {
    return run.Agrees({.id = u"sphost.editDone.question",
                       .text = "Save the document and close it, then press Enter here.",
                       .yes = u"done",
                       .no = u"cancel",
                       .is_default = true},
                      what);
}

Outcome RunEdit(Run& run, const std::string& url, const std::string& what) {
    const auto edited = run.host().cache()->BeginEdit(url);
    const auto start = std::chrono::steady_clock::now();
    Outcome outcome;
    try {
        const Options& options = run.options();
        outcome.status =
            RunProgram(run, CommandLine(options.program, edited.path.string()), edited.lock, what);
        if (outcome.status == 0 && options.Has("wait")) outcome.is_finished = AskWhetherDone(run, what);
    } catch (...) {
        run.host().cache()->FinishEdit(url);
        throw;
    }
    outcome.is_changed = run.host().cache()->FinishEdit(url);
    const bool is_sudden = std::chrono::steady_clock::now() - start < kSudden;
    if (is_sudden && !outcome.is_changed && outcome.status == 0 && !run.options().Has("wait")) {
        run.host().front_end().Warn(run.options().program[0] +
                                    " returned at once and changed nothing; if it has opened a window, use "
                                    "--wait: what is saved there later waits for 'sphost recover'");
    }
    return outcome;
}

// Keeps the document in the list of open documents as long as it lives.
class OpenDocument {
public:
    OpenDocument(host::Documents& documents, ComPtr<host::Document> document)
        : m_documents(documents), m_document(std::move(document)) {
        m_documents.Add(m_document);
    }
    ~OpenDocument() { m_documents.Remove(m_document.get()); }
    host::Document* operator->() { return m_document.get(); }
    host::Document* get() { return m_document.get(); }

private:
    host::Documents& m_documents;
    ComPtr<host::Document> m_document;
};

}  // namespace

void FinishSave(Run& run, TMK::IAFS_File* file, const std::string& what) {
    const std::string saved = what + " (it is saved; what follows a save failed)";
    run.Exec(file, u"PerformAfterSave", saved);
    run.Check(file->Close(TMK::AFS_CloseFile_AllowUI, run.details(), run.cancel()), saved);
}

std::string SavedText(Run& run) {
    static constexpr std::array<const char*, 3> kKinds{" as a minor version", " as a major version",
                                                       " over the version before"};
    for (const char* id : {"msg.checkInDialogMessage", "msg.askForCheckInOnClose"}) {
        const auto asked = run.host().prompts().LastOutcome(id);
        if (!asked || asked->is_canceled) continue;
        return std::string("saved and checked in") + kKinds[std::min(asked->radio, 2U)] +
               (asked->button == 1 ? "; still checked out to you" : "");
    }
    return "saved";
}

void AddCheckOutHint(Run& run, TMK::IAFS_File* file, const std::string& url, CommandError& error) {
    if (!run.IsCheckedOut(file)) return;
    error.message += "; the document is checked out to you: 'sphost checkin " + host::PlainLine(url) +
                     "' or 'sphost discard' ends that";
}

namespace {

struct Editing {
    TMK::IAFS_File* file;
    std::string local_url;
    bool was_checked_out;
    std::string what;
    std::string saving;  // the same for errors after which the changes are kept
};

// Ends an edit whose command failed or that was cancelled. A check-out that opening has made is given back
// when nothing depends on it.
[[noreturn]] void FailEdit(Run& run, const Editing& editing, bool is_changed, CommandError error) {
    if (is_changed || editing.was_checked_out) {
        AddCheckOutHint(run, editing.file, run.options().arguments[0], error);
        throw error;
    }
    run.IgnoreCancel();
    if (run.IsCheckedOut(editing.file)) {
        try {
            run.Exec(editing.file, u"DiscardCheckOut", editing.what);
        } catch (const CommandError&) {
            AddCheckOutHint(run, editing.file, run.options().arguments[0], error);
        }
    }
    throw error;
}

// A check-out that was there before the edit is not the edit's to give up, which the preferences may do at
// the close: that takes the person's word.
void KeepEarlierCheckOut(Run& run, const Editing& editing) {
    constexpr const char* kPreference = "on_close_checked_out_no_need_check_in";
    constexpr LONG kAsk = 1;
    constexpr LONG kKeep = 8;
    const Options& options = run.options();
    const LONG chosen = FindPreference(ReadPreferences(run.file_system()), kPreference).value.lVal;
    const bool presses_default = (chosen & kAsk) && options.Has("yes");
    if (!presses_default && (chosen & (kAsk | kKeep))) return;
    const std::string text =
        host::PlainLine(options.arguments[0]) +
        " was checked out to you before. If nothing is left to check in when it is closed, give "
        "the check-out up?";
    if (run.Agrees({u"sphost.endEarlierCheckOut.question", text, u"discard", u"keep", false}, editing.what))
        return;
    run.host().ChangeSettingsForThisRun(
        [&] { SetPreference(run.file_system(), kPreference, std::to_string(kKeep)); });
}

// Throws when there is nothing to save or close: the command has failed, or somebody has cancelled.
void CheckOutcome(Run& run, const Editing& editing, const Outcome& outcome) {
    if (outcome.status != 0) {
        FailEdit(run, editing, outcome.is_changed,
                 {editing.what, E_FAIL,
                  run.options().program[0] + " ended with status " + std::to_string(outcome.status) +
                      "; nothing was sent" +
                      (outcome.is_changed ? ", and 'sphost recover' has what was changed" : "")});
    }
    if (outcome.is_finished && !host::IsCanceled(run.cancel())) return;
    FailEdit(run, editing, outcome.is_changed,
             {outcome.is_changed ? editing.saving : editing.what, host::kCanceled, "cancelled"});
}

// Somebody else has saved meanwhile, and nobody is there to ask, or the answer was no.
void ExplainConflict(Run& run, const Editing& editing, CommandError& error) {
    constexpr HRESULT kOutdated = HRESULT_FROM_WIN32(679);
    const auto asked = run.host().prompts().LastOutcome("msg.outdatedFileOnWrite.question");
    if (error.code != kOutdated && !(asked && asked->is_canceled)) return;
    error.what = editing.what;
    error.message =
        "somebody saved a newer version while you edited; yours is kept. 'sphost recover --send --yes " +
        host::EscapeUrl(host::ToUtf16(editing.local_url)) + "' overwrites it, '--drop' gives yours up";
}

void Save(Run& run, const Editing& editing, host::Document& document) {
    const host::fs::path local = run.host().cache()->PathOf(run.host().cache()->Entry(editing.local_url));
    try {
        run.Check(editing.file->Reopen(TMK::AFS_OpenFile_Write | TMK::AFS_OpenFile_OpenExisting,
                                       run.details(), run.cancel()),
                  editing.saving);
        run.MarkChanged(editing.file, local, editing.saving);
        run.Check(editing.file->Flush(run.details(), run.cancel()), editing.saving);
        document.SetModified(false);
        if (editing.was_checked_out) KeepEarlierCheckOut(run, editing);
        FinishSave(run, editing.file, editing.what);
    } catch (CommandError& error) {
        ExplainConflict(run, editing, error);
        AddCheckOutHint(run, editing.file, run.options().arguments[0], error);
        throw;
    }
}

}  // namespace

void Edit(Run& run) {
    const Options& options = run.options();
    const std::string what = What(options, options.arguments[0]);
    CommandLine(options.program, "");  // refuses a wrong one before anything is opened
    const auto name = run.NameFor(run.Address(), what);
    if (host::IsFolder(run.InfoOf(name.get(), what).get()))
        run.Fail(E_INVALIDARG, what, "this is a folder, not a document");
    const std::u16string url = run.UrlOf(name.get());
    run.RefuseUnsent(url, what);
    const bool was_checked_out = run.IsCheckedOutToUser(name.get(), what);
    const auto file =
        run.Open(name.get(),
                 TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting | TMK::AFS_OpenFile_UserOpen, what);
    const Editing editing{file.get(), host::ToUtf8(url), was_checked_out, what,
                          what + " (what was changed is kept, see 'sphost recover')"};
    OpenDocument document(run.host().documents(),
                          host::Make<host::Document>(file, host::DocumentActions{.reload = [&] {
                                                         return run.ReadThrough(file.get());
                                                     }}));
    Outcome outcome;
    try {
        run.Check(run.ReadThrough(file.get()), what);
        outcome = RunEdit(run, editing.local_url, what);
    } catch (const CommandError& error) {
        FailEdit(run, editing, run.host().cache()->Unsent(editing.local_url).has_value(), error);
    }
    document->SetModified(outcome.is_changed);
    CheckOutcome(run, editing, outcome);
    if (!outcome.is_changed && was_checked_out) {
        // Closing it could discard the check-out, with what earlier edits have saved.
        run.Say("not changed; still checked out to you");
        return;
    }
    if (!outcome.is_changed) {
        run.Check(file->Close(TMK::AFS_CloseFile_AllowUI, run.details(), run.cancel()), what);
        run.Say("not changed");
        return;
    }
    Save(run, editing, *document.get());
    run.Say(SavedText(run));
}

}  // namespace cli
