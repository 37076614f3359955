// The server's own words for the last internet error of this thread; http/ supplies them, since it alone sees
// the internet layer.
#pragma once

#include <string>

std::u16string GetServerErrorText();
