// A document of an older server: its bytes over WebDAV, its check-out workflow over SOAP. Shared; one thread
// at a time.
#pragma once

#include "sharepoint/fields.h"
#include "sharepoint/legacy/object.h"

namespace SharePoint2013 {

class File final : public Object, public SharePoint::File, public std::enable_shared_from_this<File> {
public:
    File(SharePoint::Information information, std::shared_ptr<SharePoint2013::Web> web)
        : Object(std::move(information), std::move(web)) {}

    std::shared_ptr<SharePoint::File> AsFile() override { return shared_from_this(); }
    std::shared_ptr<SharePoint::Folder> AsFolder() override { return nullptr; }
    // A refusal is an HttpException, here and below.
    void Copy(const std::u16string& new_path) override;
    void Move(const std::u16string& new_path) override;

    CheckOutState GetCheckOutState(std::u16string* out_user) override;
    bool CheckOut() override;
    DiscardResult DiscardCheckOut() override;
    CheckInResult CheckIn(const std::u16string& comment, uint32_t type) override;
    Http::Response Read() override;
    Http::Request Write(uint64_t size) override;
    SharePoint::FieldsData LoadFields() override;
    const SharePoint::FieldsData& GetFields() const override { return m_fields_data; }
    void SetFields(SharePoint::FieldsData data) override { m_fields_data = std::move(data); }
    bool SaveFields() override;
    void GetThumbnail(std::string& out_bytes) override;

private:
    // The element that tells the list service which document is meant.
    std::u16string PageElement() const;
    // Whether a call of the list service succeeded, or its fault's code.
    struct Outcome {
        bool done = false;
        uint32_t fault = 0;  // 0 when it was answered without one
    };
    // Calls a method of the list service. HttpException for a fault other than `known_fault`.
    Outcome CallLists(const char* trace_function, const std::u16string& method,
                      const std::u16string& parameters, uint32_t known_fault);

    SharePoint::FieldsSource Columns() const;

    SharePoint::FieldsData m_fields_data;
    std::u16string m_list_item_id;  // decimal; empty until the columns were loaded
};

}  // namespace SharePoint2013
