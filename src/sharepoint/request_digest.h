// The request digest of a web: a token of the server that every change has to send.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "http/session.h"
#include "sharepoint/json.h"

namespace SharePoint {

// A plain value.
struct RequestDigest {
    std::u16string text;
    int64_t expiry = 0;  // monotonic nanoseconds

    // Whether the digest is used without a request: only once it has been overdue for five seconds. A
    // younger one is fetched anew on every call, so that a change never goes out with a digest about to
    // expire.
    bool IsReusable(int64_t now) const;

    // Takes digest and lifetime from the context information in the server's answer, which may be null; false
    // when there is no digest in it. Without a lifetime the expiry stays. `trace_function` is for the log.
    bool Read(const char* trace_function, const Json::Value* information, int64_t now);

    // The clock of `expiry`.
    static int64_t Now();
};

// Whether there is a digest; logs an error when there is none.
bool HasDigest(const char* trace_function, const std::u16string& digest);

// Keeps the digest of one web. Any thread.
class DigestKeeper {
public:
    // The kept digest, or a new one from the web at that path; empty when the answer has none. In a verbose
    // answer it is two members below the root. HttpException.
    std::u16string Get(const char* trace_function, Http::Session& http, const std::u16string& web_path,
                       const char16_t* const* accept, bool is_verbose);

    // Forgets a digest that the server refused.
    void Drop(const std::u16string& digest);
    // Forgets the digest if the last one given was a kept one; false for one that was new.
    bool DropReused();

private:
    std::mutex m_guard;
    RequestDigest m_digest;
    bool m_was_reused = false;
};

}  // namespace SharePoint
