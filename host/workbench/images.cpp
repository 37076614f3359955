#include "host/workbench/images.h"

#include <array>

#include "host/base/give.h"
#include "host/workbench/icons.h"

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

class Image final : public Object<TMK::IRGC_Image> {
public:
    HRESULT LoadFromIStream(IStream* stream, DWORD) override {
        if (!stream) return E_INVALIDARG;
        return Guarded([&] {
            m_size = ReadPngSize(ReadStream(stream));
            return m_size ? S_OK : E_FAIL;
        });
    }
    HRESULT get_PagesCount(UINT* out_count) override { return GiveValue(out_count, m_size ? 1 : 0); }
    HRESULT GetPage(UINT index, IUnknown*, TMK::IRGC_Page** out_page) override {
        if (!out_page) return E_POINTER;
        *out_page = nullptr;
        if (!m_size || index != 0) return E_INVALIDARG;
        return GiveNew<Sized<TMK::IRGC_Page>>(out_page, *m_size);
    }

private:
    std::optional<ImageSize> m_size;
};

class ImageExtension final : public Object<TMK::IRGC_Inst> {
public:
    HRESULT CreateEmptyImage(TMK::IRGC_Image** out_image) override { return GiveNew<Image>(out_image); }
    HRESULT CreateIcon(LPCVOID png, DWORD size, TMK::IUIX_Icon** out_icon) override {
        if (!out_icon) return E_POINTER;
        *out_icon = nullptr;
        if (!png) return E_INVALIDARG;
        return Give(out_icon, [&] {
            auto icon = MakeIcon({std::string(static_cast<const char*>(png), size)});
            if (icon->images().empty()) throw Failure(E_FAIL, "the picture is no PNG");
            return icon;
        });
    }
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

}  // namespace host
