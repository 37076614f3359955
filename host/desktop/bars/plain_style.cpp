#include "host/desktop/bars/plain_style.h"

#include <QIconEngine>
#include <QPainter>
#include <QStyleFactory>

#include "host/desktop/bars/icons.h"

namespace desktop {

namespace {

constexpr int kButtonMargin = 14;  // more than the plain style has, both sides together
constexpr QRgb kBlue = 0x1F6FD0;
constexpr QRgb kAmber = 0xE0A100;

// A filled sign with a letter: a round one, or a triangle that warns.
class SignEngine final : public QIconEngine {
public:
    SignEngine(QRgb colour, const QString& letter, bool is_triangle)
        : m_colour(colour), m_letter(letter), m_is_triangle(is_triangle) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override {
        const QRectF whole = QRectF(rect).adjusted(1, 1, -1, -1);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setBrush(QColor(m_colour));
        painter->setPen(
            QPen(QColor(m_colour), whole.width() / 12, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        const QRectF shape =
            whole.adjusted(whole.width() / 16, whole.width() / 16, -whole.width() / 16, -whole.width() / 16);
        if (m_is_triangle) {
            painter->drawPolygon(QPolygonF(
                {QPointF(shape.center().x(), shape.top()), shape.bottomRight(), shape.bottomLeft()}));
        } else {
            painter->drawEllipse(shape);
        }
        QFont font;
        font.setBold(true);
        font.setPixelSize(static_cast<int>(whole.height() * (m_is_triangle ? 0.56 : 0.64)));
        painter->setFont(font);
        painter->setPen(Qt::white);
        painter->drawText(m_is_triangle ? shape.adjusted(0, shape.height() / 5, 0, 0) : shape,
                          Qt::AlignCenter, m_letter);
        painter->restore();
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return picture;
    }
    QIconEngine* clone() const override { return new SignEngine(m_colour, m_letter, m_is_triangle); }

private:
    const QRgb m_colour;
    const QString m_letter;
    const bool m_is_triangle;
};

QIcon OwnIcon(QStyle::StandardPixmap which) {
    switch (which) {
        case QStyle::SP_MessageBoxQuestion:
            return QIcon(new SignEngine(kBlue, "?", false));
        case QStyle::SP_MessageBoxInformation:
            return QIcon(new SignEngine(kBlue, "i", false));
        case QStyle::SP_MessageBoxWarning:
            return QIcon(new SignEngine(kAmber, "!", true));
        case QStyle::SP_CommandLink:
            return LineIcon("forward");
        default:
            return {};
    }
}

}  // namespace

PlainStyle::PlainStyle() : QProxyStyle(QStyleFactory::create("Fusion")) {}

int PlainStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                          QStyleHintReturn* data) const {
    if (hint == SH_DialogButtonBox_ButtonsHaveIcons) return 0;
    return QProxyStyle::styleHint(hint, option, widget, data);
}

QIcon PlainStyle::standardIcon(StandardPixmap which, const QStyleOption* option,
                               const QWidget* widget) const {
    const QIcon own = OwnIcon(which);
    return own.isNull() ? QProxyStyle::standardIcon(which, option, widget) : own;
}

QPixmap PlainStyle::standardPixmap(StandardPixmap which, const QStyleOption* option,
                                   const QWidget* widget) const {
    const QIcon own = OwnIcon(which);
    if (own.isNull()) return QProxyStyle::standardPixmap(which, option, widget);
    const int size = pixelMetric(PM_MessageBoxIconSize, option, widget);
    return own.pixmap(size, size);
}

QSize PlainStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                                   const QWidget* widget) const {
    QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
    if (type == CT_PushButton) size += QSize(kButtonMargin, 2);
    return size;
}

}  // namespace desktop
