// One exchange with a server: the open upload, the answer, and the failure that an unwanted status becomes.
// Values that share one request handle; a handle serves one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/failure.h"

namespace Http {

// A request handle of the internet layer.
using Handle = void*;

class Session;

// The answer to a request; its status never changes, its body can be read once.
class Response {
public:
    Response();
    virtual ~Response();

    // The final HTTP status, 0 for a response that no request made.
    uint32_t GetStatus() const;
    // Reads up to `max_size` bytes; 0 is the end of the complete body. ApiException, also for a body that
    // ends early.
    size_t ReadBody(void* buffer, size_t max_size) const;
    // Appends the rest of the body; gives the number of bytes.
    size_t ReadBody(std::string& bytes) const;
    // All values of one header in order; empty when there is none.
    std::vector<std::u16string> GetHeaders(const char16_t* name) const;
    Handle GetHandle() const;
    // HttpException for a status outside 200 to 399; the log then shows the request and the answer.
    void CheckStatus() const;

private:
    friend class Session;
    friend class Request;
    struct Impl;
    std::shared_ptr<Impl> m_impl;
};

// An upload that is being sent: the bytes, then the answer.
class Request {
public:
    Request();
    virtual ~Request();

    // Sends the next bytes; gives the count that went out. ApiException.
    size_t Write(const void* data, size_t size);
    // Begins the same upload once more, after End has asked for it. ApiException.
    void SendAgain(uint64_t size);
    // Waits for the answer, which takes over the handle. ApiException (12032: the body is wanted once more),
    // HttpException for a status outside 200 to 399.
    Response End();
    Handle GetHandle() const;

private:
    friend class Session;
    struct Impl;
    std::shared_ptr<Impl> m_impl;
};

// An answer whose status is a failure. Without a message its text is made of the status.
struct HttpException : Exception {
    explicit HttpException(Handle handle, std::u16string_view message = {});
    explicit HttpException(const Response& response, std::u16string_view message = {});
    uint16_t status;  // 0 if it could not be had
};

}  // namespace Http
