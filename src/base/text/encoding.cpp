#include "base/text/encoding.h"

#include <cstdlib>

#include "platform/text.h"

namespace {

// Most of what goes over the wire: the same characters in both forms.
template <typename View>
bool IsAscii(View text) {
    unsigned bits = 0;
    for (const auto c : text) bits |= static_cast<unsigned>(c);
    return bits < 0x80;
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
    if (IsAscii(text)) return std::string(text.begin(), text.end());
    std::string bytes(text.size() * 3, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return bytes;
}

std::u16string FromUtf8(std::string_view bytes) {
    if (IsAscii(bytes)) return Widen(bytes);
    std::u16string text(bytes.size(), u'\0');
    const int size = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()),
                                         text.data(), static_cast<int>(text.size()));
    text.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return text;
}

std::u16string Widen(std::string_view ascii) {
    return std::u16string(ascii.begin(), ascii.end());
}

std::string ToLocaleBytes(const std::u16string& text) {
    if (text.empty()) return {};
    std::string bytes(text.size() * 4 + 1, '\0');
    const int size = WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return bytes;
}
