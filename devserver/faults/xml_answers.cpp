#include "faults/xml_answers.h"

#include <algorithm>
#include <cstdio>

#include "base/text.h"
#include "base/xml.h"

namespace devserver {
namespace {

constexpr const char* kXmlType = "text/xml; charset=utf-8";
constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
constexpr const char* kMultistatus =
    "<D:multistatus xmlns:D=\"DAV:\" xmlns:Office=\"urn:schemas-microsoft-com:office:office\" "
    "xmlns:Z=\"urn:schemas-microsoft-com:\">";

std::string AddressOf(const http::Request& request) {
    auto path = request.path;
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return request.base_url + EncodePath(path);
}

}  // namespace

http::Response NestedXml(const FaultAction& action, std::size_t depth) {
    std::string text = std::string(kDeclaration) + kMultistatus;
    text.reserve(text.size() + depth * 26);
    for (std::size_t i = 0; i < depth; ++i) text += "<D:response>";
    for (std::size_t i = 0; i < depth; ++i) text += "</D:response>";
    return http::MakeResponse(action.StatusOr(207), kXmlType, text + "</D:multistatus>");
}

http::Response ExpandingEntities(const FaultAction& action) {
    auto depth = std::clamp<std::int64_t>(action.amount ? action.amount : 30, 1, 100);
    std::string text = std::string(kDeclaration) + "<!DOCTYPE D:multistatus [<!ENTITY e0 \"expanding \">";
    for (std::int64_t i = 1; i <= depth; ++i) {
        auto below = "&e" + std::to_string(i - 1) + ";";
        text += "<!ENTITY e" + std::to_string(i) + " \"" + below + below + "\">";
    }
    text += std::string("]>") + kMultistatus + "<D:response><D:href>&e" + std::to_string(depth) +
            ";</D:href></D:response></D:multistatus>";
    return http::MakeResponse(action.StatusOr(207), kXmlType, text);
}

http::Response HugeMultistatus(const FaultAction& action, const http::Request& request) {
    http::Response response;
    response.status = action.StatusOr(207);
    response.headers.Set("Content-Type", kXmlType);
    auto count = std::clamp<std::int64_t>(action.amount, 1, 100'000'000);
    auto folder = xml::Escape(AddressOf(request));
    response.producer = [count, folder](BodySink& sink) {
        auto row = [&](const std::string& name, const std::string& more) {
            sink.Write(
                "<D:response><D:href>" + folder + (name.empty() ? "" : "/" + name) +
                "</D:href><D:propstat><D:prop><D:displayname>" + (name.empty() ? "folder" : name) +
                "</D:displayname>" + more +
                "<D:creationdate>2024-05-01T12:00:00Z</D:creationdate><D:getlastmodified>Wed, 01 May 2024 "
                "12:00:00 GMT</D:getlastmodified><Office:modifiedby>i:0#.f|membership|nobody"
                "</Office:modifiedby></D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat>"
                "</D:response>");
        };
        sink.Write(std::string(kDeclaration) + kMultistatus);
        row("", "<D:isFolder>t</D:isFolder>");
        for (std::int64_t i = 1; i <= count; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "row%09lld.pdf", static_cast<long long>(i));
            row(name, "<D:getcontentlength>1</D:getcontentlength>");
        }
        sink.Write("</D:multistatus>");
    };
    return response;
}

http::Response LockedAnswer(const FaultAction& action, const http::Request& request) {
    auto owner = xml::Escape(action.user.empty() ? "i:0#.f|membership|bob@contoso.example" : action.user);
    auto response = http::MakeResponse(
        423, kXmlType,
        std::string(kDeclaration) +
            "<D:prop xmlns:D=\"DAV:\"><D:lockdiscovery><D:activelock><D:locktype><D:write/>"
            "</D:locktype><D:lockscope><D:exclusive/></D:lockscope><D:depth>0</D:depth>"
            "<D:owner>" +
            owner + "</D:owner><D:timeout>Second-600</D:timeout></D:activelock></D:lockdiscovery></D:prop>");
    response.headers.Set("X-MSDAVEXT_Error",
                         "589838; " + PercentEncode("The file " + AddressOf(request) +
                                                        " is locked for editing by " + owner + ".",
                                                    "-_.~:/@|"));
    return response;
}

http::Response SoapFaultAnswer(const FaultAction& action) {
    std::string space = "http://schemas.microsoft.com/sharepoint/soap/";
    auto code = action.code.empty()
                    ? std::string()
                    : "<errorcode xmlns=\"" + space + "\">" + xml::Escape(action.code) + "</errorcode>";
    return http::MakeResponse(
        action.StatusOr(500), kXmlType,
        std::string(kDeclaration) +
            "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body><soap:Fault>"
            "<faultcode>soap:Server</faultcode><faultstring>Exception of type "
            "'Microsoft.SharePoint.SoapServer.SoapServerException' was thrown.</faultstring><detail>"
            "<errorstring xmlns=\"" +
            space + "\">" + xml::Escape(action.message.empty() ? "An injected error." : action.message) +
            "</errorstring>" + code + "</detail></soap:Fault></soap:Body></soap:Envelope>");
}

http::Response PartialFailureAnswer(const FaultAction& action, const http::Request& request) {
    return http::MakeResponse(207, kXmlType,
                              std::string(kDeclaration) + kMultistatus + "<D:response><D:href>" +
                                  xml::Escape(AddressOf(request)) + "</D:href><D:status>" +
                                  xml::Escape(action.text.value_or("HTTP/1.1 423 LOCKED")) +
                                  "</D:status></D:response></D:multistatus>");
}

}  // namespace devserver
