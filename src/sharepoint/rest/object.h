// What a folder and a file of a web have in common: the item's record, its web, and the request of a change.
// Shared; one thread at a time.
#pragma once

#include <memory>
#include <string>

#include "sharepoint/object.h"
#include "sharepoint/rest/web.h"

namespace SharePointRestAPI {

class Object : public SharePoint::Object {
public:
    Object(SharePoint::Information information, std::shared_ptr<Web> web)
        : SharePoint::Object(std::move(information)), m_web(std::move(web)) {}

    bool CanEdit() override;
    std::shared_ptr<SharePoint::Web> GetWeb() override { return m_web; }
    const SharePoint::Information& UpdateInformation() override;

protected:
    // Sends a request that changes the site, with the digest on its header lines.
    Http::Response SendChange(const char16_t* verb, const std::u16string& address, std::u16string digest,
                              const char16_t* headers = u"", const std::string* body = nullptr);
    // The digest; Exception when there is none.
    std::u16string RequireDigest(const char* trace_function);

    std::shared_ptr<Web> m_web;
};

}  // namespace SharePointRestAPI
