// The part of a window's interface that a window with nothing but a browser's pane has no use for.
#pragma once

#include "hostapi/iuix.h"

namespace host {

// `Base` implements TMK::IUIX_Obj but for these.
template <typename Base>
class WithoutControls : public Base {
public:
    HRESULT get_ID(DWORD* out_id) override { return None(out_id); }
    HRESULT GetControl(DWORD, TMK::IUIX_Obj** out_control) override { return None(out_control); }
    HRESULT get_Text(BSTR* out_text) override { return None(out_text); }
    HRESULT put_Text(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT get_Enabled(VARIANT_BOOL* out_enabled) override {
        if (!out_enabled) return E_POINTER;
        *out_enabled = VARIANT_TRUE;
        return S_OK;
    }
    HRESULT put_Enabled(VARIANT_BOOL) override { return E_NOTIMPL; }
    HRESULT Show(LONG) override { return E_NOTIMPL; }
    HRESULT SetFocus() override { return E_NOTIMPL; }

private:
    template <typename Value>
    static HRESULT None(Value* out_value) {
        if (!out_value) return E_POINTER;
        *out_value = {};
        return S_FALSE;
    }
};

}  // namespace host
