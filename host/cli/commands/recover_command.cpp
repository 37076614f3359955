// recover: what earlier runs left unsent, listed, sent or dropped.
// The command's worker thread.
#include <fcntl.h>

#include <array>

#include "host/cache/cache_entry.h"
#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/cli/run/output_file.h"
#include "host/jobs/address.h"
#include "host/jobs/unsent.h"
#include "host/jobs/upload.h"

namespace cli {

namespace {

using host::UnsentDocument;
using State = UnsentDocument::State;
using Server = host::ServerVersion;

// In the order of the enumerators.
constexpr std::array<const char*, 5> kStateNames{"unsent", "incomplete", "editing", "missing", "aside"};
constexpr std::array<const char*, 4> kServerNames{"same", "newer", "gone", "unknown"};

const char* NameOf(State state) {
    return kStateNames[static_cast<std::size_t>(state)];
}

const char* NameOf(Server server) {
    return kServerNames[static_cast<std::size_t>(server)];
}

// Listing works without the server, whose state is then unknown.
host::Comparison TryCompare(Run& run, const UnsentDocument& document) {
    if (document.state == State::aside) return {Server::unknown};
    try {
        return host::CompareWithServer(run, document, "recover");
    } catch (const CommandError&) {
        return {Server::unknown};
    }
}

// What the server's version means for what waits; empty when there is nothing to say.
std::string MeaningOf(const UnsentDocument& document, const host::Comparison& found) {
    if (found.server == Server::gone) return "no longer on the server";
    if (found.server != Server::newer) return {};
    if (document.state != State::unsent) return "the server has a newer version";
    return found.is_same_size
               ? "the server has a newer version of the same size, which may be this one: --send compares"
               : "the server has a newer version, which is another: --send asks before it is replaced";
}

std::vector<UnsentDocument> Wanted(Run& run) {
    std::vector<UnsentDocument> documents = run.host().cache()->Unsent();
    if (run.options().arguments.empty()) return documents;
    const std::string key = host::CacheStore::KeyOf(host::ToUtf8(run.Address()));
    std::erase_if(documents, [&](const UnsentDocument& document) { return document.entry.key != key; });
    if (documents.empty()) {
        run.Fail(HRESULT_FROM_WIN32(1168), What(run.options(), run.options().arguments[0]),
                 "nothing of this document waits to be sent");
    }
    return documents;
}

std::string AddressOf(const UnsentDocument& document) {
    return host::EscapeUrl(host::ToUtf16(document.entry.url));
}

std::string LocalLine(const UnsentDocument& document) {
    std::string line =
        AddressOf(document) + "  " + NameOf(document.state) + ", " + std::to_string(document.size) + " bytes";
    const std::string since = host::FormatUnixTime(document.entry.since);
    if (!since.empty()) line += ", since " + since;
    if (document.state == State::aside) line += ", kept as " + document.path.string();
    return line;
}

void WriteJson(JsonText& json, const UnsentDocument& document, Server server) {
    json.StartObject().Key("url").String(AddressOf(document)).Key("state").String(NameOf(document.state));
    json.Key("size").Number(static_cast<std::int64_t>(document.size));
    json.Key("since").Text(host::FormatUnixTime(document.entry.since));
    json.Key("path").String(document.path.string()).Key("server").String(NameOf(server)).EndObject();
}

// What is here is shown before a server is asked, which may take long.
void ShowAll(Run& run, const std::vector<UnsentDocument>& documents) {
    JsonText json;
    json.StartArray();
    const bool is_json = run.options().Has("json");
    for (const UnsentDocument& document : documents) {
        if (!is_json) run.Out(LocalLine(document) + "\n");
        const host::Comparison found = TryCompare(run, document);
        WriteJson(json, document, found.server);
        const std::string meaning = MeaningOf(document, found);
        if (!is_json && !meaning.empty()) run.Out("  " + meaning + "\n");
    }
    json.EndArray();
    if (is_json) run.Out(json.Take());
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

// Says, or asks, what becomes of the check-out of a document that nothing waits in any more.
void EndCheckOut(Run& run, const std::string& document_url, bool offer_discard) {
    const std::u16string url = host::ToUtf16(document_url);
    const std::string what = "recover " + host::EscapeUrl(url);
    try {
        const auto name = run.NameFor(url, what);
        if (!run.FindInfo(name.get(), what) || !run.IsCheckedOutToUser(name.get(), what)) return;
        const std::string text =
            host::EscapeUrl(url) + " is still checked out to you. Give the check-out up?";
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
    const std::string url = host::EscapeUrl(host::ToUtf16(document.entry.url));
    const std::string what = "recover " + url;
    RequireSendable(run, document, what);
    const Server server = host::CompareWithServer(run, document, what).server;
    if (server == Server::newer && host::IsOnServer(run, document, what)) {
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
    const auto file = host::Upload(run, document, server, what);
    FinishSave(run, file.get(), what);
    run.Say("sent " + url);
}

void DropOne(Run& run, const UnsentDocument& document) {
    const std::u16string url = host::ToUtf16(document.entry.url);
    const std::string what = "recover " + host::EscapeUrl(url);
    if (document.state == State::editing) run.Fail(host::kInUse, what, "it is open right now");
    run.Say("dropping " + host::EscapeUrl(url) + " (" + std::to_string(document.size) + " bytes)");
    if (document.state == State::aside) {
        run.host().cache()->DropAside(document);
        return;
    }
    if (document.entry.created) host::RemovePlaceholder(run, url, what);
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
