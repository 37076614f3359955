#include "sharepoint/rest/object.h"

#include "base/failure.h"
#include "sharepoint/rest/protocol.h"

namespace SharePointRestAPI {

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
    m_is_current = m_web->UpdateInformation(path, &m_information, nullptr);
    TRACE_EXIT(u"");
    return m_information;
}

Http::Response Object::SendChange(const char16_t* verb, const std::u16string& address, std::u16string digest,
                                  const char16_t* headers, const std::string* body) {
    return m_web->SendChange(verb, address, digest, {headers, body});
}

std::u16string Object::RequireDigest(const char* trace_function) {
    std::u16string digest = m_web->GetDigest();
    if (!SharePoint::HasDigest(trace_function, digest)) throw Exception(u"Failed to get Request Digest");
    return digest;
}

}  // namespace SharePointRestAPI
