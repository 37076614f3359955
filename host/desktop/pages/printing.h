// Prints pages of a document. Any thread but the main one, which would wait for each page.
#pragma once

#include <QList>
#include <functional>
#include <memory>

#include "host/desktop/pages/pdf/renderer.h"
#include "host/desktop/pages/pdf/state.h"

class QPrinter;

namespace pages {

// Each page fills its sheet as far as its proportions allow, turned where that makes it larger. `progress`
// gets the number of pages done; false cancels. Returns false when cancelled. Throws a Failure.
bool Print(const pdf::State& state, const QList<int>& pages, QPrinter& printer, pdf::Renderer& renderer,
           const std::function<bool(int done)>& progress = {});

}  // namespace pages
