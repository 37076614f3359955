#include <gtest/gtest.h>

#include <barrier>
#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>
#include <vector>

#include "base/failure.h"
#include "base/log.h"
#include "base/text/encoding.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_log.h"

namespace {

namespace fs = std::filesystem;
using testing_support::LogFolder;
using testing_support::LogOf;

TEST(MaskForLog, KeepsStructureAndHidesSpelling) {
    EXPECT_EQ(MaskForLog(u"https://Host1.example/My Doc'2.pdf"), u"https://Xxxx1.xxxxxxx/Xx Xxx'1.xxx");
    EXPECT_EQ(MaskForLog(u"/J\u00FCrgen \u2013 \u041F\u0440\u0438\u043A\u0430\u0437 \u0663/\u65E5\u672C.pdf"),
              u"/Xxxxxx \u2013 xxxxxx x/xx.xxx");
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
};

TEST_F(TraceLog, MakesNoFileAtLevelNone) {
    Log::ApplyPreferences(0, 10);
    Log::Write(Log::error, "Nobody", u"reads this");
    EXPECT_EQ(Log::CurrentPath(), u"");
}

TEST_F(TraceLog, LosesNoLineWhenThreadsRaceForTheFirst) {
    constexpr int kThreads = 8;
    constexpr int kLines = 20;
    for (int round = 0; round < 10; ++round) {
        const std::string text = LogOf(Log::error, [] {
            std::barrier start(kThreads);
            std::vector<std::thread> threads;
            for (int i = 0; i < kThreads; ++i) {
                threads.emplace_back([&] {
                    start.arrive_and_wait();
                    for (int line = 0; line < kLines; ++line) Log::Write(Log::error, "Racer", u"line");
                });
            }
            for (std::thread& thread : threads) thread.join();
        });
        std::size_t lines = 0;
        for (std::size_t at = 0; (at = text.find("|Racer line\n", at)) != std::string::npos; ++at) ++lines;
        ASSERT_EQ(lines, std::size_t{kThreads} * kLines);
    }
}

TEST_F(TraceLog, WritesTheStampAndTheCheckInItsShape) {
    std::u16string path;
    const std::string text = LogOf(Log::error, [&] {
        const auto failing = []() -> HRESULT {
            TRACE_ENTRY("Some::Function");
            CHECK_RETURN(1 == 2, E_POINTER);
            return S_OK;
        };
        EXPECT_EQ(failing(), E_POINTER);
        path = Log::CurrentPath();
    });
    const std::regex shape(
        "[A-Z][a-z]{2} [ 0-9]\\d \\d{4} \\d\\d:\\d\\d:\\d\\d\n"
        "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\| *[0-9a-f]+\\|1\\|Some::Function "
        "Expression: '1 == 2' caused returning 'HRESULT 0x80004003: [^\r\n]+\r\n'\n");
    EXPECT_TRUE(std::regex_match(text, shape)) << text;
    EXPECT_TRUE(std::regex_search(
        ToUtf8(path), std::regex("\\\\TSMK-SP_\\d+-\\d\\d-\\d\\d_\\d\\d\\.\\d\\d\\.\\d\\d\\.\\d{3}\\.log$")));
}

TEST_F(TraceLog, TracesEntryAndExitAtTheVerboseLevelOnly) {
    const auto traced = []() -> HRESULT {
        TRACE_ENTRY("Traced");
        TRACE_RETURN(S_FALSE);
    };
    const std::string text = LogOf(Log::verbose, traced);
    EXPECT_NE(text.find("|4|Traced--> \n"), std::string::npos) << text;
    EXPECT_NE(text.find("|4|Traced<-- S_FALSE\n"), std::string::npos) << text;
    EXPECT_EQ(LogOf(Log::information, traced), "");
}

TEST_F(TraceLog, SweepsTheOlderStemOnly) {
    const fs::path old_stem = LogFolder() / "TSMK-SharePoint_2020-01-02_03.04.05.006.log";
    const fs::path new_stem = LogFolder() / "TSMK-SP_2020-01-02_03.04.05.006.log";
    testing_support::WriteText(old_stem, "x");
    testing_support::WriteText(new_stem, "x");
    Log::Sweep(1);
    EXPECT_TRUE(fs::exists(old_stem));
    Log::Sweep(0);
    EXPECT_FALSE(fs::exists(old_stem));
    EXPECT_TRUE(fs::exists(new_stem));
    fs::remove(new_stem);
    Log::Sweep(0);
    EXPECT_FALSE(fs::exists(LogFolder())) << "nothing is left in it";
}

}  // namespace
