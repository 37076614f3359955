#include "utf8.h"

#include "platform/text.h"

namespace platform {

std::string ToUtf8(std::u16string_view text) {
    std::string bytes(text.size() * 3, '\0');
    if (text.empty()) return bytes;
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

std::u16string ToUtf16(std::string_view bytes) {
    std::u16string text(bytes.size(), u'\0');
    if (bytes.empty()) return text;
    const int size = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()),
                                         text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

}  // namespace platform
