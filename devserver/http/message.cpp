#include "http/message.h"

#include <unistd.h>

#include <algorithm>

namespace devserver::http {

void Headers::Add(std::string name, std::string value) {
    m_fields.emplace_back(std::move(name), std::move(value));
}

void Headers::Set(std::string name, std::string value) {
    Remove(name);
    Add(std::move(name), std::move(value));
}

void Headers::Remove(std::string_view name) {
    std::erase_if(m_fields, [&](const auto& field) { return EqualsIgnoringCase(field.first, name); });
}

std::string Headers::get(std::string_view name) const {
    for (const auto& [key, value] : m_fields)
        if (EqualsIgnoringCase(key, name)) return value;
    return {};
}

bool Headers::Has(std::string_view name) const {
    return std::any_of(m_fields.begin(), m_fields.end(),
                       [&](const auto& field) { return EqualsIgnoringCase(field.first, name); });
}

void ApplyRange(const Request& request, Response& response) {
    auto size = static_cast<std::int64_t>(response.file->size());
    auto range = request.headers.get("Range");
    auto dash = range.find('-');
    bool single = range.starts_with("bytes=") && dash != std::string::npos && range.find(',') == range.npos;
    if (!single) return;
    auto from = ParseInteger(range.substr(6, dash - 6));
    auto to = ParseInteger(range.substr(dash + 1));
    if (!from && !to) return;
    auto begin = from ? *from : std::max<std::int64_t>(0, size - *to);
    auto end = from && to ? std::min(*to, size - 1) : size - 1;
    if (begin > end || begin < 0) {
        response = MakeResponse(416, "text/plain", "");
        response.headers.Set("Content-Range", "bytes */" + std::to_string(size));
        return;
    }
    response.status = 206;
    response.file_offset = static_cast<std::uint64_t>(begin);
    response.file_length = static_cast<std::uint64_t>(end - begin + 1);
    response.headers.Set("Content-Range", "bytes " + std::to_string(begin) + "-" + std::to_string(end) + "/" +
                                              std::to_string(size));
}

std::string ReadText(Request& request, std::size_t limit) {
    std::string text;
    if (!request.body || !request.HasBody()) return text;
    char buffer[16384];
    while (auto count = request.body->Read(buffer, sizeof buffer)) {
        if (text.size() + count > limit) throw BadRequest(413, "The request body is too large.");
        text.append(buffer, count);
    }
    return text;
}

Response NotFoundPage() {
    return MakeResponse(404, "text/html; charset=utf-8", "<html><body>404 NOT FOUND</body></html>");
}

Response Forbidden() {
    return MakeResponse(403, "text/plain; charset=utf-8", "403 FORBIDDEN");
}

Response MakeResponse(int status, std::string content_type, std::string text) {
    Response response;
    response.status = status;
    if (!content_type.empty()) response.headers.Set("Content-Type", std::move(content_type));
    response.text = std::move(text);
    return response;
}

namespace {
struct TextSink : BodySink {
    std::string text;
    void Write(std::string_view bytes) override { text += bytes; }
};
}  // namespace

void Materialise(Response& response) {
    if (response.producer) {
        TextSink sink;
        response.producer(sink);
        response.text = std::move(sink.text);
        response.producer = nullptr;
    } else if (response.file) {
        response.text.resize(response.file_length);
        std::size_t done = 0;
        while (done < response.text.size()) {
            auto count =
                ::pread(response.file->descriptor(), response.text.data() + done, response.text.size() - done,
                        static_cast<off_t>(response.file_offset + done));
            if (count <= 0) break;
            done += static_cast<std::size_t>(count);
        }
        response.text.resize(done);
        response.file.reset();
    }
}

std::string_view ReasonPhrase(int status) {
    struct Row {
        int status;
        std::string_view text;
    };
    static constexpr Row kRows[] = {{100, "Continue"},
                                    {200, "OK"},
                                    {201, "Created"},
                                    {202, "Accepted"},
                                    {204, "No Content"},
                                    {206, "Partial Content"},
                                    {207, "MULTI-STATUS"},
                                    {301, "Moved Permanently"},
                                    {302, "Found"},
                                    {303, "See Other"},
                                    {304, "Not Modified"},
                                    {307, "Temporary Redirect"},
                                    {308, "Permanent Redirect"},
                                    {400, "Bad Request"},
                                    {401, "Unauthorized"},
                                    {403, "Forbidden"},
                                    {404, "Not Found"},
                                    {405, "Method Not Allowed"},
                                    {406, "Not Acceptable"},
                                    {408, "Request Timeout"},
                                    {409, "Conflict"},
                                    {411, "Length Required"},
                                    {412, "Precondition Failed"},
                                    {413, "Payload Too Large"},
                                    {415, "Unsupported Media Type"},
                                    {416, "Range Not Satisfiable"},
                                    {423, "Locked"},
                                    {424, "Failed Dependency"},
                                    {429, "Too Many Requests"},
                                    {431, "Request Header Fields Too Large"},
                                    {500, "Internal Server Error"},
                                    {501, "Not Implemented"},
                                    {502, "Bad Gateway"},
                                    {503, "Service Unavailable"},
                                    {505, "HTTP Version Not Supported"},
                                    {507, "Insufficient Storage"}};
    for (const auto& row : kRows)
        if (row.status == status) return row.text;
    return "Status";
}

}  // namespace devserver::http
