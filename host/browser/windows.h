// The windows that plug-ins make, implemented by the front end. Main thread only.
#pragma once

#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

namespace host {

class Windows {
public:
    virtual ~Windows() = default;
    // As IUIX_Inst::CreateObj.
    virtual HRESULT Create(const TMK::UIX_CreateObjParams& parameters, ComPtr<TMK::IUIX_Obj>& out_window) = 0;
    // The handle may be of a window that was destroyed.
    virtual bool Has(HWND handle) const = 0;
    // The browser's pane in the window was resized, or closed by the person.
    virtual void Resize(HWND handle, int width, int height) = 0;
    virtual void Close(HWND handle) = 0;
    virtual void DestroyAll() = 0;
};

}  // namespace host
