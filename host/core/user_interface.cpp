#include "host/core/user_interface.h"

#include <vector>

#include "host/base/give.h"
#include "host/workbench/images.h"

namespace host {

namespace {

using IconImages = std::vector<ComPtr<TMK::IUIX_Image>>;

class Icon final : public Object<TMK::IUIX_Icon> {
public:
    explicit Icon(IconImages images) : m_images(std::move(images)) {}
    HRESULT get_ImagesCount(UINT* out_count) override { return GiveValue(out_count, m_images.size()); }

private:
    const IconImages m_images;
};

class IconMaker final : public Object<TMK::IUIX_MultiSizeIcon> {
public:
    HRESULT AddImage(TMK::IUIX_Image* image) override {
        if (!image) return E_INVALIDARG;
        return Guarded([&] {
            m_images.emplace_back(image);
            return S_OK;
        });
    }
    HRESULT Finish(TMK::IUIX_Icon** out_icon) override {
        return Give(out_icon, [&] { return Make<Icon>(std::exchange(m_images, {})); });
    }

private:
    IconImages m_images;
};

class UserInterfaceExtension final : public Object<TMK::IUIX_Inst> {
public:
    explicit UserInterfaceExtension(Windows& windows) : m_windows(windows) {}

    HRESULT CreateMultiSizeIcon(TMK::IUIX_MultiSizeIcon** out_icon) override {
        return GiveNew<IconMaker>(out_icon);
    }
    HRESULT CreateImage(IStream* stream, TMK::IUIX_Image** out_image) override {
        if (!out_image) return E_POINTER;
        *out_image = nullptr;
        if (!stream) return E_INVALIDARG;
        return Give(out_image, [&] {
            const auto size = ReadPngSize(ReadStream(stream));
            if (!size) throw Failure(E_FAIL, "the picture is no PNG");
            return Make<Sized<TMK::IUIX_Image>>(*size);
        });
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

private:
    Windows& m_windows;
};

}  // namespace

ComPtr<TMK::IUIX_Inst> MakeUserInterfaceExtension(Windows& windows) {
    return Make<UserInterfaceExtension>(windows);
}

}  // namespace host
