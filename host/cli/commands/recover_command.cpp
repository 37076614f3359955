// recover: what earlier runs left unsent, listed, sent or dropped.
// The command's worker thread.
#include <array>

#include "host/cache/cache_entry.h"
#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
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

std::string TimeText(std::int64_t seconds) {
    constexpr std::uint64_t kEpoch = 11644473600;
    return seconds > 0 ? host::FormatFileTime((static_cast<std::uint64_t>(seconds) + kEpoch) * 10000000) : "";
}

Server Compare(Run& run, const UnsentDocument& document, const std::string& what) {
    const auto name = run.NameFor(host::ToUtf16(document.entry.url), what);
    const auto info = run.FindInfo(name.get(), what);
    if (!info || IsFolder(info.get())) return Server::gone;
    ULONGLONG time = 0;
    run.Check(info->get_LastWriteTime(&time), what);
    // Without a known base the server's version may be newer.
    if (document.entry.base_time == 0) return Server::newer;
    return time > document.entry.base_time ? Server::newer : Server::same;
}

// Listing works without the server, whose state is then unknown.
Server TryCompare(Run& run, const UnsentDocument& document) {
    if (document.state == State::aside) return Server::unknown;
    try {
        return Compare(run, document, "recover");
    } catch (const CommandError&) {
        return Server::unknown;
    }
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
        const Server server = TryCompare(run, document);
        const std::string url = EscapeUrl(host::ToUtf16(document.entry.url));
        const std::string since = TimeText(document.entry.since);
        json.StartObject().Key("url").String(url).Key("state").String(NameOf(document.state));
        json.Key("size").Number(static_cast<std::int64_t>(document.size)).Key("since").Text(since);
        json.Key("path").String(document.path.string()).Key("server").String(NameOf(server)).EndObject();
        std::string line =
            url + "  " + NameOf(document.state) + ", " + std::to_string(document.size) + " bytes";
        if (!since.empty()) line += ", since " + since;
        if (document.state == State::aside) line += ", kept as " + document.path.string();
        if (server == Server::newer) line += ", the server has a newer version";
        if (server == Server::gone) line += ", no longer on the server";
        run.Say(line);
    }
    json.EndArray();
    if (run.options().Has("json")) run.Out(json.Take());
    if (documents.empty()) run.Say("nothing waits to be sent");
}

// Asks whether a newer version may be overwritten, under the same id as a conflict at a save.
bool MayOverwrite(Run& run, Server server, const std::string& url) {
    if (run.options().Has("yes")) return true;
    ComPtr<TMK::ITMK_TaskDialog> dialog;
    run.Check(run.host().instance()->CreateTaskDialog(dialog.put()), "recover");
    dialog->put_Id(u"sp.msg.outdatedFileOnWrite.question");
    dialog->put_Style(TMK::TaskDialogStyle_Base | TMK::TaskDialogStyle_IconWarning);
    const std::string text = server == Server::gone
                                 ? url + " is no longer on the server. Make it again?"
                                 : "The server has a newer version of " + url + ". Overwrite it?";
    dialog->put_Text(host::ToUtf16(text).c_str());
    dialog->AddButton(u"sp.btn.overwrite");
    dialog->AddButton(u"sp.btn.cancelSaving");
    dialog->put_DefaultButton(1);
    dialog->put_CancelButton(1);
    UINT pressed = 1;
    run.Check(dialog->DoModal(nullptr, &pressed), "recover " + url);
    return pressed == 0;
}

// Allows the document to be opened with its unsent changes as long as it lives.
class Allowance {
public:
    Allowance(host::CacheStore& store, std::string url) : m_store(store), m_url(std::move(url)) {
        m_store.AllowUnsent(m_url, true);
    }
    ~Allowance() { m_store.AllowUnsent(m_url, false); }

private:
    host::CacheStore& m_store;
    std::string m_url;
};

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
    const Server server = Compare(run, document, what);
    if (server != Server::same && !MayOverwrite(run, server, url)) {
        run.Fail(HRESULT_FROM_WIN32(679), what,
                 server == Server::gone ? "it is no longer on the server; --yes makes it again"
                                        : "the server has a newer version; --yes overwrites it");
    }
    const Allowance allowance(*run.host().cache(), document.entry.url);
    const auto name = run.NameFor(host::ToUtf16(document.entry.url), what);
    const DWORD disposition =
        server == Server::gone ? TMK::AFS_OpenFile_OpenAlways : TMK::AFS_OpenFile_OpenExisting;
    const auto file = run.Open(name.get(), TMK::AFS_OpenFile_Write | disposition, what);
    MarkChanged(run, file.get(), document.path.string(), what);
    run.Check(file->Flush(run.details(), run.cancel()), what);
    FinishSave(run, file.get(), what);
    run.Say("sent " + url);
}

// A failure doesn't stop the others; the first one is reported at the end.
void SendAll(Run& run, const std::vector<UnsentDocument>& documents) {
    std::optional<CommandError> first;
    for (const UnsentDocument& document : documents) {
        try {
            Send(run, document);
        } catch (const CommandError& error) {
            if (!first) first = error;
            if (error.code == host::kCanceled) break;
        }
    }
    if (first) throw *first;
}

}  // namespace

void Recover(Run& run) {
    const Options& options = run.options();
    if (options.Has("send") && options.Has("drop")) throw UsageError("--send and --drop exclude each other");
    const auto documents = Wanted(run);
    if (options.Has("send")) {
        SendAll(run, documents);
    } else if (options.Has("drop")) {
        for (const UnsentDocument& document : documents) {
            const std::string url = EscapeUrl(host::ToUtf16(document.entry.url));
            run.Say("dropping " + url + " (" + std::to_string(document.size) + " bytes)");
            if (document.state == State::aside) {
                run.host().cache()->DropAside(document);
            } else {
                run.host().cache()->Drop(document.entry.url);
            }
        }
    } else {
        ShowAll(run, documents);
    }
}

}  // namespace cli
