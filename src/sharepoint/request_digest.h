// The request digest of a web, which every change shows to the server. A plain value.
#pragma once

#include <cstdint>
#include <string>

#include "sharepoint/json.h"

namespace SharePoint {

struct RequestDigest {
    std::u16string text;
    int64_t expiry = 0;  // monotonic nanoseconds

    // Whether the digest stands without asking again: only once it has been overdue for five seconds. A
    // younger one is fetched anew on every call, so that a change never goes out with a digest about to
    // expire.
    bool IsReusable(int64_t now) const;

    // Takes digest and lifetime from the context information in the server's answer, which may be null; false
    // when there is no digest in it. Without a lifetime the expiry stays. `trace_function` is for the log.
    bool Read(const char* trace_function, const Json::Value* information, int64_t now);

    // The clock of `expiry`.
    static int64_t Now();
};

}  // namespace SharePoint
