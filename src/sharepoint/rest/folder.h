// A folder of a web over REST. Shared; one thread at a time.
#pragma once

#include "sharepoint/rest/object.h"

namespace SharePointRestAPI {

class Folder final : public Object, public SharePoint::Folder, public std::enable_shared_from_this<Folder> {
public:
    Folder(SharePoint::Information information, std::shared_ptr<SharePointRestAPI::Web> web)
        : Object(std::move(information), std::move(web)) {}

    std::shared_ptr<SharePoint::File> AsFile() override { return nullptr; }
    std::shared_ptr<SharePoint::Folder> AsFolder() override { return shared_from_this(); }
    // The status of the answers isn't looked at; the caller asks for the item again.
    void Rename(const std::u16string& new_path) override;
    void Delete() override;
    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate() override;
};

}  // namespace SharePointRestAPI
