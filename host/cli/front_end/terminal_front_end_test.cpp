// The terminal as a front end: prompts and questions, line by line.
#include <gtest/gtest.h>

#include "host/base/failure.h"
#include "host/cli/front_end/terminal_front_end.h"
#include "host/signin/bind_context.h"

namespace cli {
namespace {

// A person who gives these lines, one for each question.
class ScriptedTerminal final : public Terminal {
public:
    explicit ScriptedTerminal(std::vector<std::string> lines = {}) : m_lines(std::move(lines)) {}
    bool CanAsk() const override { return !m_lines.empty(); }
    void Show(std::string_view line) override { shown += std::string(line) + "\n"; }
    std::optional<std::string> Ask(std::string_view question, bool) override {
        shown += std::string(question) + "\n";
        if (m_next == m_lines.size()) return std::nullopt;
        return m_lines[m_next++];
    }
    std::string shown;

private:
    std::vector<std::string> m_lines;
    std::size_t m_next = 0;
};

host::Prompt SavePrompt() {
    host::Prompt prompt;
    prompt.text = "Save <b>it</b>?";
    prompt.buttons = {"sp.btn.save", "btn.no", "btn.cancel"};
    prompt.button_texts = {"&Save\n- to the server", "&No", "&Cancel && close"};
    prompt.default_button = 1;
    prompt.cancel_button = 2;
    prompt.check_id = "check";
    prompt.check_text = "Don't ask &again";
    prompt.radios = prompt.radio_texts = {"one", "two"};
    prompt.radio = 1;
    prompt.has_edit = true;
    prompt.edit_label = "Comment:";
    prompt.edit_text = "preset";
    return prompt;
}

// The prompt of above after this person has chosen a button.
host::Prompt Answered(ScriptedTerminal& person, unsigned button) {
    TerminalFrontEnd front_end(person);
    host::Prompt prompt = SavePrompt();
    EXPECT_EQ(front_end.Ask(prompt), button);
    return prompt;
}

TEST(TerminalPrompts, AreAnsweredByNumberLineByLine) {
    ScriptedTerminal person({"7", "1", "1", "a comment", "y"});
    host::Prompt prompt = Answered(person, 0);
    EXPECT_EQ(prompt.radio, 0u);
    EXPECT_EQ(prompt.edit_text, "a comment");
    EXPECT_TRUE(prompt.checked);
    for (const char* part : {"\nSave it?\n", "  1) Save - to the server\n", "  3) Cancel & close\n",
                             "Your choice [2]: ", "from 1 to 3", "Kind [2]: ", "Comment: [preset] ",
                             "Don't ask again [y/N]: "}) {
        EXPECT_NE(person.shown.find(part), std::string::npos) << part << " in " << person.shown;
    }
    EXPECT_EQ(TerminalFrontEnd(person).Ask(prompt), 2u) << "the end of input closes the box";
}

TEST(TerminalPrompts, AnEmptyLineKeepsWhatIsOffered) {
    ScriptedTerminal person({"", "", "", ""});
    host::Prompt prompt = Answered(person, 1);
    EXPECT_EQ(prompt.radio, 1u);
    EXPECT_EQ(prompt.edit_text, "preset");
    EXPECT_FALSE(prompt.checked);
    ScriptedTerminal leaves({"1", "2"});
    TerminalFrontEnd left(leaves);
    EXPECT_EQ(left.Ask(prompt), 2u) << "a prompt that is left half way is cancelled";
}

TEST(TerminalSignIn, APageAndACodeAreShownToBeCopied) {
    ScriptedTerminal nobody;
    TerminalFrontEnd front_end(nobody, {.adds_place = true});
    EXPECT_FALSE(front_end.CanOpenPages());
    EXPECT_FALSE(front_end.ShowCode("http://x/dev", "AB-CD\x1B")->IsCanceled());
    EXPECT_THROW(TerminalFrontEnd(nobody).ShowCode("http://x/dev", "AB-CD"), host::Failure)
        << "a code that nobody is there to enter";
    EXPECT_EQ(nobody.shown, "To sign in, open http://x/dev in a browser and enter the code AB-CD\n");
}

TEST(TerminalSignIn, GivenCredentialsAreUsedOnceThenThePersonIsAsked) {
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
    TerminalFrontEnd front_end(person);
    const auto context = host::MakeBindContext(front_end, host::Credentials{u"alice", u"secret"});
    EXPECT_EQ(ask(context.get(), TMK::AFS_BindContext_NoUI, user, password), S_OK);
    EXPECT_EQ(user, u"alice");
    EXPECT_EQ(ask(context.get(), 0, user, password), S_OK);
    EXPECT_EQ(password, u"secret");
    EXPECT_EQ(ask(context.get(), 0, user, password), S_OK) << "asked again: the given ones were refused";
    EXPECT_EQ(user, u"preset");
    EXPECT_EQ(password, u"typed");
    EXPECT_EQ(ask(context.get(), 0, user, password), host::kCanceled);
    // The next question offers the last answered name, unless the plug-in names another one.
    ScriptedTerminal again({"alice", "wrong", "", "right"});
    TerminalFrontEnd asked_again(again);
    const auto asking = host::MakeBindContext(asked_again, std::nullopt);
    EXPECT_EQ(ask(asking.get(), 0, user, password, u""), S_OK);
    EXPECT_EQ(ask(asking.get(), 0, user, password, u""), S_OK);
    EXPECT_EQ(user, u"alice");
    EXPECT_EQ(password, u"right");
    EXPECT_NE(again.shown.find("User name for server [alice]"), std::string::npos) << again.shown;
    // Given credentials that were tried already are not given again.
    std::string why;
    ScriptedTerminal nobody;
    TerminalFrontEnd silent(nobody);
    const auto refused = host::MakeBindContext(silent, host::Credentials{u"alice", u"secret"},
                                               [&](const std::string& reason) { why = reason; });
    EXPECT_EQ(ask(refused.get(), TMK::AFS_BindContext_NoUI, user, password), S_OK);
    EXPECT_EQ(ask(refused.get(), 0, user, password, u"alice", u"secret"), host::kCanceled);
    EXPECT_NE(why.find("refused"), std::string::npos) << why;
    EXPECT_EQ(ask(host::MakeBindContext(silent, std::nullopt).get(), 0, user, password), host::kCanceled);
    EXPECT_EQ(
        ask(host::MakeBindContext(silent, std::nullopt).get(), TMK::AFS_BindContext_NoUI, user, password),
        S_OK);
    EXPECT_TRUE(user.empty());
}

}  // namespace
}  // namespace cli
