// Where the controls of a window stand: a template's places at the size of the font, and what they become
// when the window is made larger or smaller. Pure functions; any thread.
#pragma once

#include <QRect>
#include <QSize>
#include <vector>

#include "host/dialogs/dialog_template.h"

namespace desktop {

// One control, measured in pixels of the screen.
struct Measured {
    host::ControlTemplate shape;
    QSize needed;     // its text on one line, or the least that the kind needs; empty when it is hidden
    int wrapped = 0;  // the height of its text in lines as wide as its place, for texts that wrap
};

struct Scale {
    double x = 1;
    double y = 1;
    QRect Of(const host::Place& place) const;
};

// At least `font`, and in height so large that every control has room for a line of text.
Scale ScaleFor(const std::vector<Measured>& controls, Scale font);

struct Placing {
    std::vector<QRect> places;  // in the order of the controls
    QSize size;
    // The same in the smallest window: fields, lists and gaps shrink, and every text still has its room.
    std::vector<QRect> least_places;
    QSize least_size;
    QRect bar;        // room that the template leaves for the command bar; empty for none
    LONG middle = 0;  // of the template: what lies beyond goes with the right edge
};

// The places at the size that the template and the texts ask for. Texts that wrap push down what lies below
// them.
Placing Place(const host::DialogTemplate& dialog, const std::vector<Measured>& controls, Scale scale);
// How wide each control is at the size that the texts ask for, before texts wrap.
std::vector<int> Widths(const host::DialogTemplate& dialog, const std::vector<Measured>& controls,
                        Scale scale);

// The same for a larger or a smaller window: lists and fields stretch and shrink, what stands at the right
// and at the bottom keeps its distance.
std::vector<QRect> Stretch(const Placing& placing, const std::vector<Measured>& controls, QSize size);

}  // namespace desktop
