#include "host/desktop/window/questions.h"

#include <QObject>

#include "host/desktop/front_end/text.h"

namespace desktop {

unsigned Ask(host::Host& host, const Question& question) {
    host::Prompt prompt;
    prompt.id = question.id;
    prompt.style = TMK::TaskDialogStyle_Base | (question.is_warning ? TMK::TaskDialogStyle_IconWarning
                                                                    : TMK::TaskDialogStyle_IconQuestion);
    prompt.text = question.text.toStdString();
    for (const QuestionButton& button : question.buttons) {
        prompt.buttons.push_back(button.id);
        prompt.button_texts.push_back(QObject::tr(button.text).toStdString());
    }
    prompt.default_button = question.default_button;
    prompt.cancel_button = static_cast<unsigned>(question.buttons.size() - 1);
    return host.prompts().Decide(prompt);
}

void ShowFailure(host::Host& host, const QString& what, const QString& why) {
    Ask(host, {.id = "editor.failure",
               .text = "<b>" + what.toHtmlEscaped() + "</b>\n" + why.toHtmlEscaped(),
               .buttons = {{"btn.close", "&Close"}},
               .is_warning = true});
}

}  // namespace desktop
