// Where the controls of a window stand: a template's places at the size of the font, and what they become
// when the window is made larger. Pure functions; any thread.
#pragma once

#include <QRect>
#include <QSize>
#include <vector>

#include "host/dialogs/dialog_template.h"

namespace desktop {

// One control, measured in pixels of the screen.
struct Measured {
    host::ControlTemplate shape;
    QSize needed;     // its text on one line, or the least that the kind needs
    int wrapped = 0;  // the height of its text in lines as wide as its place, for texts that wrap
};

struct Scale {
    double x = 1;
    double y = 1;
    QRect Of(const host::Place& place) const;
};

// At least `font`, and so large that every button and check box has room for its text, and every field for a
// line.
Scale ScaleFor(const std::vector<Measured>& controls, Scale font);

struct Placing {
    std::vector<QRect> places;  // in the order of the controls
    QSize size;
    QRect bar;  // room that the template leaves for the command bar; empty for none
};

// The places at the size that the template asks for. Texts that wrap push down what lies below them.
Placing Place(const host::DialogTemplate& dialog, const std::vector<Measured>& controls, Scale scale);

// The same for a larger window: lists and fields stretch, what stands at the right and at the bottom keeps
// its distance.
std::vector<QRect> Stretch(const Placing& placing, const std::vector<Measured>& controls, QSize size);

}  // namespace desktop
