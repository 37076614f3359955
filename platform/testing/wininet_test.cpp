// Requests as a server sees them, answers as callers see them, redirects, and handles used wrongly.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <thread>

#include "platform/posix/internet/open_handles.h"
#include "testing/client.h"
#include "tests/support/loopback/raw_server.h"

namespace testing_support {
namespace {

using platform::internet::OpenHandleCount;

std::u16string QueryText(HINTERNET request, DWORD level) {
    char16_t buffer[1024];
    DWORD size = sizeof buffer;
    return HttpQueryInfoW(request, level, buffer, &size, nullptr) ? std::u16string(buffer, size / 2)
                                                                  : u"failed";
}

std::u16string FinalUrl(HINTERNET request) {
    char16_t buffer[2084];
    DWORD size = 2084;
    return InternetQueryOptionW(request, INTERNET_OPTION_URL, buffer, &size) ? std::u16string(buffer, size)
                                                                             : u"failed";
}

std::string Location(const RawServer& server, const char* path, const char* host = "127.0.0.1") {
    return std::string("Location: http://") + host + ":" + std::to_string(server.port()) + path + "\r\n";
}

TEST(Request, SendsTheTargetAndTheHeadersThatWereSet) {
    Exchange seen;
    RawServer server([&](Exchange& exchange) {
        seen = exchange;
        exchange.answer("200 OK");
    });
    Client client(server.port());
    LPCWSTR accept[] = {u"application/json", u"*/*", nullptr};
    const Handle request = HttpOpenRequestW(client.connection, u"GET", u"a b/\u00FC?x=%20", nullptr, nullptr,
                                            accept, INTERNET_FLAG_NO_COOKIES, 0);
    ASSERT_TRUE(HttpAddRequestHeadersW(request, u"Cookie: a=b; c=d\n", static_cast<DWORD>(-1),
                                       HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE));
    ASSERT_EQ(Send(request, u"X-One: 1\nX-Two: 2\r\ncontent-length: 0\n"), 0u);
    EXPECT_EQ(Status(request), 200u);
    EXPECT_EQ(seen.method, "GET");
    EXPECT_EQ(seen.target, "/a%20b/%C3%BC?x=%20");
    EXPECT_EQ(seen.header("Accept"), "application/json, */*");
    EXPECT_EQ(seen.header("Cookie"), "a=b; c=d");
    EXPECT_EQ(seen.header("X-Two"), "2");
    EXPECT_EQ(seen.header("User-Agent"), "test-agent");
    EXPECT_EQ(seen.count_header("Content-Length"), 1);
    for (const char* absent : {"Expect", "Accept-Encoding", "Authorization", "Content-Type"})
        EXPECT_EQ(seen.count_header(absent), 0) << absent;
    // Sent again, headers replace those of before.
    ASSERT_EQ(Send(request, u"X-One: 3\n"), 0u);
    EXPECT_EQ(seen.header("X-One"), "3");
    EXPECT_EQ(seen.count_header("X-One"), 1);
}

TEST(Request, BodiesAndVerbsArriveWhole) {
    Exchange seen;
    RawServer server([&](Exchange& exchange) {
        seen = exchange;
        exchange.answer("201 Created", "", "made");
    });
    Client client(server.port());
    std::string body(300'000, 'b');
    const Handle request = client.Open(u"MERGE", u"/x");
    ASSERT_TRUE(HttpSendRequestW(request, u"Content-Type: text/xml\n", static_cast<DWORD>(-1), body.data(),
                                 static_cast<DWORD>(body.size())));
    EXPECT_EQ(seen.method, "MERGE");
    EXPECT_EQ(seen.body, body);
    EXPECT_EQ(seen.header("Content-Type"), "text/xml");
    const Handle head = client.Open(u"HEAD", u"/x");
    ASSERT_EQ(Send(head), 0u);
    DWORD error = 0;
    EXPECT_EQ(ReadAll(head, error), "");
    EXPECT_EQ(error, 0u);
    const Handle empty_post = client.Open(u"POST", u"/x");
    ASSERT_EQ(Send(empty_post), 0u);
    EXPECT_EQ(seen.header("Content-Length"), "0");
}

TEST(Answer, HeadersAreFoundByNameAndAsAWhole) {
    RawServer server([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200\r\nX-A: 1\r\nContent-Length: 0\r\nx-a: second value\r\n\r\n");
    });
    Client client(server.port());
    const Handle request = client.Open(u"GET", u"/");
    char16_t buffer[64] = u"X-A";
    DWORD size = sizeof buffer, index = 0;
    EXPECT_FALSE(HttpQueryInfoW(request, HTTP_QUERY_STATUS_CODE, buffer, &size, nullptr));
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(QueryText(request, HTTP_QUERY_STATUS_TEXT), u"");
    EXPECT_EQ(QueryText(request, HTTP_QUERY_STATUS_CODE), u"200");
    EXPECT_EQ(QueryText(request, HTTP_QUERY_RAW_HEADERS),
              std::u16string(u"HTTP/1.1 200\0X-A: 1\0Content-Length: 0\0x-a: second value\0", 56));
    ASSERT_TRUE(HttpQueryInfoW(request, HTTP_QUERY_CUSTOM, buffer, &size, &index));
    EXPECT_EQ(std::u16string(buffer), u"1");
    EXPECT_EQ(size, 2u);
    char16_t small[4] = u"X-A";
    size = sizeof small;
    EXPECT_FALSE(HttpQueryInfoW(request, HTTP_QUERY_CUSTOM, small, &size, &index));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, 26u);
    EXPECT_EQ(index, 1u);
    std::u16string(u"X-A").copy(buffer, 4);
    buffer[3] = 0;
    size = sizeof buffer;
    ASSERT_TRUE(HttpQueryInfoW(request, HTTP_QUERY_CUSTOM, buffer, &size, &index));
    EXPECT_EQ(std::u16string(buffer), u"second value");
    std::u16string(u"X-A").copy(buffer, 4);
    buffer[3] = 0;
    EXPECT_FALSE(HttpQueryInfoW(request, HTTP_QUERY_CUSTOM, buffer, &size, &index));
    EXPECT_EQ(GetLastError(), ERROR_HTTP_HEADER_NOT_FOUND);
}

// Whether a program that the process starts would inherit a connection to the port.
bool IsInherited(unsigned short port) {
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        const bool leads_there = getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
                                 peer.sin_family == AF_INET && ntohs(peer.sin_port) == port;
        if (leads_there && !(fcntl(descriptor, F_GETFD) & FD_CLOEXEC)) return true;
    }
    return false;
}

TEST(Request, ConnectionsAreNotInherited) {
    RawServer server([](Exchange& exchange) { exchange.answer("200 OK"); });
    Client client(server.port());
    const Handle request = client.Open(u"GET", u"/");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_FALSE(IsInherited(server.port()));
}

TEST(Redirect, SecretsStayWithTheirHost) {
    std::atomic<bool> leaked{false};
    RawServer other([&](Exchange& exchange) {
        for (const char* secret : {"Cookie", "Authorization", "X-RequestDigest"})
            leaked = leaked || exchange.count_header(secret);
        exchange.answer("200 OK", "", exchange.header("X-Kept"));
    });
    RawServer server([&](Exchange& exchange) {
        if (exchange.target == "/away") exchange.answer("302 Found", Location(other, "/there"), "moved");
        if (exchange.target == "/near") exchange.answer("301 Moved", "Location: here?x\r\n");
        if (exchange.target == "/here?x") exchange.answer("200 OK", "", exchange.header("Cookie"));
    });
    Client client(server.port());
    const char16_t* headers =
        u"Cookie: FedAuth=secret\nAuthorization: Bearer secret\nX-RequestDigest: 0x1\nX-Kept: yes\n";
    DWORD error = 0;
    const Handle away = client.Open(u"GET", u"/away");
    ASSERT_EQ(Send(away, headers), 0u);
    EXPECT_EQ(ReadAll(away, error), "yes");
    EXPECT_FALSE(leaked);
    EXPECT_EQ(FinalUrl(away), other.url(u"/there"));
    const Handle near = client.Open(u"GET", u"/near");
    ASSERT_EQ(Send(near, headers), 0u);
    EXPECT_EQ(ReadAll(near, error), "FedAuth=secret");
    EXPECT_EQ(FinalUrl(near), server.url(u"/here?x"));
    EXPECT_EQ(server.connections(), 1);
}

TEST(Redirect, APostBecomesAGetAfter302AndIsSentAgainAfter307) {
    std::string seen;
    RawServer server([&](Exchange& exchange) {
        if (exchange.target == "/302") return void(exchange.answer("302 Found", "Location: /end\r\n"));
        if (exchange.target == "/307") return void(exchange.answer("307 Temporary", "Location: /end\r\n"));
        seen = exchange.method + " " + exchange.body + " " + exchange.header("Content-Type");
        exchange.answer("200 OK");
    });
    Client client(server.port());
    char body[] = "form";
    const char16_t* type = u"Content-Type: text/plain\n";
    const Handle form = client.Open(u"POST", u"/302");
    ASSERT_TRUE(HttpSendRequestW(form, type, static_cast<DWORD>(-1), body, 4));
    EXPECT_EQ(seen, "GET  ");
    const Handle kept = client.Open(u"POST", u"/307");
    ASSERT_TRUE(HttpSendRequestW(kept, type, static_cast<DWORD>(-1), body, 4));
    EXPECT_EQ(seen, "POST form text/plain");
}

TEST(Redirect, ABodyStaysWithItsHost) {
    RawServer other([](Exchange& exchange) { exchange.answer("200 OK"); });
    std::string status;
    RawServer server([&](Exchange& exchange) { exchange.answer(status, Location(other, "/there")); });
    Client client(server.port());
    char body[] = "document";
    for (const char* moved : {"307 Temporary", "308 Permanent"}) {
        status = moved;
        const Handle post = client.Open(u"POST", u"/");
        EXPECT_FALSE(HttpSendRequestW(post, nullptr, 0, body, 8));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_HTTP_REDIRECT_FAILED));
        EXPECT_EQ(Upload(client.Open(u"PUT", u"/"), body), static_cast<DWORD>(ERROR_HTTP_REDIRECT_FAILED));
    }
    EXPECT_EQ(other.requests(), 0);
    status = "302 Found";
    const Handle form = client.Open(u"POST", u"/");
    EXPECT_TRUE(HttpSendRequestW(form, nullptr, 0, body, 8)) << "followed by a GET without the body";
    EXPECT_EQ(other.requests(), 1);
}

TEST(Redirect, EndsAtForeignSchemesAndInCircles) {
    RawServer server([](Exchange& exchange) {
        exchange.answer("302 Found", exchange.target == "/file" ? "Location: file:///etc/passwd\r\n"
                                                                : "Location: /again\r\n");
    });
    Client client(server.port());
    EXPECT_EQ(Send(client.Open(u"GET", u"/file")), static_cast<DWORD>(ERROR_HTTP_REDIRECT_FAILED));
    EXPECT_EQ(Send(client.Open(u"GET", u"/circle")), static_cast<DWORD>(ERROR_HTTP_REDIRECT_FAILED));
    EXPECT_EQ(server.requests(), 12);
}

TEST(Handles, WrongUseIsAnErrorAndNeverACrash) {
    RawServer server([](Exchange& exchange) { exchange.answer("200 OK", "", "body"); });
    char buffer[8];
    DWORD count = 0;
    for (HINTERNET bad : {HINTERNET{nullptr}, reinterpret_cast<HINTERNET>(7)}) {
        EXPECT_FALSE(InternetReadFile(bad, buffer, 8, &count));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
        EXPECT_FALSE(InternetCloseHandle(bad));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    HINTERNET session = InternetOpenW(u"", 0, nullptr, nullptr, 0);
    HINTERNET connection = InternetConnectW(session, u"127.0.0.1", server.port(), nullptr, nullptr, 3, 0, 0);
    HINTERNET request = HttpOpenRequestW(connection, u"GET", u"", nullptr, nullptr, nullptr, 0, 0);
    EXPECT_FALSE(InternetReadFile(session, buffer, 8, &count));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INTERNET_INCORRECT_HANDLE_TYPE));
    EXPECT_FALSE(InternetReadFile(request, buffer, 8, &count));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INTERNET_INCORRECT_HANDLE_STATE));
    EXPECT_FALSE(InternetWriteFile(request, buffer, 8, &count));
    EXPECT_FALSE(HttpEndRequestW(request, nullptr, 0, 0));
    // Parents may be closed first.
    EXPECT_TRUE(InternetCloseHandle(session));
    EXPECT_TRUE(InternetCloseHandle(connection));
    EXPECT_EQ(Send(request), 0u);
    DWORD error = 0;
    EXPECT_EQ(ReadAll(request, error), "body");
    EXPECT_TRUE(InternetCloseHandle(request));
    EXPECT_FALSE(InternetCloseHandle(request));
    EXPECT_EQ(Send(request), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(InternetConnectW(connection, u"h", 80, nullptr, nullptr, 3, 0, 0));
}

TEST(Handles, CallsThatFailLeaveNoneOpen) {
    const std::size_t before = OpenHandleCount();
    {
        Client client(1);
        EXPECT_FALSE(InternetOpenW(u"agent\r\n", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
        EXPECT_FALSE(InternetConnectW(client.session, u"bad host", 80, nullptr, nullptr, 3, 0, 0));
        EXPECT_FALSE(HttpOpenRequestW(client.connection, u"G E T", u"/", nullptr, nullptr, nullptr, 0, 0));
        LPCWSTR accept[] = {u"text/html\r\nX-Injected: 1", u"bad\x01type", nullptr};
        EXPECT_FALSE(HttpOpenRequestW(client.connection, u"GET", u"/", nullptr, nullptr, accept, 0, 0));
        EXPECT_EQ(OpenHandleCount(), before + 2);
    }
    EXPECT_EQ(OpenHandleCount(), before);
}

TEST(Handles, ClosingEndsACallOnAnotherThread) {
    std::atomic<bool> asked{false};
    RawServer server([&](Exchange& exchange) {
        asked = true;
        exchange.stall();
    });
    Client client(server.port());
    HINTERNET request = HttpOpenRequestW(client.connection, u"GET", u"/", nullptr, nullptr, nullptr, 0, 0);
    DWORD error = 0;
    std::thread sender([&] { error = Send(request); });
    while (!asked) std::this_thread::yield();
    EXPECT_TRUE(InternetCloseHandle(request));
    sender.join();
    EXPECT_EQ(error, static_cast<DWORD>(ERROR_INTERNET_OPERATION_CANCELLED));
}

TEST(Connections, AreSharedByAllThreadsOfASession) {
    RawServer server([](Exchange& exchange) { exchange.answer("200 OK", "", exchange.target); });
    Client client(server.port());
    constexpr int kThreads = 4, kRequests = 40;
    std::atomic<int> good{0};
    const auto work = [&](int thread) {
        for (int i = 0; i < kRequests; ++i) {
            const std::string path = "/" + std::to_string(thread * kRequests + i);
            const Handle request = client.Open(u"GET", std::u16string(path.begin(), path.end()).c_str());
            DWORD error = Send(request);
            if (!error && ReadAll(request, error) == path && !error) ++good;
        }
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(work, thread);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(good, kThreads * kRequests);
    EXPECT_LE(server.connections(), kThreads);
}

class Tls : public testing::Test {
protected:
    void SetUp() override {
        m_server.reset(RawServer::with_tls(
            [this](Exchange& exchange) {
                exchange.answer(m_headers.empty() ? "200 OK" : "302 Found", m_headers, m_body);
            },
            m_pem));
        char name[] = "/tmp/platform-ca-XXXXXX";
        const int file = mkstemp(name);
        ASSERT_GE(file, 0);
        close(file);
        m_file = name;
        std::ofstream(m_file) << m_pem;
    }
    void TearDown() override {
        unsetenv("SSL_CERT_FILE");
        std::remove(m_file.c_str());
    }
    DWORD TryHost(LPCWSTR host, std::string& body) {
        Client client(m_server->port(), host);
        const Handle request = client.Open(u"GET", u"/", INTERNET_FLAG_SECURE);
        DWORD error = Send(request);
        if (!error) body = ReadAll(request, error);
        return error;
    }
    std::string m_pem, m_file;
    std::string m_headers;  // of a redirect, when there are any
    std::string m_body = "safe";
    std::unique_ptr<RawServer> m_server;
};

TEST_F(Tls, UnknownAuthoritiesAndOtherNamesAreRefused) {
    std::string body;
    EXPECT_EQ(TryHost(u"127.0.0.1", body), static_cast<DWORD>(ERROR_INTERNET_DECODING_FAILED));
    setenv("SSL_CERT_FILE", m_file.c_str(), 1);
    EXPECT_EQ(TryHost(u"127.0.0.1", body), 0u);
    EXPECT_EQ(body, "safe");
    EXPECT_EQ(TryHost(u"localhost", body), static_cast<DWORD>(ERROR_INTERNET_DECODING_FAILED));
    setenv("SSL_CERT_FILE", "/nonexistent", 1);
    EXPECT_NE(TryHost(u"127.0.0.1", body), 0u);
}

TEST_F(Tls, ARedirectToAPlainAddressIsNotFollowed) {
    setenv("SSL_CERT_FILE", m_file.c_str(), 1);
    RawServer plain([](Exchange& exchange) { exchange.answer("200 OK"); });
    m_headers = "Location: http://127.0.0.1:" + std::to_string(plain.port()) + "/there\r\n";
    std::string body;
    EXPECT_EQ(TryHost(u"127.0.0.1", body), static_cast<DWORD>(ERROR_INTERNET_HTTPS_TO_HTTP_ON_REDIR));
    EXPECT_EQ(plain.requests(), 0);
}

TEST_F(Tls, RecordsThatComeFasterThanTheyAreReadWait) {
    setenv("SSL_CERT_FILE", m_file.c_str(), 1);
    m_body.resize(6'000'000);
    for (std::size_t i = 0; i < m_body.size(); ++i) m_body[i] = static_cast<char>(i * 2654435761u >> 13);
    std::string body;
    EXPECT_EQ(TryHost(u"127.0.0.1", body), 0u);
    EXPECT_TRUE(body == m_body);
}

TEST(Security, AHandshakeThatNeverComesEndsInATimeOut) {
    RawServer plain([](Exchange&) {});
    Client client(plain.port());
    setenv("PLATFORM_CONNECT_TIMEOUT_MS", "300", 1);
    EXPECT_EQ(Send(client.Open(u"GET", u"/", INTERNET_FLAG_SECURE)),
              static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
    unsetenv("PLATFORM_CONNECT_TIMEOUT_MS");
    // The connection stands, so the limit for silence applies.
    setenv("PLATFORM_RECEIVE_TIMEOUT_MS", "300", 1);
    EXPECT_EQ(Send(client.Open(u"GET", u"/", INTERNET_FLAG_SECURE)),
              static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
    unsetenv("PLATFORM_RECEIVE_TIMEOUT_MS");
    DWORD milliseconds = 200;
    ASSERT_TRUE(InternetSetOptionW(client.connection, INTERNET_OPTION_CONNECT_TIMEOUT, &milliseconds, 4));
    EXPECT_EQ(Send(client.Open(u"GET", u"/", INTERNET_FLAG_SECURE)),
              static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
}

}  // namespace
}  // namespace testing_support
