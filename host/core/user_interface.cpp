#include "host/core/user_interface.h"

#include "host/base/give.h"
#include "host/base/host_objects.h"

namespace host {

namespace {

class UserInterfaceExtension final : public Object<TMK::IUIX_Inst> {
public:
    UserInterfaceExtension(Dialogs& dialogs, Workbench& workbench,
                           std::function<void(const std::string&)> note)
        : m_dialogs(dialogs), m_workbench(workbench), m_note(std::move(note)) {}

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
        ErrorDetails details;
        const HRESULT result = Guarded(&details, [&] {
            ComPtr<TMK::IUIX_Obj> object;
            const HRESULT made = m_dialogs.Create(*parameters, object);
            if (out_object) *out_object = object.detach();
            return made;
        });
        if (FAILED(result) && !details.Text().empty()) m_note(details.Text());
        return result;
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
    HRESULT CreateFileTypeIcon(LPWSTR extension, DWORD, TMK::IUIX_Icon** out_icon) override {
        return GiveNew<Icon>(out_icon, std::vector<IconImage>(), u"file" + FromWide(extension));
    }

private:
    Dialogs& m_dialogs;
    Workbench& m_workbench;
    const std::function<void(const std::string&)> m_note;
    const ComPtr<TMK::IRGC_Inst> m_images = MakeImageExtension();
};

}  // namespace

ComPtr<TMK::IUIX_Inst> MakeUserInterfaceExtension(Dialogs& dialogs, Workbench& workbench,
                                                  std::function<void(const std::string&)> note) {
    return Make<UserInterfaceExtension>(dialogs, workbench, std::move(note));
}

}  // namespace host
