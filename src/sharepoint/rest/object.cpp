// Common operations of folders and files. One thread at a time.
#include "sharepoint/rest/object.h"

#include "sharepoint/rest/protocol.h"

namespace SharePointRestAPI {

Object::Object(SharePoint::Information information, std::shared_ptr<Web> web) : m_web(std::move(web)) {
    m_information = std::move(information);
    m_root = m_information.m_path;
}

bool Object::CanEdit() {
    TRACE_ENTRY("SharePointRestAPI::Object::CanEdit");
    const bool can_edit = m_web->CanEdit(m_information.m_path);
    TRACE_EXIT(can_edit ? u"true" : u"false");
    return can_edit;
}

const SharePoint::Information& Object::UpdateInformation() {
    TRACE_ENTRY("SharePointRestAPI::Object::UpdateInformation");
    LOG_LINE(Log::verbose, u"updating information for '%s'", MaskForLog(m_information.m_path));
    const std::u16string path = m_information.m_path;
    m_web->UpdateInformation(path, &m_information, nullptr);
    TRACE_EXIT(u"");
    return m_information;
}

Http::Response Object::SendChange(const char16_t* verb, const std::u16string& address,
                                  const std::u16string& digest, const char16_t* headers,
                                  const std::string* body) {
    const std::u16string lines = headers + (u"X-RequestDigest:" + digest);
    return m_web->GetHttp().SendRequest(verb, address, kAcceptVerbose, lines.c_str(),
                                        body ? body->data() : nullptr,
                                        body ? static_cast<ptrdiff_t>(body->size()) : 0, false);
}

std::u16string Object::RequireDigest(const char* function) {
    static constexpr std::u16string_view kMessage = u"Failed to get Request Digest";
    const std::u16string digest = m_web->GetDigest();
    if (!digest.empty()) return digest;
    if (Log::IsOn(Log::error)) Log::Write(Log::error, function, kMessage);
    throw Exception(kMessage);
}

}  // namespace SharePointRestAPI
