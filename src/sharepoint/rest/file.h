// A document of a web over REST: its bytes, its check-out workflow, its place. Shared; one thread at a time.
#pragma once

#include "sharepoint/fields.h"
#include "sharepoint/rest/object.h"

namespace SharePointRestAPI {

class File final : public Object, public SharePoint::File, public std::enable_shared_from_this<File> {
public:
    using Object::Object;

    std::shared_ptr<SharePoint::File> AsFile() override { return shared_from_this(); }

    CheckOutState GetCheckOutState(std::u16string* out_user) override;
    Http::Response Read() override;
    void GetThumbnail(std::string& out_bytes) override;
    SharePoint::FieldsData LoadFields() override;
    const SharePoint::FieldsData& GetFields() const override { return m_fields.m_fields_data; }
    void SetFields(SharePoint::FieldsData data) override { m_fields.m_fields_data = std::move(data); }

    // The status of the answers of these four isn't looked at; the caller asks for the item again.
    void Rename(const std::u16string& new_path) override;
    void Move(const std::u16string& new_path) override;
    void Copy(const std::u16string& new_path) override;
    void Delete() override;

    bool CheckOut() override;
    DiscardResult DiscardCheckOut() override;
    CheckInResult CheckIn(const std::u16string& comment, uint32_t type) override;
    bool SaveFields() override;
    Http::Request Write(uint64_t size) override;
    bool ForgetOldDigest() override { return m_web->ForgetOldDigest(); }

private:
    // The address of the file's resource, followed by `suffix`.
    std::u16string Address(const std::u16string& suffix) const;
    // `caller` is named in the log when there is no digest.
    void SendMoveOrCopy(const char* caller, const std::u16string& call);
    SharePoint::FieldsSource GetFieldsSource() const;

    SharePoint::DocumentFields m_fields;
};

}  // namespace SharePointRestAPI
