// The base of a window's own half: takes the window over from the host and hands its events on.
// Main thread only.
#pragma once

#include "base/failure.h"
#include "base/scaffolding.h"
#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

// `Class` hides HandleEvent; what that throws becomes the result that the host sees.
template <typename Class>
class uiCoObjImplT : public cCoClassUnknownT<Class, TMK::IUIX_ObjImpl> {
public:
    HRESULT put_Obj(TMK::IUIX_Obj* object) override {
        m_pObj = ComPtr<TMK::IUIX_Obj>(object);
        return S_OK;
    }
    HRESULT OnEvent(TMK::UIX_Event* event) override {
        TRACE_NAME("uiCoObjImplT::OnEvent");
        try {
            CHECK_RETURN(event != nullptr, E_POINTER);
            return static_cast<Class*>(this)->HandleEvent(*event);
        }
        HOST_BOUNDARY(nullptr)
    }
    HRESULT HandleEvent(TMK::UIX_Event&) { return S_OK; }

protected:
    HWND GetFirstHWND() const {
        HWND window = nullptr;
        if (m_pObj) m_pObj->GetFirstHWND(&window);
        return window;
    }
    RECT GetClientRect() const {
        RECT rectangle{};
        if (m_pObj) m_pObj->GetClientRect(&rectangle);
        return rectangle;
    }
    void EndModal(LONGLONG result) {
        const ComPtr<TMK::IUIX_Obj> window = m_pObj;
        if (window) window->EndModal(result);
    }

    ComPtr<TMK::IUIX_Obj> m_pObj;
};
