// Attributes of started programs: a session of their own, so that Ctrl-C doesn't reach them, and default
// signals. Plain values of one thread.
#pragma once

#include <signal.h>
#include <spawn.h>

namespace host {

class SpawnAttributes {
public:
    SpawnAttributes() {
        sigset_t none;
        sigemptyset(&none);
        sigset_t usual;
        sigemptyset(&usual);
        for (const int number : {SIGINT, SIGTERM, SIGPIPE, SIGXFSZ}) sigaddset(&usual, number);
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setsigdefault(&m_attributes, &usual);
        posix_spawnattr_setflags(&m_attributes,
                                 POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&m_attributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes;
};

}  // namespace host
