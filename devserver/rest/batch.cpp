#include "rest/batch.h"

#include "base/crypto.h"
#include "base/text.h"
#include "http/parser.h"

namespace devserver::rest {
namespace {

class TextSource : public BodySource {
public:
    explicit TextSource(std::string_view text) : m_text(text) {}
    std::size_t Read(char* buffer, std::size_t size) override {
        auto count = m_text.copy(buffer, size);
        m_text.remove_prefix(count);
        return count;
    }

private:
    std::string_view m_text;
};

std::string BoundaryOf(std::string_view content_type) {
    auto at = FindIgnoringCase(content_type, "boundary=");
    if (at == std::string_view::npos) return {};
    auto value = content_type.substr(at + 9);
    value = value.substr(0, value.find(';'));
    value = Trim(value);
    if (value.size() >= 2 && value.front() == '"') value = value.substr(1, value.size() - 2);
    return std::string(value);
}

// The parts between the boundaries, without the line breaks around them.
std::vector<std::string> PartsOf(const std::string& text, const std::string& boundary) {
    std::vector<std::string> parts;
    auto mark = "--" + boundary;
    auto at = text.find(mark);
    while (!boundary.empty() && at != std::string::npos) {
        auto begin = at + mark.size();
        auto next = text.find(mark, begin);
        if (next == std::string::npos) break;
        parts.emplace_back(Trim(std::string_view(text).substr(begin, next - begin)));
        at = next;
    }
    return parts;
}

// Clients end lines with and without a carriage return.
std::pair<std::string, std::string> SplitAtEmptyLine(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        auto end = text.find('\n', at);
        if (end == std::string::npos) break;
        if (Trim(std::string_view(text).substr(at, end - at)).empty())
            return {text.substr(0, at), text.substr(end + 1)};
        at = end + 1;
    }
    return {text, ""};
}

std::string PartText(http::Response response) {
    http::Materialise(response);
    std::string text = "HTTP/1.1 " + std::to_string(response.status) + " ";
    text += http::ReasonPhrase(response.status);
    text += "\r\nCONTENT-TYPE: " + response.headers.get("Content-Type") + "\r\n";
    if (auto etag = response.headers.get("ETag"); !etag.empty()) text += "ETAG: " + etag + "\r\n";
    return text + "\r\n" + response.text + "\r\n";
}

class Batch {
public:
    Batch(const http::Request& outer, const std::function<http::Response(http::Request&)>& serve)
        : m_outer(outer), m_serve(serve), m_boundary("batchresponse_" + RandomGuid()) {}

    void Run(const std::string& text, const std::string& boundary, int depth) {
        for (const auto& part : PartsOf(text, boundary)) {
            auto [head, body] = SplitAtEmptyLine(part);
            if (FindIgnoringCase(head, "multipart/mixed") != std::string::npos && depth == 0) {
                Run(body, BoundaryOf(head), 1);
            } else {
                Add(Answer(body));
            }
        }
    }

    http::Response Finish() {
        return http::MakeResponse(200, "multipart/mixed; boundary=\"" + m_boundary + "\"; charset=utf-8",
                                  m_text + "--" + m_boundary + "--\r\n");
    }

private:
    std::string Answer(const std::string& text) {
        auto [head, body] = SplitAtEmptyLine(text);
        try {
            http::RequestParser parser;
            auto request = parser.ParseHead(Absolute(head) + "\r\nHost: batch\r\n\r\n");
            request.base_url = m_outer.base_url;
            request.chunked = false;
            request.content_length = body.size();
            TextSource source(body);
            request.body = &source;
            return PartText(m_serve(request));
        } catch (const http::BadRequest& error) {
            return PartText(http::MakeResponse(400, "text/plain", error.what()));
        }
    }

    // Drops headers about the part's transport; the body is the rest of the part.
    static std::string Absolute(const std::string& head) {
        std::string result;
        for (const auto& line : Split(head, '\n')) {
            auto text = std::string(Trim(line));
            bool transport = StartsWithIgnoringCase(text, "Content-Length:") ||
                             StartsWithIgnoringCase(text, "Host:") ||
                             StartsWithIgnoringCase(text, "Transfer-Encoding:");
            if (!text.empty() && !transport) result += (result.empty() ? "" : "\r\n") + text;
        }
        return result;
    }

    void Add(const std::string& text) {
        m_text += "--" + m_boundary +
                  "\r\nContent-Type: application/http\r\nContent-Transfer-Encoding: binary\r\n\r\n" + text;
    }

    const http::Request& m_outer;
    const std::function<http::Response(http::Request&)>& m_serve;
    std::string m_boundary, m_text;
};

}  // namespace

http::Response AnswerBatch(http::Request& request,
                           const std::function<http::Response(http::Request&)>& serve) {
    auto boundary = BoundaryOf(request.headers.get("Content-Type"));
    auto text = http::ReadText(request, 64 << 20);
    Batch batch(request, serve);
    batch.Run(text, boundary, 0);
    return batch.Finish();
}

}  // namespace devserver::rest
