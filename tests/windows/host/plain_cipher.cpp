// Stands in for the cipher of the profile: what it makes can be read by whoever wants to.
#include "host/base/failure.h"
#include "host/profile/cipher.h"

namespace host {

namespace {

constexpr std::string_view kMark = "plain:";

}  // namespace

Cipher::Cipher(const fs::path&) {}

Cipher::~Cipher() = default;

std::string Cipher::Encrypt(std::string_view purpose, std::string_view plain) const {
    return std::string(kMark) + std::string(purpose) + ":" + std::string(plain);
}

std::string Cipher::Decrypt(std::string_view purpose, std::string_view text) const {
    const std::string mark = std::string(kMark) + std::string(purpose) + ":";
    if (!IsEnciphered(text)) throw Failure(E_INVALIDARG, "this is no enciphered text");
    if (!text.starts_with(mark)) throw Failure(E_ACCESSDENIED, "this was enciphered for something else");
    return std::string(text.substr(mark.size()));
}

bool Cipher::IsEnciphered(std::string_view text) {
    return text.starts_with(kMark);
}

}  // namespace host
