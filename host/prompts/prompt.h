// One prompt, with its catalogue ids and texts, and the interface that shows it to a person. A prompt belongs
// to the thread that fills it; the front end implements the prompter, for any thread.
#pragma once

#include <string>
#include <vector>

namespace host {

struct Prompt {
    std::string id;
    unsigned style = 0;
    std::string text;                       // rich text
    std::vector<std::string> buttons;       // ids
    std::vector<std::string> button_texts;  // "&" before the key, an explanation after a line break
    unsigned default_button = 0;
    unsigned cancel_button = 0;
    std::string check_id;  // empty without a check box
    std::string check_text;
    bool checked = false;
    std::vector<std::string> radios;
    std::vector<std::string> radio_texts;
    unsigned radio = 0;
    bool has_edit = false;
    std::string edit_id;
    std::string edit_label;
    std::string edit_text;
};

class Prompter {
public:
    virtual ~Prompter() = default;
    // Whether somebody is there to answer.
    virtual bool CanAsk() const = 0;
    // Fills in the answers and returns the pressed button; closing counts as the cancel button.
    virtual unsigned Ask(Prompt& prompt) = 0;
};

}  // namespace host
