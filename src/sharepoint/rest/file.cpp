#include "sharepoint/rest/file.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "base/text/encoding.h"
#include "base/url.h"
#include "sharepoint/reading.h"
#include "sharepoint/rest/protocol.h"

namespace SharePointRestAPI {

namespace {

constexpr uint32_t kServerError = 500;

// {"comment":"..."} in the encoding of the process's locale.
std::string CheckInBody(const std::u16string& comment) {
    const std::string bytes = ToLocaleBytes(comment);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    writer.Key("comment");
    writer.String(bytes.data(), static_cast<rapidjson::SizeType>(bytes.size()));
    writer.EndObject();
    return buffer.GetString();
}

// The error code of an answer, 0 when it has none.
uint32_t ReadErrorCode(const Http::Response& response) {
    if (response.GetStatus() != kServerError) return 0;
    Json::Document document;
    if (!SharePoint2010::Utility::ReadJson(document, response)) return 0;
    return ErrorCode(document.Root()).value_or(0);
}

}  // namespace

std::u16string File::Address(const std::u16string& suffix) const {
    return FileAddress(m_web->EncodedPath(), m_information.m_path) + u"')" + suffix;
}

SharePoint::FieldsSource File::GetFieldsSource() const {
    return {m_web->GetHttp(),    m_web->EncodedPath(), m_information.m_path, kAcceptVerbose,
            /*is_verbose=*/true, m_web->GetForms()};
}

File::CheckOutState File::GetCheckOutState(std::u16string*) {
    TRACE_ENTRY("SharePointRestAPI::File::GetCheckOutState");
    UpdateInformation();
    return SharePoint::FindCheckOutState(trace_function, m_information.m_checkout_user,
                                         [this] { return m_web->GetCurrentUser(); });
}

Http::Response File::Read() {
    TRACE_ENTRY("SharePointRestAPI::File::Read");
    LOG_LINE(Log::verbose, u"File::Read '%s'", MaskForLog(m_information.m_path));
    Http::Response response = m_web->GetHttp().SendRequest(
        u"GET", m_web->GetForms().Preferred(Address(u"/$value")), kAcceptAny, nullptr, nullptr, 0, false);
    TRACE_EXIT(response.GetStatus());
    return response;
}

void File::GetThumbnail(std::string& out_bytes) {
    TRACE_ENTRY("SharePointRestAPI::File::GetThumbnail");
    SharePoint::ReadPreview(m_web->GetHttp(), m_information.m_path, kAcceptVerbose, out_bytes);
    TRACE_EXIT(static_cast<uint64_t>(out_bytes.size()));
}

SharePoint::FieldsData File::LoadFields() {
    TRACE_ENTRY("SharePointRestAPI::File::LoadFields");
    return m_fields.Load(trace_function, GetFieldsSource());
}

// docs/compatibility.md: The status of a rename, copy or deletion is not looked at
void File::SendMoveOrCopy(const char* caller, const std::u16string& call) {
    TRACE_NAME("SharePointRestAPI::File::Rename");
    LOG_LINE(Log::verbose, u"File::Rename '%s'", MaskForLog(m_information.m_path));
    const std::u16string digest = RequireDigest(caller);
    const Http::Response response = SendChange(u"POST", Address(call), digest);
    LOG_LINE(Log::verbose, u"File::Rename result: %i", response.GetStatus());
}

void File::Rename(const std::u16string& new_path) {
    TRACE_ENTRY("SharePointRestAPI::File::Rename");
    SendMoveOrCopy(trace_function, u"/moveto('/" + UrlEncodeQuoted(new_path) + u"', flags=1)");
    TRACE_EXIT(u"");
}

void File::Copy(const std::u16string& new_path) {
    TRACE_ENTRY("SharePointRestAPI::File::Copy");
    SendMoveOrCopy(trace_function, u"/copyto('/" + UrlEncodeQuoted(new_path) + u"', boverwrite=true)");
    TRACE_EXIT(u"");
}

void File::Move(const std::u16string& new_path) {
    Rename(new_path);
}

void File::Delete() {
    TRACE_ENTRY("SharePointRestAPI::File::Delete");
    LOG_LINE(Log::verbose, u"File::Delete '%s'", MaskForLog(m_information.m_path));
    const std::u16string digest = RequireDigest(trace_function);
    const Http::Response response = SendChange(u"DELETE", Address(u""), digest);
    LOG_LINE(Log::verbose, u"File::Delete result: %i", response.GetStatus());
    TRACE_EXIT(u"");
}

bool File::CheckOut() {
    TRACE_ENTRY("SharePointRestAPI::File::CheckOut");
    LOG_LINE(Log::verbose, u"File::CheckOut '%s'", MaskForLog(m_information.m_path));
    const std::u16string digest = m_web->GetDigest();
    if (!SharePoint::HasDigest(trace_function, digest)) return false;
    const uint32_t status = SendChange(u"POST", Address(u"/CheckOut()"), digest).GetStatus();
    LOG_LINE(Log::verbose, u"File::CheckOut result: %i", status);
    TRACE_EXIT(u"");
    return status == 200 || status == 204;
}

File::DiscardResult File::DiscardCheckOut() {
    TRACE_ENTRY("SharePointRestAPI::File::DiscardCheckOut");
    LOG_LINE(Log::verbose, u"File::DiscardCheckOut '%s'", MaskForLog(m_information.m_path));
    const std::u16string digest = m_web->GetDigest();
    if (!SharePoint::HasDigest(trace_function, digest)) return dcrFail;
    const Http::Response response = SendChange(u"POST", Address(u"/undocheckout()"), digest);
    LOG_LINE(Log::verbose, u"File::DiscardCheckOut result: %i", response.GetStatus());
    const auto result = DiscardResultOf(response.GetStatus(), ReadErrorCode(response));
    if (!result) THROW_TRACED(Http::HttpException, response);
    TRACE_EXIT(static_cast<uint32_t>(*result));
    return *result;
}

File::CheckInResult File::CheckIn(const std::u16string& comment, uint32_t type) {
    TRACE_ENTRY("SharePointRestAPI::File::CheckIn");
    LOG_LINE(Log::verbose, u"File::CheckIn '%s'", MaskForLog(m_information.m_path));
    const std::u16string digest = m_web->GetDigest();
    if (!SharePoint::HasDigest(trace_function, digest)) return cirFail;
    const std::string body = CheckInBody(comment);
    const Http::Response response =
        SendChange(u"POST", Address(u"/CheckIn(checkintype=" + Widen(std::to_string(type)) + u")"), digest,
                   u"Content-type:application/json\n", &body);
    LOG_LINE(Log::verbose, u"File::CheckIn result: %i", response.GetStatus());
    const auto result = CheckInResultOf(response.GetStatus(), ReadErrorCode(response));
    if (!result) THROW_TRACED(Http::HttpException, response);
    TRACE_EXIT(static_cast<uint32_t>(*result));
    return *result;
}

Http::Request File::Write(uint64_t size) {
    TRACE_ENTRY("SharePointRestAPI::File::Write");
    LOG_LINE(Log::verbose, u"File::Write '%s'", MaskForLog(m_information.m_path));
    const std::u16string headers =
        u"Content-type:application/octet-stream\n" + DigestHeader(RequireDigest(trace_function));
    Http::Request request = m_web->GetHttp().CreateRequest(m_web->GetForms().Preferred(Address(u"/$value")),
                                                           kAcceptAny, size, headers.c_str());
    TRACE_EXIT(u"");
    return request;
}

bool File::SaveFields() {
    TRACE_ENTRY("SharePointRestAPI::File::SaveFields");
    return m_fields.Save(trace_function, GetFieldsSource(), [this](const std::u16string& refused) {
        if (!refused.empty()) m_web->DropDigest(refused);
        return m_web->GetDigest();
    });
}

}  // namespace SharePointRestAPI
