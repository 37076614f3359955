// The library as a file, and what is left of it when it has gone.
#include <gtest/gtest.h>

#include <array>
#include <iostream>

#include "hostapi/itmk.h"
#include "platform/com_ptr.h"
#include "tests/support/signed_in_host.h"
#include "tests/windows/support/image.h"
#include "tests/windows/support/library.h"

namespace {

using namespace testing_support;

constexpr int kSessions = 100;

TEST(Library, BringsWhatItNeedsAndShowsOneFunction) {
    void* const library = LoadLibraryFile(PLUGIN_FILE);
    ASSERT_TRUE(library);
    const Image image = Describe(library);
    EXPECT_EQ(image.exports, (std::set<std::string>{"TMKE_GetPlugin"}));
    EXPECT_EQ(image.imports, (std::set<std::string>{"kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll",
                                                    "shlwapi.dll", "urlmon.dll", "wininet.dll"}));
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
                                              TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting, nullptr,
                                              nullptr, file.put()),
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

TEST(Library, ManySessionsLeaveNothingBehind) {
    const DevServer server;
    server.Upload("alice", "a.txt", "content");
    const Login login = LoginOf(server, "alice");
    for (int i = 0; i < 10; ++i) RunSession(server, login);  // what the system keeps for itself
    const unsigned handles = OpenHandles();
    const unsigned threads = Threads();
    for (int i = 0; i < kSessions; ++i) RunSession(server, login);
    EXPECT_FALSE(IsLoaded(PLUGIN_FILE));
    EXPECT_EQ(host::LiveObjects(), 0);
    // One for each session would be a leak; connections that are kept open come and go.
    EXPECT_LE(OpenHandles(), handles + 10);
    EXPECT_LE(Threads(), threads + 1);
    std::cout << kSessions << " sessions: handles " << handles << " before, " << OpenHandles()
              << " after; threads " << threads << " before, " << Threads() << " after\n";
}

TEST(Library, ManySessionsOfOneLoadLeaveNoHandles) {
    const DevServer server;
    server.Upload("alice", "a.txt", "content");
    SignedInHost signed_in(PLUGIN_FILE, server.Origin(), LoginOf(server, "alice"));
    for (int i = 0; i < 10; ++i) ReadOnce(signed_in);
    const unsigned handles = OpenHandles();
    const long objects = host::LiveObjects();
    for (int i = 0; i < kSessions; ++i) ReadOnce(signed_in);
    EXPECT_LE(OpenHandles(), handles + 10);
    EXPECT_EQ(host::LiveObjects(), objects);
}

}  // namespace
