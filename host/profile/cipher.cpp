#include "host/profile/cipher.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/base/failure.h"

namespace host {

namespace {

constexpr std::string_view kPrefix = "sph1:";

// Makes the key under another name and links it into place, so that two first runs end up with one key.
void MakeKeyFile(const fs::path& path, std::size_t size) {
    std::string key(size, '\0');
    randombytes_buf(key.data(), key.size());
    fs::path beside = path;
    beside += ".new-" + std::to_string(getpid());
    {
        const Descriptor descriptor = OpenFile(beside, O_WRONLY | O_CREAT | O_TRUNC);
        WriteAt(descriptor.get(), beside, key.data(), key.size(), 0);
        SyncFile(descriptor.get(), beside);
    }
    const bool linked = link(beside.c_str(), path.c_str()) == 0;
    const int error = errno;
    unlink(beside.c_str());
    sodium_memzero(key.data(), key.size());
    if (!linked && error != EEXIST) ThrowErrno("make", path, error);
    SyncFolder(path.parent_path());
}

}  // namespace

Cipher::Cipher(const fs::path& key_file) {
    if (sodium_init() < 0) throw Failure(E_FAIL, "the cipher library can't be used");
    auto content = ReadWhole(key_file, 4096);
    if (!content) {
        MakeKeyFile(key_file, kKeySize);
        content = ReadWhole(key_file, 4096);
    }
    if (!content || content->size() != kKeySize) {
        throw Failure(kBadData, "the key file " + key_file.string() + " is damaged");
    }
    struct stat status;
    if (stat(key_file.c_str(), &status) == 0 && (status.st_mode & 077) != 0 &&
        chmod(key_file.c_str(), 0600) != 0) {
        ThrowErrno("protect", key_file, errno);
    }
    std::copy(content->begin(), content->end(), m_master.begin());
    sodium_memzero(content->data(), content->size());
}

Cipher::~Cipher() {
    sodium_memzero(m_master.data(), m_master.size());
}

Cipher::Key Cipher::Derive(std::string_view purpose) const {
    Key key;
    crypto_generichash(key.data(), key.size(), reinterpret_cast<const unsigned char*>(purpose.data()),
                       purpose.size(), m_master.data(), m_master.size());
    return key;
}

std::string Cipher::Encrypt(std::string_view purpose, std::string_view plain) const {
    Key key = Derive(purpose);
    std::string box(crypto_aead_xchacha20poly1305_ietf_NPUBBYTES + plain.size() +
                        crypto_aead_xchacha20poly1305_ietf_ABYTES,
                    '\0');
    auto* bytes = reinterpret_cast<unsigned char*>(box.data());
    randombytes_buf(bytes, crypto_aead_xchacha20poly1305_ietf_NPUBBYTES);
    crypto_aead_xchacha20poly1305_ietf_encrypt(bytes + crypto_aead_xchacha20poly1305_ietf_NPUBBYTES, nullptr,
                                               reinterpret_cast<const unsigned char*>(plain.data()),
                                               plain.size(), nullptr, 0, nullptr, bytes, key.data());
    sodium_memzero(key.data(), key.size());
    return std::string(kPrefix) + ToBase64(box.data(), box.size());
}

std::string Cipher::Decrypt(std::string_view purpose, std::string_view text) const {
    if (!IsEnciphered(text)) throw Failure(E_INVALIDARG, "the stored text is not enciphered");
    constexpr std::size_t kNonce = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
    constexpr std::size_t kTag = crypto_aead_xchacha20poly1305_ietf_ABYTES;
    const auto box = FromBase64(text.substr(kPrefix.size()));
    const Failure refused(E_ACCESSDENIED, "a stored secret was changed, or belongs to another profile");
    if (!box || box->size() < kNonce + kTag) throw refused;
    Key key = Derive(purpose);
    std::string plain(box->size() - kNonce - kTag, '\0');
    const auto* bytes = reinterpret_cast<const unsigned char*>(box->data());
    const int result = crypto_aead_xchacha20poly1305_ietf_decrypt(
        reinterpret_cast<unsigned char*>(plain.data()), nullptr, nullptr, bytes + kNonce,
        box->size() - kNonce, nullptr, 0, bytes, key.data());
    sodium_memzero(key.data(), key.size());
    if (result != 0) throw refused;
    return plain;
}

bool Cipher::IsEnciphered(std::string_view text) {
    return text.starts_with(kPrefix);
}

std::string Cipher::Seal(std::string_view purpose, std::string_view text) const {
    Key key = Derive(purpose);
    std::array<unsigned char, crypto_generichash_BYTES> hash;
    crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(text.data()),
                       text.size(), key.data(), key.size());
    sodium_memzero(key.data(), key.size());
    return ToBase64(hash.data(), hash.size());
}

}  // namespace host
