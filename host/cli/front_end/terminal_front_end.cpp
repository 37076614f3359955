#include "host/cli/front_end/terminal_front_end.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "host/base/failure.h"
#include "host/base/interrupt.h"
#include "host/base/text.h"
#include "host/browser/pane_windows.h"
#include "host/prompts/prompt_desk.h"
#include "host/signin/open_page.h"

namespace cli {

namespace {

using host::PlainLine;

// "&Open\n- explanation" as one line: "Open - explanation".
std::string ButtonText(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '&') {
            if (i + 1 < text.size() && text[i + 1] == '&') plain += text[i++];
            continue;
        }
        plain += text[i];
    }
    return PlainLine(plain);
}

// Ctrl-C cancels; a line on the terminal can't be closed.
class InterruptNotice final : public host::SignInNotice {
public:
    bool IsCanceled() const override { return host::InterruptFlag(); }
};

// A transfer on the status line.
class TransferLine final : public host::ProgressDisplay {
public:
    TransferLine(StatusLine& line, std::uint64_t total) : m_line(line), m_total(total) {}
    ~TransferLine() override { m_line.EndTransfer(); }
    void Show(std::uint64_t position) override { m_line.ShowTransfer(false, position, m_total); }

private:
    StatusLine& m_line;
    const std::uint64_t m_total;
};

// Says once that nobody can sign in here.
[[noreturn]] void RefuseSignIn() {
    throw host::Failure(
        E_ACCESSDENIED,
        "the sign-in is no longer valid, and without a terminal nobody can sign in again; run the "
        "command at a terminal, or give a token or a password");
}

}  // namespace

void ShowError(const std::string& line) {
    std::fprintf(stderr, "sphost: %s\n", host::WithoutPasswords(line).c_str());
}

TerminalFrontEnd::TerminalFrontEnd(Terminal& terminal, TerminalChoices choices)
    : m_terminal(terminal),
      m_choices(std::move(choices)),
      m_status(m_choices.shows_progress && isatty(STDERR_FILENO), m_choices.what),
      m_windows(host::MakePaneWindows(m_main_thread)) {}

std::optional<unsigned> TerminalFrontEnd::Choose(const std::vector<std::string>& texts, unsigned preset,
                                                 const char* question) {
    for (std::size_t i = 0; i < texts.size(); ++i)
        m_terminal.Show("  " + std::to_string(i + 1) + ") " + ButtonText(texts[i]));
    for (;;) {
        const auto line =
            m_terminal.Ask(std::string(question) + " [" + std::to_string(preset + 1) + "]: ", true);
        if (!line) return std::nullopt;
        if (line->empty()) return preset;
        const auto number = host::ParseIndex(*line);
        if (number && *number >= 1 && *number <= texts.size()) return *number - 1;
        m_terminal.Show("Please answer with a number from 1 to " + std::to_string(texts.size()) + ".");
    }
}

unsigned TerminalFrontEnd::Ask(host::Prompt& prompt) {
    const StatusLine::Pause pause(m_status);
    const std::lock_guard lock(m_terminal.mutex());
    m_terminal.Show("");
    m_terminal.Show(host::PlainText(prompt.text));
    const auto pressed = Choose(prompt.button_texts, prompt.default_button, "Your choice");
    if (!pressed || *pressed == prompt.cancel_button || !AskDetails(prompt)) return prompt.cancel_button;
    return *pressed;
}

// Asks for all but the button; false when the person gives no answer.
bool TerminalFrontEnd::AskDetails(host::Prompt& prompt) {
    if (!prompt.radios.empty()) {
        const auto radio = Choose(prompt.radio_texts, prompt.radio, "Kind");
        if (!radio) return false;
        prompt.radio = *radio;
    }
    if (prompt.has_edit) {
        const std::string preset = prompt.edit_text.empty() ? "" : " [" + PlainLine(prompt.edit_text) + "]";
        const auto text = m_terminal.Ask(ButtonText(prompt.edit_label) + preset + " ", true);
        if (!text) return false;
        if (!text->empty()) prompt.edit_text = *text;
    }
    if (!prompt.check_id.empty()) {
        const auto line =
            m_terminal.Ask(ButtonText(prompt.check_text) + (prompt.checked ? " [Y/n]: " : " [y/N]: "), true);
        if (!line) return false;
        if (!line->empty()) prompt.checked = line->front() == 'y' || line->front() == 'Y';
    }
    return true;
}

std::optional<host::Credentials> TerminalFrontEnd::AskCredentials(const host::CredentialsQuestion& question) {
    const std::lock_guard lock(m_terminal.mutex());
    if (!m_terminal.CanAsk()) return std::nullopt;
    const StatusLine::Pause pause(m_status);
    if (!question.status.empty()) m_terminal.Show(host::PlainText(host::ToUtf8(question.status)));
    const std::string preset = PlainLine(host::ToUtf8(question.user));
    const auto user = m_terminal.Ask("User name for " + PlainLine(host::ToUtf8(question.server)) +
                                         (preset.empty() ? ": " : " [" + preset + "]: "),
                                     true);
    if (!user || (user->empty() && question.user.empty())) return std::nullopt;
    const auto password = m_terminal.Ask("Password: ", false);
    if (!password) return std::nullopt;
    return host::Credentials{user->empty() ? question.user : host::ToUtf16(*user), host::ToUtf16(*password)};
}

bool TerminalFrontEnd::CanOpenPages() const {
    return m_terminal.CanAsk() && host::HasBrowser();
}

std::unique_ptr<host::SignInNotice> TerminalFrontEnd::OpenPage(const std::string& url) {
    const StatusLine::Pause pause(m_status);
    m_terminal.Show("To sign in, use the page that opens in your browser, or open " + PlainLine(url));
    host::OpenInBrowser(url);
    return std::make_unique<InterruptNotice>();
}

std::unique_ptr<host::SignInNotice> TerminalFrontEnd::ShowCode(const std::string& page,
                                                               const std::string& code) {
    if (!m_choices.adds_place && !m_terminal.CanAsk()) RefuseSignIn();
    const StatusLine::Pause pause(m_status);
    m_terminal.Show("To sign in, open " + PlainLine(page) + " in a browser and enter the code " +
                    PlainLine(code));
    return std::make_unique<InterruptNotice>();
}

std::unique_ptr<host::Browser> TerminalFrontEnd::MakeBrowser(const host::Profile& profile,
                                                             std::shared_ptr<const host::Cipher> cipher,
                                                             std::function<void(const std::string&)> note) {
    return host::MakeChosenBrowser(m_choices.browser, m_main_thread, profile, std::move(cipher),
                                   std::move(note));
}

std::unique_ptr<host::ProgressDisplay> TerminalFrontEnd::ShowProgress(std::uint64_t total) {
    return std::make_unique<TransferLine>(m_status, total);
}

void TerminalFrontEnd::Warn(const std::string& line) {
    const StatusLine::Pause pause(m_status);
    ShowError("warning: " + PlainLine(line));
}

}  // namespace cli
