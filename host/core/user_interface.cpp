#include "host/core/user_interface.h"

#include "host/base/give.h"

namespace host {

namespace {

class UserInterfaceExtension final : public Object<TMK::IUIX_Inst> {
public:
    UserInterfaceExtension(Windows& windows, Workbench& workbench)
        : m_windows(windows), m_workbench(workbench) {}

    HRESULT CreateMultiSizeIcon(TMK::IUIX_MultiSizeIcon** out_icon) override {
        return Give(out_icon, MakeIconMaker);
    }
    HRESULT CreateImage(IStream* stream, TMK::IUIX_Image** out_image) override {
        if (!out_image) return E_POINTER;
        *out_image = nullptr;
        if (!stream) return E_INVALIDARG;
        return Give(out_image, [&] { return MakeIconImage(ReadStream(stream)); });
    }
    HRESULT CreateObj(const TMK::UIX_CreateObjParams* parameters, TMK::IUIX_Obj** out_object) override {
        if (out_object) *out_object = nullptr;
        if (!parameters) return E_INVALIDARG;
        return Guarded([&] {
            ComPtr<TMK::IUIX_Obj> window;
            const HRESULT result = m_windows.Create(*parameters, window);
            if (out_object) *out_object = window.detach();
            return result;
        });
    }
    HRESULT get_CmdManager(TMK::IUIX_CmdManager** out_manager) override {
        return Give(out_manager, [&] { return ComPtr<CommandManager>(&m_workbench.manager()); });
    }
    HRESULT get_Theme(TMK::IUIX_Theme** out_theme) override {
        return ComPtr<TMK::IUIX_Theme>(&m_workbench.theme()).CopyTo(out_theme);
    }
    HRESULT get_ImageExt(TMK::IRGC_Inst** out_images) override { return m_images.CopyTo(out_images); }
    HRESULT CreateCmdBar(TMK::IUIX_Obj* parent, const RECT* rectangle, LPCWSTR, LPCWSTR, DWORD,
                         TMK::IUIX_CmdBar** out_bar) override {
        if (!out_bar) return E_POINTER;
        *out_bar = nullptr;
        if (!parent || !rectangle) return E_INVALIDARG;
        return m_workbench.manager().NewBar(nullptr, nullptr, out_bar);
    }
    HRESULT GetIcon(BSTR name, TMK::IUIX_Icon** out_icon) override {
        return m_workbench.theme().GetIcon(name, out_icon);
    }
    HRESULT CreateFileTypeIcon(LPWSTR, DWORD, TMK::IUIX_Icon** out_icon) override {
        if (out_icon) *out_icon = nullptr;
        return E_NOTIMPL;
    }

private:
    Windows& m_windows;
    Workbench& m_workbench;
    const ComPtr<TMK::IRGC_Inst> m_images = MakeImageExtension();
};

}  // namespace

ComPtr<TMK::IUIX_Inst> MakeUserInterfaceExtension(Windows& windows, Workbench& workbench) {
    return Make<UserInterfaceExtension>(windows, workbench);
}

}  // namespace host
