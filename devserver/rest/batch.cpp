#include "rest/batch.h"

#include "base/crypto.h"
#include "base/text.h"
#include "http/parser.h"

namespace devserver::rest {
namespace {

class TextSource : public BodySource {
public:
    explicit TextSource(std::string_view text) : m_text(text) {}
    std::size_t read(char* buffer, std::size_t size) override {
        auto count = m_text.copy(buffer, size);
        m_text.remove_prefix(count);
        return count;
    }

private:
    std::string_view m_text;
};

std::string boundary_of(std::string_view content_type) {
    auto at = find_ignoring_case(content_type, "boundary=");
    if (at == std::string_view::npos) return {};
    auto value = content_type.substr(at + 9);
    value = value.substr(0, value.find(';'));
    value = trim(value);
    if (value.size() >= 2 && value.front() == '"') value = value.substr(1, value.size() - 2);
    return std::string(value);
}

// The parts between the boundaries, without the line breaks around them.
std::vector<std::string> parts_of(const std::string& text, const std::string& boundary) {
    std::vector<std::string> parts;
    auto mark = "--" + boundary;
    auto at = text.find(mark);
    while (!boundary.empty() && at != std::string::npos) {
        auto begin = at + mark.size();
        auto next = text.find(mark, begin);
        if (next == std::string::npos) break;
        parts.emplace_back(trim(std::string_view(text).substr(begin, next - begin)));
        at = next;
    }
    return parts;
}

// Clients end lines with and without a carriage return.
std::pair<std::string, std::string> split_at_empty_line(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        auto end = text.find('\n', at);
        if (end == std::string::npos) break;
        if (trim(std::string_view(text).substr(at, end - at)).empty())
            return {text.substr(0, at), text.substr(end + 1)};
        at = end + 1;
    }
    return {text, ""};
}

std::string part_text(http::Response response) {
    http::materialise(response);
    std::string text = "HTTP/1.1 " + std::to_string(response.status) + " ";
    text += http::reason_phrase(response.status);
    text += "\r\nCONTENT-TYPE: " + response.headers.get("Content-Type") + "\r\n";
    if (auto etag = response.headers.get("ETag"); !etag.empty()) text += "ETAG: " + etag + "\r\n";
    return text + "\r\n" + response.text + "\r\n";
}

class Batch {
public:
    Batch(const http::Request& outer, const std::function<http::Response(http::Request&)>& serve)
        : m_outer(outer), m_serve(serve), m_boundary("batchresponse_" + random_guid()) {}

    void run(const std::string& text, const std::string& boundary, int depth) {
        for (const auto& part : parts_of(text, boundary)) {
            auto [head, body] = split_at_empty_line(part);
            if (find_ignoring_case(head, "multipart/mixed") != std::string::npos && depth == 0)
                run(body, boundary_of(head), 1);
            else
                add(answer(body));
        }
    }

    http::Response finish() {
        return http::make_response(200, "multipart/mixed; boundary=\"" + m_boundary + "\"; charset=utf-8",
                                   m_text + "--" + m_boundary + "--\r\n");
    }

private:
    std::string answer(const std::string& text) {
        auto [head, body] = split_at_empty_line(text);
        try {
            http::RequestParser parser;
            auto request = parser.parse_head(absolute(head) + "\r\nHost: batch\r\n\r\n");
            request.base_url = m_outer.base_url;
            request.chunked = false;
            request.content_length = body.size();
            TextSource source(body);
            request.body = &source;
            return part_text(m_serve(request));
        } catch (const http::BadRequest& error) {
            return part_text(http::make_response(400, "text/plain", error.what()));
        }
    }

    // Drops headers about the part's transport; the body is the rest of the part.
    static std::string absolute(const std::string& head) {
        std::string result;
        for (const auto& line : split(head, '\n')) {
            auto text = std::string(trim(line));
            bool transport = starts_with_ignoring_case(text, "Content-Length:") ||
                             starts_with_ignoring_case(text, "Host:") ||
                             starts_with_ignoring_case(text, "Transfer-Encoding:");
            if (!text.empty() && !transport) result += (result.empty() ? "" : "\r\n") + text;
        }
        return result;
    }

    void add(const std::string& text) {
        m_text += "--" + m_boundary +
                  "\r\nContent-Type: application/http\r\nContent-Transfer-Encoding: binary\r\n\r\n" + text;
    }

    const http::Request& m_outer;
    const std::function<http::Response(http::Request&)>& m_serve;
    std::string m_boundary, m_text;
};

}  // namespace

http::Response answer_batch(http::Request& request,
                            const std::function<http::Response(http::Request&)>& serve) {
    auto boundary = boundary_of(request.headers.get("Content-Type"));
    auto text = http::read_text(request, 64 << 20);
    Batch batch(request, serve);
    batch.run(text, boundary, 0);
    return batch.finish();
}

}  // namespace devserver::rest
