// Icons of PNG pictures in several sizes, which keep the bytes for a window to draw. Main thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/workbench/images.h"
#include "hostapi/iuix.h"

namespace host {

struct IconImage {
    ImageSize size;
    std::string png;
};

class Icon final : public Object<TMK::IUIX_Icon> {
public:
    // An icon with a name and no images is one of the editor's look, which the window draws.
    explicit Icon(std::vector<IconImage> images, std::u16string name = {})
        : m_images(std::move(images)), m_name(std::move(name)) {}
    HRESULT get_ImagesCount(UINT* out_count) override;
    const std::vector<IconImage>& images() const { return m_images; }
    const std::u16string& name() const { return m_name; }

private:
    const std::vector<IconImage> m_images;
    const std::u16string m_name;
};

// What is no PNG is left out.
ComPtr<Icon> MakeIcon(const std::vector<std::string>& pngs);
// Null for null, and for an icon that another library made.
const Icon* OwnIcon(TMK::IUIX_Icon* icon);

// Finds the icons of a look by name; null where it has none.
using FindIcon = std::function<ComPtr<Icon>(const std::u16string& name)>;

// The look of the editor. A window may supply its icons; else those whose names begin with "ico." have
// nothing but their name, by which the window draws them.
class Theme final : public Object<TMK::IUIX_Theme> {
public:
    HRESULT GetIcon(LPCWSTR name, TMK::IUIX_Icon** out_icon) override;
    void SetIcons(FindIcon find) { m_find = std::move(find); }

private:
    FindIcon m_find;
};

ComPtr<TMK::IUIX_MultiSizeIcon> MakeIconMaker();
// Throws a Failure of E_FAIL for anything but a PNG.
ComPtr<TMK::IUIX_Image> MakeIconImage(std::string png);

}  // namespace host
