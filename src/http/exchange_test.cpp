// Requests, uploads, answers and the log text of failures, against a real server.
#include "http/exchange.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/log.h"
#include "base/text/encoding.h"
#include "http/handle.h"
#include "http/log_text.h"
#include "http/retry.h"
#include "http/session.h"
#include "tests/support/loopback/loopback_test_server.h"
#include "tests/support/trace_log.h"

namespace {

using Http::Session;
using Request = LoopbackTestServer::Request;

std::shared_ptr<Session> Connect(const LoopbackTestServer& server) {
    return Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
}

Http::Response Send(Session& session, const char16_t* verb, const std::u16string& object,
                    const char* body = nullptr, ptrdiff_t size = 0, bool check_status = false) {
    return session.SendRequest(verb, object, nullptr, nullptr, body, size, check_status);
}

// These headers, and the two of every request with the token "tok".
void ExpectHeaders(const Request& request,
                   std::initializer_list<std::pair<const char*, const char*>> headers) {
    for (const auto& [name, value] : headers) EXPECT_EQ(request.Header(name), value) << name;
    EXPECT_EQ(request.Header("authorization"), "Bearer tok");
    EXPECT_EQ(request.Header("x-forms_based_auth_accepted"), "t");
}

TEST(SendRequest, WritesTheHeadersOfTheProtocol) {
    LoopbackTestServer server([](const Request&) { return Answer("200 OK"); });
    const auto session = Connect(server);
    session->SetCookies({{u"a", u"1"}, {u"b", u"2"}});
    session->SetAuthToken(u"tok");
    const char16_t* accept[] = {u"application/xml", u"text/xml", nullptr};
    session->SendRequest(u"PROPFIND", u"/a b/\u00E4'.pdf", accept, u"Depth: 1", nullptr, 0, true);
    const Request request = server.Requests().at(0);
    EXPECT_EQ(request.Line(), "PROPFIND /a%20b/%C3%A4'.pdf");
    ExpectHeaders(request, {{"accept", "application/xml, text/xml"},
                            {"depth", "1"},
                            {"cookie", "a=1; b=2"},
                            {"content-length", "0"}});
}

TEST(SendRequest, TakesTheLengthOfTextOnlyWhenNoneIsGiven) {
    LoopbackTestServer server([](const Request&) { return Answer("200 OK"); });
    const auto session = Connect(server);
    Send(*session, u"POST", u"x", "zero-ended");
    Send(*session, u"POST", u"x", "cut here", 3);
    const std::vector<Request> requests = server.Requests();
    EXPECT_EQ(requests.at(0).body, "zero-ended");
    EXPECT_EQ(requests.at(0).Header("content-length"), "10");
    EXPECT_EQ(requests.at(1).body, "cut");
}

TEST(SendRequest, JudgesTheStatusOnlyWhenAsked) {
    const struct {
        const char* status;
        bool throws;
    } rows[] = {{"200 OK", false}, {"204 No Content", false}, {"304 Not Modified", false},
                {"400 Bad", true}, {"404 Not Found", true},   {"500 Oops", true}};
    for (const auto& row : rows) {
        LoopbackTestServer server([&](const Request&) { return Answer(row.status); });
        const auto session = Connect(server);
        const auto status = static_cast<uint32_t>(std::stoi(row.status));
        EXPECT_EQ(Send(*session, u"GET", u"x").GetStatus(), status);
        if (!row.throws) {
            EXPECT_EQ(Send(*session, u"GET", u"x", nullptr, 0, true).GetStatus(), status);
            continue;
        }
        try {
            Send(*session, u"GET", u"x", nullptr, 0, true);
            FAIL() << row.status;
        } catch (const Http::HttpException& failure) {
            EXPECT_EQ(failure.status, status);
            EXPECT_EQ(failure.message, u"HTTP " + Widen(std::string(row.status).insert(3, ":")));
        }
    }
}

TEST(SendRequest, FailsWithTheNumberOfTheInternetLayer) {
    uint16_t port = 0;
    {
        port = LoopbackTestServer([](const Request&) { return std::string(); }).Port();
    }
    const auto session = Session::Create(u"http://", u"127.0.0.1", port, {}, {});
    try {
        Send(*session, u"GET", u"x");
        FAIL() << "no exception";
    } catch (const ApiException& failure) {
        EXPECT_EQ(failure.code, 12029u);
        EXPECT_TRUE(failure.message.starts_with(u"System error code 12029: ")) << ToUtf8(failure.message);
    }
}

TEST(Retries, AreTriedAsOftenAsTheRuleAllowsAndCountAsFailures) {
    const struct {
        std::vector<DWORD> outcomes;  // of one send after the other, 0 for a success
        DWORD error;
        size_t sends;
    } rows[] = {
        {{0}, 0, 1},
        {{5}, 5, 1},
        {{ERROR_RETRY, 0}, ERROR_RETRY, 2},
        {{ERROR_INTERNET_FORCE_RETRY, ERROR_RETRY, 0}, ERROR_RETRY, 3},
        {{ERROR_RETRY, ERROR_RETRY, ERROR_RETRY, 0}, ERROR_RETRY, 3},
        {{ERROR_RETRY, 12029, 0}, 12029, 2},
    };
    for (const auto& row : rows) {
        size_t sends = 0;
        const auto send = [&] {
            SetLastError(row.outcomes.at(sends));
            return row.outcomes.at(sends++) == 0;
        };
        EXPECT_EQ(Http::SendWithRetries(send, "Test", u"%i retries left"), row.error);
        EXPECT_EQ(sends, row.sends);
    }
}

TEST(Response, GivesItsBodyInBlocksAndItsHeadersInOrder) {
    const std::string body = [] {
        std::string bytes(100'000, ' ');
        for (size_t at = 0; at < bytes.size(); ++at) bytes[at] = static_cast<char>(at % 251);
        return bytes;
    }();
    const std::string long_value(5000, 'v');
    LoopbackTestServer server([&](const Request&) {
        return Answer("200 OK", body, "X-Twice: one\r\nx-twice: two\r\nX-Long: " + long_value + "\r\n");
    });
    const auto session = Connect(server);
    const Http::Response response = Send(*session, u"GET", u"x");
    EXPECT_EQ(response.GetHeaders(u"X-Twice"), (std::vector<std::u16string>{u"one", u"two"}));
    EXPECT_EQ(response.GetHeaders(u"X-Long"), std::vector<std::u16string>{Widen(long_value)});
    EXPECT_TRUE(response.GetHeaders(u"X-None").empty());
    const std::vector<std::u16string> lines = Http::GetHeaders(response.GetHandle());
    EXPECT_EQ(lines.front(), u"HTTP/1.1 200 OK");
    EXPECT_NE(std::find(lines.begin(), lines.end(), u"X-Long: " + Widen(long_value)), lines.end());
    char block[7];
    std::string read;
    for (int times = 0; times < 3; ++times) read.append(block, response.ReadBody(block, sizeof(block)));
    const size_t head = read.size();
    EXPECT_EQ(response.ReadBody(read), body.size() - head);
    EXPECT_EQ(read, body);
    EXPECT_EQ(response.ReadBody(block, sizeof(block)), 0u);
}

TEST(Response, FailsForABodyThatEndsEarly) {
    LoopbackTestServer server([](const Request&) {
        return std::string("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 100\r\n\r\nshort");
    });
    const auto session = Connect(server);
    const Http::Response response = Send(*session, u"GET", u"x");
    std::string body;
    EXPECT_THROW(response.ReadBody(body), ApiException);
}

struct BusyRow {
    const char* verb;
    const char* retry_after;
    size_t requests;
    const char* message;
};

TEST(SendRequest, WaitsOnceForABusyServer) {
    const BusyRow rows[] = {
        {"GET", "1", 2, "HTTP 503: Busy; try again in 1 s"},
        {"PROPFIND", "0", 2, "HTTP 503: Busy; try again in 0 s"},
        {"POST", "1", 1, "HTTP 503: Busy; try again in 1 s"},
        {"GET", "3600", 1, "HTTP 503: Busy; try again in 3600 s"},
        {"GET", "Wed, 21 Oct 2026 07:28:00 GMT", 1, "HTTP 503: Busy"},
    };
    for (const BusyRow& row : rows) {
        LoopbackTestServer server([&](const Request&) {
            return Answer("503 Busy", "", std::string("Retry-After: ") + row.retry_after + "\r\n");
        });
        const auto session = Connect(server);
        try {
            Send(*session, Widen(row.verb).c_str(), u"x", nullptr, 0, true);
            ADD_FAILURE() << row.retry_after;
        } catch (const Http::HttpException& failure) {
            EXPECT_EQ(ToUtf8(failure.message), row.message);
        }
        EXPECT_EQ(server.Requests().size(), row.requests) << row.verb << " " << row.retry_after;
    }
    int asked = 0;
    LoopbackTestServer server([&](const Request&) {
        return ++asked == 1 ? Answer("429 Slow", "", "Retry-After: 1\r\n") : Answer("200 OK", "here");
    });
    std::string body;
    Send(*Connect(server), u"GET", u"x", nullptr, 0, true).ReadBody(body);
    EXPECT_EQ(body, "here");
}

TEST(Response, WithoutARequestHasNoStatusAndNoBody) {
    const Http::Response response;
    EXPECT_EQ(response.GetStatus(), 0u);
    std::string body;
    EXPECT_THROW(response.ReadBody(body), ApiException);
    EXPECT_EQ(Http::HttpException(response, u"words").status, 0);
}

TEST(Upload, SendsItsBytesAsTheyComeAndEndsInAnAnswer) {
    LoopbackTestServer server([](const Request&) { return Answer("201 Created", "done"); });
    const auto session = Connect(server);
    session->SetAuthToken(u"tok");
    session->SetCookies({{u"a", u"1"}});
    const char16_t* accept[] = {u"*/*", nullptr};
    Http::Request upload = session->CreateRequest(u"doc/$value", accept, 11, u"X-RequestDigest:abc");
    EXPECT_EQ(upload.Write("hello ", 6), 6u);
    EXPECT_EQ(upload.Write("world", 5), 5u);
    const Http::Response response = upload.End();
    EXPECT_EQ(response.GetStatus(), 201u);
    EXPECT_EQ(upload.GetHandle(), nullptr) << "the answer owns the handle now";
    std::string body;
    response.ReadBody(body);
    EXPECT_EQ(body, "done");
    const Request request = server.Requests().at(0);
    EXPECT_EQ(request.Line(), "PUT /doc/$value");
    EXPECT_EQ(request.body, "hello world");
    ExpectHeaders(request, {{"content-length", "11"}, {"x-requestdigest", "abc"}, {"cookie", "a=1"}});
}

TEST(Upload, ThrowsTheStatusThatRefusesIt) {
    LoopbackTestServer server([](const Request&) { return Answer("423 Locked", "by bob"); });
    const auto session = Connect(server);
    Http::Request upload = session->CreateRequest(u"doc", nullptr, 3, nullptr);
    upload.Write("abc", 3);
    try {
        upload.End();
        FAIL() << "no exception";
    } catch (const Http::HttpException& failure) {
        EXPECT_EQ(failure.status, 423);
        EXPECT_EQ(failure.message, u"HTTP 423: Locked");
    }
}

TEST(LogText, HidesSecretsAndNames) {
    const struct {
        const char16_t* line;
        const char16_t* shown;
    } rows[] = {
        {u"HTTP/1.1 200 OK", u"HTTP/1.1 200 OK"},
        {u"Content-Type: text/html", u"Content-Type: text/html"},
        {u"Authorization: Bearer eyJ0.abc", u"Authorization: Bearer ..."},
        {u"authorization:Basic YTpi", u"authorization: Basic ..."},
        {u"Authorization: opaque", u"Authorization: ..."},
        {u"Set-Cookie: FedAuth=77u; path=/", u"Cookie: FedAuth..."},
        {u"Set-Cookie: rtFa=77u; path=/", u"Cookie: rtFa..."},
        {u"Set-Cookie: other=77u; path=/", u"Set-Cookie: ..."},
        {u"Cookie: a=b; FedAuth=c", u"Cookie: ..."},
        {u"X-RequestDigest:0xABC,23 Nov", u"X-RequestDigest: ..."},
        {u"Location: https://site/Plan.pdf?key=9", u"Location: https://xxxx/Xxxx.xxx?xxx=1"},
        {u"Destination:Docs/Plan.pdf", u"Destination:Xxxx/Xxxx.xxx"},
        {u"Link: <https://site/a>; rel=x", u"Link: <https://xxxx/x>; xxx=x"},
        {u"Proxy-Authorization: Basic cHJveA", u"Proxy-Authorization: Basic ..."},
        {u"Authentication-Info: rspauth=\"6629\"", u"Authentication-Info: ..."},
        {u"WWW-Authenticate: Basic realm=\"Plan\"", u"WWW-Authenticate: Xxxxx xxxxx=\"Xxxx\""},
        {u"Proxy-Authenticate: NTLM TlRM", u"Proxy-Authenticate: XXXX XxXX"},
        {u"Content-Location: /Docs/Plan.pdf", u"Content-Location: /Xxxx/Xxxx.xxx"},
        {u"Content-Disposition: inline; filename=Plan.pdf",
         u"Content-Disposition: xxxxxx; xxxxxxxx=Xxxx.xxx"},
        {u"X-MSDAVEXT_Error: 589829; Plan", u"X-MSDAVEXT_Error: 111111; Xxxx"},
        {u"X-Forms_Based_Auth_Required: /Plan", u"X-Forms_Based_Auth_Required: /Xxxx"},
        {u"X-Forms_Based_Auth_Return_Url: /Plan", u"X-Forms_Based_Auth_Return_Url: /Xxxx"},
    };
    for (const auto& row : rows) EXPECT_EQ(Http::HeaderLineForLog(row.line), row.shown) << ToUtf8(row.line);
    EXPECT_EQ(Http::HeadersForLog(u"A: 1\nX-RequestDigest:abc"), u"A: 1\nX-RequestDigest: ...\n");
    EXPECT_EQ(Http::BodyForLog("{\"Name\":\"Plan 7\"}"), u"{\"Xxxx\":\"Xxxx 1\"}");
    const std::u16string cut = Http::BodyForLog(std::string(1 << 20, 'a'));
    EXPECT_LT(cut.size(), 10'000u);
    EXPECT_TRUE(cut.ends_with(u"xxx..."));
}

// What is thrown must not depend on whether anything is logged.
TEST(LogText, OfABodyThatEndsEarlyHidesNoStatus) {
    LoopbackTestServer server([](const Request&) {
        return std::string("HTTP/1.1 404 Not Found\r\nConnection: close\r\nContent-Length: 100\r\n\r\nshort");
    });
    const auto session = Connect(server);
    const std::string log = testing_support::LogOf(
        1, [&] { EXPECT_THROW(Send(*session, u"GET", u"x", nullptr, 0, true), Http::HttpException); });
    EXPECT_NE(log.find("xxxxx...\n"), std::string::npos) << log;
}

TEST(LogText, OfAFailedRequestTellsTheExchangeWithoutItsSecrets) {
    LoopbackTestServer server([](const Request&) {
        return Answer("404 Not Found", "no Report.pdf here",
                      "Set-Cookie: FedAuth=hidden1\r\nX-RequestDigest: hidden2\r\n");
    });
    const auto session = Connect(server);
    session->SetAuthToken(u"hidden3");
    session->SetCookies({{u"FedAuth", u"hidden4"}});
    for (const int32_t level : {1, 4}) {
        const std::string log = testing_support::LogOf(level, [&] {
            EXPECT_THROW(
                session->SendRequest(u"POST", u"Docs/Report.pdf", nullptr, u"X-RequestDigest:hidden5\n",
                                     "{\"comment\":\"Report\"}", 0, true),
                Http::HttpException);
        });
        const std::string expected =
            "|1|Http::Session::SendRequest Unexpected HTTP code:\n\n>>> POST "
            "http://111.1.1.1/Xxxx/Xxxxxx.xxx\n"
            "X-Forms_Based_Auth_Accepted: t\nX-RequestDigest: ...\nAuthorization: Bearer ...\n"
            "Cookie: FedAuth...\n\n{\"xxxxxxx\":\"Xxxxxx\"}\n\n<<< http://111.1.1.1:";
        EXPECT_NE(log.find(expected), std::string::npos) << log;
        EXPECT_NE(log.find("HTTP/1.1 404 Not Found\nCookie: FedAuth...\nX-RequestDigest: ...\n"),
                  std::string::npos);
        EXPECT_NE(
            log.find("Expression '200 <= status && status < 400' caused throwing 'HTTP 404: Not Found'"),
            std::string::npos);
        EXPECT_EQ(log.find("hidden"), std::string::npos) << log;
        EXPECT_EQ(log.find("Report"), std::string::npos) << log;
    }
}

TEST(LogText, OfAFailedRequestKeepsTheServersCodeAndRequestId) {
    struct Row {
        const char* body;
        const char* shown;
    };
    const Row rows[] = {
        {R"({"error":{"code":"-2147024891, System.UnauthorizedAccessException","message":"Report"}})",
         "Error code: -2147024891, System.UnauthorizedAccessException\n"},
        {"<detail><errorcode xmlns=\"x\">0x81070985</errorcode></detail>", "Error code: 0x81070985\n"},
        {R"({"code":"http://host/Report"})", nullptr},
    };
    for (const Row& row : rows) {
        LoopbackTestServer server([&](const Request&) {
            return Answer("403 Forbidden", row.body, "SPRequestGuid: 1b2c3d4e-0001\r\n");
        });
        const auto session = Connect(server);
        const std::string log = testing_support::LogOf(Log::error, [&] {
            EXPECT_THROW(session->SendRequest(u"GET", u"a", nullptr, nullptr, nullptr, 0, true),
                         Http::HttpException);
        });
        EXPECT_NE(log.find("SPRequestGuid: 1b2c3d4e-0001\n"), std::string::npos) << log;
        EXPECT_NE(log.find(row.shown ? row.shown : "403"), std::string::npos) << log;
        EXPECT_EQ(log.find("Error code: ") != std::string::npos, row.shown != nullptr) << log;
        EXPECT_EQ(log.find("Report"), std::string::npos) << log;
    }
}

}  // namespace
