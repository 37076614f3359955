#include "host/desktop/window/place_window.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace desktop {

namespace {

constexpr int kFieldWidth = 380;

QLineEdit* Field(const char* name, const QString& example) {
    auto* const field = new QLineEdit;
    field->setObjectName(name);
    field->setPlaceholderText(example);
    field->setMinimumWidth(kFieldWidth);
    return field;
}

}  // namespace

std::optional<NewPlace> AskForPlace(const QString& address, QWidget* parent) {
    QDialog window(parent);
    window.setObjectName("addPlace.window");
    window.setWindowTitle(QObject::tr("Add a SharePoint site"));
    auto* const rows = new QVBoxLayout(&window);
    rows->setSpacing(12);
    auto* const form = new QFormLayout;
    auto* const site = Field("address", "https://contoso.sharepoint.com/sites/team");
    site->setText(address);
    form->addRow(QObject::tr("&Address of the site"), site);
    auto* const modern = new QRadioButton(QObject::tr("&SharePoint Online, or a server of 2016 and later"));
    modern->setObjectName("modern");
    modern->setChecked(true);
    auto* const older = new QRadioButton(QObject::tr("A server of 20&13 or 2010, with name and password"));
    older->setObjectName("compatible");
    form->addRow(QObject::tr("Kind"), modern);
    form->addRow({}, older);
    rows->addLayout(form);
    auto* const more = new QGroupBox(QObject::tr("Sign-in of this server, if an administrator told you so"));
    auto* const more_form = new QFormLayout(more);
    auto* const authority = Field("authority", "https://login.microsoftonline.com/organizations/");
    auto* const client = Field("clientId", QObject::tr("Application ID"));
    more_form->addRow(QObject::tr("A&uthority"), authority);
    more_form->addRow(QObject::tr("Application &ID"), client);
    QObject::connect(older, &QRadioButton::toggled, more, &QWidget::setDisabled);
    rows->addWidget(more);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QPushButton* const add = buttons->button(QDialogButtonBox::Ok);
    add->setText(QObject::tr("&Add and sign in"));
    add->setObjectName("btn.ok");
    buttons->button(QDialogButtonBox::Cancel)->setObjectName("btn.cancel");
    const auto update = [=] { add->setEnabled(site->text().contains("://")); };
    QObject::connect(site, &QLineEdit::textChanged, &window, update);
    update();
    rows->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &window, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &window, &QDialog::reject);
    if (window.exec() != QDialog::Accepted) return std::nullopt;
    NewPlace place{site->text().trimmed().toStdString(), modern->isChecked(), {}};
    if (place.is_modern) {
        place.sign_in.authority = authority->text().trimmed().toStdString();
        place.sign_in.client_id = client->text().trimmed().toStdString();
    }
    return place;
}

}  // namespace desktop
