#include "host/desktop/bars/info_bar_view.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "host/desktop/bars/icons.h"
#include "host/desktop/front_end/text.h"

namespace desktop {

namespace {

constexpr int kIconSize = 20;
constexpr QRgb kDefaultColour = 0xFFF4CE;
constexpr double kDarkest = 0.32;

// The colour of the span, darker where the window is dark.
QColor BackgroundOf(const host::InfoBarType& type, const QPalette& palette) {
    const QColor colour(type.colour ? type.colour : kDefaultColour);
    if (palette.color(QPalette::Window).lightness() > 127) return colour;
    return QColor::fromHslF(colour.hslHueF(), qMin(colour.hslSaturationF(), 0.45F),
                            static_cast<float>(kDarkest));
}

QPushButton* ButtonOf(QAction* action) {
    auto* const button = new QPushButton(action->text());
    button->setObjectName(action->objectName());
    button->setToolTip(action->toolTip());
    button->setEnabled(action->isEnabled());
    QObject::connect(button, &QPushButton::clicked, action, &QAction::trigger);
    QObject::connect(action, &QAction::changed, button, [=] {
        button->setText(action->text());
        button->setEnabled(action->isEnabled());
    });
    return button;
}

}  // namespace

InfoBarView::InfoBarView(CommandActions& actions, const host::Catalogue& catalogue, QWidget* parent)
    : QFrame(parent), m_actions(actions), m_catalogue(catalogue) {
    setObjectName("infoBar");
    auto* const rows = new QVBoxLayout(this);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(0);
    hide();
}

void InfoBarView::Show(const host::InfoBar* bar) {
    // The focus may be on a button that goes.
    for (QObject* const child : QObjectList(children()))
        if (child->isWidgetType()) delete child;
    const bool is_shown = bar && !bar->spans().empty();
    if (is_shown) {
        for (const auto& span : bar->spans()) layout()->addWidget(MakeSpan(*span));
    }
    setVisible(is_shown);
}

QWidget* InfoBarView::MakeSpan(const host::InfoBarSpan& span) {
    const host::InfoBarType& type = span.type();
    auto* const strip = new QFrame;
    strip->setObjectName(ToQt(type.name));
    strip->setAccessibleName(ToQt(m_catalogue.Resolve(type.title)));
    strip->setAccessibleDescription(ToQt(span.text()));
    strip->setAutoFillBackground(true);
    QPalette palette = strip->palette();
    const QColor background = BackgroundOf(type, palette);
    palette.setColor(QPalette::Window, background);
    palette.setColor(QPalette::WindowText, background.lightness() > 127 ? Qt::black : Qt::white);
    strip->setPalette(palette);
    auto* const row = new QHBoxLayout(strip);
    row->setContentsMargins(12, 6, 12, 6);
    row->setSpacing(8);
    auto* const icon = new QLabel;
    QIcon picture = ToQtIcon(host::OwnIcon(type.icon.get()));
    if (picture.isNull()) picture = LineIcon("info");
    icon->setPixmap(picture.pixmap(QSize(kIconSize, kIconSize), devicePixelRatioF()));
    row->addWidget(icon);
    auto* const text = new QLabel(ToQt(span.text()));
    text->setObjectName("text");
    text->setTextFormat(Qt::PlainText);
    text->setWordWrap(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    text->setToolTip(ToQt(m_catalogue.Resolve(type.description)));
    row->addWidget(text, 1);
    for (const auto& command : span.buttons()) row->addWidget(ButtonOf(m_actions.ActionOf(command)));
    return strip;
}

}  // namespace desktop
