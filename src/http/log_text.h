// What of an exchange may stand in the log: header lines and bodies without secrets and without real names.
// Re-entrant.
#pragma once

#include <string>
#include <string_view>

#include "http/exchange.h"

namespace Http {

// One header line: cookies, credentials and digests lose their value, URLs and names are masked.
std::u16string HeaderLineForLog(std::u16string_view line);

// Each line of a block of headers in that form, ended by "\n".
std::u16string HeadersForLog(std::u16string_view headers);

// The beginning of a body, masked; longer ones end in "...".
std::u16string BodyForLog(std::string_view body);

// Final URL, headers and body of an answer that is about to fail; draws its body.
std::u16string DumpResponse(Handle handle);

}  // namespace Http
