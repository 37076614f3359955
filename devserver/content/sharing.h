// Sharing links: addresses that begin with ":b:" or the like, and the items behind them.
// Owner: content/; any thread.
#pragma once
#include <optional>
#include <string>

#include "store/store.h"

namespace devserver {

// The path of the link to an item, with a leading '/'.
std::string SharingPath(Store& store, const Item& item);
// The item behind a sharing link, or behind a plain absolute or server-relative address.
std::optional<Item> FindShared(Store& store, const std::string& server_url, const std::string& url);
bool IsSharingPath(std::string_view path);

}  // namespace devserver
