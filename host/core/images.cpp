// PNG pictures for plug-ins.
// Any thread; an object by one thread at a time.
#include "host/core/images.h"

#include <array>
#include <vector>

#include "host/base/failure.h"
#include "host/base/object.h"
#include "host/browser/window.h"

namespace host {

namespace {

std::uint32_t BigEndian(std::string_view bytes, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
    return number;
}

std::uint32_t Crc32(std::string_view bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
    }
    return ~crc;
}

bool IsKnownFormat(unsigned depth, unsigned colour) {
    const auto bit = [](unsigned value) { return value <= 16 ? 1u << value : 0u; };
    constexpr unsigned kAll = 1u << 1 | 1u << 2 | 1u << 4 | 1u << 8 | 1u << 16;
    constexpr unsigned kWide = 1u << 8 | 1u << 16;
    switch (colour) {
        case 0:
            return bit(depth) & kAll;
        case 3:
            return bit(depth) & (kAll & ~(1u << 16));
        case 2:
        case 4:
        case 6:
            return bit(depth) & kWide;
        default:
            return false;
    }
}

class Page final : public Object<TMK::IRGC_Page> {
public:
    explicit Page(ImageSize size) : m_size(size) {}
    HRESULT get_Size(UINT* out_width, UINT* out_height) override {
        if (!out_width || !out_height) return E_POINTER;
        *out_width = m_size.width;
        *out_height = m_size.height;
        return S_OK;
    }

private:
    ImageSize m_size;
};

class Image final : public Object<TMK::IRGC_Image> {
public:
    HRESULT LoadFromIStream(IStream* stream, DWORD) override {
        if (!stream) return E_INVALIDARG;
        return Guarded([&] {
            m_size = ReadPngSize(ReadStream(stream));
            return m_size ? S_OK : E_FAIL;
        });
    }
    HRESULT get_PagesCount(UINT* out_count) override {
        if (!out_count) return E_POINTER;
        *out_count = m_size ? 1 : 0;
        return S_OK;
    }
    HRESULT GetPage(UINT index, IUnknown*, TMK::IRGC_Page** out_page) override {
        if (!out_page) return E_POINTER;
        *out_page = nullptr;
        if (!m_size || index != 0) return E_INVALIDARG;
        return Guarded([&] {
            *out_page = Make<Page>(*m_size).detach();
            return S_OK;
        });
    }

private:
    std::optional<ImageSize> m_size;
};

class ImageExtension final : public Object<TMK::IRGC_Inst> {
public:
    HRESULT CreateEmptyImage(TMK::IRGC_Image** out_image) override {
        if (!out_image) return E_POINTER;
        return Guarded([&] {
            *out_image = Make<Image>().detach();
            return S_OK;
        });
    }
};

class IconImage final : public Object<TMK::IUIX_Image> {
public:
    explicit IconImage(ImageSize size) : m_size(size) {}
    HRESULT get_Size(UINT* out_width, UINT* out_height) override {
        if (!out_width || !out_height) return E_POINTER;
        *out_width = m_size.width;
        *out_height = m_size.height;
        return S_OK;
    }

private:
    ImageSize m_size;
};

using IconImages = std::vector<ComPtr<TMK::IUIX_Image>>;

class Icon final : public Object<TMK::IUIX_Icon> {
public:
    explicit Icon(IconImages images) : m_images(std::move(images)) {}
    HRESULT get_ImagesCount(UINT* out_count) override {
        if (!out_count) return E_POINTER;
        *out_count = static_cast<UINT>(m_images.size());
        return S_OK;
    }

private:
    IconImages m_images;
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
        if (!out_icon) return E_POINTER;
        return Guarded([&] {
            *out_icon = Make<Icon>(std::exchange(m_images, {})).detach();
            return S_OK;
        });
    }

private:
    IconImages m_images;
};

class UserInterfaceExtension final : public Object<TMK::IUIX_Inst> {
public:
    explicit UserInterfaceExtension(Windows& windows) : m_windows(windows) {}

    HRESULT CreateMultiSizeIcon(TMK::IUIX_MultiSizeIcon** out_icon) override {
        if (!out_icon) return E_POINTER;
        return Guarded([&] {
            *out_icon = Make<IconMaker>().detach();
            return S_OK;
        });
    }
    HRESULT CreateImage(IStream* stream, TMK::IUIX_Image** out_image) override {
        if (!out_image) return E_POINTER;
        *out_image = nullptr;
        if (!stream) return E_INVALIDARG;
        return Guarded([&] {
            const auto size = ReadPngSize(ReadStream(stream));
            if (!size) return E_FAIL;
            *out_image = Make<IconImage>(*size).detach();
            return S_OK;
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

std::optional<ImageSize> ReadPngSize(std::string_view bytes) {
    constexpr std::string_view kSignature("\x89PNG\r\n\x1A\n", 8);
    constexpr std::size_t kHeader = 8 + 8 + 13 + 4;  // signature, chunk header, its data, its check sum
    if (bytes.size() < kHeader || !bytes.starts_with(kSignature)) return std::nullopt;
    if (BigEndian(bytes, 8) != 13 || bytes.substr(12, 4) != "IHDR") return std::nullopt;
    if (Crc32(bytes.substr(12, 17)) != BigEndian(bytes, 29)) return std::nullopt;
    const ImageSize size{BigEndian(bytes, 16), BigEndian(bytes, 20)};
    constexpr std::uint32_t kLargest = 0x7FFFFFFF;
    if (size.width == 0 || size.height == 0 || size.width > kLargest || size.height > kLargest)
        return std::nullopt;
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
    if (!IsKnownFormat(byte(24), byte(25)) || byte(26) != 0 || byte(27) != 0 || byte(28) > 1)
        return std::nullopt;
    return size;
}

std::string ReadStream(IStream* stream, std::size_t limit) {
    std::string content;
    std::array<char, 65536> block;
    for (;;) {
        ULONG got = 0;
        const HRESULT result = stream->Read(block.data(), block.size(), &got);
        if (FAILED(result)) throw Failure(result, "a stream can't be read");
        if (got == 0) return content;
        content.append(block.data(), got);
        if (content.size() > limit) throw Failure(kBadData, "a stream is too large to be read");
    }
}

ComPtr<TMK::IRGC_Inst> MakeImageExtension() {
    return Make<ImageExtension>();
}

ComPtr<TMK::IUIX_Inst> MakeUserInterfaceExtension(Windows& windows) {
    return Make<UserInterfaceExtension>(windows);
}

}  // namespace host
