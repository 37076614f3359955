// mkdir, rm, mv, cp, rename: the structure of a site. A server's refusal doesn't always come back as a
// failure, so each command checks the result. The command's worker thread.
#include "host/cli/commands/commands.h"
#include "host/jobs/address.h"
#include "host/jobs/listing.h"

namespace cli {

namespace {

constexpr HRESULT kExists = HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);

// Uses a new name, so that the server is asked.
bool IsThere(Run& run, const std::u16string& url, const std::string& what) {
    return run.FindInfo(run.NameFor(url, what).get(), what) != nullptr;
}

// A failing server may hide an existing item, which would then be replaced, so this looks twice.
ComPtr<TMK::IAFS_FileInfo> FindTarget(Run& run, const std::u16string& url, const std::string& what) {
    auto info = run.FindInfo(run.NameFor(url, what).get(), what);
    return info ? std::move(info) : run.FindInfo(run.NameFor(url, what).get(), what);
}

void ForgetLocalCopy(Run& run, const std::u16string& url) {
    const std::string bytes = host::ToUtf8(url);
    if (!run.host().cache()->Unsent(bytes)) run.host().cache()->Drop(bytes);
}

// What a folder holds, as a person reads it; empty for an empty folder.
std::string ContentOf(Run& run, TMK::IAFS_Name* folder, const std::string& what) {
    std::size_t files = 0;
    std::size_t folders = 0;
    host::ListFolder(run, folder, what, [&](TMK::IAFS_EnumFolderItem* item) {
        DWORD attributes = 0;
        run.Check(item->get_Attributes(&attributes), what);
        ++(attributes & TMK::AFS_FileAttribute_Folder ? folders : files);
    });
    if (files + folders == 0) return {};
    const auto count = [](std::size_t number, const char* one, const char* many) {
        return std::to_string(number) + (number == 1 ? one : many);
    };
    return count(files, " file and ", " files and ") + count(folders, " folder", " folders");
}

void AskBeforeRemoving(Run& run, TMK::IAFS_Name* folder, const std::u16string& url, const std::string& what) {
    if (run.options().Has("yes")) return;
    const std::string content = ContentOf(run, folder, what);
    if (content.empty()) return;
    const std::string text = host::EscapeUrl(url) + " holds " + content + ". Delete it with all in it?";
    if (!run.Agrees({u"sphost.removeFolder.question", text, u"delete", u"keep"}, what))
        run.Fail(host::kCanceled, what, "it holds " + content + "; nothing was deleted (--yes deletes all)");
}

struct Pair {
    std::u16string from;
    std::u16string to;
    ComPtr<TMK::IAFS_Name> source;
    ComPtr<TMK::IAFS_Name> target;
    bool is_folder = false;
};

// The two names of a command with two URLs.
Pair ReadPair(Run& run, const std::string& what, bool into_folder) {
    Pair pair;
    pair.from = run.Address();
    pair.to = run.Address(run.options().arguments[1]);
    pair.source = run.NameFor(pair.from, what);
    pair.is_folder = host::IsFolder(run.InfoOf(pair.source.get(), what).get());
    if (&run.SiteFor(pair.from, what) != &run.SiteFor(pair.to, what)) {
        run.Fail(E_INVALIDARG, what, "both addresses have to be of one place");
    }
    pair.target = run.NameFor(pair.to, what);
    auto there = FindTarget(run, pair.to, what);
    if (there && host::IsFolder(there.get()) && into_folder) {
        pair.to += u"/" + std::u16string(host::LastPart(pair.from));
        pair.target = run.NameFor(pair.to, what);
        there = FindTarget(run, pair.to, what);
    }
    const bool is_same_item = host::EqualIgnoreCase(pair.from, pair.to);
    if (pair.from == pair.to) run.Fail(kExists, what, "both addresses are the same");
    if (there && !is_same_item && (host::IsFolder(there.get()) || !run.options().Has("yes"))) {
        run.Fail(kExists, what,
                 host::EscapeUrl(pair.to) + " is there already" +
                     (host::IsFolder(there.get()) ? "" : "; --yes replaces it"));
    }
    // A new name, so that the plug-in doesn't take the found item for the result.
    pair.target = run.NameFor(pair.to, what);
    return pair;
}

void CheckOutcome(Run& run, const Pair& pair, bool source_goes, const std::string& what) {
    if (!IsThere(run, pair.to, what)) run.Fail(E_FAIL, what, "the server didn't do it");
    const bool is_same_item = host::EqualIgnoreCase(pair.from, pair.to);
    if (source_goes && !is_same_item && IsThere(run, pair.from, what)) {
        run.Fail(E_FAIL, what, "the server left the old item where it was");
    }
    ForgetLocalCopy(run, pair.to);
    if (source_goes) ForgetLocalCopy(run, pair.from);
}

// A command that moves, copies or renames an item.
struct Relocation {
    HRESULT(TMK::IAFS_FileSys::*operation)
    (TMK::IAFS_Name* source, TMK::IAFS_Name* target, TMK::ITMK_ErrorDetails* details,
     TMK::ITMK_CancelFlag* cancel);
    bool into_folder;  // a target that is a folder means the same name in it
    bool source_goes;
    const char* no_folders;  // the refusal of a folder; null where folders are allowed
    const char* done;
};

void Relocate(Run& run, const Relocation& relocation) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const auto target = run.Address(run.options().arguments[1]);
    const Pair pair = run.Making(target, [&] { return ReadPair(run, what, relocation.into_folder); });
    if (pair.is_folder && relocation.no_folders) run.Fail(E_INVALIDARG, what, relocation.no_folders);
    run.Making(pair.to, [&] {
        run.Check((run.file_system()->*relocation.operation)(pair.source.get(), pair.target.get(),
                                                             run.details(), run.cancel()),
                  what);
        CheckOutcome(run, pair, relocation.source_goes, what);
    });
    run.Say(relocation.done);
}

}  // namespace

void RequireParent(Run& run, const std::u16string& url, const std::string& what) {
    if (run.options().Has("parents")) return;
    const std::u16string parent(host::ParentOf(url));
    if (!run.FindInfo(run.NameFor(parent, what).get(), what)) {
        run.Fail(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), what,
                 "there is no folder " + host::EscapeUrl(parent) + "; -p makes it");
    }
}

void MakeFolder(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const std::u16string url = run.Address();
    run.Making(url, [&] {
        if (IsThere(run, url, what)) run.Fail(kExists, what, "this is there already");
        RequireParent(run, url, what);
        const auto name = run.NameFor(url, what);
        run.Check(run.file_system()->CreateFolder(name.get(), 0, run.details(), run.cancel()), what);
    });
    run.Say("made");
}

void Remove(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const std::u16string url = run.Address();
    const auto name = run.NameFor(url, what);
    if (host::IsFolder(run.InfoOf(name.get(), what).get())) AskBeforeRemoving(run, name.get(), url, what);
    run.Check(run.file_system()->Delete(name.get(), run.details(), run.cancel()), what);
    if (IsThere(run, url, what)) run.Fail(E_FAIL, what, "the server didn't delete it");
    ForgetLocalCopy(run, url);
    run.Say("deleted");
}

void Move(Run& run) {
    Relocate(run, {&TMK::IAFS_FileSys::Move, true, true, "folders can be renamed, not moved", "moved"});
}

void Copy(Run& run) {
    Relocate(run, {&TMK::IAFS_FileSys::Copy, true, false, "only files can be copied", "copied"});
}

void Rename(Run& run) {
    Relocate(run, {&TMK::IAFS_FileSys::Rename, false, true, nullptr, "renamed"});
}

}  // namespace cli
