// The base of a window with controls that is made from a template of this library: its controls by their
// names, and how it is shown. Main thread only.
#pragma once

#include "base/plugin_context.h"
#include "base/resources.h"
#include "base/ui_object.h"

namespace Ui {

inline constexpr LONGLONG kDialogOk = 1;
inline constexpr LONGLONG kDialogCancel = 2;

template <typename Class>
class TemplateDialog : public uiCoObjImplT<Class> {
protected:
    explicit TemplateDialog(PluginContext& plugin) : m_plugin(plugin) {}

    // S_OK when the window ended with another result than 0 and kDialogCancel, else E_CANCELED. A null parent
    // is the main window.
    HRESULT RunModal(const char* trace_function, LPCWSTR template_id, DWORD style, HWND parent) {
        const ResourceData templates = FindResourceData(IDR_DIALOGS_XML, u"XML");
        if (!parent) m_plugin.m_tmk_inst->get_MainWindow(&parent);
        TMK::UIX_CreateObjParams createUiObjectParameters{};
        createUiObjectParameters.pImpl = this;
        createUiObjectParameters.pTemplate = templates.data;
        createUiObjectParameters.nTemplateSize = templates.size;
        createUiObjectParameters.szTemplateId = template_id;
        createUiObjectParameters.nStyle = style;
        createUiObjectParameters.hParent = parent;
        CHECK_RESULT_TEXT(m_plugin.m_uix_inst->CreateObj(&createUiObjectParameters, nullptr),
                          u"m_plugin.m_uix_inst->CreateObj(&createUiObjectParameters, nullptr)");
        const ComPtr<TMK::IUIX_Obj> window = this->m_pObj;
        CHECK_RETURN_TEXT(window != nullptr, 1, u"m_pObj != nullptr");
        LONGLONG result = kDialogCancel;
        CHECK_RESULT_TEXT(window->DoModal(TMK::UIX_ObjModal_AppModal, &result),
                          u"m_pObj->DoModal(UIX_ObjModal_AppModal, &result)");
        CHECK_RESULT_TEXT(window->Destroy(), u"m_pObj->Destroy()");
        return result == 0 || result == kDialogCancel ? E_CANCELED : S_OK;
    }

    bool IsClick(const TMK::UIX_Event& event) const {
        return event.nCode == TMK::UIX_Event_Notify && event.nParam2 == TMK::UIX_Control_Clicked;
    }
    bool IsFrom(const TMK::UIX_Event& event, const char16_t* id) const { return event.nParam1 == AtomOf(id); }
    DWORD AtomOf(const char16_t* id) const {
        DWORD atom = 0;
        m_plugin.m_tmk_inst->Str2ID(id, VARIANT_TRUE, &atom);
        return atom;
    }
    // Null when the window has no such control.
    ComPtr<TMK::IUIX_Obj> GetControl(const char16_t* id) const {
        ComPtr<TMK::IUIX_Obj> control;
        if (this->m_pObj) this->m_pObj->GetControl(AtomOf(id), control.put());
        return control;
    }
    template <typename Interface>
    ComPtr<Interface> Get(const char16_t* id) const {
        const ComPtr<TMK::IUIX_Obj> control = GetControl(id);
        return control ? control.template as<Interface>() : ComPtr<Interface>();
    }

    PluginContext& m_plugin;
};

}  // namespace Ui
