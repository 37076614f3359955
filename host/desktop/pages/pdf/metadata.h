// The title and author of a document, in both places where readers look for them. For one writer.
#pragma once

#include <QString>
#include <qpdf/QPDF.hh>

namespace pdf {

void SetTitle(QPDF& document, const QString& title);
void SetAuthor(QPDF& document, const QString& author);

}  // namespace pdf
