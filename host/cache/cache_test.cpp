// The files cache: streaming reads, replacing local copies, saves, and recovery after crashes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <map>

#include "host/base/host_objects.h"
#include "host/cache/cache_entry.h"
#include "host/cache/files_cache.h"
#include "host/core/host.h"
#include "host/testing/fake_site.h"
#include "host/testing/silent_front_end.h"
#include "tests/support/disk_order.h"
#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using namespace host::testing;
using namespace testing_support;
using State = UnsentDocument::State;
constexpr DWORD kRead = TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting;
constexpr DWORD kWrite = TMK::AFS_OpenFile_Write | TMK::AFS_OpenFile_OpenExisting;

std::string UrlAt(const std::string& path) {
    return std::string(kSiteUrl) + "/" + path;
}

// Writes until there is no room left.
void FillDisk(const fs::path& disk) {
    const Descriptor file = OpenFile(disk / "filler", O_WRONLY | O_CREAT);
    const std::string block(4096, 'f');
    while (write(file.get(), block.data(), block.size()) > 0) {
    }
}

// One process's host on a profile and a site.
struct World {
    World(const fs::path& profile, FakeSite& fake) : site(fake) {
        host.emplace(front_end, profile);
        host->StartPlugin(MakeFakePlugin(site));
        file_system = host->FileSystem();
        store = host->cache();
    }
    ComPtr<TMK::IAFS_File> Open(const std::string& path, DWORD flags) {
        ComPtr<TMK::IAFS_File> file;
        EXPECT_EQ(
            file_system->OpenFile(NameAt(file_system.get(), path).get(), flags, nullptr, nullptr, file.put()),
            S_OK);
        return file;
    }
    HRESULT ReadAll(TMK::IAFS_File* file, std::string& content, std::size_t block) {
        content.clear();
        std::string buffer(block, '\0');
        for (;;) {
            LONGLONG got = 0;
            const HRESULT result =
                file->Read(buffer.data(), static_cast<LONGLONG>(block), &got, details.get(), nullptr);
            if (FAILED(result) || got == 0) return result;
            content.append(buffer, 0, static_cast<std::size_t>(got));
        }
    }
    std::string Get(const std::string& path, std::size_t block = 1 << 20) {
        std::string content;
        const auto file = Open(path, kRead);
        EXPECT_EQ(ReadAll(file.get(), content, block), S_OK) << details->Text();
        return content;
    }
    HRESULT Put(const std::string& path, const std::string& content) {
        const auto file = Open(path, kWrite);
        LONGLONG written = 0;
        HRESULT result = file->SetSize(0, details.get(), nullptr);
        if (SUCCEEDED(result)) {
            result = file->Write(content.data(), static_cast<LONGLONG>(content.size()), &written,
                                 details.get(), nullptr);
        }
        return FAILED(result) ? result : file->Flush(details.get(), nullptr);
    }
    std::optional<State> StateOf(const std::string& path) {
        const auto unsent = store->Unsent(UrlAt(path));
        return unsent ? std::optional(unsent->state) : std::nullopt;
    }

    FakeSite& site;
    SilentFrontEnd front_end;
    ComPtr<ErrorDetails> details = Make<ErrorDetails>();
    std::optional<Host> host;
    ComPtr<TMK::IAFS_FileSys> file_system;
    std::shared_ptr<CacheStore> store;
};

class Cache : public ::testing::Test {
protected:
    Cache() {
        site.folder = folder / "site";
        fs::create_directories(site.folder);
        live_before = LiveObjects();
    }
    ~Cache() override { EXPECT_EQ(LiveObjects(), live_before); }

    // Runs `work` in a process of its own, which is killed at the end.
    void InKilledProcess(const std::function<void(World&)>& work) {
        Process child([&] {
            World world(folder / "profile", site);
            work(world);
            return kill(getpid(), SIGKILL);
        });
        EXPECT_EQ(child.Wait(), 128 + SIGKILL);
    }

    TempFolder folder;
    FakeSite site;
    long live_before = 0;
};

TEST_F(Cache, ReadsStreamTheDocumentWhateverTheBlocks) {
    const std::string content = SomeBytes(3 * CacheEntry::kBlock + 12345);
    int number = 0;
    for (const std::size_t block :
         {std::size_t{1000}, std::size_t{65536}, CacheEntry::kBlock, std::size_t{1 << 20}}) {
        const std::string name = "d" + std::to_string(++number);
        WriteText(site.folder / name, content);
        World world(folder / "profile", site);
        EXPECT_EQ(world.Get(name, block), content);
        EXPECT_EQ(site.downloads, number) << "one stream each";
        EXPECT_EQ(world.Get(name, 777), content);
        EXPECT_EQ(site.downloads, number) << "the local copy is the server's version";
    }
}

TEST_F(Cache, ReadsAtAnyPositionDuringADownload) {
    const std::string content = SomeBytes(2 * CacheEntry::kBlock + 99);
    WriteText(site.folder / "a", content);
    World world(folder / "profile", site);
    const auto file = world.Open("a", kRead);
    std::string buffer(100, '\0');
    for (const std::size_t at :
         {std::size_t{5}, CacheEntry::kBlock + 50, std::size_t{0}, content.size() - 100}) {
        LONGLONG got = 0;
        file->SetPos(static_cast<LONGLONG>(at), 0, nullptr);
        ASSERT_EQ(file->Read(buffer.data(), 100, &got, nullptr, nullptr), S_OK);
        EXPECT_EQ(buffer.substr(0, static_cast<std::size_t>(got)), content.substr(at, 100)) << at;
    }
    EXPECT_EQ(site.downloads, 1);
}

TEST_F(Cache, ANewerServerVersionReplacesTheLocalCopyEvenByAnEmptyDocument) {
    WriteText(site.folder / "a", "first");
    WriteText(site.folder / "empty", "");
    World world(folder / "profile", site);
    EXPECT_EQ(world.Get("a"), "first");
    WriteText(site.folder / "a", "other");
    EXPECT_EQ(world.Get("a"), "other");
    EXPECT_EQ(world.Get("empty"), "");
}

TEST_F(Cache, AShortOrBrokenDownloadFailsAndLeavesThePreviousCopy) {
    WriteText(site.folder / "a", "the first version");
    World world(folder / "profile", site);
    EXPECT_EQ(world.Get("a"), "the first version");
    const fs::path local = world.store->PathOf(world.store->Entry(UrlAt("a")));
    WriteText(site.folder / "a", SomeBytes(600000));
    std::string content;
    site.end_download_at = 300000;
    EXPECT_EQ(world.ReadAll(world.Open("a", kRead).get(), content, 1 << 20), kBadData);
    EXPECT_NE(world.details->Text().find("300000 of 600000"), std::string::npos) << world.details->Text();
    site.end_download_at = 0;
    site.fail_download_at = 300000;
    {
        // After a broken download the handle reads from the start again.
        const auto file = world.Open("a", kRead);
        EXPECT_EQ(world.ReadAll(file.get(), content, 1 << 20), HRESULT_FROM_WIN32(12030));
        EXPECT_EQ(ReadText(local), "the first version");
        site.fail_download_at = 0;
        file->SetPos(0, 0, nullptr);
        EXPECT_EQ(world.ReadAll(file.get(), content, 1 << 20), S_OK);
        EXPECT_EQ(content, SomeBytes(600000));
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(local.parent_path()), {}), 3)
        << "the copy, its lock and its address";
}

TEST_F(Cache, SavesAreRepeatedOnRequestAndKeptWhenTheyFail) {
    WriteText(site.folder / "a", "old");
    World world(folder / "profile", site);
    const std::string content = SomeBytes(700000);
    site.upload_retries = 3;
    EXPECT_EQ(world.Put("a", content), S_OK);
    EXPECT_EQ(site.uploads, 4);
    EXPECT_EQ(ReadText(site.folder / "a"), content);
    EXPECT_EQ(world.StateOf("a"), std::nullopt);
    EXPECT_EQ(world.Get("a"), content);
    EXPECT_EQ(site.downloads, 0) << "what was sent is the server's version";
    site.fail_upload_at = 1;
    const std::string newer = SomeBytes(600000, 2);
    EXPECT_EQ(world.Put("a", newer), HRESULT_FROM_WIN32(12030));
    EXPECT_EQ(world.StateOf("a"), State::unsent);
    EXPECT_EQ(ReadText(site.folder / "a"), content) << "the server's document is what it was";
    EXPECT_EQ(ReadText(world.store->Unsent(UrlAt("a"))->path), newer);
}

TEST_F(Cache, UnsentChangesAreNeverReplacedByOpening) {
    WriteText(site.folder / "a", "old");
    site.fail_upload_at = 1;
    InKilledProcess([](World& w) { w.Put("a", SomeBytes(400000)); });
    site.fail_upload_at = 0;
    World world(folder / "profile", site);
    std::string content;
    EXPECT_EQ(world.ReadAll(world.Open("a", kRead).get(), content, 1000), kInUse);
    EXPECT_NE(world.details->Text().find("sphost recover"), std::string::npos);
    EXPECT_EQ(world.Put("a", "x"), kInUse);
    EXPECT_EQ(ReadText(world.store->Unsent(UrlAt("a"))->path), SomeBytes(400000));
    world.store->SetUnsentUse(UrlAt("a"), UnsentUse::take_up);
    const auto file = world.Open("a", kWrite);
    const std::string first = SomeBytes(400000).substr(0, 1);
    file->Write(first.data(), 1, nullptr, nullptr, nullptr);
    EXPECT_EQ(file->Flush(nullptr, nullptr), S_OK);
    EXPECT_EQ(ReadText(site.folder / "a"), SomeBytes(400000));
    EXPECT_EQ(world.StateOf("a"), std::nullopt);
}

TEST_F(Cache, AKillAtAnyPointOfAnEditLosesNothing) {
    for (const char* name : {"same", "changed", "finished", "removed", "folder"})
        WriteText(site.folder / name, "old");
    const auto begin = [](World& w, const char* name) {
        w.Get(name);
        static ComPtr<TMK::IAFS_File> file;
        file = w.Open(name, kRead);
        return w.store->BeginEdit(UrlAt(name)).path;
    };
    InKilledProcess([&](World& w) { begin(w, "same"); });
    InKilledProcess([&](World& w) { WriteText(begin(w, "changed"), "new"); });
    InKilledProcess([&](World& w) {
        const fs::path path = begin(w, "finished");
        WriteText(path.parent_path() / "beside", "newer");
        fs::rename(path.parent_path() / "beside", path);  // as many programs save
        EXPECT_TRUE(w.store->FinishEdit(UrlAt("finished")));
    });
    InKilledProcess([&](World& w) { fs::remove(begin(w, "removed")); });
    const auto replace = [](const fs::path& path) {
        fs::remove(path);
        fs::create_directory(path);
    };
    InKilledProcess([&](World& w) { replace(begin(w, "folder")); });
    World world(folder / "profile", site);
    EXPECT_EQ(world.StateOf("same"), std::nullopt);
    EXPECT_EQ(world.StateOf("removed"), std::nullopt);
    EXPECT_EQ(world.StateOf("changed"), State::unsent);
    EXPECT_EQ(world.StateOf("finished"), State::unsent);
    EXPECT_EQ(ReadText(world.store->Unsent(UrlAt("changed"))->path), "new");
    EXPECT_EQ(world.Get("removed"), "old");
    EXPECT_EQ(world.Get("folder"), "old");
    InKilledProcess([&](World& w) {
        replace(begin(w, "folder"));
        EXPECT_THROW(w.store->FinishEdit(UrlAt("folder")), Failure);
    });
    EXPECT_EQ(world.Get("folder"), "old");
    EXPECT_EQ(world.store->Unsent().size(), 2u);
    world.store->Drop(UrlAt("changed"));
    EXPECT_EQ(world.Get("changed"), "old");
}

TEST_F(Cache, WhatAProgramSavesAfterItsEditIsFoundAndNeverReplaced) {
    for (const char* name : {"edited", "killed", "sent", "removed"}) WriteText(site.folder / name, "old");
    std::map<std::string, fs::path> local;
    {
        World world(folder / "profile", site);
        for (const char* name : {"edited", "removed"}) {
            const auto file = world.Open(name, kRead);
            std::string content;
            world.ReadAll(file.get(), content, 100);
            local[name] = world.store->BeginEdit(UrlAt(name)).path;
            if (name == std::string("edited")) {
                EXPECT_FALSE(world.store->FinishEdit(UrlAt(name)));
            } else {
                fs::remove(local[name]);
                EXPECT_THROW(world.store->FinishEdit(UrlAt(name)), Failure);
            }
        }
        EXPECT_EQ(world.Put("sent", "mine"), S_OK);
        local["sent"] = world.store->PathOf(world.store->Entry(UrlAt("sent")));
    }
    InKilledProcess([&](World& w) {
        w.Get("killed");
        static ComPtr<TMK::IAFS_File> file;
        file = w.Open("killed", kRead);
        w.store->BeginEdit(UrlAt("killed"));
    });
    World world(folder / "profile", site);
    EXPECT_TRUE(world.store->Unsent().empty()) << "nothing was changed so far";
    local["killed"] = world.store->PathOf(world.store->Entry(UrlAt("killed")));
    for (const auto& [name, path] : local) {
        SCOPED_TRACE(name);
        WriteText(path.parent_path() / "beside", "too");
        fs::rename(path.parent_path() / "beside", path);
        WriteText(site.folder / name, "theirs, newer");
        std::string content;
        EXPECT_EQ(world.ReadAll(world.Open(name, kRead).get(), content, 100), kInUse);
        EXPECT_EQ(world.StateOf(name), State::unsent);
        EXPECT_EQ(ReadText(path), "too");
    }
    EXPECT_EQ(world.store->Unsent().size(), local.size());
}

TEST_F(Cache, ALocalFileThatChangesDuringADownloadIsSetAside) {
    WriteText(site.folder / "a", "old");
    World world(folder / "profile", site);
    EXPECT_EQ(world.Get("a"), "old");
    const fs::path local = world.store->PathOf(world.store->Entry(UrlAt("a")));
    WriteText(site.folder / "a", "newer");
    std::string content;
    {
        const auto file = world.Open("a", kRead);
        WriteText(local, "of a program");
        EXPECT_EQ(world.ReadAll(file.get(), content, 100), S_OK);
    }
    EXPECT_EQ(content, "newer");
    const auto kept = world.store->Unsent();
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_EQ(kept[0].state, State::aside);
    EXPECT_EQ(kept[0].entry.url, UrlAt("a"));
    EXPECT_EQ(ReadText(kept[0].path), "of a program");
    EXPECT_EQ(world.Put("a", "x"), S_OK) << "what was set aside is in nobody's way";
    world.store->Drop(UrlAt("a"));
    world.store->DropAside(kept[0]);
    EXPECT_TRUE(world.store->Unsent().empty());
}

TEST_F(Cache, ALostJournalCostsNoLocalCopy) {
    WriteText(site.folder / "a", "old");
    fs::path local;
    InKilledProcess([&](World& w) {
        w.Get("a");
        static ComPtr<TMK::IAFS_File> file;
        file = w.Open("a", kRead);
        WriteText(w.store->BeginEdit(UrlAt("a")).path, "edited");
        w.store->FinishEdit(UrlAt("a"));
    });
    for (const char* suffix : {"", "-wal", "-shm"})
        fs::remove(folder / "profile" / "cache" / ("journal.db" + std::string(suffix)));
    World world(folder / "profile", site);
    EXPECT_EQ(world.store->Unsent().size(), 1u) << "listed before anything touches it";
    EXPECT_EQ(world.Get("a"), "old");
    EXPECT_EQ(world.Put("a", "new"), S_OK);
    const auto kept = world.store->Unsent();
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_EQ(kept[0].state, State::aside);
    EXPECT_EQ(kept[0].entry.url, UrlAt("a"));
    EXPECT_EQ(ReadText(kept[0].path), "edited");
}

TEST_F(Cache, ADownloadIsOnTheDiskBeforeItReplacesACopy) {
    WriteText(site.folder / "a", "old");
    World world(folder / "profile", site);
    DiskOrder order;
    EXPECT_EQ(world.Get("a"), "old");
    order.ExpectSafe(world.store->PathOf(world.store->Entry(UrlAt("a"))));
    EXPECT_EQ(world.Put("a", "new"), S_OK);
    order.ExpectSafe(world.store->PathOf(world.store->Entry(UrlAt("a"))));
}

TEST_F(Cache, AnInterruptedSaveIsListedAndThePreviousCopyStaysReadable) {
    WriteText(site.folder / "a", "old");
    InKilledProcess([](World& w) {
        w.Get("a");
        static ComPtr<TMK::IAFS_File> file;
        file = w.Open("a", kWrite);
        file->SetSize(0, nullptr, nullptr);
        file->Write("ne", 2, nullptr, nullptr, nullptr);
    });
    World world(folder / "profile", site);
    EXPECT_EQ(world.StateOf("a"), State::incomplete);
    EXPECT_EQ(world.Get("a"), "old");
    EXPECT_EQ(world.StateOf("a"), State::incomplete) << "reading doesn't make it go";
    EXPECT_EQ(world.Put("a", "new"), S_OK);
    EXPECT_EQ(world.StateOf("a"), std::nullopt);
}

TEST_F(Cache, TwoProcessesNeverChangeOneDocumentAtOnce) {
    WriteText(site.folder / "a", "old");
    int to_child[2];
    int to_parent[2];
    ASSERT_EQ(pipe(to_child) + pipe(to_parent), 0);
    char byte = 0;
    Process child([&] {
        World other(folder / "profile", site);
        const auto file = other.Open("a", kRead);
        std::string content;
        other.ReadAll(file.get(), content, 100);
        WriteText(other.store->BeginEdit(UrlAt("a")).path, "edited there");
        [[maybe_unused]] ssize_t done = write(to_parent[1], "x", 1);
        done = read(to_child[0], &byte, 1);
        return kill(getpid(), SIGKILL);
    });
    ASSERT_EQ(read(to_parent[0], &byte, 1), 1);
    {
        World world(folder / "profile", site);
        EXPECT_EQ(world.StateOf("a"), State::editing);
        EXPECT_EQ(world.Get("a"), "old") << "a reader gets the server's version, not the one being edited";
        EXPECT_EQ(world.Put("a", "mine"), kInUse);
        EXPECT_THROW(world.store->Drop(UrlAt("a")), Failure);
    }
    ASSERT_EQ(write(to_child[1], "x", 1), 1);
    EXPECT_EQ(child.Wait(), 128 + SIGKILL);
    World world(folder / "profile", site);
    EXPECT_EQ(world.StateOf("a"), State::unsent);
    EXPECT_EQ(ReadText(world.store->Unsent(UrlAt("a"))->path), "edited there");
}

TEST_F(Cache, AFullDiskFailsClearlyAndLeavesThePreviousCopy) {
    const fs::path disk = folder / "disk";
    fs::create_directories(disk);
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "a small disk can't be mounted here";
    WriteText(site.folder / "a", "old");
    WriteText(site.folder / "large", SomeBytes(3 << 20));
    {
        World world(disk / "profile", site);
        EXPECT_EQ(world.Get("a"), "old");
        std::string content;
        EXPECT_EQ(world.ReadAll(world.Open("large", kRead).get(), content, 1 << 20), kDiskFull);
        EXPECT_NE(world.details->Text().find("the disk is full"), std::string::npos) << world.details->Text();
        EXPECT_EQ(world.Put("a", SomeBytes(3 << 20)), kDiskFull);
        EXPECT_EQ(ReadText(site.folder / "a"), "old");
        EXPECT_EQ(world.StateOf("a"), std::nullopt) << "a save that failed leaves nothing behind";
        EXPECT_EQ(ReadText(world.store->PathOf(world.store->Entry(UrlAt("a")))), "old");
        EXPECT_EQ(world.Put("a", "small"), S_OK) << "there is room again";
        site.fail_upload_at = 1;
        EXPECT_EQ(world.Put("a", SomeBytes(300000)), HRESULT_FROM_WIN32(12030));
        site.fail_upload_at = 0;
    }
    FillDisk(disk);
    {
        World world(disk / "profile", site);
        EXPECT_EQ(world.StateOf("a"), State::unsent) << "what waits can be seen without room";
    }
    umount(disk.c_str());
}

TEST_F(Cache, HostileNamesStayInsideTheirFolder) {
    const std::vector<std::pair<std::string, std::string>> rows{
        {"http://h/a/b.pdf", "b.pdf"},
        {"http://h/a/..", "_.."},
        {"http://h/a/.hidden", "_.hidden"},
        {"http://h/a/-rf.pdf", "_-rf.pdf"},
        {"http://h/a/x\\y\n\x7F.pdf", "x_y__.pdf"},
        {"http://h/a/", "_"},
        {"http://h/" + std::string(300, 'n') + ".pdf", std::string(176, 'n') + ".pdf"},
    };
    for (const auto& [url, name] : rows) EXPECT_EQ(LocalNameOf(url), name);
    std::string umlauts;
    for (int i = 0; i < 150; ++i) umlauts += "\u00E4";
    EXPECT_EQ(ToUtf8(ToUtf16(LocalNameOf("http://h/" + umlauts))), LocalNameOf("http://h/" + umlauts))
        << "a name is never cut inside a character";
}

TEST_F(Cache, ReloadingADocumentDropsItsLocalCopy) {
    WriteText(site.folder / "a", "old");
    World world(folder / "profile", site);
    const auto file = world.Open("a", kRead);
    std::string content;
    world.ReadAll(file.get(), content, 100);
    int reloads = 0;
    auto document = Make<Document>(file, DocumentActions{.reload = [&] { return ++reloads, S_OK; }});
    document->SetModified(true);
    world.host->documents().Add(document);
    ComPtr<TMK::ITMK_Document> found;
    ASSERT_EQ(world.host->instance()->FindDocumentByFile(file.get(), found.put()), S_OK);
    WriteText(site.folder / "a", "newer");
    EXPECT_EQ(world.host->instance()->ReloadDocument(found.get(), 0, 2, 0), S_OK);
    VARIANT_BOOL modified = VARIANT_TRUE;
    found->get_Modified(&modified);
    EXPECT_EQ(modified, VARIANT_FALSE);
    EXPECT_EQ(reloads, 1);
    EXPECT_EQ(world.ReadAll(file.get(), content, 100), S_OK);
    EXPECT_EQ(content, "newer");
    world.host->documents().Remove(document.get());
}

}  // namespace
}  // namespace host
