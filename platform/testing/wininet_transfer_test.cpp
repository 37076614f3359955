// Bodies of both directions: streaming, memory, and every way in which a transfer can break.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <numeric>

#include "testing/client.h"
#include "tests/support/loopback/raw_server.h"

namespace testing_support {
namespace {

constexpr DWORD kAborted = ERROR_INTERNET_CONNECTION_ABORTED;

// Bytes that differ by their position.
std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 2654435761u >> 13);
    return bytes;
}

long PeakKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

DWORD Fetch(RawServer& server, std::string& body) {
    Client client(server.port());
    const Handle request = client.Open(u"GET", u"/");
    DWORD error = Send(request);
    if (!error) body = ReadAll(request, error);
    return error;
}

// Lowers the limits for silence while it lives.
struct ShortLimits {
    ShortLimits() { setenv("PLATFORM_RECEIVE_TIMEOUT_MS", "300", 1); }
    ~ShortLimits() { unsetenv("PLATFORM_RECEIVE_TIMEOUT_MS"); }
};

TEST(Download, BlocksOfEverySizeGiveTheSameBytes) {
    const std::string body = Pattern(1'500'000);
    RawServer server([&](Exchange& exchange) { exchange.answer("200 OK", "", body); });
    Client client(server.port());
    for (DWORD block : {7u, 1024u, 65536u, 2'000'000u}) {
        const Handle request = client.Open(u"GET", u"/");
        ASSERT_EQ(Send(request), 0u);
        DWORD error = 0;
        EXPECT_TRUE(ReadAll(request, error, block) == body) << block;
        EXPECT_EQ(error, 0u);
    }
    EXPECT_EQ(server.connections(), 1);
}

TEST(Download, HeadersComeBeforeTheBody) {
    std::atomic<bool> go{false};
    RawServer server([&](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n");
        while (!go) std::this_thread::yield();
        exchange.send("late");
    });
    Client client(server.port());
    const Handle request = client.Open(u"GET", u"/");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 200u);
    go = true;
    DWORD error = 0;
    EXPECT_EQ(ReadAll(request, error), "late");
}

TEST(Download, ChunkedAndOpenEndedBodiesEndWhereTheyShould) {
    std::string body;
    RawServer chunked([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nabcd\r\n");
        exchange.send("3;x=y\r\nefg\r\n0\r\nTrailer: late\r\n\r\n");
    });
    EXPECT_EQ(Fetch(chunked, body), 0u);
    EXPECT_EQ(body, "abcdefg");
    RawServer open_ended([](Exchange& exchange) {
        exchange.send("HTTP/1.0 200 OK\r\n\r\nto the end");
        exchange.drop();
    });
    EXPECT_EQ(Fetch(open_ended, body), 0u);
    EXPECT_EQ(body, "to the end");
}

TEST(Download, ShortBodiesFailAfterWhatCame) {
    std::string body;
    RawServer shorter([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this");
        exchange.drop();
    });
    EXPECT_EQ(Fetch(shorter, body), kAborted);
    EXPECT_EQ(body, "only this");
    RawServer cut([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nabcd\r\n5\r\nef");
        exchange.drop();
    });
    EXPECT_EQ(Fetch(cut, body), kAborted);
    EXPECT_EQ(body, "abcdef");
    RawServer broken([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzzz\r\n");
        exchange.drop();
    });
    EXPECT_NE(Fetch(broken, body), 0u);
}

TEST(Download, SilenceEndsInATimeOutWhereverItBegins) {
    const ShortLimits limits;
    std::string body;
    RawServer before([](Exchange& exchange) { exchange.stall(); });
    EXPECT_EQ(Fetch(before, body), static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
    RawServer in_headers([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-");
        exchange.stall();
    });
    EXPECT_EQ(Fetch(in_headers, body), static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
    RawServer in_body([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
        exchange.stall();
    });
    EXPECT_EQ(Fetch(in_body, body), static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
    EXPECT_EQ(body, "half");
}

TEST(Download, WhatIsNotHttpIsAnInvalidAnswer) {
    std::string body;
    RawServer nonsense([](Exchange& exchange) {
        exchange.send("SSH-2.0-x\r\n\r\n");
        exchange.drop();
    });
    EXPECT_EQ(Fetch(nonsense, body), static_cast<DWORD>(ERROR_HTTP_INVALID_SERVER_RESPONSE));
    RawServer nothing([](Exchange& exchange) { exchange.drop(); });
    EXPECT_EQ(Fetch(nothing, body), static_cast<DWORD>(ERROR_HTTP_INVALID_SERVER_RESPONSE));
    RawServer endless([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\n");
        while (exchange.send("X-Filler: " + std::string(2000, 'x') + "\r\n")) continue;
    });
    EXPECT_EQ(Fetch(endless, body), static_cast<DWORD>(ERROR_HTTP_INVALID_SERVER_RESPONSE));
    RawServer long_line([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nX: " + std::string(400'000, 'x') + "\r\n\r\n");
        exchange.drop();
    });
    EXPECT_EQ(Fetch(long_line, body), static_cast<DWORD>(ERROR_HTTP_INVALID_SERVER_RESPONSE));
}

TEST(Download, ServersThatCanNotBeReachedHaveTheirErrors) {
    unsigned short port;
    {
        RawServer gone([](Exchange&) {});
        port = gone.port();
    }
    Client refused(port);
    EXPECT_EQ(Send(refused.Open(u"GET", u"/")), static_cast<DWORD>(ERROR_INTERNET_CANNOT_CONNECT));
    Client unknown(80, u"no-such-host.invalid");
    EXPECT_EQ(Send(unknown.Open(u"GET", u"/")), static_cast<DWORD>(ERROR_INTERNET_NAME_NOT_RESOLVED));
}

TEST(Download, ALargeBodyIsNeverInMemory) {
    constexpr std::size_t kBlock = 1 << 20, kBlocks = 256;
    const std::string block = Pattern(kBlock);
    RawServer server([&](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kBlock * kBlocks) + "\r\n\r\n");
        for (std::size_t i = 0; i < kBlocks && exchange.send(block); ++i) continue;
    });
    Client client(server.port());
    const Handle request = client.Open(u"GET", u"/");
    ASSERT_EQ(Send(request), 0u);
    const long before = PeakKilobytes();
    std::string buffer(65536, '\0');
    std::size_t total = 0;
    for (DWORD count = 1; count; total += count)
        ASSERT_TRUE(InternetReadFile(request, buffer.data(), static_cast<DWORD>(buffer.size()), &count));
    EXPECT_EQ(total, kBlock * kBlocks);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr long kLimit = 128 * 1024;  // a sanitizer keeps freed and shadow memory
#else
    constexpr long kLimit = 16 * 1024;
#endif
    EXPECT_LT(PeakKilobytes() - before, kLimit);
}

TEST(Upload, ArrivesWholeWithOneLengthAndNoExpectHeader) {
    Exchange seen;
    RawServer server([&](Exchange& exchange) {
        seen = exchange;
        exchange.answer("201 Created", "X-Id: 5\r\n", "done");
    });
    Client client(server.port());
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{3'000'001}}) {
        const std::string body = Pattern(size);
        const Handle request = client.Open(u"PUT", u"/doc");
        const std::string length = "content-length:" + std::to_string(size) + "\n";
        ASSERT_TRUE(HttpAddRequestHeadersW(request, std::u16string(length.begin(), length.end()).c_str(),
                                           static_cast<DWORD>(-1),
                                           HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE));
        ASSERT_EQ(Upload(request, body, 100'000), 0u) << size;
        EXPECT_EQ(seen.method, "PUT");
        EXPECT_TRUE(seen.body == body);
        EXPECT_EQ(seen.count_header("Content-Length"), 1);
        EXPECT_EQ(seen.header("Content-Length"), std::to_string(size));
        EXPECT_EQ(seen.count_header("Expect"), 0);
        EXPECT_EQ(Status(request), 201u);
        DWORD error = 0;
        EXPECT_EQ(ReadAll(request, error), "done");
    }
    EXPECT_EQ(server.connections(), 1);
}

TEST(Upload, BytesGoOutAsTheyArePushed) {
    std::atomic<std::size_t> got{0};
    RawServer server(
        [&](Exchange& exchange) {
            got += exchange.body.size();
            while (got < 2000) got += exchange.receive().size();
            exchange.answer("200 OK");
        },
        RawServer::Body::left);
    Client client(server.port());
    const Handle request = client.Open(u"PUT", u"/");
    ASSERT_TRUE(BeginUpload(request, 2000));
    const std::string half(1000, 'h');
    DWORD written = 0;
    ASSERT_TRUE(InternetWriteFile(request, half.data(), 1000, &written));
    while (got < 1000) std::this_thread::yield();
    EXPECT_FALSE(InternetWriteFile(request, std::string(1001, 'x').data(), 1001, &written));
    EXPECT_EQ(written, 0u);
    ASSERT_TRUE(InternetWriteFile(request, half.data(), 1000, &written));
    EXPECT_TRUE(HttpEndRequestW(request, nullptr, 0, 0));
    EXPECT_EQ(Status(request), 200u);
}

TEST(Upload, AnEarlyRefusalIsTheAnswer) {
    RawServer server(
        [](Exchange& exchange) {
            exchange.answer("413 Too Large", "Connection: close\r\n", "too much");
            while (!exchange.receive().empty()) continue;
        },
        RawServer::Body::left);
    Client client(server.port());
    const Handle request = client.Open(u"PUT", u"/");
    EXPECT_EQ(Upload(request, std::string(20'000'000, 'x')), 0u);
    EXPECT_EQ(Status(request), 413u);
    DWORD error = 0;
    EXPECT_EQ(ReadAll(request, error), "too much");
}

TEST(Upload, TooFewBytesAreNeverTakenForTheDocument) {
    RawServer server([](Exchange& exchange) { exchange.answer("200 OK"); });
    Client client(server.port());
    const Handle request = client.Open(u"PUT", u"/");
    ASSERT_TRUE(BeginUpload(request, 10));
    DWORD written = 0;
    ASSERT_TRUE(InternetWriteFile(request, "four", 4, &written));
    EXPECT_FALSE(HttpEndRequestW(request, nullptr, 0, 0));
    EXPECT_EQ(GetLastError(), kAborted);
    EXPECT_EQ(server.requests(), 0);
    // The same handle can begin again.
    EXPECT_EQ(Upload(request, "0123456789"), 0u);
    EXPECT_EQ(server.requests(), 1);
}

TEST(Upload, ADroppedOrStalledConnectionEndsIt) {
    const ShortLimits limits;
    RawServer dropping(
        [](Exchange& exchange) {
            exchange.receive();
            exchange.reset();
        },
        RawServer::Body::left);
    Client first(dropping.port());
    EXPECT_NE(Upload(first.Open(u"PUT", u"/"), std::string(20'000'000, 'x')), 0u);
    RawServer stalling([](Exchange& exchange) { exchange.stall(); }, RawServer::Body::left);
    Client second(stalling.port());
    EXPECT_EQ(Upload(second.Open(u"PUT", u"/"), std::string(20'000'000, 'x')),
              static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
}

TEST(Upload, ARedirectAsksForTheBodyOnceMore) {
    std::string arrived;
    RawServer server([&](Exchange& exchange) {
        if (exchange.target == "/old") return void(exchange.answer("307 Moved", "Location: /new\r\n"));
        arrived = exchange.method + exchange.target + exchange.body;
        exchange.answer("200 OK");
    });
    Client client(server.port());
    const Handle request = client.Open(u"PUT", u"/old");
    EXPECT_EQ(Upload(request, "body"), static_cast<DWORD>(ERROR_INTERNET_FORCE_RETRY));
    EXPECT_EQ(Upload(request, "body"), 0u);
    EXPECT_EQ(arrived, "PUT/newbody");
}

}  // namespace
}  // namespace testing_support
