// A folder of an older server's web. Shared; one thread at a time.
#pragma once

#include "sharepoint/legacy/object.h"

namespace SharePoint2013 {

class Folder final : public Object, public SharePoint::Folder, public std::enable_shared_from_this<Folder> {
public:
    using Object::Object;

    std::shared_ptr<SharePoint::Folder> AsFolder() override { return shared_from_this(); }
    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate(
        std::u16string* out_unread = nullptr) override {
        return m_web->Enumerate(m_information.m_path, true, nullptr, out_unread);
    }
};

}  // namespace SharePoint2013
