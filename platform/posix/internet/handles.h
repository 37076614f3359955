// The objects behind internet handles, and the table that guards them.
// The table and connections are shared by all threads.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "internet/credentials.h"
#include "internet/target.h"
#include "internet/transfer.h"
#include "platform/wininet.h"

namespace platform::internet {

class Object {
public:
    enum class Kind { session, connection, request };

    explicit Object(Kind of_kind) : kind(of_kind) {}
    virtual ~Object() = default;
    // Tells calls in progress to come to an end.
    virtual void Close() {}

    const Kind kind;
};

struct Session final : Object {
    static constexpr Kind kKind = Kind::session;
    Session() : Object(kKind) {}

    std::string agent;
    std::atomic<DWORD> connect_timeout{60'000};  // milliseconds
    CredentialStore credentials;
};

struct Connection final : Object {
    static constexpr Kind kKind = Kind::connection;
    Connection() : Object(kKind) {}

    std::shared_ptr<Session> session;
    std::string host;
    INTERNET_PORT port = 0;
    std::atomic<DWORD> connect_timeout{0};
    CurlHandlePool pool;
};

// Handles are numbers that are never used twice, so a stale one is known as such.
HINTERNET AddHandle(std::shared_ptr<Object> object);
std::shared_ptr<Object> FindHandle(HINTERNET handle);
std::shared_ptr<Object> RemoveHandle(HINTERNET handle);

}  // namespace platform::internet
