// Two calls of the FrontPage Server Extensions' remote procedures ([MS-FPSE]): the right to edit, and the
// current user. Nothing is thrown; after a failure there is no right and no user. No state.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "http/session.h"

namespace FrontPage {

// Whether the server lets the user edit an object of the web; false also on failure. Paths are relative to
// the server root.
bool CanEdit(Http::Session& http, const std::u16string& web_path, const std::u16string& object_path);

// The user's login, empty on failure.
std::u16string GetCurrentUser(Http::Session& http, const std::u16string& web_path);

// Whether an answer says that the user can't edit; and the login in an answer, nothing without such a field.
bool ForbidsEditing(std::u16string_view answer);
std::optional<std::u16string> ReadUserName(std::u16string_view answer);

}  // namespace FrontPage
