// The persistent cookies of each group of the browser, enciphered in the profile.
// Any thread.
#pragma once

#include <memory>
#include <string>

#include "host/profile/cipher.h"
#include "host/profile/profile.h"

namespace host {

class CookieStore {
public:
    // The profile outlives it.
    CookieStore(const Profile& profile, std::shared_ptr<const Cipher> cipher);

    // A JSON array of {name, value, domain, path, secure, httpOnly, expires}; `expires` is in seconds since
    // 1970. Unreadable cookies count as none, with a warning.
    std::string Load(const std::u16string& group) const;
    // Replaces the stored cookies; those without `expires` end with the browser and are left out. Throws a
    // Failure.
    void Save(const std::u16string& group, const std::string& cookies);
    // Deletes the cookies that a host gets; with a leading dot, those of a domain and all hosts below it.
    // Throws a Failure.
    void Delete(const std::u16string& group, const std::u16string& host);

private:
    const Profile& m_profile;
    const std::shared_ptr<const Cipher> m_cipher;
};

}  // namespace host
