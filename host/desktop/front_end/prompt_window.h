// The task dialog as a window. Main thread only.
#pragma once

#include <QDialog>

#include "host/prompts/prompt.h"

class QBoxLayout;
class QCheckBox;
class QLineEdit;
class QRadioButton;

namespace desktop {

class PromptWindow final : public QDialog {
    Q_OBJECT
public:
    // `prompt` outlives it.
    PromptWindow(host::Prompt& prompt, QWidget* parent);

    // Shows it until a button is pressed, whose answers are filled in, or until it is closed.
    unsigned Ask();

private:
    void AddText(QBoxLayout* column);
    void AddFields(QBoxLayout* column);
    void AddButtons(QBoxLayout* column);
    void Press(unsigned index);

    host::Prompt& m_prompt;
    unsigned m_pressed;
    std::vector<QRadioButton*> m_radios;
    QCheckBox* m_check = nullptr;
    QLineEdit* m_edit = nullptr;
};

}  // namespace desktop
