#include "auth/pages.h"

#include "base/text.h"

namespace devserver {

http::Response HtmlPage(const std::string& inner) {
    auto response =
        http::MakeResponse(200, "text/html; charset=utf-8",
                           "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Sign "
                           "in</title></head><body>" +
                               inner + "</body></html>");
    response.headers.Set("Cache-Control", "no-store");
    response.headers.Set("Content-Security-Policy", "default-src 'none'");
    return response;
}

http::Response SignInPage(const SignInForm& form) {
    return HtmlPage("<h1>" + HtmlEscape(form.title) + "</h1><p>" + HtmlEscape(form.note) +
                    "</p><form method=\"post\" action=\"" + HtmlEscape(form.action) +
                    "\"><p><label>Name <input name=\"username\" value=\"" + HtmlEscape(form.user) +
                    "\"></label></p><p><label>Password <input name=\"password\" "
                    "type=\"password\"></label></p>" +
                    form.extra_fields + "<p>" + form.buttons + "</p></form>");
}

}  // namespace devserver
