#include "host/workbench/icons.h"

#include "host/base/give.h"

namespace host {

namespace {

class Picture final : public Object<TMK::IUIX_Image> {
public:
    explicit Picture(IconImage image) : m_image(std::move(image)) {}
    HRESULT get_Size(UINT* out_width, UINT* out_height) override {
        if (!out_width || !out_height) return E_POINTER;
        *out_width = m_image.size.width;
        *out_height = m_image.size.height;
        return S_OK;
    }
    const IconImage& image() const { return m_image; }

private:
    const IconImage m_image;
};

class IconMaker final : public Object<TMK::IUIX_MultiSizeIcon> {
public:
    HRESULT AddImage(TMK::IUIX_Image* image) override {
        const auto* const picture = dynamic_cast<const Picture*>(image);
        if (!picture) return E_INVALIDARG;
        return Guarded([&] {
            m_images.push_back(picture->image());
            return S_OK;
        });
    }
    HRESULT Finish(TMK::IUIX_Icon** out_icon) override {
        return Give(out_icon, [&] { return Make<Icon>(std::exchange(m_images, {})); });
    }

private:
    std::vector<IconImage> m_images;
};

}  // namespace

HRESULT Icon::get_ImagesCount(UINT* out_count) {
    return GiveValue(out_count, m_images.size());
}

ComPtr<Icon> MakeIcon(const std::vector<std::string>& pngs) {
    std::vector<IconImage> images;
    for (const std::string& png : pngs) {
        if (const auto size = ReadPngSize(png)) images.push_back({*size, png});
    }
    return Make<Icon>(std::move(images));
}

const Icon* OwnIcon(TMK::IUIX_Icon* icon) {
    return dynamic_cast<const Icon*>(icon);
}

HRESULT Theme::GetIcon(LPCWSTR name, TMK::IUIX_Icon** out_icon) {
    if (!out_icon) return E_POINTER;
    *out_icon = nullptr;
    if (!name) return E_INVALIDARG;
    return Guarded([&] {
        const bool is_own = std::u16string_view(name).starts_with(u"ico.");
        *out_icon = m_find   ? m_find(name).detach()
                    : is_own ? Make<Icon>(std::vector<IconImage>(), name).detach()
                             : nullptr;
        return *out_icon ? S_OK : S_FALSE;
    });
}

ComPtr<TMK::IUIX_MultiSizeIcon> MakeIconMaker() {
    return Make<IconMaker>();
}

ComPtr<TMK::IUIX_Image> MakeIconImage(std::string png) {
    const auto size = ReadPngSize(png);
    if (!size) throw Failure(E_FAIL, "the picture is no PNG");
    return Make<Picture>(IconImage{*size, std::move(png)});
}

}  // namespace host
