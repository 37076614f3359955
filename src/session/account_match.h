// Whether a URL belongs to an account. Re-entrant.
#pragma once

#include <string>

#include "platform/base.h"

// `result`: 0 no match, 1 a match with no user in the input, 2 a match with the same user. Schemes, hosts
// and, unless `ignore_path`, paths count; ports don't. A URL that the platform refuses is its error as a
// result code.
HRESULT MatchAccountUrl(LPCWSTR input, const std::u16string& account_url, const std::u16string& user,
                        bool ignore_path, LONG& result);
