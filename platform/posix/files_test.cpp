// Files and folders by backslash paths, in a folder of the test's own.
#include "platform/files.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>

#include "tests/support/temp_folder.h"

namespace {

class Files : public testing::Test {
protected:
    void SetUp() override {
        m_path = m_folder.u16string();
        for (char16_t& c : m_path)
            if (c == u'/') c = u'\\';
    }

    std::u16string path(const std::u16string& name) const { return m_path + u"\\" + name; }
    void Create(const std::u16string& name, const std::string& text) {
        HANDLE file = CreateFileW(path(name).c_str(), FILE_GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_WRITE_THROUGH, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
        EXPECT_EQ(written, text.size());
        EXPECT_TRUE(CloseHandle(file));
    }
    std::set<std::u16string> Find(const std::u16string& pattern) {
        std::set<std::u16string> names;
        WIN32_FIND_DATAW data;
        HANDLE search = FindFirstFileW(path(pattern).c_str(), &data);
        if (search == INVALID_HANDLE_VALUE) return names;
        do names.insert(data.cFileName);
        while (FindNextFileW(search, &data));
        EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
        EXPECT_TRUE(FindClose(search));
        return names;
    }

    const testing_support::TempFolder m_temporary;
    const std::filesystem::path m_folder = m_temporary.Path();
    std::u16string m_path;
};

TEST_F(Files, WrittenBytesAreInAFileThatOnlyTheUserCanRead) {
    Create(u"ä.log", "first");
    Create(u"ä.log", "second");
    std::ifstream file(m_folder / "ä.log");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "second");
    const auto others = std::filesystem::perms::group_all | std::filesystem::perms::others_all;
    EXPECT_EQ(std::filesystem::status(m_folder / "ä.log").permissions() & others,
              std::filesystem::perms::none);
}

TEST_F(Files, PatternsFindWhatTheyDescribe) {
    for (const char16_t* name : {u"A_2024.log", u"A_2025.log", u"A_20255.log", u"B.txt"}) Create(name, "x");
    EXPECT_EQ(Find(u"A_????.log"), (std::set<std::u16string>{u"A_2024.log", u"A_2025.log"}));
    EXPECT_EQ(Find(u"*5*.log"), (std::set<std::u16string>{u"A_2025.log", u"A_20255.log"}));
    EXPECT_TRUE(Find(u"*.none").empty());
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(Find(u"missing\\*").empty());
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(Files, FoundFilesHaveTheirKindSizeAndTime) {
    Create(u"file", "12345");
    ASSERT_TRUE(CreateDirectoryW(path(u"folder").c_str(), nullptr));
    WIN32_FIND_DATAW data;
    HANDLE search = FindFirstFileW(path(u"fi*").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    FindClose(search);
    EXPECT_EQ(data.nFileSizeLow, 5u);
    EXPECT_FALSE(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
    SYSTEMTIME created, now;
    ASSERT_TRUE(FileTimeToSystemTime(&data.ftCreationTime, &created));
    GetSystemTime(&now);
    EXPECT_LE(now.wYear - created.wYear, 1);
    search = FindFirstFileW(path(u"fo*").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    FindClose(search);
    EXPECT_TRUE(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

TEST_F(Files, FailuresSetTheirErrorNumbers) {
    ASSERT_TRUE(CreateDirectoryW(path(u"folder").c_str(), nullptr));
    EXPECT_FALSE(CreateDirectoryW(path(u"folder").c_str(), nullptr));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_FALSE(CreateDirectoryW(path(u"no\\folder").c_str(), nullptr));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    Create(u"folder\\file", "x");
    EXPECT_FALSE(RemoveDirectoryW(path(u"folder").c_str()));
    EXPECT_EQ(GetLastError(), ERROR_DIR_NOT_EMPTY);
    EXPECT_EQ(
        CreateFileW(path(u"no\\file").c_str(), FILE_GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr),
        INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(DeleteFileW(path(u"folder\\file").c_str()));
    EXPECT_FALSE(DeleteFileW(path(u"folder\\file").c_str()));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(RemoveDirectoryW(path(u"folder").c_str()));
    EXPECT_FALSE(CloseHandle(INVALID_HANDLE_VALUE));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_F(Files, ALinkInThePlaceOfATemporaryFileIsNotFollowed) {
    Create(u"target", "kept");
    std::filesystem::create_symlink(m_folder / "target", m_folder / "link");
    EXPECT_EQ(CreateFileW(path(u"link").c_str(), FILE_GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_TEMPORARY, nullptr),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(std::filesystem::file_size(m_folder / "target"), 4u);
}

// TMPDIR while it lives.
class TemporaryFolderSetting {
public:
    explicit TemporaryFolderSetting(const std::filesystem::path& folder) {
        if (const char* before = std::getenv("TMPDIR")) m_before = before;
        setenv("TMPDIR", folder.c_str(), 1);
    }
    ~TemporaryFolderSetting() { m_before ? setenv("TMPDIR", m_before->c_str(), 1) : unsetenv("TMPDIR"); }

private:
    std::optional<std::string> m_before;
};

class TemporaryFiles : public Files {
protected:
    bool CanCreate(const std::u16string& name) const {
        HANDLE file = CreateFileW(path(name).c_str(), FILE_GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
        return file != INVALID_HANDLE_VALUE && CloseHandle(file);
    }

    const TemporaryFolderSetting m_setting{m_folder};
};

TEST_F(TemporaryFiles, ALinkInThePlaceOfTheFolderLeadsNowhere) {
    namespace fs = std::filesystem;
    ASSERT_TRUE(CreateDirectoryW(path(u"victim").c_str(), nullptr));
    Create(u"victim\\old.log", "kept");
    fs::create_directory_symlink(m_folder / "victim", m_folder / "logs");
    EXPECT_FALSE(CanCreate(u"logs\\new.log"));
    EXPECT_FALSE(CreateDirectoryW(path(u"logs\\folder").c_str(), nullptr));
    EXPECT_TRUE(Find(u"logs\\*.log").empty());
    EXPECT_FALSE(DeleteFileW(path(u"logs\\old.log").c_str()));
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder / "victim"), {}), 1);
    EXPECT_EQ(Find(u"victim\\*.log").size(), 1u);
    EXPECT_FALSE(CanCreate(u"victim\\..\\victim\\new.log"));
}

TEST_F(TemporaryFiles, TheirFolderIsTheUsersOwnAndOnlyTheUsers) {
    namespace fs = std::filesystem;
    const fs::path folder = m_folder / "logs";
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::all);
    ASSERT_TRUE(CanCreate(u"logs\\a.log"));
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
    constexpr uid_t kSomebodyElse = 65534;
    if (chown(folder.c_str(), kSomebodyElse, static_cast<gid_t>(-1)) != 0)
        GTEST_SKIP() << "no right to give the folder away";
    EXPECT_FALSE(CanCreate(u"logs\\b.log"));
    EXPECT_FALSE(DeleteFileW(path(u"logs\\a.log").c_str()));
}

TEST_F(Files, TheTemporaryFolderEndsInABackslash) {
    const char* old = std::getenv("TMPDIR");
    const std::string saved = old ? old : "";
    setenv("TMPDIR", "/some/where", 1);
    char16_t buffer[64];
    EXPECT_EQ(GetTempPathW(64, buffer), 12u);
    EXPECT_EQ(std::u16string(buffer), u"\\some\\where\\");
    EXPECT_EQ(GetTempPathW(12, buffer), 13u);
    unsetenv("TMPDIR");
    EXPECT_EQ(GetTempPathW(64, buffer), 5u);
    EXPECT_EQ(std::u16string(buffer), u"\\tmp\\");
    if (old) setenv("TMPDIR", saved.c_str(), 1);
}

}  // namespace
