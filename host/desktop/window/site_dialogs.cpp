#include "host/desktop/window/site_dialogs.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "host/desktop/bars/icons.h"
#include "host/desktop/front_end/text.h"
#include "host/jobs/address.h"
#include "host/profile/settings_tree.h"

namespace desktop {

namespace {

constexpr LONG kAskBeforeReplacing = 4;

ComPtr<TMK::IAFS_DlgParams> Parameters(host::Job& job, const SiteDialog& wanted, const std::string& what) {
    const DWORD type = wanted.saves ? TMK::AFS_Dlg_SaveFile : TMK::AFS_Dlg_OpenFiles;
    ComPtr<TMK::IAFS_DlgParams> parameters;
    job.Check(job.file_system()->CreateDlgParams(type, 0, parameters.put()), what);
    ComPtr<TMK::ITMK_Cab> settings;
    job.Check(parameters->get_Settings(settings.put()), what);
    if (!wanted.saves) return parameters;
    host::PutString(settings.get(), u"InitialFileName", FromQt(wanted.file_name));
    host::PutString(settings.get(), u"DefaultExt", u"pdf");
    if (const auto flags = host::ChildOf(settings.get(), u"Flags"))
        flags->put_v(Variant(kAskBeforeReplacing).get());
    return parameters;
}

QStringList Choose(host::Job& job, const SiteDialog& wanted) {
    const std::string what = (wanted.saves ? "save to " : "open from ") + wanted.site.toStdString();
    const host::Site& site = job.SiteFor(host::ParseUrl(wanted.site.toStdString()), what);
    const auto parameters = Parameters(job, wanted, what);
    ComPtr<TMK::IAFS_NamesCollection> names;
    DWORD choice = 0;
    job.Check(job.file_system()->ShowDlg(wanted.saves ? TMK::AFS_Dlg_SaveFile : TMK::AFS_Dlg_OpenFiles,
                                         site.root.get(), parameters.get(), nullptr, names.put(), &choice),
              what);
    QStringList addresses;
    UINT count = 0;
    if (names) names->get_Count(&count);
    for (UINT i = 0; i < count; ++i) {
        ComPtr<TMK::IAFS_Name> name;
        job.Check(names->get_Item(i, name.put()), what);
        addresses.append(ToQt(host::EscapeUrl(job.UrlOf(name.get()))));
    }
    return addresses;
}

}  // namespace

std::vector<PlaceChoice> PlacesOf(host::Host& host) {
    std::vector<PlaceChoice> places;
    for (const auto& account : host.accounts().Load(host.FileSystem().get())) {
        const std::u16string url = host::Accounts::UrlOf(account.account.get());
        places.push_back({ToQt(host::LastPart(url)), ToQt(host::EscapeUrl(url))});
    }
    return places;
}

std::optional<PlaceChoice> AskWhere(host::Host& host, const QString& title, QWidget* parent) {
    const PlaceChoice computer{QObject::tr("This computer"), {}};
    std::vector<PlaceChoice> places = PlacesOf(host);
    if (places.empty()) return computer;
    places.push_back(computer);
    QDialog window(parent);
    window.setObjectName("where.window");
    window.setWindowTitle(title);
    auto* const rows = new QVBoxLayout(&window);
    auto* const label = new QLabel(QObject::tr("&Where is it?"));
    auto* const list = new QListWidget;
    list->setObjectName("places");
    label->setBuddy(list);
    rows->addWidget(label);
    rows->addWidget(list);
    for (const PlaceChoice& place : places) {
        const QString line = place.url.isEmpty() ? place.title : place.title + "  –  " + place.url;
        list->addItem(new QListWidgetItem(LineIcon(place.url.isEmpty() ? "folder" : "site"), line));
    }
    list->setCurrentRow(0);
    list->setMinimumWidth(420);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setObjectName("btn.ok");
    rows->addWidget(buttons);
    QObject::connect(list, &QListWidget::itemDoubleClicked, &window, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &window, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &window, &QDialog::reject);
    if (window.exec() != QDialog::Accepted || list->currentRow() < 0) return std::nullopt;
    return places[static_cast<std::size_t>(list->currentRow())];
}

std::shared_ptr<Progress> ShowSiteDialog(
    Editor& editor, const SiteDialog& wanted, std::function<void()> connected,
    std::function<void(const QStringList&, const std::optional<JobFailure>&)> done) {
    const std::string site = wanted.site.toStdString();
    return editor.worker.Start(
        [=](host::Job& job) { job.SiteFor(host::ParseUrl(site), "sign in to " + site); },
        [=, &worker = editor.worker](const std::optional<JobFailure>& failure) {
            connected();
            if (failure) return done({}, failure);
            const auto addresses = std::make_shared<QStringList>();
            worker.Start([=](host::Job& job) { *addresses = Choose(job, wanted); },
                         [=](const std::optional<JobFailure>& refused) { done(*addresses, refused); });
        });
}

}  // namespace desktop
