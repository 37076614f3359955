#include <sodium.h>

#include "host/base/text.h"

namespace host {

std::string ToBase64(const void* data, std::size_t size) {
    constexpr int kVariant = sodium_base64_VARIANT_ORIGINAL;
    std::string text(sodium_base64_encoded_len(size, kVariant), '\0');
    sodium_bin2base64(text.data(), text.size(), static_cast<const unsigned char*>(data), size, kVariant);
    text.pop_back();  // the zero
    return text;
}

std::optional<std::string> FromBase64(std::string_view text) {
    std::string bytes(text.size() / 4 * 3 + 3, '\0');
    std::size_t size = 0;
    const char* end = nullptr;
    if (sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(),
                          text.size(), nullptr, &size, &end, sodium_base64_VARIANT_ORIGINAL) != 0 ||
        end != text.data() + text.size()) {
        return std::nullopt;
    }
    bytes.resize(size);
    return bytes;
}

}  // namespace host
