#include "auth/digest.h"

#include "base/clock.h"
#include "base/crypto.h"

namespace devserver {

std::string FormDigests::seal(const User& user, std::string_view date) {
    return "0x" + hmac_sha512_hex(m_store.secret("digest"), user.login + "|" + std::string(date));
}

std::string FormDigests::issue(const User& user) {
    auto date = digest_date(now());
    return seal(user, date) + "," + date;
}

bool FormDigests::accepts(std::string_view digest, const User& user) {
    if (digest.empty()) return m_optional;
    auto comma = digest.find(',');
    if (comma == std::string_view::npos) return false;
    auto date = digest.substr(comma + 1);
    auto issued = parse_digest_date(date);
    if (!issued || *issued > now() + 5 || *issued + m_lifetime < now()) return false;
    return equal_in_constant_time(digest.substr(0, comma), seal(user, date));
}

}  // namespace devserver
