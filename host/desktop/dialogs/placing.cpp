#include "host/desktop/dialogs/placing.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "host/desktop/dialogs/edges.h"
#include "hostapi/iwindows.h"

namespace desktop {

using host::ControlKind;

namespace {

constexpr double kMostWidening = 2.5;
constexpr double kMostShrinking = 0.6;  // of a field's width in the template
constexpr LONG kLeastGap = 16;          // of a template
constexpr int kSlack = 2;               // texts are measured in whole pixels
constexpr int kLeastBarRoom = 30;       // of a template

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

bool HasTextOfItsOwn(ControlKind kind) {
    return kind == ControlKind::Button || kind == ControlKind::Check;
}

// A field, a list, or a label whose text is put later and cut where it is too long.
bool Shrinks(const host::ControlTemplate& shape) {
    switch (shape.kind) {
        case ControlKind::Combo:
        case ControlKind::Edit:
        case ControlKind::List:
        case ControlKind::Properties:
        case ControlKind::WaitProgress:
            return true;
        case ControlKind::Label:
            return shape.text.empty();
        default:
            return false;
    }
}

double WidthOf(const Measured& control, double scale, bool is_least) {
    const double asked = control.shape.place.width * scale;
    if (HasTextOfItsOwn(control.shape.kind)) {
        const double needed = std::min<double>(control.needed.width(), asked * kMostWidening);
        const double in_template = control.shape.kind == ControlKind::Button ? control.shape.place.width : 0;
        return std::max(is_least ? in_template : asked, needed);
    }
    if (!is_least) return asked;
    if (Shrinks(control.shape)) return std::min(asked, control.shape.place.width * kMostShrinking);
    if (control.shape.kind == ControlKind::Label)
        return std::min<double>(asked, control.needed.width() + kSlack);
    return control.shape.kind == ControlKind::Group ? 0 : asked;
}

bool AreInOneRow(const host::Place& a, const host::Place& b) {
    return a.y < b.bottom() && b.y < a.bottom();
}

// Where the left and right edges come to stand.
Edges EdgesOf(const host::DialogTemplate& dialog, const std::vector<Measured>& controls, double scale,
              bool is_least) {
    Edges edges(dialog.width / 2);
    const auto keep_gap = [&](LONG from, LONG to) {
        const LONG gap = is_least ? std::min(to - from, kLeastGap) : to - from;
        edges.Keep(from, to, gap * scale);
    };
    for (const Measured& control : controls) {
        const host::Place& place = control.shape.place;
        keep_gap(0, place.x);
        edges.Keep(place.x, place.right(), control.needed.isEmpty() ? 0 : WidthOf(control, scale, is_least));
        if (place.right() < dialog.width) keep_gap(place.right(), dialog.width);
        for (const Measured& other : controls) {
            const host::Place& beside = other.shape.place;
            if (control.needed.isEmpty() || other.needed.isEmpty() || !AreInOneRow(place, beside)) continue;
            if (place.right() <= beside.x) keep_gap(place.right(), beside.x);
            if (other.shape.kind != ControlKind::Group || &other == &control) continue;
            if (beside.x <= place.x) keep_gap(beside.x, place.x);
            if (place.right() <= beside.right()) keep_gap(place.right(), beside.right());
        }
    }
    if (!is_least) edges.Keep(0, dialog.width, dialog.width * scale);
    edges.Solve();
    return edges;
}

// Whether the control keeps its distance from the right edge of a window.
bool IsAtRight(const host::ControlTemplate& shape, LONG middle) {
    if (shape.place.x >= middle) return true;
    return !Widens(shape.kind) && shape.place.x + shape.place.right() > 2 * middle;
}

// A button that lies across the middle goes with the nearer side and keeps its width.
void MoveHorizontally(QRect& rect, const Measured& control, const Edges& edges, double scale, bool is_least) {
    const host::Place& place = control.shape.place;
    rect.setLeft(Round(edges.At(place.x)));
    rect.setRight(Round(edges.At(place.right())) - 1);
    if (Widens(control.shape.kind)) return;
    const int width = Round(WidthOf(control, scale, is_least));
    if (IsAtRight(control.shape, edges.middle())) {
        rect.setLeft(rect.right() + 1 - width);
    } else {
        rect.setWidth(width);
    }
}

// What the window can lose of its height: the growing control keeps half of its template's.
int ShrinkableHeight(const Placing& placing, const std::vector<Measured>& controls) {
    const QRect* const growing = Growing(placing.places, controls);
    if (!growing) return 0;
    const auto index = static_cast<std::size_t>(growing - placing.places.data());
    return std::max(0, growing->height() - controls[index].shape.place.height / 2);
}

// Heights change at the growing control alone.
void StretchHeights(std::vector<QRect>& places, const Placing& placing, const std::vector<Measured>& controls,
                    int more) {
    const QRect* const growing = Growing(placing.places, controls);
    if (!growing) return;
    for (std::size_t i = 0; i < places.size(); ++i) {
        const QRect& before = placing.places[i];
        if (before.top() > growing->bottom()) {
            places[i].translate(0, more);
        } else if (before.top() <= growing->top() && before.bottom() >= growing->bottom()) {
            places[i].setHeight(places[i].height() + more);
        }
    }
}

void PushDown(Placing& placing, const std::vector<Measured>& controls) {
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
}

int Between(int least, int most, double part) {
    return least + Round((most - least) * part);
}

}  // namespace

QRect Scale::Of(const host::Place& place) const {
    const QPoint corner(Round(place.x * x), Round(place.y * y));
    return {corner, QPoint(Round(place.right() * x) - 1, Round(place.bottom() * y) - 1)};
}

Scale ScaleFor(const std::vector<Measured>& controls, Scale font) {
    Scale scale = font;
    for (const Measured& control : controls) {
        const ControlKind kind = control.shape.kind;
        if (!IsMultiLine(control.shape) && kind != ControlKind::Group && kind != ControlKind::Picture &&
            kind != ControlKind::WaitProgress)
            scale.y = std::max(scale.y, double(control.needed.height()) / control.shape.place.height);
    }
    return scale;
}

std::vector<int> Widths(const host::DialogTemplate& dialog, const std::vector<Measured>& controls,
                        Scale scale) {
    const Edges edges = EdgesOf(dialog, controls, scale.x, false);
    std::vector<int> widths;
    for (const Measured& control : controls) {
        QRect rect;
        MoveHorizontally(rect, control, edges, scale.x, false);
        widths.push_back(rect.width());
    }
    return widths;
}

Placing Place(const host::DialogTemplate& dialog, const std::vector<Measured>& controls, Scale scale) {
    const Edges wide = EdgesOf(dialog, controls, scale.x, false);
    const Edges narrow = EdgesOf(dialog, controls, scale.x, true);
    Placing placing;
    placing.middle = dialog.width / 2;
    placing.size = QSize(Round(wide.At(dialog.width)), Round(dialog.height * scale.y));
    for (const Measured& control : controls) {
        placing.places.push_back(scale.Of(control.shape.place));
        MoveHorizontally(placing.places.back(), control, wide, scale.x, false);
    }
    if (const auto room = BarRoom(dialog)) {
        placing.bar = scale.Of(*room);
        const int left = placing.bar.left();
        placing.bar.setRight(placing.size.width() - left - 1);
    }
    PushDown(placing, controls);
    placing.least_places = placing.places;
    const int less = ShrinkableHeight(placing, controls);
    StretchHeights(placing.least_places, placing, controls, -less);
    for (std::size_t i = 0; i < controls.size(); ++i)
        MoveHorizontally(placing.least_places[i], controls[i], narrow, scale.x, true);
    placing.least_size = QSize(Round(narrow.At(dialog.width)), placing.size.height() - less);
    return placing;
}

std::vector<QRect> Stretch(const Placing& placing, const std::vector<Measured>& controls, QSize size) {
    std::vector<QRect> places = placing.places;
    const int dx = std::max(0, size.width() - placing.size.width());
    const int dy = std::max(placing.least_size.height(), size.height()) - placing.size.height();
    StretchHeights(places, placing, controls, dy);
    const int shrinkable = placing.size.width() - placing.least_size.width();
    const double part =
        shrinkable <= 0
            ? 1
            : std::clamp(double(size.width() - placing.least_size.width()) / shrinkable, 0.0, 1.0);
    for (std::size_t i = 0; i < places.size(); ++i) {
        const host::ControlTemplate& shape = controls[i].shape;
        const QRect& least = placing.least_places[i];
        const QRect& most = placing.places[i];
        const bool is_at_right = IsAtRight(shape, placing.middle);
        const int left = Between(least.left(), most.left(), part) + (is_at_right ? dx : 0);
        const bool follows_right =
            is_at_right || (shape.place.right() > placing.middle && Widens(shape.kind));
        const int right = Between(least.right(), most.right(), part) + (follows_right ? dx : 0);
        places[i].setLeft(left);
        places[i].setRight(right);
    }
    return places;
}

}  // namespace desktop
