#include "base/crypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <stdexcept>

#include "base/text.h"

namespace devserver {

std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count)) != 1)
        throw std::runtime_error("no random numbers from the system");
    return bytes;
}

std::string RandomGuid() {
    auto bytes = RandomBytes(16);
    bytes[6] = static_cast<char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<char>((bytes[8] & 0x3F) | 0x80);
    return FormatGuid(HexEncode(bytes));
}

std::string Sha256(std::string_view text) {
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_Digest(text.data(), text.size(), out, &size, EVP_sha256(), nullptr);
    return {reinterpret_cast<char*>(out), size};
}

std::string Sha256Hex(std::string_view text) {
    return HexEncode(Sha256(text));
}

std::string HmacSha512Hex(std::string_view key, std::string_view text) {
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    HMAC(EVP_sha512(), key.data(), static_cast<int>(key.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), out, &size);
    return HexEncode({reinterpret_cast<char*>(out), size}, true);
}

bool EqualInConstantTime(std::string_view a, std::string_view b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace devserver
