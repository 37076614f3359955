// What a sign-in shows: the question for name and password, and a window that waits for the person to act on
// a page. Main thread only.
#pragma once

#include <QDialog>
#include <functional>
#include <optional>

#include "host/signin/sign_in_prompts.h"

class QVBoxLayout;

namespace desktop {

// Asks until the person answers or cancels.
std::optional<host::Credentials> AskCredentials(const host::CredentialsQuestion& question, QWidget* parent);

// A page, and a code to enter there if there is one.
class PageNoticeWindow final : public QDialog {
    Q_OBJECT
public:
    PageNoticeWindow(const QString& page, const QString& code, QWidget* parent);

signals:
    void Canceled();

private:
    void AddCode(QVBoxLayout* rows, const QString& code);
};

}  // namespace desktop
