#include "sharepoint/change.h"

#include "sharepoint/reading.h"

namespace SharePoint {

namespace {

constexpr uint32_t kForbidden = 403;
constexpr uint32_t kDigestRefused = 0x8102006D;  // -2130575251

bool IsDigestRefused(uint32_t status, const Json::Value& answer) {
    if (status != kForbidden) return false;
    const Json::Value* error = Json::ObjectMember(&answer, u"error");
    if (!error) error = Json::ObjectMember(&answer, u"odata.error");
    return Json::Code(Json::Member(error, u"code")) == kDigestRefused;
}

}  // namespace

Http::Response SendChange(AddressForms& forms, const std::u16string& address,
                          const std::function<Http::Response(const std::u16string& address)>& send,
                          const std::function<bool()>& renew) {
    TRACE_NAME("SharePoint::SendChange");
    bool is_renewed = false;
    std::u16string asked = forms.Preferred(address);
    for (;;) {
        Http::Response response = send(asked);
        const uint32_t status = response.GetStatus();
        if (!MayRefuseAddress(status) && status != kForbidden) return response;
        Json::Document answer;
        SharePoint2010::Utility::ReadJson(answer, response);
        if (const auto other = forms.AfterRefusal(asked, status, answer.Root())) {
            asked = *other;
            continue;
        }
        if (is_renewed || !IsDigestRefused(status, answer.Root())) return response;
        LOG_LINE(Log::warning, u"The server refused the request digest, sending the change once more");
        is_renewed = true;
        if (!renew()) return response;
    }
}

}  // namespace SharePoint
