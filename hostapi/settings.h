// The host's settings trees: typed items shaped by a CabTemplate document.
// A tree is stored by the host; nodes are live views of it. Main thread, unless a contract says otherwise.
#pragma once

#include "hostapi/common.h"

namespace TMK {

enum class CabType : int32_t { Unset, Bool, Int, Int64, String, Dictionary, Array, Object };  // 0 to 7

// One item of a tree. A dictionary has named children (those of its template), an array has numbered ones.
struct ITMK_CabNode : IUnknown {
    static constexpr IID kIid{0x8B8F5A61, 0x93D2, 0x4F7B, {0x8F, 0x16, 0xC4, 0x02, 0x7B, 0xE5, 0x3A, 0x74}};
    virtual HRESULT get_Type(CabType* out_type) = 0;
    // Dictionary child by id, ignoring no case; *out_item is null and the result S_FALSE when there is none.
    virtual HRESULT get_Item(LPCWSTR id, ITMK_CabNode** out_item) = 0;
    virtual HRESULT get_Count(UINT* out_count) = 0;
    virtual HRESULT get_ItemAt(UINT index, ITMK_CabNode** out_item) = 0;  // E_INVALIDARG outside the array
    // Appends an element of the array's template (a dictionary with its defaults, or an unset value).
    virtual HRESULT Append(ITMK_CabNode** out_item) = 0;
    virtual HRESULT RemoveAt(UINT index) = 0;
    // VT_EMPTY for an unset item without a default, VT_BOOL, VT_I4, VT_I8, VT_BSTR or VT_UNKNOWN by type
    // ("IUnknown" in a template; such an item lives in memory alone).
    virtual HRESULT get_v(VARIANT* out_value) = 0;
    // Converts to the item's type; an unset item takes the type of the value. DISP_E_TYPEMISMATCH otherwise.
    virtual HRESULT put_v(const VARIANT& value) = 0;
    virtual HRESULT get_String(BSTR* out_value) = 0;  // an empty string unless the item is a string
};

// A settings tree.
struct ITMK_Cab : IUnknown {
    static constexpr IID kIid{0x1E60A3F4, 0x7C19, 0x45E8, {0x9B, 0x6D, 0x3E, 0x88, 0x10, 0xAF, 0x42, 0x85}};
    // Gives the tree the shape of a CabTemplate document (UTF-8 XML); what is stored and still fits is kept.
    // `name` is the id of the root item in the template's Root element. E_INVALIDARG for a malformed one.
    virtual HRESULT SetTemplate2(const void* data, LONG size, LPCWSTR name) = 0;
    virtual HRESULT get_Root(ITMK_CabNode** out_root) = 0;
};

}  // namespace TMK
