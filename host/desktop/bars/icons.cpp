#include "host/desktop/bars/icons.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <map>

namespace desktop {

namespace {

// Paths in a square of 24 units: M and L with a point, C with three points, O with the rectangle of an
// ellipse, Z.
const std::map<QString, QString>& Paths() {
    static const std::map<QString, QString> paths{
        {"open", "M 3 19 L 3 5 L 9 5 L 11 8 L 20 8 L 20 11 M 3 19 L 6 11 L 22 11 L 19 19 Z"},
        {"save",
         "M 4 4 L 17 4 L 20 7 L 20 20 L 4 20 Z M 8 4 L 8 9 L 15 9 L 15 4 M 7 20 L 7 13 L 17 13 L 17 20"},
        {"save-copy",
         "M 8 3 L 18 3 L 21 6 L 21 16 L 8 16 Z M 12 3 L 12 7 L 17 7 L 17 3 M 8 8 L 3 8 L 3 21 L 16 21 L 16 "
         "16"},
        {"print",
         "M 7 9 L 7 3 L 17 3 L 17 9 M 7 18 L 3 18 L 3 9 L 21 9 L 21 18 L 17 18 M 7 14 L 17 14 L 17 21 L 7 21 "
         "Z"},
        {"undo", "M 9 5 L 4 10 L 9 15 M 4 10 L 14 10 C 20 10 20 19 14 19 L 10 19"},
        {"redo", "M 15 5 L 20 10 L 15 15 M 20 10 L 10 10 C 4 10 4 19 10 19 L 14 19"},
        {"copy", "M 8 8 L 20 8 L 20 21 L 8 21 Z M 16 8 L 16 3 L 4 3 L 4 16 L 8 16"},
        {"find", "O 4 4 12 12 M 14.5 14.5 L 20 20"},
        {"properties", "O 3 3 18 18 M 12 11 L 12 17 M 12 7 L 12 8"},
        {"rotate-left", "M 5 4 L 5 9 L 10 9 M 5 9 C 9 1 21 4 20 13 C 19 21 8 22 5 15"},
        {"rotate-right", "M 19 4 L 19 9 L 14 9 M 19 9 C 15 1 3 4 4 13 C 5 21 16 22 19 15"},
        {"delete",
         "M 4 7 L 20 7 M 9 7 L 9 4 L 15 4 L 15 7 M 6 7 L 7 21 L 17 21 L 18 7 M 10 11 L 10 17 M 14 11 L 14 "
         "17"},
        {"duplicate",
         "M 8 7 L 19 7 L 19 21 L 8 21 Z M 15 7 L 15 3 L 4 3 L 4 17 L 8 17 M 13.5 11 L 13.5 17 M 10.5 14 L "
         "16.5 14"},
        {"insert", "M 5 3 L 15 3 L 19 7 L 19 21 L 5 21 Z M 12 10 L 12 17 M 8.5 13.5 L 15.5 13.5"},
        {"up", "M 12 20 L 12 5 M 6 11 L 12 5 L 18 11"},
        {"forward", "M 4 12 L 20 12 M 14 6 L 20 12 L 14 18"},
        {"down", "M 12 4 L 12 19 M 6 13 L 12 19 L 18 13"},
        {"zoom-in", "O 4 4 12 12 M 14.5 14.5 L 20 20 M 10 7.5 L 10 12.5 M 7.5 10 L 12.5 10"},
        {"zoom-out", "O 4 4 12 12 M 14.5 14.5 L 20 20 M 7.5 10 L 12.5 10"},
        {"actual-size",
         "M 5 3 L 15 3 L 19 7 L 19 21 L 5 21 Z M 8.5 12 L 10 11 L 10 17 M 14 11 L 14 17 M 12 12.5 L 12 13 M "
         "12 15.5 L 12 16"},
        {"fit-width",
         "M 6 3 L 18 3 L 18 21 L 6 21 Z M 9 9 L 6.5 12 L 9 15 M 15 9 L 17.5 12 L 15 15 M 7 12 L 17 12"},
        {"fit-page",
         "M 6 3 L 18 3 L 18 21 L 6 21 Z M 9 7.5 L 12 5 L 15 7.5 M 9 16.5 L 12 19 L 15 16.5 M 12 5 L 12 19"},
        {"go-to", "M 5 3 L 15 3 L 19 7 L 19 21 L 5 21 Z M 8 14 L 16 14 M 13 11 L 16 14 L 13 17"},
        {"pages",
         "M 3 4 L 9 4 L 9 10 L 3 10 Z M 3 14 L 9 14 L 9 20 L 3 20 Z M 13 4 L 21 4 L 21 20 L 13 20 Z"},
        {"places", "M 3 5 L 9 5 L 11 8 L 21 8 L 21 19 L 3 19 Z"},
        {"place-add", "M 13 19 L 3 19 L 3 5 L 9 5 L 11 8 L 21 8 L 21 12 M 18 14 L 18 22 M 14 18 L 22 18"},
        {"dark", "M 20 14 C 12 17 6 11 10 4 C 3 6 1 15 7 19 C 12 22 18 20 20 14 Z"},
        {"language", "O 3 3 18 18 M 3 12 L 21 12 M 12 3 C 7 8 7 16 12 21 M 12 3 C 17 8 17 16 12 21"},
        {"preferences", "M 4 6 L 20 6 M 4 12 L 20 12 M 4 18 L 20 18 O 7 4 4 4 O 13 10 4 4 O 9 16 4 4"},
        {"menus", "M 4 6 L 20 6 M 4 12 L 20 12 M 4 18 L 20 18"},
        {"unsent", "M 12 15 L 12 4 M 7 9 L 12 4 L 17 9 M 4 15 L 4 20 L 20 20 L 20 15"},
        {"close", "M 6 6 L 18 18 M 18 6 L 6 18"},
        {"document", "M 6 3 L 14 3 L 19 8 L 19 21 L 6 21 Z M 14 3 L 14 8 L 19 8"},
        {"folder-up",
         "M 3 5 L 9 5 L 11 8 L 21 8 L 21 19 L 3 19 Z M 12 17 L 12 11.5 M 9.5 14 L 12 11.5 L 14.5 14"},
        {"folder-add", "M 13 19 L 3 19 L 3 5 L 9 5 L 11 8 L 21 8 L 21 12 M 18 14 L 18 22 M 14 18 L 22 18"},
        {"document-text",
         "M 6 3 L 14 3 L 19 8 L 19 21 L 6 21 Z M 14 3 L 14 8 L 19 8 M 9 12 L 16 12 M 9 15 L 16 15 M 9 18 L "
         "13 18"},
        {"folder", "M 3 5 L 9 5 L 11 8 L 21 8 L 21 19 L 3 19 Z"},
        {"site", "O 3 3 18 18 M 3 12 L 21 12 M 12 3 C 7 8 7 16 12 21 M 12 3 C 17 8 17 16 12 21"},
        {"refresh", "M 19 4 L 19 9 L 14 9 M 19 9 C 15 1 3 4 4 13 C 5 21 16 22 19 15"},
        {"info", "O 3 3 18 18 M 12 11 L 12 17 M 12 7 L 12 8"},
        {"checkOut",
         "M 10 12 L 4 12 L 4 21 L 16 21 L 16 16 M 7 12 L 7 8 C 7 3 13 3 13 7 M 13 12 L 22 12 M 18.5 8.5 L 22 "
         "12 L 18.5 15.5"},
        {"checkIn",
         "M 4 12 L 16 12 L 16 21 L 4 21 Z M 7 12 L 7 8 C 7 3 13 3 13 8 L 13 12 M 22 6 L 17 6 M 19.5 3.5 L 17 "
         "6 L 19.5 8.5"},
        {"discardCheckOut",
         "M 4 12 L 16 12 L 16 21 L 4 21 Z M 7 12 L 7 8 C 7 3 13 3 13 7 M 17 4 L 22 9 M 22 4 L 17 9"},
        {"enableEditing", "M 4 20 L 5 15 L 16 4 L 20 8 L 9 19 Z M 13 7 L 17 11"},
        {"fileProperties", "M 5 3 L 19 3 L 19 21 L 5 21 Z M 8 8 L 16 8 M 8 12 L 16 12 M 8 16 L 13 16"},
        {"command", "O 5 5 14 14 M 10 9 L 15 12 L 10 15 Z"},
    };
    return paths;
}

QPainterPath ParsePath(const QString& text) {
    QPainterPath path;
    const QStringList words = text.split(' ', Qt::SkipEmptyParts);
    int next = 0;
    const auto number = [&] { return words[next++].toDouble(); };
    const auto point = [&] {
        const double x = number();
        return QPointF(x, number());
    };
    while (next < words.size()) {
        const QString word = words[next++];
        if (word == "M") path.moveTo(point());
        if (word == "L") path.lineTo(point());
        if (word == "Z") path.closeSubpath();
        if (word == "O") {
            const QPointF corner = point();
            const QPointF size = point();
            path.addEllipse(QRectF(corner, QSizeF(size.x(), size.y())));
        }
        if (word == "C") {
            const QPointF first = point();
            const QPointF second = point();
            path.cubicTo(first, second, point());
        }
    }
    return path;
}

class LineEngine final : public QIconEngine {
public:
    explicit LineEngine(QPainterPath path) : m_path(std::move(path)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const QPalette palette = QApplication::palette();
        const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        QColor colour =
            palette.color(group, mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::ButtonText);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(rect.topLeft());
        painter->scale(rect.width() / 24.0, rect.height() / 24.0);
        painter->setPen(QPen(colour, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter->drawPath(m_path);
        painter->restore();
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return picture;
    }
    QIconEngine* clone() const override { return new LineEngine(m_path); }

private:
    const QPainterPath m_path;
};

}  // namespace

QIcon LineIcon(const QString& name) {
    const auto found = Paths().find(name);
    return found == Paths().end() ? QIcon() : QIcon(new LineEngine(ParsePath(found->second)));
}

QIcon NamedIcon(const QString& name) {
    static const std::map<QString, QString> icons{
        {"ico.folder", "folder"}, {"ico.folder.opened", "folder-up"}, {"ico.folder.add", "folder-add"},
        {"ico.delete", "delete"}, {"ico.collection.moveUp", "up"},    {"file.pdf", "document-text"},
    };
    const auto found = icons.find(name.toLower().startsWith("file.") ? name.toLower() : name);
    if (found != icons.end()) return LineIcon(found->second);
    return name.startsWith("file") ? LineIcon("document") : QIcon();
}

}  // namespace desktop
