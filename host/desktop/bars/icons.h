// The editor's own icons, drawn as lines in the text colour of the palette, sharp at any size. Main thread.
#pragma once

#include <QIcon>
#include <QString>

namespace desktop {

// "save", "rotate-right" and so on; an empty icon for an unknown name.
QIcon LineIcon(const QString& name);
// What the host calls "ico.folder", or "file.pdf" for a kind of file; an empty icon for an unknown name.
QIcon NamedIcon(const QString& name);

}  // namespace desktop
