// The style of the window: Qt's plain one, with pictures of its own in questions and roomier buttons. Main
// thread only.
#pragma once

#include <QProxyStyle>

namespace desktop {

class PlainStyle final : public QProxyStyle {
public:
    PlainStyle();
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override;
    QIcon standardIcon(StandardPixmap which, const QStyleOption* option,
                       const QWidget* widget) const override;
    QPixmap standardPixmap(StandardPixmap which, const QStyleOption* option,
                           const QWidget* widget) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                           const QWidget* widget) const override;
};

}  // namespace desktop
