// Tests of dates, message templates, the failure model and the trace log.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "base/failure.h"
#include "base/log.h"
#include "base/main_thread.h"
#include "base/text/encoding.h"
#include "base/text/iso8601.h"
#include "base/text/message_template.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_log.h"

namespace {

namespace fs = std::filesystem;
using testing_support::LogFolder;
using testing_support::LogOf;

std::u16string Parse(const char16_t* text) {
    SYSTEMTIME time{};
    return SUCCEEDED(ParseDateTimeIso8601(text, &time)) ? FormatDateTimeIso8601(time, false) : u"fails";
}

TEST(Iso8601, ReadsWhatServersWrite) {
    EXPECT_EQ(Parse(u"2013-05-01"), u"2013-05-01T00:00:00");
    EXPECT_EQ(Parse(u"2013-05-01T10:20:30Z"), u"2013-05-01T10:20:30");
    EXPECT_EQ(Parse(u"2013-05-01 10:20:30"), u"2013-05-01T10:20:30");
    EXPECT_EQ(Parse(u"2013-05-01T10:20:30.5Z"), u"2013-05-01T10:20:30.500");
    EXPECT_EQ(Parse(u"2013-05-01T10:20:30,123"), u"2013-05-01T10:20:30.123");
    EXPECT_EQ(Parse(u"2013-05-01T00:20:30+02:00"), u"2013-04-30T22:20:30");
    EXPECT_EQ(Parse(u"2013-05-01T10:20:30-0330"), u"2013-05-01T13:50:30");
}

TEST(Iso8601, RefusesWhatIsNoDate) {
    for (const char16_t* text : {u"", u"x", u"2013-13-01", u"2013-02-30", u"2013-05-01T",
                                 u"2013-05-01T25:00:00", u"2013-05-01T10:20:30.1234567Z"}) {
        EXPECT_EQ(Parse(text), u"fails") << ToUtf8(text);
    }
}

TEST(MessageTemplate, FillsPlaceholdersAndHalvesPercentRuns) {
    MessageTemplate message = MessageTemplate::Create(u"%1 of %2, 100%%, %%%1, %x, %0!");
    message.SetText(1, u"a");
    EXPECT_EQ(message.Render(), u"a of , 100%, %a, x, !");
    message.SetText(2, u"%1");
    EXPECT_EQ(message.Render(), u"a of %1, 100%, %a, x, !");
}

TEST(MessageTemplate, SurvivesAbsurdNumbers) {
    MessageTemplate message = MessageTemplate::Create(u"[%99999999999999999999999999999999]");
    message.SetText(static_cast<size_t>(-1), u"never");
    EXPECT_EQ(message.Render(), u"[9]");
}

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

struct Details final : cCoClassUnknownT<Details, TMK::ITMK_ErrorDetails> {
    HRESULT put_Text(LPCWSTR value) override {
        text = value;
        return S_OK;
    }
    HRESULT Clear() override { return S_OK; }
    std::u16string text;
};

template <typename Thrower>
HRESULT Cross(TMK::ITMK_ErrorDetails* details, Thrower&& thrower) {
    TRACE_NAME("Cross");
    try {
        thrower();
        return S_OK;
    }
    HOST_BOUNDARY(details)
}

TEST(Boundary, TurnsExceptionsIntoResultsAndHandsOnGivenTexts) {
    const auto details = MakeObject<Details>();
    EXPECT_EQ(Cross(details.get(), [] { throw HResultException(E_FAIL); }), E_FAIL);
    EXPECT_EQ(details->text, u"");
    EXPECT_EQ(Cross(details.get(), [] { throw HResultException(E_CANCELED, u"why"); }), E_CANCELED);
    EXPECT_EQ(details->text, u"why");
    EXPECT_EQ(Cross(details.get(), [] { throw ApiException(5); }), static_cast<HRESULT>(0x80070005));
    EXPECT_EQ(details->text, u"why");
    EXPECT_EQ(Cross(details.get(), [] { throw Exception(u"plain"); }), E_FAIL);
    EXPECT_EQ(details->text, u"plain");
    EXPECT_EQ(Cross(nullptr, [] { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(Cross(nullptr, [] { throw 7; }), E_FAIL);
}

TEST(ErrorTexts, HaveTheirShapes) {
    bool has_text = true;
    SetLastError(0);
    EXPECT_EQ(GetApiErrorText(0, has_text), u"System error code 0: <no system error information avaliable>");
    EXPECT_FALSE(has_text);
    EXPECT_EQ(GetApiErrorText(static_cast<DWORD>(E_CANCELED), has_text), u"Canceled");
    EXPECT_TRUE(GetApiErrorText(12007, has_text).starts_with(u"System error code 12007: "));
    EXPECT_TRUE(has_text);
    EXPECT_TRUE(HResultException(E_FAIL).message.starts_with(u"HRESULT 0x80004005: "));
}

TEST(ThreadSafeCall, FailsForNothingAndForWhatThrows) {
    EXPECT_EQ(MakeObject<ThreadSafeCall>(std::function<HRESULT()>())->Call(), E_FAIL);
    EXPECT_EQ(MakeObject<ThreadSafeCall>([]() -> HRESULT { throw 1; })->Call(), E_FAIL);
    EXPECT_EQ(MakeObject<ThreadSafeCall>([] { return S_FALSE; })->Call(), S_FALSE);
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
