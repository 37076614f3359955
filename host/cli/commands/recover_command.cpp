// recover: what earlier runs left unsent, listed, sent or dropped.
// The command's worker thread.
#include <fcntl.h>

#include <array>

#include "host/cache/cache_entry.h"
#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/cli/run/output_file.h"
#include "host/cli/run/url_argument.h"

namespace cli {

namespace {

using host::UnsentDocument;
using State = UnsentDocument::State;

// The server's version, compared with the one that the local copy is based on.
enum class Server { same, newer, gone, unknown };

// In the order of the enumerators.
constexpr std::array<const char*, 5> kStateNames{"unsent", "incomplete", "editing", "missing", "aside"};
constexpr std::array<const char*, 4> kServerNames{"same", "newer", "gone", "unknown"};

const char* NameOf(State state) {
    return kStateNames[static_cast<std::size_t>(state)];
}

const char* NameOf(Server server) {
    return kServerNames[static_cast<std::size_t>(server)];
}

struct Comparison {
    Server server;
    bool is_same_size = false;  // as what waits
};

Comparison Compare(Run& run, const UnsentDocument& document, const std::string& what) {
    const auto name = run.NameFor(host::ToUtf16(document.entry.url), what);
    const auto info = run.FindInfo(name.get(), what);
    if (!info || IsFolder(info.get())) return {Server::gone};
    ULONGLONG time = 0;
    ULONGLONG size = 0;
    run.Check(info->get_LastWriteTime(&time), what);
    const bool is_same_size = SUCCEEDED(info->get_Size(&size)) && size == document.size;
    // Without a known base the server's version may be newer.
    const bool is_newer = document.entry.base_time == 0 || time > document.entry.base_time;
    return {is_newer ? Server::newer : Server::same, is_same_size};
}

// Listing works without the server, whose state is then unknown.
Comparison TryCompare(Run& run, const UnsentDocument& document) {
    if (document.state == State::aside) return {Server::unknown};
    try {
        return Compare(run, document, "recover");
    } catch (const CommandError&) {
        return {Server::unknown};
    }
}

// What the server's version means for what waits; empty when there is nothing to say.
std::string MeaningOf(const UnsentDocument& document, const Comparison& found) {
    if (found.server == Server::gone) return ", no longer on the server";
    if (found.server != Server::newer) return {};
    if (document.state != State::unsent) return ", the server has a newer version";
    return found.is_same_size
               ? ", the server has a newer version of the same size, which may be this one: --send compares"
               : ", the server has a newer version, which is another: --send asks before it is replaced";
}

std::vector<UnsentDocument> Wanted(Run& run) {
    std::vector<UnsentDocument> documents = run.host().cache()->Unsent();
    if (run.options().arguments.empty()) return documents;
    const std::string key = host::CacheStore::KeyOf(host::ToUtf8(ParseUrl(run.options().arguments[0])));
    std::erase_if(documents, [&](const UnsentDocument& document) { return document.entry.key != key; });
    if (documents.empty()) {
        run.Fail(HRESULT_FROM_WIN32(1168), What(run.options(), run.options().arguments[0]),
                 "nothing of this document waits to be sent");
    }
    return documents;
}

void ShowAll(Run& run, const std::vector<UnsentDocument>& documents) {
    JsonText json;
    json.StartArray();
    for (const UnsentDocument& document : documents) {
        const Comparison found = TryCompare(run, document);
        const std::string url = EscapeUrl(host::ToUtf16(document.entry.url));
        const std::string since = host::FormatUnixTime(document.entry.since);
        json.StartObject().Key("url").String(url).Key("state").String(NameOf(document.state));
        json.Key("size").Number(static_cast<std::int64_t>(document.size)).Key("since").Text(since);
        json.Key("path")
            .String(document.path.string())
            .Key("server")
            .String(NameOf(found.server))
            .EndObject();
        std::string line =
            url + "  " + NameOf(document.state) + ", " + std::to_string(document.size) + " bytes";
        if (!since.empty()) line += ", since " + since;
        if (document.state == State::aside) line += ", kept as " + document.path.string();
        line += MeaningOf(document, found);
        run.Say(line);
    }
    json.EndArray();
    if (run.options().Has("json")) run.Out(json.Take());
    if (documents.empty()) run.Say("nothing waits to be sent");
}

// Asks whether a newer version may be overwritten, under the same id as a conflict at a save.
bool MayOverwrite(Run& run, Server server, const std::string& url) {
    return run.Agrees(
        {u"sp.msg.outdatedFileOnWrite.question",
         server == Server::gone ? url + " is no longer on the server. Make it again?"
                                : "The server has a newer version of " + url + ". Overwrite it?",
         u"sp.btn.overwrite", u"sp.btn.cancelSaving"},
        "recover " + url);
}

// Whether the server holds what waits: the upload was taken, and only its answer got lost.
bool IsOnServer(Run& run, const UnsentDocument& document, const std::string& what) {
    const host::UnsentPermission bypass(*run.host().cache(), document.entry.url, host::UnsentUse::bypass);
    const auto name = run.NameFor(host::ToUtf16(document.entry.url), what);
    ULONGLONG size = 0;
    const auto info = run.FindInfo(name.get(), what);
    if (!info || FAILED(info->get_Size(&size)) || size != document.size) return false;
    const auto file = run.Open(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting, what);
    const host::Descriptor local = host::OpenFile(document.path, O_RDONLY);
    std::string theirs(1u << 18, '\0');
    std::string ours = theirs;
    for (std::uint64_t position = 0;;) {
        LONGLONG got = 0;
        run.Check(file->Read(theirs.data(), static_cast<LONGLONG>(theirs.size()), &got, run.details(),
                             run.cancel()),
                  what);
        const auto count = static_cast<std::size_t>(got);
        if (count == 0) return position == size;
        if (host::ReadAt(local.get(), document.path, ours.data(), count, position) != count ||
            ours.compare(0, count, theirs, 0, count) != 0)
            return false;
        position += count;
    }
}

// Says, or asks, what becomes of the check-out of a document that nothing waits in any more.
void EndCheckOut(Run& run, const std::string& document_url, bool offer_discard) {
    const std::u16string url = host::ToUtf16(document_url);
    const std::string what = "recover " + EscapeUrl(url);
    try {
        const auto name = run.NameFor(url, what);
        if (!run.FindInfo(name.get(), what) || !run.IsCheckedOutToUser(name.get(), what)) return;
        const std::string text = EscapeUrl(url) + " is still checked out to you. Give the check-out up?";
        if (offer_discard &&
            run.Agrees({u"sphost.giveUpCheckOut.question", text, u"discard", u"keep", false}, what)) {
            const auto file =
                run.Open(name.get(), TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting, what);
            run.Exec(file.get(), u"DiscardCheckOut", what);
            run.Say("check-out given up");
            return;
        }
        run.Say("it is still checked out to you: 'sphost checkin' or 'sphost discard' ends that");
    } catch (const CommandError& error) {
        if (error.code == host::kCanceled) throw;  // else the server can't be asked now
    }
}

void RequireSendable(Run& run, const UnsentDocument& document, const std::string& what) {
    if (document.state == State::incomplete) {
        run.Fail(
            host::kBadData, what,
            "its copying was interrupted, so there is no whole document to send; put it again, or --drop");
    }
    if (document.state == State::aside) {
        run.Fail(host::kBadData, what,
                 "another program changed the local copy, which was kept as " + document.path.string() +
                     "; put it where it belongs, then --drop it");
    }
    if (document.state == State::missing)
        run.Fail(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), what, "the local copy is gone");
    if (document.state == State::editing)
        run.Fail(host::kInUse, what, "it is open in another sphost right now");
}

void Send(Run& run, const UnsentDocument& document) {
    const std::string url = EscapeUrl(host::ToUtf16(document.entry.url));
    const std::string what = "recover " + url;
    RequireSendable(run, document, what);
    const Server server = Compare(run, document, what).server;
    if (server == Server::newer && IsOnServer(run, document, what)) {
        run.host().cache()->Drop(document.entry.url);
        run.Say("on the server already: " + url);
        EndCheckOut(run, document.entry.url, false);
        return;
    }
    if (server != Server::same && !MayOverwrite(run, server, url)) {
        run.Fail(HRESULT_FROM_WIN32(679), what,
                 server == Server::gone ? "it is no longer on the server; --yes makes it again"
                                        : "the server has a newer version; --yes overwrites it");
    }
    const host::UnsentPermission permission(*run.host().cache(), document.entry.url,
                                            host::UnsentUse::take_up);
    const auto name = run.NameFor(host::ToUtf16(document.entry.url), what);
    const DWORD disposition =
        server == Server::gone ? TMK::AFS_OpenFile_OpenAlways : TMK::AFS_OpenFile_OpenExisting;
    const auto file = run.Open(name.get(), TMK::AFS_OpenFile_Write | disposition, what);
    MarkChanged(run, file.get(), document.path.string(), what);
    run.Check(file->Flush(run.details(), run.cancel()), what);
    FinishSave(run, file.get(), what);
    run.Say("sent " + url);
}

void DropOne(Run& run, const UnsentDocument& document) {
    const std::u16string url = host::ToUtf16(document.entry.url);
    const std::string what = "recover " + EscapeUrl(url);
    if (document.state == State::editing) run.Fail(host::kInUse, what, "it is open right now");
    run.Say("dropping " + EscapeUrl(url) + " (" + std::to_string(document.size) + " bytes)");
    if (document.state == State::aside) {
        run.host().cache()->DropAside(document);
        return;
    }
    if (document.entry.created) RemovePlaceholder(run, url, what);
    run.host().cache()->Drop(document.entry.url);
    EndCheckOut(run, document.entry.url, true);
}

// A failure doesn't stop the others; the first one is reported at the end.
void ForEach(Run& run, const std::vector<UnsentDocument>& documents,
             void (*work)(Run&, const UnsentDocument&)) {
    std::optional<CommandError> first;
    for (const UnsentDocument& document : documents) {
        try {
            work(run, document);
        } catch (const CommandError& error) {
            if (!first) first = error;
            if (error.code == host::kCanceled) break;
        } catch (const host::Failure& failure) {
            if (!first) first = CommandError{"recover", failure.code(), failure.what()};
        }
    }
    if (first) throw *first;
}

void DropWanted(Run& run, const std::vector<UnsentDocument>& documents) {
    const bool is_named = !run.options().arguments.empty() || run.options().Has("all");
    const std::string text = "Drop what was not sent of " + std::to_string(documents.size()) + " documents?";
    if (!is_named && !documents.empty() &&
        !run.Agrees({u"sphost.dropAll.question", text, u"drop", u"keep", false}, "recover"))
        run.Fail(host::kCanceled, "recover", "nothing was dropped; name a document, or add --all");
    ForEach(run, documents, DropOne);
}

// Copies what waits elsewhere, and leaves it as it is.
void SaveElsewhere(Run& run, const std::vector<UnsentDocument>& documents, const std::string& file) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    if (documents.size() != 1)
        run.Fail(E_INVALIDARG, what, "there is more than one; copy them by their paths");
    const host::fs::path& source = documents[0].path;
    const host::Descriptor from = host::OpenFile(source, O_RDONLY);
    std::optional<OutputFile> target;
    if (file != "-") target.emplace(file);
    std::string block(1u << 18, '\0');
    std::uint64_t position = 0;
    while (const std::size_t got = host::ReadAt(from.get(), source, block.data(), block.size(), position)) {
        target ? target->Write(block.data(), got) : run.Out(block.substr(0, got));
        position += got;
    }
    if (target) target->Finish();
}

}  // namespace

void Recover(Run& run) {
    const Options& options = run.options();
    if (options.Has("send") + options.Has("drop") + options.Has("save") > 1)
        throw UsageError("--send, --save and --drop exclude each other");
    if (options.Has("save") && options.arguments.empty()) throw UsageError("--save needs the document's URL");
    if (options.Has("all") && !options.Has("drop")) throw UsageError("--all goes with --drop");
    const auto documents = Wanted(run);
    if (options.Has("send")) {
        ForEach(run, documents, Send);
    } else if (options.Has("drop")) {
        DropWanted(run, documents);
    } else if (const auto file = options.Value("save")) {
        SaveElsewhere(run, documents, *file);
    } else {
        ShowAll(run, documents);
    }
}

}  // namespace cli
