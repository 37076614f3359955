// A folder of a web over REST. Shared; one thread at a time.
#pragma once

#include "sharepoint/rest/object.h"

namespace SharePointRestAPI {

class Folder final : public Object, public SharePoint::Folder, public std::enable_shared_from_this<Folder> {
public:
    using Object::Object;

    std::shared_ptr<SharePoint::Folder> AsFolder() override { return shared_from_this(); }
    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate(std::u16string* out_unread = nullptr) override;
    // The status of the answers isn't looked at; the caller asks for the item again.
    void Rename(const std::u16string& new_path) override;
    void Delete() override;
};

}  // namespace SharePointRestAPI
