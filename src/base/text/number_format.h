// Numbers as the user's locale writes them. Any thread.
#pragma once

#include <string>
#include <string_view>

// `number` is written in ASCII ("-1234.5"); it is rounded to so many decimals and grouped.
std::u16string FormatNumber(std::string_view number, unsigned decimals = 0);
