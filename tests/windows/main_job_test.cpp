// The main job with the loaded library on the system's own internet layer, for each way of signing in.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "host/base/host_objects.h"
#include "host/profile/settings_tree.h"
#include "tests/support/row_name.h"
#include "tests/support/signed_in_host.h"
#include "tests/windows/support/library.h"
#include "tests/windows/support/wine.h"

namespace {

using namespace testing_support;

constexpr DWORD kRead = TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting;
constexpr DWORD kWrite = kRead | TMK::AFS_OpenFile_Write;

struct Way {
    std::string what;
    std::vector<std::string> server;
    // Wine sends no password with an upload and doesn't ask for another try.
    bool saves_under_wine = true;

    bool Saves() const { return saves_under_wine || !IsWine(); }
};

const Way kWays[] = {
    {"modern with a token", {}},
    {"2013 with cookies", {"--generation", "2013", "--auth", "forms"}},
    {"2010 with cookies", {"--generation", "2010", "--auth", "forms"}},
    {"2013 with Basic", {"--generation", "2013", "--auth", "basic"}, false},
};

class MainJob : public ::testing::TestWithParam<Way> {
protected:
    MainJob() : m_server(GetParam().server) {
        m_server.Admin("write?user=bob&path=" + Escape(DevServer::PathOf("a b.txt")), "first");
        const bool is_forms =
            std::find(GetParam().server.begin(), GetParam().server.end(), "forms") != GetParam().server.end();
        m_login = is_forms ? FormsLoginOf(m_server, "alice") : LoginOf(m_server, "alice");
        m_site = std::make_unique<SignedInHost>(PLUGIN_FILE, m_server.Origin(), m_login);
    }

    TMK::IAFS_FileSys* fs() { return m_site->file_system(); }
    ComPtr<TMK::IAFS_Name> Name(const std::string& item) { return m_site->Name(item); }
    TMK::ITMK_ErrorDetails* details() { return m_details.get(); }
    void Run(const char* what, HRESULT result) {
        EXPECT_EQ(host::FormatResult(result), host::FormatResult(S_OK)) << what << ": " << m_details->Text();
        m_details->Clear();
    }

    ComPtr<TMK::IAFS_File> Open(const std::string& item, DWORD flags) {
        ComPtr<TMK::IAFS_File> file;
        Require(fs()->OpenFile(Name(item).get(), flags, details(), nullptr, file.put()), "opening " + item);
        return file;
    }
    std::string Read(TMK::IAFS_File* file) {
        std::string bytes(1000, '\0');
        LONGLONG size = 0;
        Run("seek", file->SetPos(0, 0, nullptr));
        Run("read", file->Read(bytes.data(), static_cast<LONGLONG>(bytes.size()), &size, details(), nullptr));
        bytes.resize(static_cast<std::size_t>(size));
        return bytes;
    }
    HRESULT Save(TMK::IAFS_File* file, const std::string& bytes) {
        file->SetPos(0, 0, nullptr);
        file->SetSize(0, nullptr, nullptr);
        file->Write(bytes.data(), static_cast<LONGLONG>(bytes.size()), nullptr, nullptr, nullptr);
        return file->Flush(details(), nullptr);
    }
    void Exec(TMK::IAFS_File* file, LPCWSTR command, const Variant& data = {}) {
        Run("command", file->Exec(command, data.get(), nullptr, details(), nullptr));
    }
    std::vector<std::string> List(const std::string& folder) {
        ComPtr<TMK::IAFS_EnumFolder> listing;
        Run("list", fs()->EnumFolder(Name(folder).get(), 0, nullptr, listing.put()));
        std::vector<std::string> names;
        ComPtr<TMK::IAFS_EnumFolderItem> item;
        while (listing && listing->Next(item.put()) == S_OK) {
            Bstr title;
            item->get_Title(title.put());
            names.push_back(host::ToUtf8(title.view()));
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    HRESULT SignOut() {
        const Variant account(static_cast<IUnknown*>(m_site->account()));
        return fs()->Exec(nullptr, u"SignOut", account.get(), nullptr, nullptr, nullptr);
    }
    ULONGLONG SizeOf(const std::string& item) {
        ComPtr<TMK::IAFS_FileInfo> info;
        ULONGLONG size = 0;
        Run("stat", fs()->GetFileInfo(Name(item).get(), details(), nullptr, info.put()));
        if (info) Run("size", info->get_Size(&size));
        return size;
    }

    DevServer m_server;
    Login m_login;
    std::unique_ptr<SignedInHost> m_site;
    ComPtr<host::ErrorDetails> m_details = host::Make<host::ErrorDetails>();
};

TEST_P(MainJob, ListsReadsAndKeepsTheAccountInAFile) {
    EXPECT_EQ(List(""), std::vector<std::string>{"a b.txt"});
    EXPECT_EQ(SizeOf("a b.txt"), 5u);
    EXPECT_EQ(Read(Open("a b.txt", kRead).get()), "first");
    const TempFolder folder;
    Require(m_site->account()->SaveTo(m_site->account_tree()->View().get()), "saving the account");
    WriteText(folder / "account.json", m_site->account_tree()->ToJson());

    const auto tree = std::make_shared<host::SettingsTree>();
    tree->FromJson(ReadText(folder / "account.json"));
    const auto account = host::Accounts::Restore(fs(), *tree);
    ComPtr<TMK::IAFS_Name> root;
    Run("bind", m_site->host().Bind(account.get(), nullptr, root));
    EXPECT_EQ(Read(Open("a b.txt", kRead).get()), "first");
}

TEST_P(MainJob, SavesAndNoticesWhoElseDid) {
    if (!GetParam().Saves()) GTEST_SKIP() << "no uploads by password here";
    const auto file = Open("a b.txt", kRead);
    EXPECT_EQ(Read(file.get()), "first");
    Run("reopen", file->Reopen(kWrite, details(), nullptr));
    Run("save", Save(file.get(), "second"));
    EXPECT_EQ(m_server.Document("a b.txt"), "second");
    Run("discard", file->Exec(u"DiscardCheckOut", Variant().get(), nullptr, details(), nullptr));

    const auto outdated = Open("a b.txt", kRead);
    const std::string seen = Read(outdated.get());
    m_server.WriteAs("bob", "a b.txt", "by bob");
    EXPECT_TRUE(FAILED(outdated->Reopen(kWrite, details(), nullptr))) << "it was " << seen;
    EXPECT_EQ(m_server.Document("a b.txt"), "by bob");
}

TEST_P(MainJob, ChecksOutAndIn) {
    if (!GetParam().Saves()) GTEST_SKIP() << "no uploads by password here";
    const auto file = Open("a b.txt", kRead);
    Exec(file.get(), u"CheckOut");
    EXPECT_EQ(m_server.CheckedOutBy("a b.txt"), "alice");
    Exec(file.get(), u"DiscardCheckOut");
    EXPECT_EQ(m_server.CheckedOutBy("a b.txt"), "");
    Exec(file.get(), u"CheckOut");
    Exec(file.get(), u"CheckIn");
}

TEST_P(MainJob, ChangesNamesAndColumns) {
    Run("make", fs()->CreateFolder(Name("New/Deep").get(), 0, details(), nullptr));
    Run("copy", fs()->Copy(Name("a b.txt").get(), Name("New/copy.txt").get(), details(), nullptr));
    Run("move", fs()->Move(Name("a b.txt").get(), Name("New/moved #1.txt").get(), details(), nullptr));
    Run("rename",
        fs()->Rename(Name("New/moved #1.txt").get(), Name("New/100%.txt").get(), details(), nullptr));
    EXPECT_EQ(List("New"), (std::vector<std::string>{"100%.txt", "Deep", "copy.txt"}));
    EXPECT_EQ(m_server.Document("New/100%.txt"), "first");
    Run("delete", fs()->Delete(Name("New/Deep").get(), details(), nullptr));
    EXPECT_EQ(List("New"), (std::vector<std::string>{"100%.txt", "copy.txt"}));
}

TEST_P(MainJob, SignsOut) {
    EXPECT_EQ(List("").size(), 1u);
    Run("sign out", SignOut());
    m_site->EndPlugIn();
    EXPECT_FALSE(IsLoaded(PLUGIN_FILE));
}

INSTANTIATE_TEST_SUITE_P(Ways, MainJob, ::testing::ValuesIn(kWays), RowName());

}  // namespace
