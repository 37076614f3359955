// Opening files and folders by the programs of the desktop, which are scripts here.
#include "platform/shell.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/temp_folder.h"
#include "utf8.h"

namespace {

class Shell : public ::testing::Test {
protected:
    Shell() : m_path(std::getenv("PATH")) {
        std::ofstream(m_folder / "a b,'c'.log") << "text";
        for (const char* tool : {"sh", "cat", "sleep"}) {
            const std::filesystem::path found = std::filesystem::exists(std::string("/usr/bin/") + tool)
                                                    ? std::string("/usr/bin/") + tool
                                                    : std::string("/bin/") + tool;
            std::filesystem::create_symlink(found, m_folder / tool);
        }
        setenv("PATH", m_folder.Path().c_str(), 1);
    }
    ~Shell() override { setenv("PATH", m_path.c_str(), 1); }

    // A program that notes its arguments.
    void Program(const std::string& name, int status, const std::string& more = {}) {
        const auto file = m_folder / name;
        std::ofstream(file) << "#!/bin/sh\nprintf '" << name << "|' >>'" << (m_folder / "log").string()
                            << "'\nfor a in \"$@\"; do printf '%s|' \"$a\" >>'" << (m_folder / "log").string()
                            << "'; done\n"
                            << more << "\nexit " << status << "\n";
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    }
    std::string Log() const {
        std::stringstream text;
        text << std::ifstream(m_folder / "log").rdbuf();
        return text.str();
    }
    std::u16string Wide(const std::filesystem::path& path) const {
        std::u16string wide = platform::ToUtf16(path.string());
        for (char16_t& c : wide) c = c == u'/' ? u'\\' : c;
        return wide;
    }
    static auto Execute(const std::u16string& file, const std::u16string& parameters = {}) {
        return reinterpret_cast<std::intptr_t>(
            ShellExecuteW(nullptr, u"open", file.c_str(), parameters.c_str(), u"", SW_SHOWNORMAL));
    }
    std::u16string File() const { return Wide(m_folder / "a b,'c'.log"); }
    auto Select() const { return Execute(u"explorer", u"/select,\"" + File() + u"\""); }

    testing_support::TempFolder m_folder;
    const std::string m_path;
};

TEST_F(Shell, AFileIsOpenedByTheDesktopsProgram) {
    Program("xdg-open", 0);
    EXPECT_GT(Execute(File()), 32);
    EXPECT_EQ(Log(), "xdg-open|" + (m_folder / "a b,'c'.log").string() + "|");
    EXPECT_TRUE(PathFileExistsW(File().c_str()));
    EXPECT_FALSE(PathFileExistsW((File() + u"x").c_str()));
}

TEST_F(Shell, FailuresAreNumbers) {
    EXPECT_EQ(Execute(File()), 31) << "no program at all";
    EXPECT_EQ(Execute(File() + u"x"), 2);
    Program("xdg-open", 3);
    EXPECT_EQ(Execute(File()), 31);
    Program("xdg-open", 4);
    EXPECT_EQ(Execute(File()), 5);
    EXPECT_EQ(Execute(u"explorer", u"/other"), 5);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(
                  ShellExecuteW(nullptr, u"print", File().c_str(), u"", u"", SW_SHOWNORMAL)),
              5);
}

TEST_F(Shell, AFileIsSelectedByTheFileManager) {
    Program("gdbus", 0);
    EXPECT_GT(Select(), 32);
    EXPECT_NE(Log().find("|org.freedesktop.FileManager1.ShowItems|['file://" + m_folder.Path().string() +
                         "/a%20b%2C%27c%27.log']|"),
              std::string::npos)
        << Log();
}

TEST_F(Shell, WithoutAFileManagerItsFolderIsOpened) {
    Program("gdbus", 1);
    Program("dbus-send", 1);
    Program("xdg-open", 0);
    EXPECT_GT(Select(), 32);
    EXPECT_NE(Log().find("dbus-send|--session|"), std::string::npos) << Log();
    EXPECT_NE(Log().find("xdg-open|" + m_folder.Path().string() + "/|"), std::string::npos) << Log();
}

TEST_F(Shell, NobodyWaitsForAProgramThatStaysOpen) {
    Program("xdg-open", 0, "sleep 5");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_GT(Execute(File()), 32);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
