#include "host/desktop/dialogs/placing.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "hostapi/iwindows.h"

namespace desktop {

using host::ControlKind;

namespace {

constexpr double kMostWidening = 2.5;
constexpr int kLeastBarRoom = 30;  // of a template

int Round(double length) {
    return static_cast<int>(std::lround(length));
}

bool IsMultiLine(const host::ControlTemplate& shape) {
    return shape.kind == ControlKind::List || shape.kind == ControlKind::Properties ||
           (shape.kind == ControlKind::Edit && (shape.style & TMK::UIX_Edit_MultiLine));
}

// The empty strip of the template's upper half that is high enough for a bar.
std::optional<host::Place> BarRoom(const host::DialogTemplate& dialog) {
    LONG covered = 0;
    auto controls = dialog.controls;
    std::sort(controls.begin(), controls.end(),
              [](const auto& a, const auto& b) { return a.place.y < b.place.y; });
    for (const auto& control : controls) {
        if (control.place.y > dialog.height / 2) break;
        if (covered > 0 && control.place.y - covered >= kLeastBarRoom)
            return host::Place{control.place.x, covered, dialog.width - 2 * control.place.x,
                               control.place.y - covered};
        covered = std::max(covered, control.place.bottom());
    }
    return std::nullopt;
}

// The control that takes the height that a larger window has.
const QRect* Growing(const std::vector<QRect>& places, const std::vector<Measured>& controls) {
    const QRect* tallest = nullptr;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (IsMultiLine(controls[i].shape) && (!tallest || places[i].height() > tallest->height()))
            tallest = &places[i];
    }
    return tallest;
}

bool Widens(ControlKind kind) {
    return kind != ControlKind::Button && kind != ControlKind::Picture;
}

}  // namespace

QRect Scale::Of(const host::Place& place) const {
    const QPoint corner(Round(place.x * x), Round(place.y * y));
    return {corner, QPoint(Round(place.right() * x) - 1, Round(place.bottom() * y) - 1)};
}

Scale ScaleFor(const std::vector<Measured>& controls, Scale font) {
    Scale scale = font;
    for (const Measured& control : controls) {
        const host::Place& place = control.shape.place;
        const ControlKind kind = control.shape.kind;
        if (kind == ControlKind::Button || kind == ControlKind::Check)
            scale.x = std::max(scale.x, double(control.needed.width()) / place.width);
        if (!IsMultiLine(control.shape) && kind != ControlKind::Group && kind != ControlKind::Picture &&
            kind != ControlKind::WaitProgress)
            scale.y = std::max(scale.y, double(control.needed.height()) / place.height);
    }
    scale.x = std::min(scale.x, font.x * kMostWidening);
    return scale;
}

Placing Place(const host::DialogTemplate& dialog, const std::vector<Measured>& controls, Scale scale) {
    Placing placing;
    placing.size = QSize(Round(dialog.width * scale.x), Round(dialog.height * scale.y));
    for (const Measured& control : controls) placing.places.push_back(scale.Of(control.shape.place));
    if (const auto room = BarRoom(dialog)) placing.bar = scale.Of(*room);
    for (std::size_t i = 0; i < controls.size(); ++i) {
        const int more = controls[i].wrapped - placing.places[i].height();
        if (more <= 0) continue;
        const host::Place wrapped = controls[i].shape.place;
        placing.places[i].setHeight(controls[i].wrapped);
        for (std::size_t k = 0; k < controls.size(); ++k) {
            const host::Place& place = controls[k].shape.place;
            if (place.y >= wrapped.bottom()) {
                placing.places[k].translate(0, more);
            } else if (k != i && place.y <= wrapped.y && place.bottom() > wrapped.bottom() &&
                       controls[k].shape.kind == ControlKind::Group) {
                placing.places[k].setHeight(placing.places[k].height() + more);
            }
        }
        placing.size.rheight() += more;
    }
    return placing;
}

std::vector<QRect> Stretch(const Placing& placing, const std::vector<Measured>& controls, QSize size) {
    std::vector<QRect> places = placing.places;
    const int dx = std::max(0, size.width() - placing.size.width());
    const int dy = std::max(0, size.height() - placing.size.height());
    const int middle = placing.size.width() / 2;
    const QRect* const growing = Growing(placing.places, controls);
    for (std::size_t i = 0; i < places.size(); ++i) {
        QRect& place = places[i];
        const QRect& before = placing.places[i];
        if (before.left() >= middle) {
            place.translate(dx, 0);
        } else if (before.right() > middle && Widens(controls[i].shape.kind)) {
            place.setWidth(place.width() + dx);
        }
        if (growing && before.top() > growing->bottom()) {
            place.translate(0, dy);
        } else if (growing && before.top() <= growing->top() && before.bottom() >= growing->bottom()) {
            place.setHeight(place.height() + dy);
        }
    }
    return places;
}

}  // namespace desktop
