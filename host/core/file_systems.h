// The extension "AFS": the file systems that plug-ins register, and their files caches. Any thread.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "host/base/object.h"
#include "hostapi/iafs.h"
#include "platform/com_ptr.h"

namespace host {

class FileSystems final : public Object<TMK::IAFS_Inst> {
public:
    using MakeCache = std::function<ComPtr<TMK::IAFS_FilesCache>()>;
    explicit FileSystems(MakeCache make_cache) : m_make_cache(std::move(make_cache)) {}

    // The one that was registered first. Throws a Failure when there is none.
    ComPtr<TMK::IAFS_FileSys> First() const;
    void Clear();

    HRESULT RegisterFileSys(TMK::IAFS_FileSys* file_system) override;
    HRESULT UnregisterFileSys(TMK::IAFS_FileSys* file_system) override;
    HRESULT CreateFileCachesMap(TMK::IAFS_FileSys* file_system, TMK::IAFS_FilesCache** out_cache) override;
    HRESULT CreateDlgDefaultParams(DWORD dialog_type, TMK::IAFS_DlgParams** out_parameters) override;
    HRESULT ShowDlg(DWORD dialog_type, TMK::IAFS_Name* initial_folder, TMK::IAFS_DlgParams* parameters,
                    HWND parent, TMK::IAFS_NamesCollection** out_names, DWORD* out_user_choice) override;

private:
    const MakeCache m_make_cache;
    mutable std::mutex m_mutex;
    std::vector<ComPtr<TMK::IAFS_FileSys>> m_registered;
};

}  // namespace host
