#include "host/desktop/window/places_pane.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QPointer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "host/desktop/bars/icons.h"
#include "host/desktop/front_end/text.h"
#include "host/desktop/language/translated.h"
#include "host/jobs/address.h"

namespace desktop {

namespace {

enum Role { kAddress = Qt::UserRole, kKind, kListing };
enum Kind { kPlace, kFolder, kDocument, kNote };

QTreeWidgetItem* AddNote(QTreeWidgetItem* parent, const QString& text) {
    auto* const note = new QTreeWidgetItem(parent, {text});
    note->setData(0, kKind, kNote);
    note->setToolTip(0, text);
    note->setFlags(Qt::ItemIsEnabled);
    return note;
}

}  // namespace

std::vector<FolderEntry> ListFolder(host::Job& job, const std::string& address) {
    const std::string what = "list " + host::PlainLine(address);
    const auto folder = job.NameFor(host::ParseUrl(address), what);
    ComPtr<TMK::IAFS_EnumFolder> listing;
    job.Check(job.file_system()->EnumFolder(folder.get(), 0, job.cancel(), listing.put()), what);
    std::vector<FolderEntry> entries;
    for (;;) {
        ComPtr<TMK::IAFS_EnumFolderItem> item;
        if (job.Check(listing->Next(item.put()), what) == S_FALSE || !item) break;
        ComPtr<TMK::IAFS_Name> name;
        Bstr title;
        DWORD attributes = 0;
        ULONGLONG size = 0;
        job.Check(item->get_Name(name.put()), what);
        job.Check(item->get_Title(title.put()), what);
        job.Check(item->get_Attributes(&attributes), what);
        item->get_Size(&size);
        entries.push_back({ToQt(title.view()), ToQt(host::EscapeUrl(job.UrlOf(name.get()))),
                           (attributes & TMK::AFS_FileAttribute_Folder) != 0, size});
    }
    std::sort(entries.begin(), entries.end(), [](const FolderEntry& a, const FolderEntry& b) {
        if (a.is_folder != b.is_folder) return a.is_folder;
        return a.name.localeAwareCompare(b.name) < 0;
    });
    return entries;
}

PlacesPane::PlacesPane(host::Host& host, Worker& worker, QWidget* parent)
    : QWidget(parent), m_host(host), m_worker(worker), m_tree(new QTreeWidget) {
    setObjectName("placesPane");
    auto* const rows = new QVBoxLayout(this);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(0);
    auto* const top = new QHBoxLayout;
    top->setContentsMargins(10, 4, 4, 4);
    auto* const title = new QLabel;
    SetTranslated(title, "text", "Places");
    top->addWidget(title, 1);
    auto* const add = new QToolButton;
    add->setObjectName("addPlace");
    add->setIcon(LineIcon("place-add"));
    SetTranslated(add, "toolTip", "Add a SharePoint site");
    SetTranslated(add, "accessibleName", "Add a SharePoint site");
    add->setAutoRaise(true);
    connect(add, &QToolButton::clicked, this, &PlacesPane::AddRequested);
    top->addWidget(add);
    rows->addLayout(top);
    m_tree->setObjectName("places");
    SetTranslated(m_tree, "accessibleName", "Places");
    m_tree->setHeaderHidden(true);
    m_tree->setFrameShape(QFrame::NoFrame);
    m_tree->setContextMenuPolicy(Qt::CustomContextMenu);
    m_tree->setTextElideMode(Qt::ElideMiddle);
    title->setBuddy(m_tree);
    rows->addWidget(m_tree, 1);
    connect(m_tree, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* item) {
        if (!item->data(0, kListing).isValid()) List(item);
    });
    connect(m_tree, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) { Activate(item); });
    connect(m_tree, &QTreeWidget::customContextMenuRequested, this, &PlacesPane::ShowMenu);
}

void PlacesPane::Reload() {
    m_tree->clear();
    for (const auto& account : m_host.accounts().Load(m_host.FileSystem().get())) AddPlaceItem(account);
    if (m_tree->topLevelItemCount() == 0) {
        auto* const note = new QTreeWidgetItem(m_tree, {tr("Add a SharePoint site to see its documents.")});
        note->setData(0, kKind, kNote);
        note->setFlags(Qt::ItemIsEnabled);
    }
}

void PlacesPane::ShowLanguage() {
    const bool has_places = m_tree->topLevelItem(0)->data(0, kKind).toInt() == kPlace;
    if (!has_places) Reload();
}

void PlacesPane::AddPlaceItem(const host::StoredAccount& account) {
    const std::u16string url = host::Accounts::UrlOf(account.account.get());
    const QString user = ToQt(host::Accounts::UserOf(account.account.get()));
    const QString name = ToQt(host::LastPart(url));
    auto* const item = new QTreeWidgetItem(m_tree, {user.isEmpty() ? name : name + " – " + user});
    item->setIcon(0, LineIcon("site"));
    item->setToolTip(0, ToQt(url));
    item->setData(0, kAddress, ToQt(host::EscapeUrl(url)));
    item->setData(0, kKind, kPlace);
    item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
}

QTreeWidgetItem* PlacesPane::Find(quint64 id) const {
    for (QTreeWidgetItemIterator at(m_tree); *at; ++at)
        if ((*at)->data(0, kListing).toULongLong() == id) return *at;
    return nullptr;
}

void PlacesPane::List(QTreeWidgetItem* item) {
    const quint64 id = ++m_last_listing;
    item->setData(0, kListing, id);
    qDeleteAll(item->takeChildren());
    AddNote(item, tr("Loading…"));
    const std::string address = item->data(0, kAddress).toString().toStdString();
    auto entries = std::make_shared<std::vector<FolderEntry>>();
    m_worker.Start([=](host::Job& job) { *entries = ListFolder(job, address); },
                   [=, this, pane = QPointer(this)](const std::optional<JobFailure>& failure) {
                       if (!pane) return;
                       failure ? ShowProblem(id, failure->message) : ShowListing(id, *entries);
                   });
}

void PlacesPane::ShowListing(quint64 id, const std::vector<FolderEntry>& entries) {
    QTreeWidgetItem* const folder = Find(id);
    if (!folder) return;
    qDeleteAll(folder->takeChildren());
    for (const FolderEntry& entry : entries) {
        auto* const item = new QTreeWidgetItem(folder, {entry.name});
        item->setIcon(0, LineIcon(entry.is_folder ? "folder" : "document"));
        item->setData(0, kAddress, entry.address);
        item->setData(0, kKind, entry.is_folder ? kFolder : kDocument);
        item->setToolTip(
            0, entry.is_folder
                   ? entry.name
                   : entry.name + "\n" + QLocale().formattedDataSize(static_cast<qint64>(entry.size)));
        if (entry.is_folder) item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
    }
    if (entries.empty()) AddNote(folder, tr("Empty"));
}

void PlacesPane::ShowProblem(quint64 id, const QString& problem) {
    QTreeWidgetItem* const folder = Find(id);
    if (!folder) return;
    qDeleteAll(folder->takeChildren());
    AddNote(folder, problem)->setData(0, Qt::AccessibleDescriptionRole, tr("The listing failed"));
    AddNote(folder, tr("Double-click to try again"))->setData(0, kAddress, folder->data(0, kAddress));
}

void PlacesPane::Activate(QTreeWidgetItem* item) {
    const int kind = item->data(0, kKind).toInt();
    if (kind == kDocument) emit OpenRequested(item->data(0, kAddress).toString());
    if (kind == kNote && item->data(0, kAddress).isValid()) List(item->parent());
}

void PlacesPane::ShowMenu(QPoint position) {
    QTreeWidgetItem* const item = m_tree->itemAt(position);
    QMenu menu;
    if (item && item->data(0, kKind).toInt() == kDocument)
        menu.addAction(tr("&Open"), this, [=, this] { Activate(item); });
    if (item && item->childIndicatorPolicy() == QTreeWidgetItem::ShowIndicator) {
        menu.addAction(LineIcon("refresh"), tr("&Refresh"), this, [=, this] {
            List(item);
            item->setExpanded(true);
        });
    }
    if (item && item->data(0, kKind).toInt() == kPlace) {
        const QString address = item->data(0, kAddress).toString();
        menu.addAction(tr("&Open from here…"), this, [=, this] { emit OpenFromRequested(address); });
        menu.addAction(tr("Re&move this place"), this, [=, this] { emit RemoveRequested(address); });
    }
    menu.addAction(LineIcon("place-add"), tr("&Add a SharePoint site…"), this, &PlacesPane::AddRequested);
    menu.exec(m_tree->viewport()->mapToGlobal(position));
}

}  // namespace desktop
