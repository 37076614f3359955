#include "browse/open_save_dialog.h"

#include "afs/file_system.h"
#include "base/failure.h"
#include "base/main_thread.h"
#include "browse/dialog.h"

namespace Ui {

OpenSaveDialog::OpenSaveDialog(TMK::ITMK_Inst* tmk_instance) : m_tmk_instance(tmk_instance) {
    TRACE_NAME("Ui::OpenSaveDialog::OpenSaveDialog");
    CHECK_THROW(tmk_instance != nullptr, HResultException, E_INVALIDARG);
    CHECK_RESULT_THROW_TEXT(tmk_instance->GetExtension(u"UIX", reinterpret_cast<IUnknown**>(m_ui.put())),
                            u"tmk_instance->GetExtension(L\"UIX\", (IUnknown**)&ui)");
}

HRESULT OpenSaveDialog::ShowOpenSinglePlace(TMK::IAFS_NamesCollection** o_names,
                                            DialogParameters& io_parameters, TMK::IAFS_Name* i_default_folder,
                                            HWND i_parent_window, const Preferences& i_preferences) {
    return ShowDialog({true, io_parameters, i_default_folder, i_parent_window, i_preferences}, o_names);
}

HRESULT OpenSaveDialog::ShowSaveSinglePlace(TMK::IAFS_NamesCollection** o_names,
                                            DialogParameters& io_parameters, TMK::IAFS_Name* i_default_folder,
                                            HWND i_parent_window, const Preferences& i_preferences) {
    return ShowDialog({false, io_parameters, i_default_folder, i_parent_window, i_preferences}, o_names);
}

HRESULT OpenSaveDialog::ShowDialog(const Request& request, TMK::IAFS_NamesCollection** o_names) {
    TRACE_ENTRY("Ui::OpenSaveDialog::ShowDialog");
    CHECK_RETURN(o_names != nullptr, E_INVALIDARG);
    *o_names = nullptr;
    const HRESULT call_result =
        CallOnMainThread(m_tmk_instance.get(), [this, &request, o_names] { return Run(request, o_names); });
    CHECK_RESULT_TEXT(call_result, u"call_result");
    TRACE_RETURN(S_OK);
}

HRESULT OpenSaveDialog::Run(const Request& request, TMK::IAFS_NamesCollection** o_names) {
    TRACE_NAME("Ui::OpenSaveDialog::ShowDialog");
    try {
        ComPtr<TMK::IAFS_FileSys> file_system;
        CHECK_RETURN(request.default_folder != nullptr, E_INVALIDARG);
        CHECK_RESULT_TEXT(request.default_folder->get_FileSys(file_system.put()),
                          u"i_default_folder->get_FileSys(&file_system)");
        const auto dialog = MakeObject<Dialog>(
            m_tmk_instance.get(), static_cast<FileSystem*>(file_system.get()), request.parameters,
            Dialog::Wishes{ComPtr<TMK::IAFS_Name>(request.default_folder), request.preferences});
        CHECK_RETURN(dialog != nullptr, E_OUTOFMEMORY);
        const HRESULT result = dialog->DoModal(request.open, request.parent_window);
        CHECK_RESULT_TEXT(result, u"result");
        CHECK_RETURN_TEXT(result == S_OK, E_FAIL, u"result == S_OK");
        *o_names = dialog->m_files_to_open.detach();
        return S_OK;
    }
    HOST_BOUNDARY(nullptr)
}

}  // namespace Ui
