// Large documents and a bad line: the loaded library on the system's own internet layer.
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <thread>

#include "host/base/host_objects.h"
#include "platform/wininet.h"
#include "tests/support/signed_in_host.h"
#include "tests/windows/support/library.h"

namespace {

using namespace testing_support;
using Clock = std::chrono::steady_clock;

constexpr DWORD kRead = TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting;
constexpr DWORD kWrite = kRead | TMK::AFS_OpenFile_Write;
constexpr std::size_t kMebibyte = 1 << 20;
constexpr std::size_t kLargeMebibytes = 1024;
constexpr std::size_t kMostMemory = 64 * kMebibyte;

// Each mebibyte of the large document is another one.
std::string BlockOf(std::size_t number) {
    return SomeBytes(kMebibyte, static_cast<unsigned>(number + 1));
}

std::string SpeedOf(std::size_t bytes, Clock::time_point since) {
    const double seconds = std::chrono::duration<double>(Clock::now() - since).count();
    return std::to_string(static_cast<int>(static_cast<double>(bytes) / kMebibyte / seconds)) + " MiB/s";
}

class Transfer : public ::testing::Test {
protected:
    Transfer() {
        m_server.Upload("alice", "a.txt", "first");
        m_site = std::make_unique<SignedInHost>(PLUGIN_FILE, m_server.Origin(), LoginOf(m_server, "alice"));
    }

    ComPtr<TMK::IAFS_File> Open(DWORD flags, const std::string& item = "a.txt") {
        ComPtr<TMK::IAFS_File> file;
        const HRESULT result = m_site->file_system()->OpenFile(m_site->Name(item).get(), flags,
                                                               m_details.get(), nullptr, file.put());
        Require(result, "opening " + item);
        return file;
    }
    HRESULT ReadSome(TMK::IAFS_File* file, std::string& bytes, TMK::ITMK_CancelFlag* cancel = nullptr) {
        LONGLONG size = 0;
        const HRESULT result =
            file->Read(bytes.data(), static_cast<LONGLONG>(bytes.size()), &size, m_details.get(), cancel);
        bytes.resize(static_cast<std::size_t>(size));
        return result;
    }
    void SetFault(const std::string& fault) {
        m_server.SetFaults(R"([{"match":{"method":"GET","path":"$value","times":0},"fault":)" + fault + "}]");
    }
    // Writes the large document block by block, and sends it.
    HRESULT SendLarge(TMK::IAFS_File* file) {
        for (std::size_t i = 0; i < kLargeMebibytes; ++i) {
            const std::string block = BlockOf(i);
            const HRESULT result =
                file->Write(block.data(), static_cast<LONGLONG>(block.size()), nullptr, nullptr, nullptr);
            if (FAILED(result)) return result;
        }
        return file->Flush(m_details.get(), nullptr);
    }

    DevServer m_server;
    std::unique_ptr<SignedInHost> m_site;
    ComPtr<host::ErrorDetails> m_details = host::Make<host::ErrorDetails>();
};

// Handles of the internet layer, for as long as the object lives.
struct BareRequest {
    BareRequest(std::uint16_t port, const std::string& token, const std::string& target)
        : session(InternetOpenW(u"bare", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0)),
          connection(
              InternetConnectW(session, u"127.0.0.1", port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0)),
          request(HttpOpenRequestW(connection, u"GET", host::ToUtf16(target).c_str(), nullptr, nullptr,
                                   nullptr, INTERNET_FLAG_NO_COOKIES, 0)) {
        const std::u16string header = u"Authorization: Bearer " + host::ToUtf16(token);
        HttpAddRequestHeadersW(request, header.c_str(), static_cast<DWORD>(-1), HTTP_ADDREQ_FLAG_ADD);
    }
    ~BareRequest() {
        for (const HINTERNET handle : {request, connection, session}) InternetCloseHandle(handle);
    }
    BareRequest(const BareRequest&) = delete;
    BareRequest& operator=(const BareRequest&) = delete;

    std::size_t ReadAll() const {
        if (!HttpSendRequestW(request, nullptr, 0, nullptr, 0)) return 0;
        std::string block(256 * 1024, '\0');
        std::size_t total = 0;
        for (DWORD got = 1; got; total += got)
            if (!InternetReadFile(request, block.data(), static_cast<DWORD>(block.size()), &got)) return 0;
        return total;
    }

    HINTERNET session, connection, request;
};

TEST_F(Transfer, AGibibyteGoesBothWaysInBoundedMemory) {
    constexpr std::size_t kSize = kLargeMebibytes * kMebibyte;
    const std::size_t before = PeakBytes();
    auto file = Open(kWrite);
    auto start = Clock::now();
    ASSERT_EQ(SendLarge(file.get()), S_OK) << m_details->Text();
    std::cout << "writing a copy and sending it: " << SpeedOf(kSize, start) << "\n";
    file.reset();

    file = Open(kRead);
    start = Clock::now();
    std::string first(1, '\0');
    ASSERT_EQ(ReadSome(file.get(), first), S_OK) << m_details->Text();  // the cache takes all
    std::cout << "receiving it into a copy: " << SpeedOf(kSize, start) << "\n";
    EXPECT_EQ(file->SetPos(0, 0, nullptr), S_OK);
    for (std::size_t i = 0; i < kLargeMebibytes; ++i) {
        std::string block(kMebibyte, '\0');
        ASSERT_EQ(ReadSome(file.get(), block), S_OK);
        ASSERT_TRUE(block == BlockOf(i)) << "mebibyte " << i;
    }
    EXPECT_LE(PeakBytes(), before + kMostMemory);

    start = Clock::now();
    const BareRequest bare(m_server.Port(), m_server.Token("alice"),
                           "/sites/team/_api/web/GetFileByServerRelativePath(decodedurl='" +
                               Escape(DevServer::PathOf("a.txt")) + "')/$value");
    EXPECT_EQ(bare.ReadAll(), kSize);
    std::cout << "receiving it by bare calls: " << SpeedOf(kSize, start) << "\n";
}

// A read has failed, or it has brought the document: never a part of it.
TEST_F(Transfer, ABodyThatEndsEarlyIsNoDocument) {
    const std::string whole = SomeBytes(100'000);
    m_server.Upload("alice", "b.txt", whole);
    for (const char* fault : {R"({"kind":"length","delta":5000})", R"({"kind":"drop-body","after":20000})",
                              R"({"kind":"close"})", R"({"kind":"status","status":503,"text":"busy"})"}) {
        SetFault(fault);
        std::string bytes(200'000, '\0');
        EXPECT_TRUE(FAILED(ReadSome(Open(kRead, "b.txt").get(), bytes))) << fault;
        m_server.ClearFaults();
        bytes.assign(200'000, '\0');
        EXPECT_EQ(ReadSome(Open(kRead, "b.txt").get(), bytes), S_OK) << "after " << fault;
        EXPECT_TRUE(bytes == whole) << "after " << fault;
    }
}

TEST_F(Transfer, ALateAnswerAndARedirectionAreOnlyAWay) {
    SetFault(R"({"kind":"delay","milliseconds":2000})");
    std::string bytes(10, '\0');
    EXPECT_EQ(ReadSome(Open(kRead).get(), bytes), S_OK);
    EXPECT_EQ(bytes, "first");
    m_server.ClearFaults();
    m_server.SetFaults(R"([{"match":{"method":"GET","path":"$value","times":1},
                            "fault":{"kind":"redirect","status":302,"loop":true}}])");
    bytes.assign(10, '\0');
    EXPECT_EQ(ReadSome(Open(kRead).get(), bytes), S_OK);
    EXPECT_EQ(bytes, "first");
    EXPECT_EQ(m_server.FaultsFired(), 1);
}

TEST_F(Transfer, ACancelEndsATransfer) {
    m_server.Upload("alice", "b.txt", SomeBytes(4'000'000));
    SetFault(R"({"kind":"slow","bytes_per_second":1000000})");
    const auto file = Open(kRead, "b.txt");
    const auto cancel = host::Make<host::CancelFlag>();
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        cancel->Cancel();
    });
    std::string bytes(5'000'000, '\0');
    const auto start = Clock::now();
    EXPECT_EQ(host::FormatResult(ReadSome(file.get(), bytes, cancel.get())), "0x821704C7");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
    canceller.join();
}

}  // namespace
