// What an older site answers when it is looked for: the address of its web over SOAP, and the web itself over
// WebDAV. Pure functions; any thread.
#pragma once

#include <string>

#include "tests/support/loopback/loopback_test_server.h"

namespace testing_support {

inline std::string WebUrlAnswer(const std::string& url) {
    return Answer(
        "200 OK",
        R"(<?xml version="1.0"?><soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>)"
        R"(<WebUrlFromPageUrlResponse xmlns="http://schemas.microsoft.com/sharepoint/soap/">)"
        "<WebUrlFromPageUrlResult>" +
            url + "</WebUrlFromPageUrlResult></WebUrlFromPageUrlResponse></soap:Body></soap:Envelope>",
        "Content-Type: text/xml; charset=utf-8\r\n");
}

inline std::string WebAnswer(const std::string& url) {
    return Answer("207 Multi-Status",
                  R"(<?xml version="1.0"?><D:multistatus xmlns:D="DAV:"><D:response><D:href>)" + url +
                      "</D:href><D:propstat><D:prop><D:displayname>team</D:displayname>"
                      "<D:isFolder>t</D:isFolder></D:prop><D:status>HTTP/1.1 200 OK</D:status>"
                      "</D:propstat></D:response></D:multistatus>",
                  "Content-Type: text/xml\r\n");
}

}  // namespace testing_support
