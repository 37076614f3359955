// What lies in the files cache, and the dropping of local copies that nothing waits in: by hand, by place and
// by limits. What is unsent or open always stays. Any thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/cache/cache_store.h"

namespace host {

struct LocalCopy {
    enum class State {
        kept,    // the server has all of it
        unsent,  // something of it waits; CacheStore::Unsent says what
        open,    // in this process or another
    };
    State state;
    std::string key;
    std::string account;  // URL of its place
    std::string url;
    fs::path path;
    std::uint64_t size = 0;
    std::int64_t used = 0;  // seconds since 1970, of the last opening
};

// Ordered by address. Settles interrupted runs first.
std::vector<LocalCopy> CopiesIn(CacheStore& store);

struct Dropped {
    std::size_t count = 0;
    std::uint64_t size = 0;
    std::vector<LocalCopy> kept;  // wanted, and unsent or open
};

// Drops the local copies that are wanted.
Dropped DropCopies(CacheStore& store, const std::function<bool(const LocalCopy&)>& is_wanted);

// How much of what the server has as well is kept; 0 keeps nothing.
struct CacheLimits {
    std::uint64_t bytes = 2ull << 30;
    std::int64_t days = 30;

    // Those of the profile.
    static CacheLimits Load(const Profile& profile);
    void Save(const Profile& profile) const;
};

// Drops what was not opened for too long, then what was not opened for longest, until the rest fits.
Dropped ApplyLimits(CacheStore& store, const CacheLimits& limits, std::int64_t now);

// Removes what writers that are gone have left half written in a profile and its cache.
void RemoveLeftovers(const Profile& profile, CacheStore& store);

}  // namespace host
