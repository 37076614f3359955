// The task dialog and the sign-in windows, as people see and answer them.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QCommandLinkButton>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>

#include "host/desktop/front_end/prompt_window.h"
#include "host/desktop/front_end/sign_in_windows.h"
#include "host/desktop/front_end/text.h"
#include "tests/desktop/editor_driver.h"

namespace desktop_tests {
namespace {

host::Prompt CheckInPrompt() {
    host::Prompt prompt;
    prompt.id = "sp.msg.test";
    prompt.style = TMK::TaskDialogStyle_Base | TMK::TaskDialogStyle_IconQuestion;
    prompt.text = "Check in <b>a & b.pdf</b>?\n<a href='x'>link</a>";
    prompt.buttons = {"sp.btn.checkIn", "sp.btn.overwrite", "sp.btn.keep"};
    prompt.button_texts = {"&Check In", "&Overwrite\n- CHANGES WILL BE LOST", "&Keep"};
    prompt.default_button = 0;
    prompt.cancel_button = 2;
    prompt.radios = {"r.minor", "r.major"};
    prompt.radio_texts = {"M&inor", "M&ajor"};
    prompt.has_edit = true;
    prompt.edit_id = "e.comment";
    prompt.edit_label = "Co&mment";
    prompt.edit_text = "before";
    prompt.check_id = "c.dontAsk";
    prompt.check_text = "&Don't ask again";
    return prompt;
}

// What the person does with the window; the pressed button.
unsigned Ask(host::Prompt& prompt, const std::function<void(desktop::PromptWindow&)>& act) {
    desktop::PromptWindow window(prompt, nullptr);
    QTimer::singleShot(0, &window, [&] { act(window); });
    return window.Ask();
}

TEST(PromptWindow, ShowsTheTextItsNamesAndTheExplanationOfAButton) {
    host::Prompt prompt = CheckInPrompt();
    Ask(prompt, [](desktop::PromptWindow& window) {
        EXPECT_EQ(window.objectName(), "sp.msg.test");
        const QString text = window.findChild<QLabel*>("text")->text();
        EXPECT_TRUE(text.contains("<b>a &amp; b.pdf</b>")) << text.toStdString();
        EXPECT_FALSE(text.contains("<a")) << "a text must not bring a link";
        const auto* const link = window.findChild<QCommandLinkButton*>("sp.btn.overwrite");
        EXPECT_TRUE(link);
        EXPECT_EQ(link ? link->description() : "", "CHANGES WILL BE LOST");
        EXPECT_TRUE(window.findChild<QPushButton*>("sp.btn.checkIn")->isDefault());
        window.reject();
    });
}

TEST(PromptWindow, GivesTheAnswersOfAPressedButton) {
    host::Prompt prompt = CheckInPrompt();
    const unsigned pressed = Ask(prompt, [](desktop::PromptWindow& window) {
        window.findChild<QRadioButton*>("r.major")->click();
        window.findChild<QCheckBox*>("c.dontAsk")->click();
        // What was there is selected, so that typing replaces it.
        QTest::keyClicks(window.findChild<QLineEdit*>("e.comment"), "after");
        Press(window, "sp.btn.overwrite");
    });
    EXPECT_EQ(pressed, 1u);
    EXPECT_EQ(prompt.radio, 1u);
    EXPECT_TRUE(prompt.checked);
    EXPECT_EQ(prompt.edit_text, "after");
}

TEST(PromptWindow, EnterPressesTheDefaultAndEscapeCancelsWithoutAnswers) {
    host::Prompt prompt = CheckInPrompt();
    const auto press = [](Qt::Key key) {
        return [key](desktop::PromptWindow& window) {
            window.findChild<QCheckBox*>("c.dontAsk")->click();
            QTest::keyClick(&window, key);
        };
    };
    EXPECT_EQ(Ask(prompt, press(Qt::Key_Escape)), 2u);
    EXPECT_FALSE(prompt.checked);
    EXPECT_EQ(Ask(prompt, press(Qt::Key_Return)), 0u);
    EXPECT_TRUE(prompt.checked);
}

TEST(SignInWindows, CopyTheCodeAndCancel) {
    desktop::PageNoticeWindow window("https://login.example/device", "ABCD-1234", nullptr);
    bool is_canceled = false;
    QObject::connect(&window, &desktop::PageNoticeWindow::Canceled, &window, [&] { is_canceled = true; });
    window.show();
    Press(window, "btn.copyCode");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "ABCD-1234");
    Press(window, "btn.cancel");
    EXPECT_TRUE(is_canceled);
}

}  // namespace
}  // namespace desktop_tests
