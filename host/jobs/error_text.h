// A sentence for a result code that has no message. Any thread.
#pragma once

#include <string>
#include <string_view>

#include "platform/base.h"

namespace host {

std::string FriendlyText(HRESULT code);

// A plug-in's message in the words that people read: "HTTP 503: Service Unavailable" says what it means.
std::string WordsFor(HRESULT code, const std::string& message);

// A login name without its claims prefix: "i:0#.f|membership|alice@host" is "alice@host".
std::string PersonOf(std::string_view login);

// Which rule of servers a new name breaks; empty for none.
std::string BrokenNameRule(std::string_view name);

}  // namespace host
