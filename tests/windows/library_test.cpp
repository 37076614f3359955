// The library as a file, and what is left of it when it has gone.
#include <gtest/gtest.h>

#include <array>

#include "hostapi/itmk.h"
#include "platform/com_ptr.h"
#include "tests/support/signed_in_host.h"
#include "tests/windows/support/image.h"
#include "tests/windows/support/library.h"

namespace {

using namespace testing_support;

constexpr int kFirst = 10;  // what the system makes once
constexpr int kLoads = 100;
constexpr int kSessions = 1000;

TEST(Library, BringsWhatItNeedsAndShowsOneFunction) {
    void* const library = LoadLibraryFile(PLUGIN_FILE);
    ASSERT_TRUE(library);
    const Image image = Describe(library);
    EXPECT_EQ(image.exports, (std::set<std::string>{"TMKE_GetPlugin"}));
    EXPECT_EQ(image.imports,
              (std::set<std::string>{"kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shlwapi.dll",
                                     "urlmon.dll", "user32.dll", "wininet.dll"}));
    EXPECT_TRUE(image.moves);
    EXPECT_TRUE(image.runs_no_data);
    EXPECT_EQ(image.timestamp, 0u) << "a time would make each build another file";

    const auto get_plugin = reinterpret_cast<TMK::TMKE_GetPluginFn>(FunctionOf(library, "TMKE_GetPlugin"));
    ComPtr<TMK::ITMK_Plugin> plugin;
    ASSERT_EQ(get_plugin(plugin.put()), S_OK);
    DWORD version = 0;
    EXPECT_EQ(plugin->get_version(&version), S_OK);
    const std::uint64_t expected = std::uint64_t{version >> 16} << 48 | std::uint64_t{version & 0xFFFF} << 32;
    EXPECT_EQ(image.file_version, expected);
    EXPECT_EQ(image.product_version, expected);
    EXPECT_EQ(plugin->Unload(), S_OK);
    plugin.reset();
    FreeLibraryFile(library);
    EXPECT_FALSE(IsLoaded(PLUGIN_FILE));
}

// Reads a document in a session of its own.
void ReadOnce(SignedInHost& signed_in) {
    ComPtr<TMK::IAFS_Name> root;
    Require(signed_in.host().Bind(signed_in.account(), nullptr, root), "binding");
    ComPtr<TMK::IAFS_File> file;
    Require(signed_in.file_system()->OpenFile(signed_in.Name("a.txt").get(),
                                              TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting,
                                              nullptr, nullptr, file.put()),
            "opening");
    std::array<char, 16> bytes;
    LONGLONG size = 0;
    Require(file->Read(bytes.data(), bytes.size(), &size, nullptr, nullptr), "reading");
    EXPECT_EQ(std::string(bytes.data(), static_cast<std::size_t>(size)), "content");
    EXPECT_EQ(file->Close(0, nullptr, nullptr), S_OK);
}

// Loads the library, works with it, and gives it back.
void RunSession(const DevServer& server, const Login& login) {
    SignedInHost signed_in(PLUGIN_FILE, server.Origin(), login);
    ReadOnce(signed_in);
}

// What is open now, to be compared with what is open later.
struct Counts {
    unsigned handles = NextHandle();
    unsigned threads = Threads();
    long objects = host::LiveObjects();
};

// Connections that are kept open come and go.
constexpr unsigned kSomeHandles = 10;

void ExpectNoMoreThan(const Counts& before, unsigned more_handles = kSomeHandles) {
    const Counts after;
    EXPECT_LE(after.handles, before.handles + more_handles);
    EXPECT_LE(after.threads, before.threads + 1);
    EXPECT_EQ(after.objects, before.objects);
}

TEST(Library, ManyLoadsLeaveNothingBehind) {
    const DevServer server;
    server.Upload("alice", "a.txt", "content");
    const Login login = LoginOf(server, "alice");
    for (int i = 0; i < kFirst; ++i) RunSession(server, login);
    const Counts before;
    for (int i = 0; i < kLoads; ++i) RunSession(server, login);
    EXPECT_FALSE(IsLoaded(PLUGIN_FILE));
    // The static runtime of this compiler keeps four handles of each load: those of a lock and of a thread.
    ExpectNoMoreThan(before, kLoads * 4 + kSomeHandles);
}

TEST(Library, ManySessionsOfOneLoadLeaveNothingBehind) {
    const DevServer server;
    server.Upload("alice", "a.txt", "content");
    SignedInHost signed_in(PLUGIN_FILE, server.Origin(), LoginOf(server, "alice"));
    for (int i = 0; i < kFirst; ++i) ReadOnce(signed_in);
    const Counts before;
    for (int i = 0; i < kSessions; ++i) ReadOnce(signed_in);
    ExpectNoMoreThan(before);
}

}  // namespace
