#include "sharepoint/legacy/file.h"

#include "base/text/encoding.h"
#include "base/url.h"
#include "sharepoint/legacy/protocol.h"
#include "sharepoint/reading.h"

namespace SharePoint2013 {

namespace {

constexpr uint32_t kServerError = 500;
constexpr char16_t kNotToLocal[] = u"<checkoutToLocal>false</checkoutToLocal>";

// The code of an answer's fault, 0 when it has none or can't be read.
uint32_t ReadFault(const Http::Response& response) {
    if (response.GetStatus() != kServerError) return 0;
    try {
        pugi::xml_document document;
        SharePoint2010::Utility::ReadResponseXml(document, response);
        return SoapErrorCode(document).value_or(0);
    } catch (...) {
        return 0;
    }
}

}  // namespace

std::u16string File::PageElement() const {
    return u"<pageUrl>" + m_web->GetHttp().GetUri() + u"/" + Address() + u"</pageUrl>";
}

Http::Response File::Read() {
    TRACE_ENTRY("SharePoint2013::File::Read");
    Http::Response response =
        m_web->GetHttp().SendRequest(u"GET", Address(), kAcceptBytes, nullptr, nullptr, 0,
                                     /*check_status=*/true);
    TRACE_EXIT(response.GetStatus());
    return response;
}

Http::Request File::Write(uint64_t size) {
    TRACE_ENTRY("SharePoint2013::File::Write");
    Http::Request request = m_web->GetHttp().CreateRequest(Address(), kAcceptAny, size,
                                                           u"Content-type:application/octet-stream\n");
    TRACE_EXIT(u"");
    return request;
}

void File::Copy(const std::u16string& new_path) {
    TRACE_ENTRY("SharePoint2013::File::Copy");
    m_web->SendMoveOrCopy(u"COPY", m_information.m_path, new_path);
    TRACE_EXIT(u"");
}

void File::Move(const std::u16string& new_path) {
    TRACE_ENTRY("SharePoint2013::File::Move");
    m_web->SendMoveOrCopy(u"MOVE", m_information.m_path, new_path);
    TRACE_EXIT(u"");
}

File::CheckOutState File::GetCheckOutState(std::u16string* out_user) {
    TRACE_ENTRY("SharePoint2013::File::GetCheckOutState");
    UpdateInformation();
    const std::u16string& holder = m_information.m_checkout_user;
    return SharePoint::FindCheckOutState(trace_function, holder, [&] {
        if (out_user) *out_user = m_web->GetUserDisplayName(holder);
        return m_web->GetCurrentUser();
    });
}

bool File::CheckOut() {
    TRACE_ENTRY("SharePoint2013::File::CheckOut");
    pugi::xml_document document;
    const bool done = ReadSoapBool(
        SharePoint2010::Utility::CallSoap(document, m_web->GetHttp(), m_web->EncodedPath(), u"Lists",
                                          u"CheckOutFile", PageElement() + kNotToLocal, u""));
    TRACE_RETURN(done);
}

File::Outcome File::CallLists(const char* trace_function, const std::u16string& method,
                              const std::u16string& parameters, uint32_t known_fault) {
    const Http::Response response = SharePoint2010::Utility::SendSoapRequest(
        m_web->GetHttp(), m_web->EncodedPath(), u"Lists", method, parameters, u"", /*check_status=*/false);
    const uint32_t status = response.GetStatus();
    if (status >= 200 && status < 400) {
        pugi::xml_document document;
        SharePoint2010::Utility::ReadResponseXml(document, response);
        const std::string name = ToUtf8(method);
        const std::string path = "/soap:Envelope/soap:Body/" + name + "Response/" + name + "Result";
        return {ReadSoapBool(document.select_node(path.c_str()).node()), 0};
    }
    if (const uint32_t fault = ReadFault(response); fault == known_fault) return {false, fault};
    THROW_TRACED(Http::HttpException, response);
}

// The server ignores the surplus element.
File::DiscardResult File::DiscardCheckOut() {
    TRACE_ENTRY("SharePoint2013::File::DiscardCheckOut");
    const Outcome outcome =
        CallLists(trace_function, u"UndoCheckOut", PageElement() + kNotToLocal, kNoCheckedInVersion);
    if (outcome.fault == kNoCheckedInVersion) TRACE_RETURN(dcrNoCheckedInVersion);
    TRACE_RETURN(outcome.done ? dcrOk : dcrFail);
}

// The comment is sent without escaping; the server decides about one with markup.
// docs/compatibility.md: A check-in comment is sent unescaped to older servers
File::CheckInResult File::CheckIn(const std::u16string& comment, uint32_t type) {
    TRACE_ENTRY("SharePoint2013::File::CheckIn");
    const Outcome outcome = CallLists(trace_function, u"CheckInFile",
                                      PageElement() + u"<comment>" + comment + u"</comment><CheckinType>" +
                                          Widen(std::to_string(type)) + u"</CheckinType>",
                                      kRequiredPropertiesMissing);
    if (outcome.fault == kRequiredPropertiesMissing) TRACE_RETURN(cirRequiredProperties);
    TRACE_RETURN(outcome.done ? cirOk : cirFail);
}

SharePoint::FieldsSource File::GetFieldsSource() const {
    return {m_web->GetHttp(),     m_web->EncodedPath(), m_information.m_path, kAcceptNoMetadata,
            /*is_verbose=*/false, m_web->GetForms()};
}

SharePoint::FieldsData File::LoadFields() {
    TRACE_ENTRY("SharePoint2013::File::LoadFields");
    return m_fields.Load(trace_function, GetFieldsSource());
}

bool File::SaveFields() {
    TRACE_ENTRY("SharePoint2013::File::SaveFields");
    return m_fields.Save(trace_function, GetFieldsSource(), [this](const std::u16string& refused) {
        if (!refused.empty()) m_web->DropDigest(refused);
        return m_web->GetDigest2013();
    });
}

void File::GetThumbnail(std::string& out_bytes) {
    TRACE_ENTRY("SharePoint2013::File::GetThumbnail");
    SharePoint::ReadPreview(m_web->GetHttp(), m_information.m_path, kAcceptNoMetadata, out_bytes);
    TRACE_EXIT(static_cast<uint64_t>(out_bytes.size()));
}

}  // namespace SharePoint2013
