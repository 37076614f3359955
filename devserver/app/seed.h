// Fills a new site with documents.
// Owner: app/main; runs before the server listens.
#pragma once
#include "app/options.h"
#include "store/store.h"

namespace devserver {

// Does nothing when the data folder was seeded before.
void Seed(Store& store, const Options& options);

}  // namespace devserver
