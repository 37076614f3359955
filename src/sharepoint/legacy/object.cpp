#include "sharepoint/legacy/object.h"

#include "base/failure.h"
#include "base/url.h"
#include "sharepoint/legacy/front_page.h"
#include "sharepoint/legacy/protocol.h"

namespace SharePoint2013 {

Object::Object(SharePoint::Information information, std::shared_ptr<Web> web)
    : SharePoint::Object(std::move(information)), m_web(std::move(web)) {}

std::u16string Object::Address() const {
    return UrlEncode(m_information.m_path);
}

const SharePoint::Information& Object::UpdateInformation() {
    TRACE_ENTRY("SharePoint2013::Object::UpdateInformation");
    LOG_LINE(Log::verbose, u"updating information for '%s'", MaskForLog(m_information.m_path));
    const std::u16string path = m_information.m_path;
    SharePoint::Information answer;
    m_web->Enumerate(path, false, &answer);
    // An answer without properties has no time, by which a newer version is detected; the old record stays.
    m_is_current = !answer.m_name.empty();
    if (m_is_current) m_information = std::move(answer);
    TRACE_EXIT(u"");
    return m_information;
}

void Object::Rename(const std::u16string& new_path) {
    TRACE_ENTRY("SharePoint2013::Object::Rename");
    LOG_LINE(Log::verbose, u"renaming '%s' to '%s'", MaskForLog(m_information.m_path), MaskForLog(new_path));
    m_web->SendMoveOrCopy(u"MOVE", m_information.m_path, new_path);
    TRACE_EXIT(u"");
}

void Object::Delete() {
    TRACE_ENTRY("SharePoint2013::Object::Delete");
    LOG_LINE(Log::verbose, u"deleting '%s'", MaskForLog(m_information.m_path));
    m_web->GetHttp().SendRequest(u"DELETE", Address(), kAcceptAny, nullptr, nullptr, 0,
                                 /*check_status=*/true);
    TRACE_EXIT(u"");
}

bool Object::CanEdit() {
    TRACE_ENTRY("SharePoint2013::Object::CanEdit");
    const bool can_edit =
        FrontPage::CanEdit(m_web->GetHttp(), m_web->GetInformation().m_path, m_information.m_path);
    TRACE_EXIT(can_edit ? u"true" : u"false");
    return can_edit;
}

}  // namespace SharePoint2013
