#include "dialogs/dialog_parameters.h"

#include "base/failure.h"
#include "base/resources.h"
#include "base/settings_access.h"

namespace Ui {
namespace {

constexpr const char16_t* kTemplate = u"OpenSaveDialogParametersCabTemplateV1";

// The interface of the object that an item holds; null for none.
template <typename Interface>
ComPtr<Interface> GetObject(TMK::ITMK_CabNode* dictionary, LPCWSTR id) {
    const Settings::Node item = Settings::GetChild(dictionary, id);
    Variant value;
    ComPtr<Interface> object;
    if (!item || FAILED(item->get_v(value.put())) || value.type() != VT_UNKNOWN || !value.punkVal)
        return object;
    if (FAILED(value.punkVal->QueryInterface(kIidOf<Interface>, object.PutVoid()))) object.reset();
    return object;
}

HRESULT GetCab(TMK::IAFS_DlgParams* parameters, ComPtr<TMK::ITMK_Cab>& cab) {
    TRACE_NAME("Ui::DialogParameters::GetCab");
    CHECK_RETURN(parameters != nullptr, E_INVALIDARG);
    CHECK_RESULT_TEXT(parameters->get_Settings(cab.put()), u"parameters->get_Settings(&cab)");
    CHECK_RETURN(cab != nullptr, E_FAIL);
    return S_OK;
}

}  // namespace

HRESULT DialogParameters::LoadFromCab(TMK::IAFS_DlgParams* i_parameters) {
    TRACE_ENTRY("Ui::DialogParameters::LoadFromCab");
    ComPtr<TMK::ITMK_Cab> cab;
    CHECK_RESULT(GetCab(i_parameters, cab));
    return LoadFromCab(cab.get());
}

HRESULT DialogParameters::LoadFromCab(TMK::ITMK_Cab* i_cab) {
    TRACE_ENTRY("Ui::DialogParameters::LoadFromCab");
    CHECK_RESULT_TEXT(ApplyCabTemplate(i_cab, IDR_OPEN_SAVE_DIALOG_PARAMETERS_CAB_XML, kTemplate),
                      u"ApplyCabTemplate(i_aux_instance, i_cab, "
                      u"MAKEINTRESOURCE(IDR_OPEN_SAVE_DIALOG_PARAMETERS_CAB_XML), "
                      u"L\"OpenSaveDialogParametersCabTemplateV1\")");
    const Settings::Node root = Settings::GetRoot(i_cab);
    m_flags = static_cast<DWORD>(Settings::GetInt(root.get(), u"Flags"));
    m_title = Settings::GetString(root.get(), u"Title");
    m_action_btn_title = Settings::GetString(root.get(), u"ActionBtnTitle");
    m_cancel_btn_title = Settings::GetString(root.get(), u"CancelBtnTitle");
    m_settings_btn_title = Settings::GetString(root.get(), u"SettingsBtnTitle");
    m_file_filters = Settings::GetString(root.get(), u"FileFilters");
    m_file_filter_index = Settings::GetInt(root.get(), u"FileFilterIndex");
    m_default_ext = Settings::GetString(root.get(), u"DefaultExt");
    m_initial_path_name = GetObject<TMK::IAFS_Name>(root.get(), u"InitialPathName");
    m_initial_file_name = Settings::GetString(root.get(), u"InitialFileName");
    m_settings_btn_callbacks = GetObject<TMK::IUIX_SettingsCallbacks>(root.get(), u"SettingsBtnCallbacks");
    TRACE_RETURN(S_OK);
}

HRESULT DialogParameters::SaveToCab(TMK::IAFS_DlgParams* o_parameters) const {
    TRACE_ENTRY("Ui::DialogParameters::SaveToCab");
    ComPtr<TMK::ITMK_Cab> cab;
    CHECK_RESULT(GetCab(o_parameters, cab));
    return SaveToCab(cab.get());
}

HRESULT DialogParameters::SaveToCab(TMK::ITMK_Cab* o_cab) const {
    TRACE_ENTRY("Ui::DialogParameters::SaveToCab");
    CHECK_RESULT(ApplyCabTemplate(o_cab, IDR_OPEN_SAVE_DIALOG_PARAMETERS_CAB_XML, kTemplate));
    Settings::SetInt(Settings::GetRoot(o_cab).get(), u"FileFilterIndex", m_file_filter_index);
    TRACE_RETURN(S_OK);
}

}  // namespace Ui
