#include "host/desktop/front_end/sign_in_windows.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "host/base/text.h"
#include "host/desktop/front_end/text.h"
#include "host/signin/open_page.h"

namespace desktop {

namespace {

constexpr int kTextWidth = 380;

QLabel* WrappedLabel(const QString& text) {
    auto* const label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setMinimumWidth(kTextWidth);
    return label;
}

}  // namespace

std::optional<host::Credentials> AskCredentials(const host::CredentialsQuestion& question, QWidget* parent) {
    QDialog window(parent);
    window.setObjectName("signIn");
    window.setWindowTitle(QObject::tr("Sign in"));
    auto* const rows = new QVBoxLayout(&window);
    const QString server = ToQt(host::PlainLine(host::ToUtf8(question.server)));
    rows->addWidget(WrappedLabel(QObject::tr("Sign in to %1").arg(server)));
    if (!question.status.empty())
        rows->addWidget(WrappedLabel(ToQt(host::PlainText(host::ToUtf8(question.status)))));
    auto* const form = new QFormLayout;
    auto* const user = new QLineEdit(ToQt(question.user));
    user->setObjectName("user");
    auto* const password = new QLineEdit;
    password->setObjectName("password");
    password->setEchoMode(QLineEdit::Password);
    form->addRow(QObject::tr("&User name"), user);
    form->addRow(QObject::tr("&Password"), password);
    rows->addLayout(form);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QPushButton* const sign_in = buttons->button(QDialogButtonBox::Ok);
    sign_in->setText(QObject::tr("&Sign in"));
    sign_in->setObjectName("btn.ok");
    buttons->button(QDialogButtonBox::Cancel)->setObjectName("btn.cancel");
    const auto update = [=] { sign_in->setEnabled(!user->text().isEmpty()); };
    QObject::connect(user, &QLineEdit::textChanged, &window, update);
    update();
    rows->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &window, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &window, &QDialog::reject);
    (question.user.empty() ? user : password)->setFocus();
    if (window.exec() != QDialog::Accepted) return std::nullopt;
    return host::Credentials{FromQt(user->text()), FromQt(password->text())};
}

PageNoticeWindow::PageNoticeWindow(const QString& page, const QString& code, QWidget* parent)
    : QDialog(parent) {
    setObjectName(code.isEmpty() ? "signInPage" : "signInCode");
    setWindowTitle(tr("Sign in"));
    setWindowModality(Qt::ApplicationModal);
    auto* const rows = new QVBoxLayout(this);
    rows->setSpacing(12);
    rows->addWidget(WrappedLabel(code.isEmpty()
                                     ? tr("To sign in, use the page that has opened in your browser.")
                                     : tr("To sign in, open this page in a browser and enter the code.")));
    auto* const address = new QLabel(page);
    address->setObjectName("page");
    address->setTextFormat(Qt::PlainText);
    address->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    rows->addWidget(address);
    if (!code.isEmpty()) AddCode(rows, code);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    auto* const open = buttons->addButton(tr("&Open the page"), QDialogButtonBox::ActionRole);
    open->setObjectName("btn.openPage");
    connect(open, &QPushButton::clicked, this, [page] { host::OpenInBrowser(page.toStdString()); });
    buttons->button(QDialogButtonBox::Cancel)->setObjectName("btn.cancel");
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(this, &QDialog::rejected, this, &PageNoticeWindow::Canceled);
    rows->addWidget(buttons);
}

void PageNoticeWindow::AddCode(QVBoxLayout* rows, const QString& code) {
    auto* const row = new QHBoxLayout;
    auto* const text = new QLabel(code);
    text->setObjectName("code");
    text->setTextFormat(Qt::PlainText);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    QFont font = text->font();
    font.setPointSizeF(font.pointSizeF() * 1.8);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 2);
    text->setFont(font);
    auto* const copy = new QPushButton(tr("&Copy"));
    copy->setObjectName("btn.copyCode");
    connect(copy, &QPushButton::clicked, this, [=] {
        QGuiApplication::clipboard()->setText(code);
        copy->setText(tr("Copied"));
    });
    row->addWidget(text);
    row->addStretch(1);
    row->addWidget(copy);
    rows->addLayout(row);
}

}  // namespace desktop
