// A library column as JSON describes it, on the command line and in the admin call.
// Owner: content/; any thread.
#pragma once
#include <stdexcept>
#include <string>

#include "store/records.h"

namespace devserver {

// A description that can't be used; its text is one clear line.
struct ColumnSyntaxError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Column ParseColumn(const std::string& json);

}  // namespace devserver
