// The server's date format, and the user's. Re-entrant.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base.h"

// Reads "2013-05-01", optionally with "T" or a blank, a time of day, one to three digits of a fraction and a
// zone
// ("Z", "+02:00", "-0330"), into UTC. E_FAIL for anything else.
HRESULT ParseDateTimeIso8601(const std::u16string& text, SYSTEMTIME* out_time);

// "2013-05-01T10:20:30.500", without a zone mark; the fraction only when there are milliseconds.
std::u16string FormatDateTimeIso8601(const SYSTEMTIME& time, bool date_only);

// Local date and time in the user's default formats, joined by a blank; empty for 0 or on failure.
// `file_time` counts 100 ns since 1601, UTC.
std::u16string FormatLocalDateTime(uint64_t file_time);
