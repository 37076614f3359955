// The editable columns of a document: the record that the dialogs share, and its way from the server and
// back, the same for both dialects but for the form of the JSON. Records are shared; one thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "http/session.h"
#include "platform/com.h"
#include "platform/com_ptr.h"
#include "sharepoint/address_forms.h"
#include "sharepoint/object.h"

// A date column's value, as an object that a VARIANT can hold.
struct IFieldDateTimeData : IUnknown {
    static constexpr IID kIid{0x26603AB5, 0xF609, 0x4ACD, {0xA8, 0x08, 0xC6, 0x21, 0x91, 0xD3, 0x09, 0x29}};
    virtual HRESULT get_DateTime(SYSTEMTIME* out_time) = 0;  // UTC; all 0 while there is none
    virtual HRESULT put_DateTime(const SYSTEMTIME& time) = 0;
    virtual HRESULT get_DisplayFormat(LONG* out_format) = 0;  // 0 for the date only, -1 when unknown
    virtual HRESULT put_DisplayFormat(LONG format) = 0;
};

namespace SharePoint {

// The server's numbers of field types, as far as they are supported.
enum FieldKind : uint32_t {
    field_text = 2,
    field_note,
    field_date_time,
    field_choice = 6,
    field_boolean = 8,
    field_number,
};
bool IsSupportedFieldKind(uint32_t kind);

class Field {
public:
    // The date object in the value; makes an empty one when there is none. E_UNEXPECTED for a field of
    // another kind.
    HRESULT GetDateTimeData(ComPtr<IFieldDateTimeData>& out_data);

    std::u16string m_name;  // internal name, the key of the value in every request
    // The name that the server wants instead; empty as long as it takes the internal one.
    std::u16string m_entity_name;
    std::u16string m_title;  // the label shown
    Variant m_value;         // empty when the document has none
    std::u16string m_default_value;
    std::u16string m_description;
    uint32_t m_kind = 0;
    bool m_required = false;
    std::vector<std::u16string> m_choices;
    int32_t m_max_length = -1;  // in characters, -1 when unknown
};

// The date in a field's value, year 0 for none, and whether it is shown without its time.
struct FieldDate {
    SYSTEMTIME time{};
    bool is_day = false;
};
FieldDate DateOf(Field& field);

// Where a document's columns are requested, and the form of the answers.
struct FieldsSource {
    Http::Session& http;
    std::u16string web;   // encoded path of the web
    std::u16string path;  // of the document, relative to the server root
    const char16_t* const* accept;
    bool is_verbose;  // the answer is the member "d"
    AddressForms& forms;
};

// The columns that a document has in memory, and the list item that they belong to on the server.
class DocumentFields {
public:
    // Fetches columns and values without keeping them; the first time, keeps the id of the list item.
    // HResultException E_NOTIMPL when no list item is behind the document, HttpException, Exception for an
    // answer of another shape.
    FieldsData Load(const char* trace_function, const FieldsSource& source);

    // Gives the digest, a new one in place of the one that was refused; empty when there is none.
    using DigestSource = std::function<std::u16string(const std::u16string& refused)>;
    // Writes the kept values, if there are any; false without a digest, which is asked for only then.
    // HttpException when the server refuses.
    bool Save(const char* trace_function, const FieldsSource& source, const DigestSource& get_digest) const;

    FieldsData m_fields_data;
    std::u16string m_list_item_id;  // decimal; empty until the columns were loaded
};

// The JSON text of a change of these columns, in UTF-8, under their internal names or those that the server
// wants instead. Values stand in it as they are, without escaping.
std::string SerializeFields(const std::vector<std::shared_ptr<Field>>& fields, bool by_entity_name = false);

}  // namespace SharePoint
