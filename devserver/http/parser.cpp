#include "http/parser.h"

#include <boost/beast/core/buffers_prefix.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <limits>

namespace devserver::http {
namespace beast = boost::beast;

struct RequestParser::Impl {
    beast::http::request_parser<beast::http::buffer_body> parser;
};

RequestParser::RequestParser() : m_impl(std::make_unique<Impl>()) {
    // Older releases of the library mishandle an unset limit, so a huge one is set.
    m_impl->parser.body_limit(std::numeric_limits<std::uint64_t>::max());
    m_impl->parser.header_limit(static_cast<std::uint32_t>(kMaxHeadSize));
}

RequestParser::~RequestParser() = default;

namespace {

// Clients of this kind of server send blanks unescaped inside the target; the grammar forbids them.
std::string EscapeBlanksOfTarget(std::string_view head) {
    auto line_end = head.find("\r\n");
    auto line = head.substr(0, line_end);
    auto first = line.find(' ');
    auto last = line.rfind(' ');
    if (first == std::string_view::npos || first == last) return std::string(head);
    std::string result(line.substr(0, first + 1));
    for (char c : line.substr(first + 1, last - first - 1)) c == ' ' ? result += "%20" : result += c;
    result += head.substr(last);
    return result;
}

}  // namespace

Request RequestParser::ParseHead(std::string_view head) {
    auto text = EscapeBlanksOfTarget(head);
    beast::error_code error;
    auto& parser = m_impl->parser;
    parser.put(boost::asio::buffer(text), error);
    if (error == beast::http::error::header_limit) throw BadRequest(431, "The header is too large.");
    if ((error && error != beast::http::error::need_buffer && error != beast::http::error::need_more) ||
        !parser.is_header_done())
        throw BadRequest(400, "Bad Request - Invalid Header");
    const auto& message = parser.get();
    Request request;
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    request.minor_version = message.version() >= 11 ? 1 : 0;
    request.keep_alive = parser.keep_alive();
    request.chunked = parser.chunked();
    if (auto length = parser.content_length()) request.content_length = *length;
    for (const auto& field : message)
        request.headers.Add(std::string(field.name_string()), std::string(field.value()));
    auto target = std::string_view(request.target);
    if (auto scheme = target.find("://"); scheme != std::string_view::npos && scheme < 6) {
        auto slash = target.find('/', scheme + 3);
        request.target = slash == std::string_view::npos ? "/" : std::string(target.substr(slash));
    }
    auto question = request.target.find('?');
    request.raw_path = request.target.substr(0, question);
    if (question != std::string::npos) request.query_text = request.target.substr(question + 1);
    request.path = PercentDecode(request.raw_path);
    request.query = ParseQuery(request.query_text);
    if (request.target.empty() || request.target[0] != '/' || request.path.find('\0') != std::string::npos ||
        !IsValidUtf8(request.path))
        throw BadRequest(400, "Bad Request - Invalid URL");
    return request;
}

RequestParser::Step RequestParser::DecodeChunked(std::string_view input, char* output, std::size_t size) {
    auto& parser = m_impl->parser;
    auto& body = parser.get().body();
    body.data = output;
    body.size = size;
    body.more = true;
    beast::error_code error;
    Step step;
    step.consumed = parser.put(boost::asio::buffer(input.data(), input.size()), error);
    if (error && error != beast::http::error::need_buffer && error != beast::http::error::need_more)
        throw BadRequest(400, "Bad Request - Invalid Chunk");
    step.produced = size - body.size;
    step.done = parser.is_done();
    return step;
}

}  // namespace devserver::http
