// The service Webs: the web of a page, and the title of a web.
// Owner: soap/; a request's thread alone.
#include "base/text.h"
#include "soap/soap_server.h"

namespace devserver::soap {
namespace {

std::string UrlOf(const Call& call, const Web& web) {
    return call.server_url + (web.path.empty() ? "" : "/" + EncodePath(web.path));
}

std::string WebElement(const Call& call, const Web& web) {
    return "<Web Title=\"" + xml::Escape(web.title) + "\" Url=\"" + xml::Escape(UrlOf(call, web)) +
           "\" Description=\"\" Language=\"1033\" Theme=\"\" FarmId=\"{" + web.guid + "}\" Id=\"{" +
           web.guid + "}\"/>";
}

}  // namespace

std::optional<http::Response> Webs(const Call& call) {
    const auto& name = call.operation.name();
    if (name == "WebUrlFromPageUrl") {
        auto page = call.operation.parameter("pageUrl");
        if (!page || page->empty()) throw MissingParameter("pageUrl");
        auto path = PathOfPage(call, *page);
        if (!path) {
            throw SoapFault("The Web application at " + *page +
                                " could not be found. Verify that you have typed "
                                "the URL correctly.",
                            0x80070002);
        }
        return Answer(call.operation, xml::Escape(UrlOf(call, call.store.WebOf(*path))));
    }
    if (name == "GetWeb") {
        auto path = PathOfPage(call, call.operation.parameter("webUrl").value_or(""));
        auto web = path ? call.store.WebAt(*path) : std::optional<Web>(call.web);
        if (!web) throw SoapFault("There is no Web at this address.", 0x80070002);
        return Answer(call.operation, WebElement(call, *web));
    }
    if (name == "GetWebCollection" || name == "GetAllSubWebCollection")
        return Answer(call.operation, "<Webs/>");
    return std::nullopt;
}

}  // namespace devserver::soap
