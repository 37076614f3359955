// Dropping local copies: by limits and by hand, and never one that something waits in or that is open.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>

#include "host/base/host_objects.h"
#include "host/cache/upkeep.h"
#include "host/core/host.h"
#include "host/testing/fake_site.h"
#include "host/testing/silent_front_end.h"
#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using namespace host::testing;
using namespace testing_support;

constexpr std::int64_t kDay = 24 * 60 * 60;

class Upkeep : public ::testing::Test {
protected:
    Upkeep() {
        site.folder = folder / "site";
        fs::create_directories(site.folder);
        host.emplace(front_end, folder / "profile");
        host->StartPlugin(MakeFakePlugin(site));
        file_system = host->FileSystem();
    }
    ComPtr<TMK::IAFS_File> Open(const std::string& name, DWORD access = TMK::AFS_OpenFile_Read) {
        ComPtr<TMK::IAFS_File> file;
        EXPECT_EQ(
            file_system->OpenFile(NameAt(file_system.get(), name).get(),
                                  access | TMK::AFS_OpenFile_OpenExisting, nullptr, nullptr, file.put()),
            S_OK);
        char byte = 0;
        LONGLONG got = 0;
        EXPECT_EQ(file->Read(&byte, 1, &got, nullptr, nullptr), S_OK);
        return file;
    }
    // Makes a local copy that was last opened at that time, and tells its path.
    fs::path Copy(const std::string& name, std::size_t size, std::int64_t used) {
        WriteText(site.folder / name, SomeBytes(size));
        Open(name);
        const JournalEntry entry = store().Entry(UrlAt(name));
        const timespec times[]{{used, 0}, {used, 0}};
        EXPECT_EQ(utimensat(AT_FDCWD, store().LockPathOf(entry).c_str(), times, 0), 0);
        return store().PathOf(entry);
    }
    static std::string UrlAt(const std::string& name) { return std::string(kSiteUrl) + "/" + name; }
    CacheStore& store() { return *host->cache(); }
    // A copy is as young as its own file, so tests look from the future.
    static std::int64_t In(std::int64_t days) { return std::time(nullptr) + days * kDay; }

    TempFolder folder;
    FakeSite site;
    SilentFrontEnd front_end;
    std::optional<Host> host;
    ComPtr<TMK::IAFS_FileSys> file_system;
};

TEST_F(Upkeep, WhatWasNotOpenedForLongestGoesUntilTheRestFits) {
    const std::int64_t now = In(0);
    const fs::path oldest = Copy("oldest", 1000, now + 10);
    const fs::path middle = Copy("middle", 1000, now + 20);
    const fs::path latest = Copy("latest", 1000, now + 30);
    EXPECT_EQ(ApplyLimits(store(), {3000, 30}, now).count, 0u);
    const Dropped dropped = ApplyLimits(store(), {2000, 30}, now);
    EXPECT_EQ(dropped.count, 1u);
    EXPECT_EQ(dropped.size, 1000u);
    EXPECT_FALSE(fs::exists(oldest));
    EXPECT_TRUE(fs::exists(middle) && fs::exists(latest));
    EXPECT_EQ(ApplyLimits(store(), {2000, 30}, In(29)).count, 0u);
    EXPECT_EQ(ApplyLimits(store(), {2000, 30}, In(31)).count, 2u);
    EXPECT_FALSE(fs::exists(middle) || fs::exists(latest));
    Open("oldest");
    EXPECT_EQ(site.downloads, 4) << "a dropped copy is fetched again";
}

TEST_F(Upkeep, AnOpeningCountsAsUse) {
    Copy("a", 1000, 1);
    const auto used = [&] { return CopiesIn(store()).at(0).used; };
    const fs::path lock = store().LockPathOf(store().Entry(UrlAt("a")));
    const timespec future[]{{In(100), 0}, {In(100), 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, lock.c_str(), future, 0), 0);
    EXPECT_GT(used(), In(99));
    Open("a");
    EXPECT_LE(used(), In(0));
    EXPECT_EQ(site.downloads, 1);
}

TEST_F(Upkeep, WhatIsUnsentOrOpenStays) {
    const fs::path unsent = Copy("unsent", 1000, 0);
    const fs::path late = Copy("late", 1000, 0);
    const fs::path open = Copy("open", 1000, 0);
    const fs::path elsewhere = Copy("elsewhere", 1000, 0);
    const std::string mine = SomeBytes(600000, 2);
    site.fail_upload_at = 1;
    {
        const auto file = Open("unsent", TMK::AFS_OpenFile_Write);
        LONGLONG written = 0;
        EXPECT_EQ(file->Write(mine.data(), static_cast<LONGLONG>(mine.size()), &written, nullptr, nullptr),
                  S_OK);
        EXPECT_NE(file->Flush(nullptr, nullptr), S_OK);
    }
    WriteText(late, "saved by a program whose edit is over");
    Process reader([&] {
        const auto lock = FileLock::Take(elsewhere.parent_path() / ".lock", FileLock::Mode::shared, 0);
        WriteText(folder / "locked", "");
        pause();
        return 0;
    });
    ASSERT_TRUE(Comes([&] { return fs::exists(folder / "locked"); }));
    {
        const auto here = Open("open");
        EXPECT_EQ(ApplyLimits(store(), {0, 0}, In(1000)).count, 0u);
        const Dropped dropped = DropCopies(store(), [](const LocalCopy&) { return true; });
        EXPECT_EQ(dropped.count, 0u);
        std::string states;
        for (const LocalCopy& copy : dropped.kept) states += std::to_string(static_cast<int>(copy.state));
        EXPECT_EQ(states, "2121") << "elsewhere, late, open, unsent";
    }
    reader.Signal(SIGKILL);
    reader.Wait();
    EXPECT_EQ(ApplyLimits(store(), {0, 0}, In(1000)).count, 2u);
    EXPECT_FALSE(fs::exists(open) || fs::exists(elsewhere));
    EXPECT_EQ(ReadText(late), "saved by a program whose edit is over");
    EXPECT_TRUE(ReadText(unsent).ends_with(mine)) << "written behind the byte that was read";
}

TEST_F(Upkeep, LeftoversOfDeadWritersGoAndThoseOfLivingOnesStay) {
    const fs::path dead = Copy("dead", 10, 0).parent_path() / ".part-1-1";
    const fs::path living = Copy("living", 10, 0).parent_path() / ".part-1-1";
    Process gone([] { return 0; });
    const std::string id = std::to_string(gone.Id());
    gone.Wait();
    const fs::path profile = folder / "profile";
    const fs::path half = profile / ("tokens.json.new-" + id);
    const fs::path own = profile / ("tokens.json.new-" + std::to_string(getpid()));
    for (const fs::path& file : {dead, living, half, own, profile / "notes.new-s"}) WriteText(file, "half");
    {
        const auto lock = FileLock::Take(living.parent_path() / ".lock", FileLock::Mode::shared, 0);
        RemoveLeftovers(host->profile(), store());
    }
    EXPECT_FALSE(fs::exists(dead) || fs::exists(half));
    EXPECT_TRUE(fs::exists(living) && fs::exists(own) && fs::exists(profile / "notes.new-s"));
}

}  // namespace
}  // namespace host
