// The window's own questions and failures, as the host's task dialog. Any thread.
#pragma once

#include <QString>
#include <vector>

#include "host/core/host.h"

namespace desktop {

struct QuestionButton {
    const char* id;
    const char* text;  // "&Save\n- explanation"
};

struct Question {
    const char* id;
    QString text;  // rich text
    std::vector<QuestionButton> buttons;
    unsigned default_button = 0;  // the last one cancels
    bool is_warning = false;
};

// The index of the pressed button.
unsigned Ask(host::Host& host, const Question& question);

// Shows why something failed, with Close.
void ShowFailure(host::Host& host, const QString& what, const QString& why);

}  // namespace desktop
