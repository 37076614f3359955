// Reads one request's head and decodes a chunked body; only parser.cpp sees Beast.
// Owner: http/connection; one parser per request.
#pragma once
#include <memory>
#include <string_view>

#include "http/message.h"

namespace devserver::http {

constexpr std::size_t kMaxHeadSize = 64 * 1024;

class RequestParser {
public:
    RequestParser();
    ~RequestParser();
    // `head` ends with the empty line; throws BadRequest.
    Request ParseHead(std::string_view head);

    struct Step {
        std::size_t consumed = 0;
        std::size_t produced = 0;
        bool done = false;
    };
    // Decodes a piece of a chunked body; unconsumed input has to be given again with more after it.
    Step DecodeChunked(std::string_view input, char* output, std::size_t size);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace devserver::http
