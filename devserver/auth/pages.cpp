#include "auth/pages.h"

#include "base/text.h"

namespace devserver {

http::Response html_page(const std::string& inner) {
    auto response =
        http::make_response(200, "text/html; charset=utf-8",
                            "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Sign "
                            "in</title></head><body>" +
                                inner + "</body></html>");
    response.headers.set("Cache-Control", "no-store");
    response.headers.set("Content-Security-Policy", "default-src 'none'");
    return response;
}

http::Response sign_in_page(const SignInForm& form) {
    return html_page("<h1>" + html_escape(form.title) + "</h1><p>" + html_escape(form.note) +
                     "</p><form method=\"post\" action=\"" + html_escape(form.action) +
                     "\"><p><label>Name <input name=\"username\" value=\"" + html_escape(form.user) +
                     "\"></label></p><p><label>Password <input name=\"password\" "
                     "type=\"password\"></label></p>" +
                     form.extra_fields + "<p>" + form.buttons + "</p></form>");
}

}  // namespace devserver
