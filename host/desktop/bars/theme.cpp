#include "host/desktop/bars/theme.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>

#include "host/desktop/bars/plain_style.h"

namespace desktop {

namespace {

constexpr int kEdge = 140;

struct Colours {
    QRgb window, base, alternate, text, button, disabled, highlight, link, mid, placeholder;
};

constexpr Colours kLight{0xF3F4F6, 0xFFFFFF, 0xF7F8FA, 0x1B1D21, 0xFBFBFC,
                         0x9AA0A8, 0x1F6FD0, 0x1A5FB4, 0xC9CDD3, 0x6B7280};
constexpr Colours kDark{0x25282D, 0x1C1E22, 0x2A2D33, 0xE8EAED, 0x33373D,
                        0x7A808A, 0x4B8DE8, 0x7DB0F5, 0x4A4F57, 0x9CA3AF};

void Use(const Colours& colours) {
    QApplication::setStyle(new PlainStyle);
    QPalette palette;
    palette.setColor(QPalette::Window, colours.window);
    palette.setColor(QPalette::Base, colours.base);
    palette.setColor(QPalette::AlternateBase, colours.alternate);
    palette.setColor(QPalette::Button, colours.button);
    palette.setColor(QPalette::ToolTipBase, colours.base);
    palette.setColor(QPalette::Highlight, colours.highlight);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, colours.link);
    palette.setColor(QPalette::Mid, colours.mid);
    // Edges, from the brightest to the darkest.
    palette.setColor(QPalette::Light, QColor(colours.window).lighter(kEdge));
    palette.setColor(QPalette::Midlight, QColor(colours.window).lighter(kEdge / 2 + 50));
    palette.setColor(QPalette::Dark, QColor(colours.window).darker(kEdge));
    palette.setColor(QPalette::PlaceholderText, colours.placeholder);
    for (const auto role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(role, colours.text);
        palette.setColor(QPalette::Disabled, role, colours.disabled);
    }
    QApplication::setPalette(palette);
}

}  // namespace

void UseLightLook() {
    Use(kLight);
}

void UseDarkLook() {
    Use(kDark);
}

bool IsDesktopDark() {
    const QPalette palette = QApplication::style()->standardPalette();
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

}  // namespace desktop
