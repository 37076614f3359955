// What a folder and a file of an older server's web have in common. Shared; one thread at a time.
#pragma once

#include <memory>
#include <string>

#include "sharepoint/legacy/web.h"
#include "sharepoint/object.h"

namespace SharePoint2013 {

class Object : public SharePoint::Object {
public:
    Object(SharePoint::Information information, std::shared_ptr<Web> web);

    // These three throw HttpException when the server refuses.
    const SharePoint::Information& UpdateInformation() override;
    void Rename(const std::u16string& new_path) override;
    void Delete() override;

    bool CanEdit() override;
    std::shared_ptr<SharePoint::Web> GetWeb() override { return m_web; }

protected:
    // The address of the item, relative to the server.
    std::u16string Address() const;

    std::shared_ptr<Web> m_web;
};

}  // namespace SharePoint2013
