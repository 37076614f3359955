// Prompts by script, the main thread's queue, strings, pictures and the bind context.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/base/failure.h"
#include "host/base/main_thread.h"
#include "host/core/images.h"
#include "host/prompts/catalogue.h"
#include "host/prompts/task_dialog.h"
#include "host/signin/bind_context.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using testing_support::ReadText;
using testing_support::TempFolder;

// A person who gives these lines, one for each question.
class ScriptedTerminal final : public Terminal {
public:
    explicit ScriptedTerminal(std::vector<std::string> lines = {}) : m_lines(std::move(lines)) {}
    bool CanAsk() const override { return !m_lines.empty(); }
    void Tell(std::string_view line) override { shown += std::string(line) + "\n"; }
    std::optional<std::string> Ask(std::string_view prompt, bool) override {
        shown += std::string(prompt) + "\n";
        if (m_next == m_lines.size()) return std::nullopt;
        return m_lines[m_next++];
    }
    std::string shown;

private:
    std::vector<std::string> m_lines;
    std::size_t m_next = 0;
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
    ScriptedTerminal nobody;
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

    ScriptedTerminal person({"7", "1", "1", "a comment", "y"});
    PromptDesk desk(person, [](const std::string&) {});
    const Outcome asked = Ask(desk, catalogue);
    EXPECT_EQ(asked.pressed, 0u);
    EXPECT_EQ(asked.radio, 0u);
    EXPECT_EQ(asked.text, u"a comment");
    EXPECT_TRUE(asked.checked);
    EXPECT_NE(person.shown.find("Save it?"), std::string::npos) << person.shown;
    EXPECT_NE(person.shown.find("1) Save - to the server"), std::string::npos) << person.shown;
    EXPECT_EQ(Ask(desk, catalogue).pressed, 2u) << "the end of input closes the box";
}

TEST(Prompts, AnswersThatDoNotFitFailInsteadOfPressingSomething) {
    Catalogue catalogue;
    catalogue.Load(kCatalogue);
    ScriptedTerminal nobody;
    for (const char* answer : {"x=sp.btn.other", "x=3", "x=0,radio=2"}) {
        std::string told;
        PromptDesk desk(nobody, [&](const std::string& line) { told = line; });
        desk.AddAnswer("sp.msg.ask", ParseAnswer(answer)->second);
        EXPECT_EQ(Ask(desk, catalogue).result, E_INVALIDARG) << answer;
        EXPECT_NE(told.find("sp.msg.ask"), std::string::npos);
    }
    for (const char* bad : {"", "x", "=1", "x=", "x=1,rdaio=2", "x=1,radio=", "x=1,radio=-1"}) {
        EXPECT_FALSE(ParseAnswer(bad)) << bad;
    }
}

TEST(Prompts, TheLogTellsEachPromptInOneLine) {
    const TempFolder folder;
    Catalogue catalogue;
    catalogue.Load(kCatalogue);
    ScriptedTerminal nobody;
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
    MainThread main_thread;
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

TEST(BindContext, GivenCredentialsAreUsedOnceThenThePersonIsAsked) {
    const auto ask = [](TMK::IAFS_BindContext* context, DWORD flags, std::u16string& user,
                        std::u16string& password, std::u16string preset = u"preset",
                        std::u16string tried = {}) {
        char16_t host_name[] = u"server";
        Bstr out_user;
        Bstr out_password;
        const HRESULT result =
            context->OnGetUserAccount(nullptr, host_name, nullptr, preset.data(), tried.data(),
                                      out_user.put(), out_password.put(), nullptr, flags);
        user = out_user.view();
        password = out_password.view();
        return result;
    };
    std::u16string user;
    std::u16string password;
    ScriptedTerminal person({"", "typed"});
    const auto context = MakeBindContext(person, Credentials{u"alice", u"secret"});
    EXPECT_EQ(ask(context.get(), TMK::AFS_BindContext_NoUI, user, password), S_OK);
    EXPECT_EQ(user, u"alice");
    EXPECT_EQ(ask(context.get(), 0, user, password), S_OK);
    EXPECT_EQ(password, u"secret");
    EXPECT_EQ(ask(context.get(), 0, user, password), S_OK) << "asked again: the given ones were refused";
    EXPECT_EQ(user, u"preset");
    EXPECT_EQ(password, u"typed");
    EXPECT_EQ(ask(context.get(), 0, user, password), kCanceled);
    // A name that was answered stands there at the next question, unless the plug-in names another one.
    ScriptedTerminal again({"alice", "wrong", "", "right"});
    const auto asking = MakeBindContext(again, std::nullopt);
    EXPECT_EQ(ask(asking.get(), 0, user, password, u""), S_OK);
    EXPECT_EQ(ask(asking.get(), 0, user, password, u""), S_OK);
    EXPECT_EQ(user, u"alice");
    EXPECT_EQ(password, u"right");
    EXPECT_NE(again.shown.find("User name for server [alice]"), std::string::npos) << again.shown;
    // Given credentials that were tried without a question are not given once more.
    std::string why;
    ScriptedTerminal nobody;
    const auto refused = MakeBindContext(nobody, Credentials{u"alice", u"secret"},
                                         [&](const std::string& reason) { why = reason; });
    EXPECT_EQ(ask(refused.get(), TMK::AFS_BindContext_NoUI, user, password), S_OK);
    EXPECT_EQ(ask(refused.get(), 0, user, password, u"alice", u"secret"), kCanceled);
    EXPECT_NE(why.find("refused"), std::string::npos) << why;
    EXPECT_EQ(ask(MakeBindContext(nobody, std::nullopt).get(), 0, user, password), kCanceled);
    EXPECT_EQ(ask(MakeBindContext(nobody, std::nullopt).get(), TMK::AFS_BindContext_NoUI, user, password),
              S_OK);
    EXPECT_TRUE(user.empty());
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

TEST(Text, WhatATerminalShowsHoldsNoTagsAndNoControls) {
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
