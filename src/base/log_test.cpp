#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

#include "base/failure.h"
#include "base/log.h"
#include "base/text/encoding.h"

namespace {

namespace fs = std::filesystem;

// The log's folder is fixed when the program is loaded, so each run gets a temporary folder of its own before
// that.
struct OwnTempFolder {
    static inline char path[64] = "/tmp/log-test-XXXXXX";
    __attribute__((constructor(101))) static void Make() { setenv("TMPDIR", mkdtemp(path), 1); }
    ~OwnTempFolder() { fs::remove_all(path); }
} g_own_temp_folder;

TEST(MaskForLog, KeepsStructureAndHidesSpelling) {
    EXPECT_EQ(MaskForLog(u"https://Host1.example/My Doc'2.pdf"), u"https://Xxxx1.xxxxxxx/Xx Xxx'1.xxx");
    EXPECT_EQ(MaskForLog(u"\\\\srv@ssl\\davwwwroot\\A"), u"\\\\xxx@ssl\\davwwwroot\\X");
}

TEST(LogFormat, TakesEachConversionAndCutsLongTexts) {
    EXPECT_EQ(Log::Format(u"%s %d %u %llu 0x%.8x %% %i|%s", u"a", -1, 7u, uint64_t{1} << 40, 0x80004005u, 3),
              u"a -1 7 1099511627776 0x80004005 % 3|");
    EXPECT_EQ(Log::Format(u"%ul", 5u), u"5l");
    EXPECT_EQ(Log::Format(u"%s", std::u16string(20000, u'x')).size(), 10240u);
}

class TraceLog : public ::testing::Test {
protected:
    void TearDown() override { Log::ApplyPreferences(0, 10); }

    static fs::path ToPath(std::u16string text) {
        std::replace(text.begin(), text.end(), u'\\', u'/');
        return fs::path(ToUtf8(text));
    }
    static std::u16string Read(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(file)), {});
        return std::u16string(reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / 2);
    }
};

TEST_F(TraceLog, MakesNoFileAtLevelNone) {
    Log::ApplyPreferences(0, 10);
    Log::Write(Log::error, "Nobody", u"reads this");
    EXPECT_EQ(Log::CurrentPath(), u"");
}

TEST_F(TraceLog, WritesTheStampAndTheCheckInItsShape) {
    Log::ApplyPreferences(1, 10);
    const auto failing = []() -> HRESULT {
        TRACE_ENTRY("Some::Function");
        CHECK_RETURN(1 == 2, E_POINTER);
        return S_OK;
    };
    EXPECT_EQ(failing(), E_POINTER);
    const fs::path path = ToPath(Log::CurrentPath());
    const std::string text = ToUtf8(Read(path));
    const std::regex shape(
        "[A-Z][a-z]{2} [ 0-9]\\d \\d{4} \\d\\d:\\d\\d:\\d\\d\n"
        "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\| *[0-9a-f]+\\|1\\|Some::Function "
        "Expression: '1 == 2' caused returning 'HRESULT 0x80004003: [^\r\n]+\r\n'\n");
    EXPECT_TRUE(std::regex_match(text, shape)) << text;
    EXPECT_TRUE(
        std::regex_match(path.filename().string(),
                         std::regex("TSMK-SP_\\d+-\\d\\d-\\d\\d_\\d\\d\\.\\d\\d\\.\\d\\d\\.\\d{3}\\.log")));
    Log::Close();
    fs::remove(path);
}

TEST_F(TraceLog, TracesEntryAndExitAtTheVerboseLevelOnly) {
    Log::ApplyPreferences(4, 10);
    const auto traced = []() -> HRESULT {
        TRACE_ENTRY("Traced");
        TRACE_RETURN(S_FALSE);
    };
    traced();
    const fs::path path = ToPath(Log::CurrentPath());
    const std::string text = ToUtf8(Read(path));
    EXPECT_NE(text.find("|4|Traced--> \n"), std::string::npos) << text;
    EXPECT_NE(text.find("|4|Traced<-- S_FALSE\n"), std::string::npos) << text;
    Log::Close();
    fs::remove(path);
}

TEST_F(TraceLog, SweepsTheOlderStemOnly) {
    const fs::path folder = ToPath(Log::Folder());
    fs::create_directories(folder);
    const fs::path old_stem = folder / "TSMK-SharePoint_2020-01-02_03.04.05.006.log";
    const fs::path new_stem = folder / "TSMK-SP_2020-01-02_03.04.05.006.log";
    std::ofstream(old_stem) << "x";
    std::ofstream(new_stem) << "x";
    Log::Sweep(1);
    EXPECT_TRUE(fs::exists(old_stem));
    Log::Sweep(0);
    EXPECT_FALSE(fs::exists(old_stem));
    EXPECT_TRUE(fs::exists(new_stem));
    fs::remove(new_stem);
}

}  // namespace
