#include "http/connection.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "base/clock.h"
#include "http/parser.h"

namespace devserver::http {
namespace {

constexpr int kIdleSeconds = 120;
constexpr int kBodySilenceSeconds = 300;
constexpr std::size_t kInputSize = 256 * 1024;
constexpr std::size_t kDirectAnswerLimit = 64 * 1024;
constexpr std::uint64_t kMaxDrainedBody = 1 << 20;

// Bytes that were received and not used yet.
class Input {
public:
    explicit Input(Transport& transport) : m_transport(transport), m_buffer(kInputSize, '\0') {}

    std::string_view Pending() const { return {m_buffer.data() + m_begin, m_end - m_begin}; }
    void Consume(std::size_t count) { m_begin += count; }

    // Reads more after what is pending; false when the client has closed.
    bool Fill(int timeout_seconds) {
        if (m_begin > 0) {
            std::copy(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin),
                      m_buffer.begin() + static_cast<std::ptrdiff_t>(m_end), m_buffer.begin());
            m_end -= m_begin;
            m_begin = 0;
        }
        if (m_end == m_buffer.size()) throw BadRequest(400, "Bad Request - Invalid Chunk");
        auto count = m_transport.Read(m_buffer.data() + m_end, m_buffer.size() - m_end, timeout_seconds);
        m_end += count;
        return count > 0;
    }

    std::size_t Take(char* buffer, std::size_t size) {
        auto count = std::min(size, Pending().size());
        std::copy_n(Pending().data(), count, buffer);
        Consume(count);
        return count;
    }

private:
    Transport& m_transport;
    std::string m_buffer;
    std::size_t m_begin = 0, m_end = 0;
};

// Lets a planned stall or reset happen at its byte, and cuts a block that would go beyond it.
std::uint64_t UpToFault(Transport& transport, const std::optional<std::uint64_t>& stall_after,
                        const std::optional<std::uint64_t>& drop_after, std::uint64_t total,
                        std::uint64_t wanted) {
    if (stall_after && total >= *stall_after) transport.Stall();
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
        m_done = !request.HasBody();
        m_expects_continue = EqualsIgnoringCase(request.headers.get("Expect"), "100-continue");
    }

    std::size_t Read(char* buffer, std::size_t size) override {
        if (m_done) return 0;
        if (m_expects_continue) m_transport.Write("HTTP/1.1 100 Continue\r\n\r\n");
        m_expects_continue = false;
        size = UpToFault(m_transport, m_plan.stall_up_after, m_plan.drop_up_after, m_total, size);
        auto count = m_chunked ? ReadChunked(buffer, size) : ReadCounted(buffer, size);
        m_total += count;
        return count;
    }

    bool done() const { return m_done; }
    bool SmallRest() const { return !m_expects_continue && !m_chunked && m_left <= kMaxDrainedBody; }
    std::uint64_t total() const { return m_total; }

private:
    std::size_t ReadCounted(char* buffer, std::size_t size) {
        size = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_left));
        auto count = m_input.Take(buffer, size);
        if (count == 0) count = m_transport.Read(buffer, size, kBodySilenceSeconds);
        if (count == 0) throw ConnectionLost("the upload broke off");
        m_left -= count;
        m_done = m_left == 0;
        return count;
    }

    std::size_t ReadChunked(char* buffer, std::size_t size) {
        while (true) {
            RequestParser::Step step;
            if (!m_input.Pending().empty()) step = m_parser.DecodeChunked(m_input.Pending(), buffer, size);
            m_input.Consume(step.consumed);
            m_done = step.done;
            if (step.produced > 0 || m_done) return step.produced;
            if (step.consumed == 0 && !m_input.Fill(kBodySilenceSeconds))
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
            auto count = NextBlock(bytes.size());
            m_transport.Write(bytes.substr(0, count));
            Sent(count);
            bytes.remove_prefix(count);
        }
    }

    void file(int descriptor, std::uint64_t offset, std::uint64_t length) {
        while (length > 0) {
            auto count = NextBlock(length);
            m_transport.SendFile(descriptor, offset, count);
            Sent(count);
            offset += count;
            length -= count;
        }
    }

    std::uint64_t total() const { return m_total; }

private:
    std::uint64_t NextBlock(std::uint64_t wanted) {
        wanted = UpToFault(m_transport, m_plan.stall_down_after, m_plan.drop_down_after, m_total, wanted);
        if (m_plan.bytes_per_second > 0)
            wanted = std::min<std::uint64_t>(
                wanted, static_cast<std::uint64_t>(std::max<std::int64_t>(1, m_plan.bytes_per_second / 10)));
        return wanted;
    }

    void Sent(std::uint64_t count) {
        m_total += count;
        if (m_plan.bytes_per_second > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(static_cast<std::int64_t>(count) *
                                                                  1'000'000 / m_plan.bytes_per_second));
    }

    Transport& m_transport;
    const WirePlan& m_plan;
    std::uint64_t m_total = 0;
};

std::string HeadText(const Response& response) {
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + " ";
    head += ReasonPhrase(response.status);
    head += "\r\n";
    for (const auto& [name, value] : response.headers.all()) head += name + ": " + value + "\r\n";
    return head + "\r\n";
}

// Collects a produced body: a small one is sent with its length, a larger one in chunks.
class ProducedBody : public BodySink {
public:
    ProducedBody(Response& response, AnswerWriter& writer, Transport& transport, bool chunks)
        : m_response(response), m_writer(writer), m_transport(transport), m_chunks(chunks) {}

    void Write(std::string_view bytes) override {
        m_buffer += bytes;
        if (m_buffer.size() >= kDirectAnswerLimit) Flush();
    }

    void Finish() {
        if (!m_started) {
            m_response.headers.Set("Content-Length", std::to_string(m_buffer.size()));
            m_transport.Write(HeadText(m_response));
            m_writer.body(m_buffer);
            return;
        }
        Flush();
        if (m_chunks) m_transport.Write("0\r\n\r\n");
    }

private:
    void Flush() {
        if (m_buffer.empty()) return;
        if (!m_started) {
            m_response.headers.Set(m_chunks ? "Transfer-Encoding" : "Connection",
                                   m_chunks ? "chunked" : "close");
            m_transport.Write(HeadText(m_response));
            m_started = true;
        }
        if (m_chunks) {
            char size[24];
            auto length = std::snprintf(size, sizeof size, "%zx\r\n", m_buffer.size());
            m_transport.Write({size, static_cast<std::size_t>(length)});
        }
        m_writer.body(m_buffer);
        if (m_chunks) m_transport.Write("\r\n");
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
    Connection(Transport& transport, Application& application, const ServerAddress& address)
        : m_transport(transport), m_application(application), m_address(address), m_input(transport) {}

    void Run() {
        m_transport.Handshake();
        while (Exchange()) {
        }
    }

private:
    // False ends the connection.
    bool Exchange() {
        Request request;
        RequestParser parser;
        try {
            auto head = ReadHead();
            if (head.empty()) return false;
            request = parser.ParseHead(head);
            RequireKnownHost(request);
        } catch (const BadRequest& error) {
            Refuse(error);
            return false;
        }
        request.base_url = m_address.scheme + "://" + HostOf(request);
        auto plan = m_application.plan(request);
        RequestBody body(m_transport, m_input, parser, request, plan);
        request.body = &body;
        request.connection = &m_memory;
        ExchangeResult result;
        try {
            bool goes_on = Answer(request, body, plan, result);
            Log(request, body, result);
            return goes_on;
        } catch (...) {
            Log(request, body, result);
            throw;
        }
    }

    void Log(const Request& request, const RequestBody& body, ExchangeResult& result) {
        result.bytes_in = body.total();
        m_application.finished(request, result);
    }

    void RequireKnownHost(const Request& request) const {
        auto host = request.headers.get("Host");
        if (!host.empty() && !m_address.names.Has(host))
            throw BadRequest(400, "Bad Request - Invalid Hostname (--host-name makes a name known)");
    }

    static std::string HostOf(const Request& request) {
        auto host = request.headers.get("Host");
        bool clean = !host.empty() && host.find_first_of(" /\\\"'<>?#@") == std::string::npos;
        return clean ? host : "localhost";
    }

    std::string ReadHead() {
        using Clock = std::chrono::steady_clock;
        std::size_t searched = 0;
        auto begun = Clock::now();
        while (true) {
            auto pending = m_input.Pending();
            if (auto end = pending.find("\r\n\r\n", searched > 3 ? searched - 3 : 0);
                end != std::string_view::npos) {
                std::string head(pending.substr(0, end + 4));
                m_input.Consume(end + 4);
                if (head.size() > kMaxHeadSize) throw BadRequest(431, "The header is too large.");
                return head;
            }
            if (pending.size() > kMaxHeadSize) throw BadRequest(431, "The header is too large.");
            searched = pending.size();
            // A header that comes slowly must not keep its connection for ever.
            if (pending.empty()) begun = Clock::now();
            if (Clock::now() - begun > std::chrono::seconds(kIdleSeconds))
                throw BadRequest(408, "Request Timeout");
            if (!m_input.Fill(kIdleSeconds)) return {};
        }
    }

    void Refuse(const BadRequest& error) {
        auto response = MakeResponse(error.status, "text/html; charset=us-ascii",
                                     "<html><body><h2>" + HtmlEscape(error.what()) + "</h2></body></html>");
        response.headers.Set("Content-Length", std::to_string(response.text.size()));
        response.headers.Set("Connection", "close");
        m_transport.Write(HeadText(response) + response.text);
        m_transport.Linger();
    }

    bool Answer(Request& request, RequestBody& body, const WirePlan& plan, ExchangeResult& result) {
        if (plan.delay_milliseconds > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(plan.delay_milliseconds));
        if (plan.stall_before_answer) m_transport.Stall();
        Response response;
        try {
            response = m_application.Handle(request);
        } catch (const BadRequest& error) {
            response = MakeResponse(error.status, "text/plain; charset=utf-8", error.what());
            response.close = true;
        }
        if (plan.close_before_answer) m_transport.reset();
        bool drained = Drain(body, response.keep);
        bool keep = drained && request.keep_alive && !response.close;
        if (request.minor_version == 0 && keep) response.headers.Set("Connection", "keep-alive");
        if (!keep) response.headers.Set("Connection", "close");
        if (!response.headers.Has("Date")) response.headers.Set("Date", HttpDate(Now()));
        result.status = response.status;
        if (plan.stall_in_headers) {
            auto head = HeadText(response);
            m_transport.Write(head.substr(0, head.size() / 2));
            m_transport.Stall();
        }
        AnswerWriter writer(m_transport, plan);
        try {
            keep = Send(request, response, plan, writer) && keep;
        } catch (...) {
            result.bytes_out = writer.total();
            throw;
        }
        result.bytes_out = writer.total();
        if (!drained) m_transport.Linger();
        return keep;
    }

    // Reads the rest of a refused upload, when it is small or the connection has to be kept.
    static bool Drain(RequestBody& body, bool any_size) {
        if (body.done()) return true;
        if (!any_size && !body.SmallRest()) return false;
        char rest[16384];
        while (body.Read(rest, sizeof rest) > 0) {
        }
        return true;
    }

    // Returns whether the connection may be kept.
    bool Send(const Request& request, Response& response, const WirePlan& plan, AnswerWriter& writer) {
        bool bodiless = response.status == 204 || response.status == 304;
        if (bodiless) {
            m_transport.Write(HeadText(response));
            return true;
        }
        if (plan.length_error) Materialise(response);
        if (response.producer && request.method != "HEAD") {
            ProducedBody produced(response, writer, m_transport, request.minor_version == 1);
            response.producer(produced);
            produced.Finish();
            return request.minor_version == 1;
        }
        if (response.producer) Materialise(response);
        auto length = response.file ? response.file_length : response.text.size();
        auto announced = static_cast<std::int64_t>(length) + plan.length_error.value_or(0);
        response.headers.Set("Content-Length", std::to_string(std::max<std::int64_t>(0, announced)));
        auto head = HeadText(response);
        if (request.method == "HEAD") {
            m_transport.Write(head);
            return true;
        }
        if (response.file) {
            m_transport.Write(head);
            writer.file(response.file->descriptor(), response.file_offset, response.file_length);
        } else {
            m_transport.Write(head);
            writer.body(response.text);
        }
        return !plan.length_error;
    }

    Transport& m_transport;
    Application& m_application;
    const ServerAddress& m_address;
    Input m_input;
    ConnectionMemory m_memory;
};

}  // namespace

void ServeConnection(Transport& transport, Application& application, const ServerAddress& address) {
    try {
        if (application.StallConnection()) transport.Stall();
        Connection(transport, application, address).Run();
    } catch (const std::exception&) {
        // A broken connection ends by itself; the server goes on.
    }
}

}  // namespace devserver::http
