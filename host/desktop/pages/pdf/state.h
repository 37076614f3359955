// A document after edits: which page of which source, turned how far. A value; any thread may read a copy.
#pragma once

#include <QList>
#include <QString>
#include <utility>

#include "host/desktop/pages/pdf/source.h"

namespace pdf {

struct Page {
    SourcePtr source;
    int index = 0;     // in the source
    int rotation = 0;  // clockwise, beyond what the source says: 0, 90, 180 or 270
    quint64 id = 0;    // stays with the page when it moves

    bool IsOnItsSide() const { return rotation % 180 != 0; }
    // In points, as it is shown.
    QSizeF Size() const {
        return IsOnItsSide() ? source->PageSize(index).transposed() : source->PageSize(index);
    }
    bool operator==(const Page&) const = default;
};

struct State {
    SourcePtr main;  // what the document was opened from; its outline, form and attachments stay
    QList<Page> pages;
    QString title;
    QString author;
    quint64 revision = 0;  // tells two states of a document apart; undo brings a revision back
};

}  // namespace pdf
