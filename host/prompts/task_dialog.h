// The host's one prompt, on the terminal or answered by a script, and the log of what was asked.
// A dialog belongs to the thread that fills it; the desk that answers is shared by all.
#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/posix_file.h"
#include "host/profile/profile.h"
#include "host/prompts/catalogue.h"
#include "host/prompts/terminal.h"
#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

namespace host {

// A scripted answer: "BUTTON[,check][,radio=N][,text=TEXT]".
struct PromptAnswer {
    std::string button;  // a text id, with or without "sp.", or an index
    std::optional<bool> check;
    std::optional<unsigned> radio;
    std::optional<std::string> text;  // takes the rest, commas included
};

// Splits "ID=BUTTON..."; nothing for anything else.
std::optional<std::pair<std::string, PromptAnswer>> ParseAnswer(std::string_view argument);

// Everything about one prompt, in catalogue ids and shown texts.
struct Prompt {
    std::string id;
    unsigned style = 0;
    std::string text;
    std::vector<std::string> buttons;       // ids
    std::vector<std::string> button_texts;  // "&" gone, explanation after "\n"
    unsigned default_button = 0;
    unsigned cancel_button = 0;
    std::string check_id;
    std::string check_text;
    bool checked = false;
    std::vector<std::string> radios;
    std::vector<std::string> radio_texts;
    unsigned radio = 0;
    bool has_edit = false;
    std::string edit_id;
    std::string edit_text_label;
    std::string edit_text;
};

// Decides what is pressed: a scripted answer, the default with --yes, the person, or closed.
class PromptDesk {
public:
    PromptDesk(Terminal& terminal, Warn warn) : m_terminal(terminal), m_warn(std::move(warn)) {}

    void AddAnswer(const std::string& id, PromptAnswer answer);
    void SetYes(bool yes) { m_yes = yes; }
    // Appends each prompt and its outcome as a line of JSON. Throws a Failure.
    void LogTo(const fs::path& file);

    // Fills in the answers and returns the button pressed; a Failure of E_INVALIDARG for an answer that
    // doesn't fit.
    unsigned Decide(Prompt& prompt);

private:
    std::optional<PromptAnswer> TakeAnswer(const std::string& id);
    unsigned Apply(const PromptAnswer& answer, Prompt& prompt) const;
    unsigned AskPerson(Prompt& prompt);
    void Log(const Prompt& prompt, unsigned pressed);

    Terminal& m_terminal;
    Warn m_warn;
    std::mutex m_mutex;
    std::map<std::string, std::deque<PromptAnswer>> m_answers;
    bool m_yes = false;
    std::optional<Descriptor> m_log;
    fs::path m_log_path;
};

ComPtr<TMK::ITMK_TaskDialog> MakeTaskDialog(PromptDesk& desk, const Catalogue& catalogue);

}  // namespace host
