#include "auth/digest.h"

#include "base/clock.h"
#include "base/crypto.h"

namespace devserver {

std::string FormDigests::Seal(const User& user, std::string_view date) {
    return "0x" + HmacSha512Hex(m_store.secret("digest"), user.login + "|" + std::string(date));
}

std::string FormDigests::Issue(const User& user) {
    auto date = DigestDate(Now());
    return Seal(user, date) + "," + date;
}

bool FormDigests::Accepts(std::string_view digest, const User& user) {
    if (digest.empty()) return m_optional;
    auto comma = digest.find(',');
    if (comma == std::string_view::npos) return false;
    auto date = digest.substr(comma + 1);
    auto issued = ParseDigestDate(date);
    if (!issued || *issued > Now() + 5 || *issued + m_lifetime < Now()) return false;
    return EqualInConstantTime(digest.substr(0, comma), Seal(user, date));
}

}  // namespace devserver
