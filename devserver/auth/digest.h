// Form digests, which prove that a change comes from a page of the site: bound to a user and a time.
// Owner: auth/; any thread.
#pragma once
#include <string>
#include <string_view>

#include "store/store.h"

namespace devserver {

class FormDigests {
public:
    // `optional`: a change without a digest is accepted too.
    FormDigests(Store& store, int lifetime_seconds, bool optional = false)
        : m_store(store), m_lifetime(lifetime_seconds), m_optional(optional) {}
    std::string Issue(const User& user);
    bool Accepts(std::string_view digest, const User& user);
    int LifetimeSeconds() const { return m_lifetime; }
    // Makes every issued digest stale.
    void ExpireAll() { m_store.RenewSecret("digest"); }

private:
    std::string Seal(const User& user, std::string_view date);

    Store& m_store;
    int m_lifetime;
    bool m_optional;
};

}  // namespace devserver
