// Scripted prompts, the main thread's queue, strings and pictures.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/base/failure.h"
#include "host/base/main_thread.h"
#include "host/prompts/catalogue.h"
#include "host/prompts/task_dialog.h"
#include "host/signin/bind_context.h"
#include "host/workbench/images.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using testing_support::ReadText;
using testing_support::TempFolder;

// A person who presses a button; without one nobody can be asked.
class Person final : public Prompter {
public:
    explicit Person(std::optional<unsigned> button = {}) : m_button(button) {}
    bool CanAsk() const override { return m_button.has_value(); }
    unsigned Ask(Prompt& prompt) override {
        asked = prompt;
        prompt.edit_text = "typed";
        return *m_button;
    }
    Prompt asked;

private:
    const std::optional<unsigned> m_button;
};

constexpr std::string_view kCatalogue =
    "<Localization><Product id='P'><Language code='en'><Module name='SharePoint' namespace='sp'><Strings>"
    "<text id='msg.ask'>Save &lt;b&gt;it&lt;/b&gt;?</text><text id='btn.save'>&amp;Save\n- to the "
    "server</text>"
    "<text id='check.again'>Don't ask "
    "&amp;again</text></Strings></Module></Language></Product></Localization>";

struct Outcome {
    HRESULT result = E_FAIL;
    UINT pressed = 99;
    bool checked = false;
    UINT radio = 99;
    std::u16string text;
};

Outcome Ask(PromptDesk& desk, const Catalogue& catalogue) {
    const auto dialog = MakeTaskDialog(desk, catalogue);
    dialog->put_Id(u"sp.msg.ask");
    dialog->put_Style(0x10000200);
    dialog->put_Text(u"$$$.sp.msg.ask");
    for (const char16_t* id : {u"sp.btn.save", u"btn.no", u"btn.cancel"}) dialog->AddButton(id);
    dialog->put_DefaultButton(1);
    dialog->put_Check(u"sp.check.again", VARIANT_FALSE);
    dialog->AddRadio(u"one");
    dialog->AddRadio(u"two");
    dialog->put_Radio(1);
    dialog->put_Edit(u"label", u"preset");
    Outcome outcome;
    outcome.result = dialog->DoModal(nullptr, &outcome.pressed);
    VARIANT_BOOL checked = VARIANT_FALSE;
    dialog->get_Checked(&checked);
    outcome.checked = checked != VARIANT_FALSE;
    dialog->get_Radio(&outcome.radio);
    Bstr text;
    dialog->get_EditText(text.put());
    outcome.text = std::u16string(text.view());
    return outcome;
}

TEST(Prompts, AnswersComeFromTheScriptThenTheDefaultThenThePersonElseClosed) {
    Catalogue catalogue;
    catalogue.Load(kCatalogue);
    Person nobody;
    PromptDesk closed(nobody, [](const std::string&) {});
    EXPECT_EQ(Ask(closed, catalogue).pressed, 2u);
    closed.SetYes(true);
    EXPECT_EQ(Ask(closed, catalogue).pressed, 1u);
    closed.AddAnswer("msg.ask", ParseAnswer("x=sp.btn.save,check,radio=0,text=a, b=c")->second);
    closed.AddAnswer("sp.msg.ask", ParseAnswer("x=1")->second);
    const Outcome scripted = Ask(closed, catalogue);
    EXPECT_EQ(scripted.pressed, 0u);
    EXPECT_TRUE(scripted.checked);
    EXPECT_EQ(scripted.radio, 0u);
    EXPECT_EQ(scripted.text, u"a, b=c");
    EXPECT_EQ(Ask(closed, catalogue).pressed, 1u) << "the next answer of the same id";
    EXPECT_EQ(Ask(closed, catalogue).pressed, 1u) << "the last one stays";

    Person person(0);
    PromptDesk desk(person, [](const std::string&) {});
    const Outcome asked = Ask(desk, catalogue);
    EXPECT_EQ(asked.pressed, 0u);
    EXPECT_EQ(asked.text, u"typed");
    EXPECT_EQ(person.asked.text, "Save <b>it</b>?");
    EXPECT_EQ(person.asked.button_texts[0], "&Save\n- to the server");
}

TEST(Prompts, AnswersThatDoNotFitAreFailures) {
    Catalogue catalogue;
    catalogue.Load(kCatalogue);
    Person nobody;
    for (const char* answer : {"x=sp.btn.other", "x=3", "x=0,radio=2"}) {
        std::string warnings;
        PromptDesk desk(nobody, [&](const std::string& line) { warnings = line; });
        desk.AddAnswer("sp.msg.ask", ParseAnswer(answer)->second);
        EXPECT_EQ(Ask(desk, catalogue).result, E_INVALIDARG) << answer;
        EXPECT_NE(warnings.find("sp.msg.ask"), std::string::npos);
    }
    for (const char* bad : {"", "x", "=1", "x=", "x=1,rdaio=2", "x=1,radio=", "x=1,radio=-1"}) {
        EXPECT_FALSE(ParseAnswer(bad)) << bad;
    }
}

TEST(Prompts, TheLogHasOneLineForEachPrompt) {
    const TempFolder folder;
    Catalogue catalogue;
    catalogue.Load(kCatalogue);
    Person nobody;
    PromptDesk desk(nobody, [](const std::string&) {});
    desk.LogTo(folder / "log");
    Ask(desk, catalogue);
    const std::string log = ReadText(folder / "log");
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
    for (const char* part :
         {"\"id\":\"sp.msg.ask\"", "\"buttons\":[\"sp.btn.save\",\"btn.no\",\"btn.cancel\"]", "\"default\":1",
          "\"pressedId\":\"btn.cancel\"", "\"check\":\"sp.check.again\""}) {
        EXPECT_NE(log.find(part), std::string::npos) << part << " in " << log;
    }
}

TEST(MainThread, WorkOfAnyThreadRunsOnTheMainThread) {
    WaitingMainThread main_thread;
    const auto here = std::this_thread::get_id();
    std::atomic<int> done{0};
    const auto work = [&] { return std::this_thread::get_id() == here ? (++done, HRESULT{42}) : E_FAIL; };
    EXPECT_EQ(main_thread.Run(work, true), 42) << "at once on the main thread itself";
    main_thread.RunWorker([&] {
        EXPECT_EQ(main_thread.Run(work, true), 42);
        std::vector<std::thread> others;
        for (int i = 0; i < 4; ++i) {
            others.emplace_back([&] {
                for (int n = 0; n < 50; ++n)
                    EXPECT_EQ(main_thread.Run(work, n % 2 == 0), n % 2 == 0 ? 42 : S_OK);
            });
        }
        for (auto& other : others) other.join();
        EXPECT_EQ(main_thread.Run([&]() -> HRESULT { throw 1; }, true), E_FAIL);
        EXPECT_EQ(main_thread.Run([&] { return main_thread.Run(work, true); }, true), 42)
            << "work may ask for more";
    });
    EXPECT_EQ(done, 203) << "what nobody waited for ran as well";
    EXPECT_THROW(main_thread.RunWorker([] { throw Failure(E_FAIL, "x"); }), Failure);
    main_thread.Stop();
    std::thread([&] { EXPECT_EQ(main_thread.Run(work, true), E_ABORT); }).join();
}

TEST(Catalogue, TextsAreFoundByNamespaceAndReplacedByLaterOnes) {
    Catalogue catalogue;
    catalogue.Load(kCatalogue);
    EXPECT_EQ(catalogue.Find(u"sp.msg.ask"), u"Save <b>it</b>?");
    EXPECT_EQ(catalogue.Find(u"$$$.btn.ok"), u"&OK");
    EXPECT_EQ(catalogue.Find(u"msg.ask"), std::nullopt);
    EXPECT_EQ(catalogue.Resolve(u"$$$.no.such"), u"no.such");
    EXPECT_EQ(catalogue.Resolve(u"as it stands"), u"as it stands");
    for (const char* bad : {"", "<x/>", "<Localization>"}) EXPECT_THROW(catalogue.Load(bad), Failure) << bad;
    EXPECT_EQ(catalogue.Find(u"sp.msg.ask"), u"Save <b>it</b>?");
}

TEST(Text, ATerminalShowsNoTagsAndNoControlCharacters) {
    EXPECT_EQ(PlainLine("invoice\u202Efdp.exe \u2066x\u2069 a\u200Bb\uFEFFc\u2028d\u061Ce"),
              "invoicefdp.exe x abcde");
    const std::string long_line = PlainLine("x" + std::string(5000, '\xC3') + std::string(1, 'y'));
    EXPECT_LT(long_line.size(), 3000u);
    std::string umlauts;
    for (int n = 0; n < 3000; ++n) umlauts += "\u00E4";
    EXPECT_EQ(ToUtf8(ToUtf16(PlainLine("x" + umlauts))), PlainLine("x" + umlauts))
        << "cut between characters";
    EXPECT_EQ(PlainLine("a <b>bold</b>\r\n\tline\x1B[31m"), "a bold line[31m");
    EXPECT_EQ(PlainText("one\n<br/>two\n"), "one\ntwo");
    EXPECT_EQ(PlainLine("<B>a</B> by <a href=\"x\">Alice</a> <alice@h.example>, 1 < 2, <"),
              "a by Alice <alice@h.example>, 1 < 2, <");
    EXPECT_EQ(PlainLine("1 < 2 > 0 <3"), "1 < 2 > 0 <3");
    EXPECT_EQ(PlainLine("a\xC2\x9B"
                        "b\xC3\xA4"),
              "ab\xC3\xA4");
    EXPECT_EQ(FormatFileTime(133170048000000000), "2023-01-01T00:00:00Z");
    EXPECT_EQ(FormatFileTime(0), "");
    EXPECT_EQ(FromBase64("aGk="), "hi");
    EXPECT_EQ(FromBase64("aGk=x"), std::nullopt);
}

TEST(Images, APictureIsAPngOrNothing) {
    std::string png("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\0\x10\0\0\0\x20\x08\x06\0\0\0\x1B\x89\xF8\xCC", 33);
    const auto size = ReadPngSize(png);
    ASSERT_TRUE(size);
    EXPECT_EQ(size->width, 16u);
    EXPECT_EQ(size->height, 32u);
    for (std::size_t i = 0; i < png.size(); ++i) {
        std::string changed = png;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        EXPECT_FALSE(ReadPngSize(changed)) << i;
    }
    EXPECT_FALSE(ReadPngSize(png.substr(0, 32)));
    EXPECT_FALSE(ReadPngSize("<html>"));
}

}  // namespace
}  // namespace host
