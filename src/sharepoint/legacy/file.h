// A document of an older server: its bytes over WebDAV, its check-out workflow over SOAP, its columns over
// REST. Shared; one thread at a time.
#pragma once

#include "sharepoint/fields.h"
#include "sharepoint/legacy/object.h"

namespace SharePoint2013 {

class File final : public Object, public SharePoint::File, public std::enable_shared_from_this<File> {
public:
    using Object::Object;

    std::shared_ptr<SharePoint::File> AsFile() override { return shared_from_this(); }

    // A refusal is an HttpException, here and below.
    Http::Response Read() override;
    Http::Request Write(uint64_t size) override;
    void Copy(const std::u16string& new_path) override;
    void Move(const std::u16string& new_path) override;

    CheckOutState GetCheckOutState(std::u16string* out_user) override;
    bool CheckOut() override;
    DiscardResult DiscardCheckOut() override;
    CheckInResult CheckIn(const std::u16string& comment, uint32_t type) override;

    SharePoint::FieldsData LoadFields() override;
    bool SaveFields() override;
    const SharePoint::FieldsData& GetFields() const override { return m_fields.m_fields_data; }
    void SetFields(SharePoint::FieldsData data) override { m_fields.m_fields_data = std::move(data); }
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
    SharePoint::FieldsSource GetFieldsSource() const;

    SharePoint::DocumentFields m_fields;
};

}  // namespace SharePoint2013
