// The HTML pages on which people sign in.
// Owner: auth/; any thread.
#pragma once
#include <string>

#include "http/message.h"

namespace devserver {

// A whole page, which caches don't keep and which runs no script.
http::Response HtmlPage(const std::string& inner);

struct SignInForm {
    std::string title = "Sign in";
    std::string action;             // where the form is sent
    std::string note;               // a sentence above it; may be empty
    std::string user = {};          // the name that the field begins with
    std::string extra_fields = {};  // HTML between password and buttons
    std::string buttons = "<button>Sign in</button>";
};

// A form with the fields "username" and "password"; all texts but the HTML ones are escaped here.
http::Response SignInPage(const SignInForm& form);

}  // namespace devserver
