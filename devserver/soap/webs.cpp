// The service Webs: the web of a page, and the title of a web.
// Owner: soap/; a request's thread alone.
#include "base/text.h"
#include "soap/soap_server.h"

namespace devserver::soap {
namespace {

std::string url_of(const Call& call, const Web& web) {
    return call.server_url + (web.path.empty() ? "" : "/" + encode_path(web.path));
}

std::string web_element(const Call& call, const Web& web) {
    return "<Web Title=\"" + xml::escape(web.title) + "\" Url=\"" + xml::escape(url_of(call, web)) +
           "\" Description=\"\" Language=\"1033\" Theme=\"\" FarmId=\"{" + web.guid + "}\" Id=\"{" +
           web.guid + "}\"/>";
}

}  // namespace

std::optional<http::Response> webs(const Call& call) {
    const auto& name = call.operation.name();
    if (name == "WebUrlFromPageUrl") {
        auto page = call.operation.parameter("pageUrl");
        if (!page || page->empty()) throw missing_parameter("pageUrl");
        auto path = path_of_page(call, *page);
        if (!path)
            throw SoapFault("The Web application at " + *page +
                                " could not be found. Verify that you have typed "
                                "the URL correctly.",
                            0x80070002);
        return answer(call.operation, xml::escape(url_of(call, call.store.web_of(*path))));
    }
    if (name == "GetWeb") {
        auto path = path_of_page(call, call.operation.parameter("webUrl").value_or(""));
        auto web = path ? call.store.web_at(*path) : std::optional<Web>(call.web);
        if (!web) throw SoapFault("There is no Web at this address.", 0x80070002);
        return answer(call.operation, web_element(call, *web));
    }
    if (name == "GetWebCollection" || name == "GetAllSubWebCollection")
        return answer(call.operation, "<Webs/>");
    return std::nullopt;
}

}  // namespace devserver::soap
