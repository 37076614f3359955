// Enciphers the secrets that the profile stores. One key file of mode 0600 lies in the profile; each purpose
// has a key of its own derived from it. Owned by the host instance; any thread.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "host/base/posix_file.h"

namespace host {

class Cipher {
public:
    // Reads the key file or makes it; others lose their access to an existing one. Throws a Failure.
    explicit Cipher(const fs::path& key_file);
    ~Cipher();
    Cipher(const Cipher&) = delete;
    Cipher& operator=(const Cipher&) = delete;

    // A text that begins with "sph1:"; two calls never give the same.
    std::string Encrypt(std::string_view purpose, std::string_view plain) const;

    // Throws a Failure: E_INVALIDARG for a text that is no ciphertext, E_ACCESSDENIED for one that was
    // changed or belongs to another key or purpose.
    std::string Decrypt(std::string_view purpose, std::string_view text) const;

    static bool IsEnciphered(std::string_view text);

    // A keyed hash of a text, which can't be made without the key file.
    std::string Seal(std::string_view purpose, std::string_view text) const;

private:
    static constexpr std::size_t kKeySize = 32;
    using Key = std::array<unsigned char, kKeySize>;
    Key Derive(std::string_view purpose) const;

    Key m_master{};
};

}  // namespace host
