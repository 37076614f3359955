// Where plug-ins make their windows, whichever they are: the front end's. Main thread only.
#pragma once

#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

namespace host {

class Windows {
public:
    virtual ~Windows() = default;
    // As IUIX_Inst::CreateObj.
    virtual HRESULT Create(const TMK::UIX_CreateObjParams& parameters, ComPtr<TMK::IUIX_Obj>& out_window) = 0;
    // By a handle, which may be of a window that is gone.
    virtual bool Has(HWND handle) const = 0;
    // What the browser's pane in a window has become, or what the person did to it.
    virtual void Resize(HWND handle, int width, int height) = 0;
    virtual void Close(HWND handle) = 0;
    virtual void DestroyAll() = 0;
};

}  // namespace host
