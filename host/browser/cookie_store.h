// The cookies that a browser's groups keep from one time to the next, enciphered in the profile.
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
    // 1970. What can't be read is told and counts as nothing.
    std::string Load(const std::u16string& group) const;
    // Takes the place of what is stored; cookies without `expires` end with the browser, so they are left
    // out. Throws a Failure.
    void Save(const std::u16string& group, const std::string& cookies);
    // Of a host, with those of domains above that go to it, too; or, with a leading dot, of a domain and all
    // below it. Throws a Failure.
    void Delete(const std::u16string& group, const std::u16string& host);

private:
    const Profile& m_profile;
    const std::shared_ptr<const Cipher> m_cipher;
};

}  // namespace host
