#include "http/connection.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "base/clock.h"
#include "http/parser.h"

namespace devserver::http {
namespace {

constexpr int idle_seconds = 120;
constexpr int body_silence_seconds = 300;
constexpr std::size_t input_size = 256 * 1024;
constexpr std::size_t direct_answer_limit = 64 * 1024;
constexpr std::uint64_t max_drained_body = 1 << 20;

// Bytes that were received and not used yet.
class Input {
public:
    explicit Input(Transport& transport) : m_transport(transport), m_buffer(input_size, '\0') {}

    std::string_view pending() const { return {m_buffer.data() + m_begin, m_end - m_begin}; }
    void consume(std::size_t count) { m_begin += count; }

    // Reads more after what is pending; false when the client has closed.
    bool fill(int timeout_seconds) {
        if (m_begin > 0) {
            std::copy(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin),
                      m_buffer.begin() + static_cast<std::ptrdiff_t>(m_end), m_buffer.begin());
            m_end -= m_begin;
            m_begin = 0;
        }
        if (m_end == m_buffer.size()) throw BadRequest(400, "Bad Request - Invalid Chunk");
        auto count = m_transport.read(m_buffer.data() + m_end, m_buffer.size() - m_end, timeout_seconds);
        m_end += count;
        return count > 0;
    }

    std::size_t take(char* buffer, std::size_t size) {
        auto count = std::min(size, pending().size());
        std::copy_n(pending().data(), count, buffer);
        consume(count);
        return count;
    }

private:
    Transport& m_transport;
    std::string m_buffer;
    std::size_t m_begin = 0, m_end = 0;
};

// Lets a planned stall or reset happen at its byte, and cuts a block that would go beyond it.
std::uint64_t up_to_fault(Transport& transport, const std::optional<std::uint64_t>& stall_after,
                          const std::optional<std::uint64_t>& drop_after, std::uint64_t total,
                          std::uint64_t wanted) {
    if (stall_after && total >= *stall_after) transport.stall();
    if (drop_after && total >= *drop_after) transport.reset();
    for (const auto& limit : {stall_after, drop_after})
        if (limit) wanted = std::min(wanted, *limit - total);
    return wanted;
}

// Reads a request's body from the connection, after a "100 Continue" where the client waits for it.
class RequestBody : public BodySource {
public:
    RequestBody(Transport& transport, Input& input, RequestParser& parser, const Request& request,
                const WirePlan& plan)
        : m_transport(transport), m_input(input), m_parser(parser), m_plan(plan) {
        m_chunked = request.chunked;
        m_left = request.content_length.value_or(0);
        m_done = !request.has_body();
        m_expects_continue = equals_ignoring_case(request.headers.get("Expect"), "100-continue");
    }

    std::size_t read(char* buffer, std::size_t size) override {
        if (m_done) return 0;
        if (m_expects_continue) m_transport.write("HTTP/1.1 100 Continue\r\n\r\n");
        m_expects_continue = false;
        size = up_to_fault(m_transport, m_plan.stall_up_after, m_plan.drop_up_after, m_total, size);
        auto count = m_chunked ? read_chunked(buffer, size) : read_counted(buffer, size);
        m_total += count;
        return count;
    }

    bool done() const { return m_done; }
    bool small_rest() const { return !m_expects_continue && !m_chunked && m_left <= max_drained_body; }
    std::uint64_t total() const { return m_total; }

private:
    std::size_t read_counted(char* buffer, std::size_t size) {
        size = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_left));
        auto count = m_input.take(buffer, size);
        if (count == 0) count = m_transport.read(buffer, size, body_silence_seconds);
        if (count == 0) throw ConnectionLost("the upload broke off");
        m_left -= count;
        m_done = m_left == 0;
        return count;
    }

    std::size_t read_chunked(char* buffer, std::size_t size) {
        while (true) {
            RequestParser::Step step;
            if (!m_input.pending().empty()) step = m_parser.decode_chunked(m_input.pending(), buffer, size);
            m_input.consume(step.consumed);
            m_done = step.done;
            if (step.produced > 0 || m_done) return step.produced;
            if (step.consumed == 0 && !m_input.fill(body_silence_seconds))
                throw ConnectionLost("the upload broke off");
        }
    }

    Transport& m_transport;
    Input& m_input;
    RequestParser& m_parser;
    const WirePlan& m_plan;
    bool m_chunked, m_done, m_expects_continue;
    std::uint64_t m_left, m_total = 0;
};

// Writes an answer's body, with the planned faults at their byte.
class AnswerWriter {
public:
    AnswerWriter(Transport& transport, const WirePlan& plan) : m_transport(transport), m_plan(plan) {}

    void body(std::string_view bytes) {
        while (!bytes.empty()) {
            auto count = next_block(bytes.size());
            m_transport.write(bytes.substr(0, count));
            sent(count);
            bytes.remove_prefix(count);
        }
    }

    void file(int descriptor, std::uint64_t offset, std::uint64_t length) {
        while (length > 0) {
            auto count = next_block(length);
            m_transport.send_file(descriptor, offset, count);
            sent(count);
            offset += count;
            length -= count;
        }
    }

    std::uint64_t total() const { return m_total; }

private:
    std::uint64_t next_block(std::uint64_t wanted) {
        wanted = up_to_fault(m_transport, m_plan.stall_down_after, m_plan.drop_down_after, m_total, wanted);
        if (m_plan.bytes_per_second > 0)
            wanted = std::min<std::uint64_t>(
                wanted, static_cast<std::uint64_t>(std::max<std::int64_t>(1, m_plan.bytes_per_second / 10)));
        return wanted;
    }

    void sent(std::uint64_t count) {
        m_total += count;
        if (m_plan.bytes_per_second > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(static_cast<std::int64_t>(count) *
                                                                  1'000'000 / m_plan.bytes_per_second));
    }

    Transport& m_transport;
    const WirePlan& m_plan;
    std::uint64_t m_total = 0;
};

std::string head_text(const Response& response) {
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + " ";
    head += reason_phrase(response.status);
    head += "\r\n";
    for (const auto& [name, value] : response.headers.all()) head += name + ": " + value + "\r\n";
    return head + "\r\n";
}

// Collects a produced body: a small one is sent with its length, a larger one in chunks.
class ProducedBody : public BodySink {
public:
    ProducedBody(Response& response, AnswerWriter& writer, Transport& transport, bool chunks)
        : m_response(response), m_writer(writer), m_transport(transport), m_chunks(chunks) {}

    void write(std::string_view bytes) override {
        m_buffer += bytes;
        if (m_buffer.size() >= direct_answer_limit) flush();
    }

    void finish() {
        if (!m_started) {
            m_response.headers.set("Content-Length", std::to_string(m_buffer.size()));
            m_transport.write(head_text(m_response));
            m_writer.body(m_buffer);
            return;
        }
        flush();
        if (m_chunks) m_transport.write("0\r\n\r\n");
    }

private:
    void flush() {
        if (m_buffer.empty()) return;
        if (!m_started) {
            m_response.headers.set(m_chunks ? "Transfer-Encoding" : "Connection",
                                   m_chunks ? "chunked" : "close");
            m_transport.write(head_text(m_response));
            m_started = true;
        }
        if (m_chunks) {
            char size[24];
            auto length = std::snprintf(size, sizeof size, "%zx\r\n", m_buffer.size());
            m_transport.write({size, static_cast<std::size_t>(length)});
        }
        m_writer.body(m_buffer);
        if (m_chunks) m_transport.write("\r\n");
        m_buffer.clear();
    }

    Response& m_response;
    AnswerWriter& m_writer;
    Transport& m_transport;
    bool m_chunks, m_started = false;
    std::string m_buffer;
};

class Connection {
public:
    Connection(Transport& transport, Application& application, const std::string& scheme)
        : m_transport(transport), m_application(application), m_scheme(scheme), m_input(transport) {}

    void run() {
        m_transport.handshake();
        while (exchange()) {
        }
    }

private:
    // False ends the connection.
    bool exchange() {
        Request request;
        RequestParser parser;
        try {
            auto head = read_head();
            if (head.empty()) return false;
            request = parser.parse_head(head);
        } catch (const BadRequest& error) {
            refuse(error);
            return false;
        }
        request.base_url = m_scheme + "://" + host_of(request);
        auto plan = m_application.plan(request);
        RequestBody body(m_transport, m_input, parser, request, plan);
        request.body = &body;
        request.connection = &m_memory;
        ExchangeResult result;
        try {
            bool goes_on = answer(request, body, plan, result);
            log(request, body, result);
            return goes_on;
        } catch (...) {
            log(request, body, result);
            throw;
        }
    }

    void log(const Request& request, const RequestBody& body, ExchangeResult& result) {
        result.bytes_in = body.total();
        m_application.finished(request, result);
    }

    static std::string host_of(const Request& request) {
        auto host = request.headers.get("Host");
        bool clean = !host.empty() && host.find_first_of(" /\\\"'<>?#@") == std::string::npos;
        return clean ? host : "localhost";
    }

    std::string read_head() {
        using Clock = std::chrono::steady_clock;
        std::size_t searched = 0;
        auto begun = Clock::now();
        while (true) {
            auto pending = m_input.pending();
            if (auto end = pending.find("\r\n\r\n", searched > 3 ? searched - 3 : 0);
                end != std::string_view::npos) {
                std::string head(pending.substr(0, end + 4));
                m_input.consume(end + 4);
                if (head.size() > max_head_size) throw BadRequest(431, "The header is too large.");
                return head;
            }
            if (pending.size() > max_head_size) throw BadRequest(431, "The header is too large.");
            searched = pending.size();
            // A header that comes slowly must not keep its connection for ever.
            if (pending.empty()) begun = Clock::now();
            if (Clock::now() - begun > std::chrono::seconds(idle_seconds))
                throw BadRequest(408, "Request Timeout");
            if (!m_input.fill(idle_seconds)) return {};
        }
    }

    void refuse(const BadRequest& error) {
        auto response = make_response(error.status, "text/html; charset=us-ascii",
                                      "<html><body><h2>" + html_escape(error.what()) + "</h2></body></html>");
        response.headers.set("Content-Length", std::to_string(response.text.size()));
        response.headers.set("Connection", "close");
        m_transport.write(head_text(response) + response.text);
        m_transport.linger();
    }

    bool answer(Request& request, RequestBody& body, const WirePlan& plan, ExchangeResult& result) {
        if (plan.delay_milliseconds > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(plan.delay_milliseconds));
        if (plan.stall_before_answer) m_transport.stall();
        Response response;
        try {
            response = m_application.handle(request);
        } catch (const BadRequest& error) {
            response = make_response(error.status, "text/plain; charset=utf-8", error.what());
            response.close = true;
        }
        if (plan.close_before_answer) m_transport.reset();
        bool drained = drain(body, response.keep);
        bool keep = drained && request.keep_alive && !response.close;
        if (request.minor_version == 0 && keep) response.headers.set("Connection", "keep-alive");
        if (!keep) response.headers.set("Connection", "close");
        if (!response.headers.has("Date")) response.headers.set("Date", http_date(now()));
        result.status = response.status;
        if (plan.stall_in_headers) {
            auto head = head_text(response);
            m_transport.write(head.substr(0, head.size() / 2));
            m_transport.stall();
        }
        AnswerWriter writer(m_transport, plan);
        try {
            keep = send(request, response, plan, writer) && keep;
        } catch (...) {
            result.bytes_out = writer.total();
            throw;
        }
        result.bytes_out = writer.total();
        if (!drained) m_transport.linger();
        return keep;
    }

    // Reads the rest of a refused upload, when it is small or the connection has to be kept.
    static bool drain(RequestBody& body, bool any_size) {
        if (body.done()) return true;
        if (!any_size && !body.small_rest()) return false;
        char rest[16384];
        while (body.read(rest, sizeof rest) > 0) {
        }
        return true;
    }

    // Returns whether the connection may be kept.
    bool send(const Request& request, Response& response, const WirePlan& plan, AnswerWriter& writer) {
        bool bodiless = response.status == 204 || response.status == 304;
        if (bodiless) {
            m_transport.write(head_text(response));
            return true;
        }
        if (plan.length_error) materialise(response);
        if (response.producer && request.method != "HEAD") {
            ProducedBody produced(response, writer, m_transport, request.minor_version == 1);
            response.producer(produced);
            produced.finish();
            return request.minor_version == 1;
        }
        if (response.producer) materialise(response);
        auto length = response.file ? response.file_length : response.text.size();
        auto announced = static_cast<std::int64_t>(length) + plan.length_error.value_or(0);
        response.headers.set("Content-Length", std::to_string(std::max<std::int64_t>(0, announced)));
        auto head = head_text(response);
        if (request.method == "HEAD") {
            m_transport.write(head);
            return true;
        }
        if (response.file) {
            m_transport.write(head);
            writer.file(response.file->descriptor(), response.file_offset, response.file_length);
        } else {
            m_transport.write(head);
            writer.body(response.text);
        }
        return !plan.length_error;
    }

    Transport& m_transport;
    Application& m_application;
    const std::string& m_scheme;
    Input m_input;
    ConnectionMemory m_memory;
};

}  // namespace

void serve_connection(Transport& transport, Application& application, const std::string& scheme) {
    try {
        if (application.stall_connection()) transport.stall();
        Connection(transport, application, scheme).run();
    } catch (const std::exception&) {
        // A broken connection ends by itself; the server goes on.
    }
}

}  // namespace devserver::http
