#include "host/desktop/window/start_page.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

#include "host/desktop/bars/icons.h"
#include "host/desktop/language/translated.h"

namespace desktop {

namespace {

constexpr int kWidth = 560;

}  // namespace

QString NameOfAddress(const QString& address) {
    const QString last = address.section('/', -1);
    return address.contains("://") ? QUrl::fromPercentEncoding(last.toUtf8()) : last;
}

StartPage::StartPage(QWidget* parent) : QWidget(parent), m_recent(new QListWidget) {
    setObjectName("startPage");
    auto* const centre = new QHBoxLayout(this);
    auto* const column = new QWidget;
    column->setMaximumWidth(kWidth);
    auto* const rows = new QVBoxLayout(column);
    rows->setContentsMargins(24, 48, 24, 24);
    rows->setSpacing(12);
    auto* const title = new QLabel;
    SetTranslated(title, "text", "Open a document");
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.7);
    title->setFont(font);
    rows->addWidget(title);
    auto* const hint = new QLabel;
    SetTranslated(
        hint, "text",
        "Paste the address of a SharePoint document above, choose one in the places on the left, or "
        "drop files here.");
    hint->setWordWrap(true);
    rows->addWidget(hint);
    auto* const buttons = new QHBoxLayout;
    auto* const open = new QPushButton(LineIcon("open"), {});
    SetTranslated(open, "text", "Open a &file…");
    open->setObjectName("start.open");
    auto* const add = new QPushButton(LineIcon("place-add"), {});
    SetTranslated(add, "text", "&Add a SharePoint site…");
    add->setObjectName("start.addPlace");
    buttons->addWidget(open);
    buttons->addWidget(add);
    buttons->addStretch(1);
    rows->addLayout(buttons);
    auto* const label = new QLabel;
    SetTranslated(label, "text", "&Recent documents");
    label->setBuddy(m_recent);
    label->setObjectName("recentLabel");
    rows->addSpacing(12);
    rows->addWidget(label);
    m_recent->setObjectName("recent");
    SetTranslated(m_recent, "accessibleName", "Recent documents");
    m_recent->setTextElideMode(Qt::ElideMiddle);
    rows->addWidget(m_recent, 1);
    centre->addStretch(1);
    centre->addWidget(column, 4);
    centre->addStretch(1);
    connect(open, &QPushButton::clicked, this, &StartPage::BrowseRequested);
    connect(add, &QPushButton::clicked, this, &StartPage::AddPlaceRequested);
    connect(m_recent, &QListWidget::itemActivated, this,
            [this](QListWidgetItem* item) { emit OpenRequested(item->data(Qt::UserRole).toString()); });
}

void StartPage::Show(const QStringList& recent) {
    m_recent->clear();
    for (const QString& address : recent) {
        auto* const item = new QListWidgetItem(LineIcon(address.contains("://") ? "site" : "document"),
                                               NameOfAddress(address), m_recent);
        item->setData(Qt::UserRole, address);
        item->setToolTip(address);
    }
    findChild<QLabel*>("recentLabel")->setVisible(!recent.isEmpty());
    m_recent->setVisible(!recent.isEmpty());
}

}  // namespace desktop
