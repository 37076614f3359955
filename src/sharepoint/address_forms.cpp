#include "sharepoint/address_forms.h"

#include "base/text/encoding.h"
#include "sharepoint/reading.h"

namespace SharePoint {

namespace {

// Servers refuse longer paths of an address; the lowest limit known.
constexpr size_t kAlwaysTaken = 260;
// By so much the addresses of one item may differ in their functions.
constexpr size_t kMargin = 16;

void Replace(std::u16string& text, std::u16string_view from, std::u16string_view to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::u16string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

// docs/compatibility.md: Servers of 2013 know no paths
std::u16string ByUrl(std::u16string address) {
    Replace(address, u"ByServerRelativePath(decodedurl='", u"ByServerRelativeUrl('");
    Replace(address, u"/Files/AddUsingPath(decodedurl='", u"/Files/add(url='");
    Replace(address, u"/Folders/AddUsingPath(decodedurl='", u"/Folders/add('");
    return address;
}

// The quoted arguments of the path become aliases, which the query gives.
// docs/compatibility.md: A long path moves into the query
std::u16string ByAlias(const std::u16string& address) {
    const size_t query = address.find(u'?');
    std::u16string path = address.substr(0, query);
    std::u16string arguments;
    for (size_t first = 0, number = 1; (first = path.find(u'\'', first)) != std::u16string::npos; ++number) {
        const size_t last = path.find(u'\'', first + 1);
        if (last == std::u16string::npos) return address;
        const std::u16string alias = u"@a" + Widen(std::to_string(number));
        arguments += (arguments.empty() ? u"" : u"&") + alias + u"=" + path.substr(first, last + 1 - first);
        path.replace(first, last + 1 - first, alias);
    }
    if (arguments.empty()) return address;
    if (query == std::u16string::npos) return path + u"?" + arguments;
    return path + address.substr(query) + u"&" + arguments;
}

size_t LengthOfPath(const std::u16string& address) {
    return std::min(address.find(u'?'), address.size());
}

// Whether the answer says that the server has no such function.
bool IsUnknownFunction(uint32_t status, const Json::Value& answer) {
    if (status != 404) return false;
    const Json::Value* error = Json::ObjectMember(&answer, u"error");
    if (!error) error = Json::ObjectMember(&answer, u"odata.error");
    return Json::Text(Json::Member(error, u"code")).find(u"ResourceNotFoundException") !=
           std::u16string_view::npos;
}

}  // namespace

bool MayRefuseAddress(uint32_t status) {
    return status == 400 || status == 404 || status == 414;
}

std::u16string AddressForms::Preferred(const std::u16string& address) const {
    std::u16string form = m_knows_paths ? address : ByUrl(address);
    return LengthOfPath(form) >= m_refused_length ? ByAlias(form) : form;
}

std::optional<std::u16string> AddressForms::AfterRefusal(const std::u16string& asked, uint32_t status,
                                                         const Json::Value& answer) {
    TRACE_NAME("SharePoint::AddressForms::AfterRefusal");
    if (!MayRefuseAddress(status)) return std::nullopt;
    std::u16string other = asked;
    const size_t length = LengthOfPath(asked);
    if (IsUnknownFunction(status, answer)) {
        other = ByUrl(asked);
        if (other != asked) m_knows_paths = false;
    } else if (!answer.IsObject() && length > kAlwaysTaken) {
        other = ByAlias(asked);
        if (other != asked && length - kMargin < m_refused_length) m_refused_length = length - kMargin;
    }
    if (other == asked) return std::nullopt;
    LOG_LINE(Log::warning, u"The server refused the form of an address (HTTP %u), asking again as '%s'",
             status, MaskForLog(other));
    return other;
}

Http::Response AskForJson(Http::Session& http, AddressForms& forms, const std::u16string& address,
                          const char16_t* const* accept, const char16_t* headers, bool check_status,
                          Json::Document& out_answer) {
    TRACE_NAME("SharePoint::AskForJson");
    std::optional<std::u16string> asked = forms.Preferred(address);
    for (;;) {
        const Http::Response response =
            http.SendRequest(u"GET", *asked, accept, headers, nullptr, 0, /*check_status=*/false);
        const uint32_t status = response.GetStatus();
        SharePoint2010::Utility::ReadJson(out_answer, response);
        asked = forms.AfterRefusal(*asked, status, out_answer.Root());
        if (asked) continue;
        if (check_status) CHECK_THROW(200 <= status && status < 400, Http::HttpException, response);
        return response;
    }
}

}  // namespace SharePoint
