// A request and a response as the rest of the server sees them; bodies are streams.
// Owner: http/; a message belongs to the thread of its connection.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/body.h"
#include "base/text.h"

namespace devserver::http {

// The connection cannot go on: closed, reset, timed out or ended by a fault.
struct ConnectionLost : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A request that is refused before any application code sees it.
struct BadRequest : std::runtime_error {
    BadRequest(int status_code, const std::string& text) : std::runtime_error(text), status(status_code) {}
    int status;
};

class Headers {
public:
    void Add(std::string name, std::string value);
    // Replaces all headers of this name.
    void Set(std::string name, std::string value);
    void Remove(std::string_view name);
    // First value of this name (ignoring case), empty when there is none.
    std::string get(std::string_view name) const;
    bool Has(std::string_view name) const;
    const std::vector<std::pair<std::string, std::string>>& all() const { return m_fields; }

private:
    std::vector<std::pair<std::string, std::string>> m_fields;
};

// What the application keeps with a request from plan() to finished().
struct Attachment {
    virtual ~Attachment() = default;
};

// What the application keeps with a connection from one request to the next.
struct ConnectionMemory {
    std::shared_ptr<Attachment> sign_in;
};

struct Request {
    std::string method;
    std::string target;    // as sent, blanks escaped
    std::string raw_path;  // the target up to '?', undecoded
    std::string path;      // decoded once
    std::string query_text;
    QueryParameters query;
    Headers headers;
    int minor_version = 1;
    bool keep_alive = true;
    bool chunked = false;
    std::optional<std::uint64_t> content_length;
    std::string base_url;  // scheme, host and port as the client named them
    BodySource* body = nullptr;
    std::shared_ptr<Attachment> attachment;
    ConnectionMemory* connection = nullptr;

    bool HasBody() const { return chunked || content_length.value_or(0) > 0; }
};

// The whole body as text; throws BadRequest 413 beyond `limit`.
std::string ReadText(Request& request, std::size_t limit = 4 << 20);

struct Response {
    int status = 200;
    Headers headers;
    std::string text;  // used unless `file` or `producer` is set
    std::shared_ptr<FileBody> file;
    std::uint64_t file_offset = 0;
    std::uint64_t file_length = 0;
    std::function<void(BodySink&)> producer;  // writes the body; its length isn't known before
    bool close = false;                       // end the connection after this answer
    bool keep = false;                        // read a refused body of any size, to keep the connection
};

Response MakeResponse(int status, std::string content_type, std::string text);
Response NotFoundPage();
Response Forbidden();
// Cuts a whole file answer to the one range of bytes that the request asks for, or makes it a 416.
void ApplyRange(const Request& request, Response& response);
// Turns any kind of body into text; for answers that are known to be small.
void Materialise(Response& response);
std::string_view ReasonPhrase(int status);

// What goes wrong on the wire in one exchange; set by the fault plan.
struct WirePlan {
    bool stall_before_answer = false;
    bool close_before_answer = false;
    bool stall_in_headers = false;
    std::optional<std::uint64_t> stall_down_after, drop_down_after, stall_up_after, drop_up_after;
    std::optional<std::int64_t> length_error;  // added to the announced content length
    std::int64_t bytes_per_second = 0;         // 0: unlimited
    int delay_milliseconds = 0;
};

// The result of one exchange, for the request log.
struct ExchangeResult {
    int status = 0;  // 0: nothing was answered
    std::uint64_t bytes_in = 0;
    std::uint64_t bytes_out = 0;
};

// What the HTTP layer serves; all operations are called from many connection threads at once.
class Application {
public:
    virtual ~Application() = default;
    // True: the connection is accepted and then never served.
    virtual bool StallConnection() = 0;
    virtual WirePlan plan(Request& request) = 0;
    virtual Response Handle(Request& request) = 0;
    virtual void finished(const Request& request, const ExchangeResult& result) = 0;
};

}  // namespace devserver::http
