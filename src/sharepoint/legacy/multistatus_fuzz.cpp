// Any bytes as an XML answer, given to every function that reads XML.
#include <cstdint>
#include <cstdlib>

#include "sharepoint/legacy/propfind.h"
#include "sharepoint/legacy/protocol.h"
#include "sharepoint/reading.h"

namespace {

void ReadItem(const pugi::xml_node& response) {
    SharePoint::Information information;
    bool is_folder = false;
    if (!SharePoint2013::ParseWebDavPropfind(u"http://server", response, information, is_folder)) return;
    if (is_folder && (information.m_size != 0 || !information.m_checkout_user.empty())) abort();
    const bool has_properties = !information.m_name.empty() || information.m_created_time != 0;
    const bool is_bare = !response.child("D:propstat");
    if (has_properties && is_bare) abort();
    if (information.m_modified_by.find(u'|') != std::u16string::npos) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pugi::xml_document document;
    if (!document.load_buffer(data, size)) document.reset();
    for (const pugi::xml_node response : document.child("D:multistatus").children("D:response"))
        ReadItem(response);
    const bool ok = SharePoint2013::Utility::CheckWebDavMultistatus(document, u"a", u"MOVE");
    if (!ok && !document.child("D:multistatus").child("D:response")) abort();
    SharePoint2013::SoapErrorCode(document);
    SharePoint2013::ReadSoapBool(document.first_child());
    // The text for the log has a maximum length.
    if (XmlForLog(document).size() > 8192) abort();
    return 0;
}
