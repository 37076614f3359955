// Writes a document's state as a PDF file. Any thread; takes as long as the document is large.
#pragma once

#include <functional>

#include "host/desktop/pages/pdf/state.h"

namespace pdf {

struct WriteOptions {
    bool deterministic_id = false;  // the same bytes each time; an enciphered document keeps its own id
    // Called with a percentage now and then; false cancels.
    std::function<bool(int percent)> progress{};
};

// Writes beside the path and then takes the name over, so that the file there is the old one or the new
// one, whole. False when it was cancelled. Throws a Failure.
bool Write(const State& state, const QString& path, const WriteOptions& options = {});

}  // namespace pdf
