// The windows that plug-ins make: their events and their modal loop. What fills one, a browser's pane, shows
// it and resizes and closes it; on a terminal nothing else does. Main thread only.
#pragma once

#include <vector>

#include "host/base/main_thread.h"
#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

namespace host {

class Window;

// All windows that were made and not destroyed yet.
class Windows {
public:
    explicit Windows(MainThread& main_thread);
    ~Windows();
    Windows(const Windows&) = delete;
    Windows& operator=(const Windows&) = delete;

    // As IUIX_Inst::CreateObj.
    HRESULT Create(const TMK::UIX_CreateObjParams& parameters, ComPtr<TMK::IUIX_Obj>& out_window);
    // By a handle, which may be of a window that is gone.
    bool Has(HWND handle) const { return Find(handle) != nullptr; }
    void Resize(HWND handle, int width, int height) const;
    void Close(HWND handle) const;
    void DestroyAll();

private:
    friend class Window;
    Window* Find(HWND handle) const;

    MainThread& m_main_thread;
    std::vector<ComPtr<Window>> m_windows;
};

}  // namespace host
