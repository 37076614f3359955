// Decides how each prompt is answered: by a script, by the default with --yes, by the person, or closed.
// Keeps the log of prompts. Owned by the host; any thread.
#pragma once

#include <deque>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/profile/profile.h"
#include "host/prompts/prompt.h"

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

// A whole number without a sign; nothing for anything else.
std::optional<unsigned> ParseIndex(std::string_view text);

struct PromptOutcome {
    bool is_canceled;  // closed, or answered with the cancel button
    unsigned button;
    unsigned radio;
};

class PromptDesk {
public:
    // The prompter outlives it.
    PromptDesk(Prompter& prompter, Warn warn) : m_prompter(prompter), m_warn(std::move(warn)) {}

    // Answers of one id are used in their order, and the last one stays.
    void AddAnswer(const std::string& id, PromptAnswer answer);
    void SetYes(bool yes) { m_yes = yes; }
    // Appends each prompt and its outcome as a line of JSON. Throws a Failure.
    void LogTo(const fs::path& file);

    // Fills in the answers and returns the button pressed. Throws a Failure of E_INVALIDARG for a scripted
    // answer that doesn't fit.
    unsigned Decide(Prompt& prompt);
    // How the last prompt of that text id ended; nothing when there was none.
    std::optional<PromptOutcome> LastOutcome(std::string_view id) const;

private:
    std::optional<PromptAnswer> TakeAnswer(const std::string& id);
    void Log(const Prompt& prompt, unsigned pressed);

    Prompter& m_prompter;
    Warn m_warn;
    mutable std::mutex m_mutex;
    std::map<std::string, std::deque<PromptAnswer>> m_answers;
    std::map<std::string, PromptOutcome, std::less<>> m_outcomes;
    bool m_yes = false;
    std::ofstream m_log;
    fs::path m_log_path;
};

}  // namespace host
