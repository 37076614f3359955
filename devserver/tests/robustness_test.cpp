// Hostile input, big transfers, the command line and the end of the process.
// Owner: devserver/http and devserver/app.
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/text.h"
#include "tests/harness.h"

namespace devserver::test {
namespace {

TEST(Robustness, HostileRequestsAreRefusedAndTheServerGoesOn) {
    TemporaryFolder seed;
    seed.Write("a.pdf", "content");
    ServerProcess server({"--seed", seed.path()});
    Client alice(server, "alice");
    auto head = " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" + alice.authorization() + "\r\n";
    const std::string requests[] = {
        "\r\n\r\n",
        "GET\r\n\r\n",
        "GET / HTTP/9.9\r\n\r\n",
        std::string("\x16\x03\x01\x02\x00\x01", 6) + "\r\n\r\n",
        "GET /%00" + head + "\r\n",
        "GET /\xFF\xFE" + head + "\r\n",
        "GET relative" + head + "\r\n",
        "GET /" + std::string(70'000, 'a') + head + "\r\n",
        "GET / HTTP/1.1\r\n" + std::string("X: ") + std::string(70'000, 'b') + "\r\n\r\n",
        "POST /_api/contextinfo" + head + "Content-Length: 99999999999999999999999\r\n\r\n",
        "POST /_api/contextinfo" + head + "Content-Length: -1\r\n\r\n",
        "POST /_api/contextinfo" + head + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
        "POST /organizations/oauth2/v2.0/token" + head + "Transfer-Encoding: chunked\r\n\r\nZZZ\r\ngarbage",
        "POST /organizations/oauth2/v2.0/token" + head +
            "Transfer-Encoding: chunked\r\n\r\nFFFFFFFFFFFFFFFFF\r\n",
    };
    for (const auto& request : requests) {
        auto answer = server.raw(request);
        EXPECT_TRUE(answer.empty() || answer.starts_with("HTTP/1.1 4"))
            << request.substr(0, 60) << " -> " << answer.substr(0, 80);
    }
    for (const char* path :
         {"/sites/team/_api/web/GetFileByServerRelativePath(decodedurl='", "/sites/team/_api/web/x(((((",
          "/sites/team/_api/web/GetFileByServerRelativePath(decodedurl='a'b')",
          "/sites/team/_api/web/GetUserById(@q)", "/sites/team/_api/web/lists?$filter=((((((",
          "/_api/SP.Web.GetWebUrlFromPageUrl(@v)?@v=@v"})
        EXPECT_EQ(alice.get(path).status, 400) << path;
    auto deep = "/sites/team/_api/web/lists?$filter=" + std::string(5000, '(') + "1" + std::string(5000, ')');
    EXPECT_EQ(alice.get(deep).status, 400);
    std::string circle = "ListItemAllFields", chain = "Name eq 'a'";
    for (int i = 0; i < 500; ++i) circle += "/File/ListItemAllFields", chain += " and Name eq 'a'";
    EXPECT_EQ(alice.get(FileUrl("a.pdf") + "?$expand=" + circle).status, 400);
    EXPECT_EQ(alice.get(FolderUrl("") + "/Files?$filter=" + PercentEncode(chain)).status, 400);
    auto nested = std::string(200'000, '[') + std::string(200'000, ']');
    EXPECT_EQ(
        alice.Change("POST", FileUrl("a.pdf") + "/CheckIn(checkintype=1)", "{\"comment\":" + nested + "}")
            .status,
        500);
    EXPECT_EQ(alice.Change("POST", FileUrl("a.pdf") + "/Publish()", "{not json").status, 400);
    EXPECT_EQ(alice.get(FileUrl("a.pdf") + "/$value").body, "content");
}

TEST(Robustness, NoAddressReachesFilesOutsideTheLibrary) {
    TemporaryFolder seed, data;
    seed.Write("a.pdf", "content");
    data.Write("secret.txt", "outside");
    std::filesystem::create_directory(data.path() + "/site");
    ServerProcess server({"--seed", seed.path()}, data.path() + "/site");
    Client alice(server, "alice");
    for (std::string path :
         {"/../secret.txt", "/sites/team/Shared%20Documents/../../../secret.txt",
          "/sites/team/Shared%20Documents/%2e%2e/%2e%2e/secret.txt", "/site.db",
          "/_vti_history/512/../site.db", "/sites/team/_vti_history/512/..%2f..%2fsecret.txt"}) {
        auto reply = alice.get(path);
        EXPECT_EQ(reply.status, 404) << path;
        EXPECT_EQ(reply.body.find("outside"), std::string::npos);
    }
    for (std::string name :
         {"..", "../x.pdf", "a/../../x.pdf", "a\\b.pdf", "", " x.pdf", "x:y.pdf", "x\ny.pdf"})
        EXPECT_GE(alice
                      .Change("POST",
                              FolderUrl("") + "/Files/AddUsingPath(decodedurl='" + Escape(name) +
                                  "',overwrite=true)",
                              "x")
                      .status,
                  400)
            << name;
    EXPECT_GE(
        alice
            .Change("POST", FileUrl("a.pdf") +
                                "/copyto('/sites/team/Shared%20Documents/../../../x.pdf',boverwrite=true)")
            .status,
        400);
    EXPECT_GE(alice.get(FileUrl("../a.pdf")).status, 400);
    for (const auto& entry : std::filesystem::directory_iterator(data.path()))
        EXPECT_TRUE(entry.path().filename() == "secret.txt" || entry.path().filename() == "site")
            << entry.path();
}

long ResidentKilobytes(int process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:") {
            long value = 0;
            status >> value;
            return value;
        }
    return 0;
}

TEST(Robustness, BigDocumentsNeedBoundedMemory) {
    TemporaryFolder folder;
    ServerProcess server({});
    Client alice(server, "alice");
    auto file = folder.path() + "/big", back = folder.path() + "/back";
    {
        std::ofstream stream(file, std::ios::binary);
        std::string block(1 << 20, '\0');
        for (int i = 0; i < 256; ++i) {
            for (std::size_t at = 0; at < block.size(); at += 64) block[at] = static_cast<char>(i + at / 64);
            stream << block;
        }
    }
    ASSERT_EQ(
        alice.Change("POST", FolderUrl("") + "/Files/AddUsingPath(decodedurl='big',overwrite=true)").status,
        200);
    auto before = ResidentKilobytes(server.ProcessId());
    auto up = server.Send({.method = "PUT",
                           .path = FileUrl("big") + "/$value",
                           .headers = {alice.authorization(), "X-RequestDigest: " + alice.digest()},
                           .body = {},
                           .upload_file = file});
    EXPECT_EQ(up.status, 204);
    auto down = server.Send({.method = "GET",
                             .path = FileUrl("big") + "/$value",
                             .headers = {alice.authorization()},
                             .body = {},
                             .download_file = back});
    EXPECT_EQ(down.status, 200);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(ResidentKilobytes(server.ProcessId()) - before, 16 * 1024);
#else
    (void)before;
#endif
    std::ifstream a(file, std::ios::binary), b(back, std::ios::binary);
    EXPECT_TRUE(std::equal(std::istreambuf_iterator<char>(a), {}, std::istreambuf_iterator<char>(b), {}));
}

TEST(Robustness, ManyClientsWriteAtOnceAndEveryVersionIsKept) {
    TemporaryFolder seed;
    seed.Write("a.pdf", "content");
    ServerProcess server({"--seed", seed.path()});
    constexpr int writers = 6, rounds = 10;
    std::atomic<int> written = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < writers; ++i)
        threads.emplace_back([&, i] {
            Client client(server, i % 2 ? "alice" : "bob");
            for (int round = 0; round < rounds; ++round)
                if (client.Change("PUT", FileUrl("a.pdf") + "/$value", std::to_string(i)).status == 204)
                    ++written;
        });
    for (auto& thread : threads) thread.join();
    Client alice(server, "alice");
    EXPECT_EQ(written, writers * rounds);
    EXPECT_EQ(alice.get(FileUrl("a.pdf") + "/Versions", Client::kPlain).json()["value"].Size(),
              unsigned(writers * rounds));
    auto blobs = std::filesystem::directory_iterator(server.DataFolder() + "/documents");
    EXPECT_EQ(std::distance(begin(blobs), end(blobs)), writers * rounds + 1);
}

TEST(Robustness, WrongUsageIsOneLineAndStatusTwo) {
    TemporaryFolder folder;
    const std::vector<std::string> wrong[] = {
        {},
        {"--data"},
        {"--data", folder.path(), "--port", "x"},
        {"--nonsense"},
        {"--data", folder.path(), "--user", "alice"},
        {"--data", folder.path(), "--user", "alice:a:all"},
        {"--data", folder.path(), "--tls-cert", "x"},
        {"--data", folder.path(), "--approve", "nobody"},
        {"--data", folder.path() + "/d", "--faults", folder.path() + "/none"},
        {"--data", folder.path() + "/e", "--seed", folder.path() + "/none"}};
    for (const auto& arguments : wrong) {
        std::string error;
        EXPECT_EQ(RunToEnd(arguments, error), 2) << error;
        EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
    }
    std::string error;
    EXPECT_EQ(RunToEnd({"--help"}, error), 0);
}

TEST(Robustness, ASignalEndsTheServerEvenWhileConnectionsAreStalled) {
    ServerProcess server({});
    Client alice(server, "alice");
    server.Send({.method = "POST",
                 .path = "/_dev/faults",
                 .body = R"({"match":{"path":"currentUser"},"fault":{"kind":"stall"}})"});
    std::thread waiting([&] { alice.get("/sites/team/_api/web/currentUser"); });
    for (int i = 0; i < 500; ++i) {
        auto rules = server.Send({.method = "GET", .path = "/_dev/faults"}).body;
        if (rules.find("\"fired\":1") != std::string::npos) break;
    }
    EXPECT_EQ(server.Stop(), 0);
    waiting.join();
}

void MakeCertificate(const std::string& certificate_file, const std::string& key_file) {
    EVP_PKEY* key = EVP_RSA_gen(2048);
    X509* certificate = X509_new();
    X509_gmtime_adj(X509_getm_notBefore(certificate), -60);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
    X509_set_pubkey(certificate, key);
    auto* name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"),
                               -1, -1, 0);
    X509_set_issuer_name(certificate, name);
    X509_sign(certificate, key, EVP_sha256());
    auto* out = std::fopen(certificate_file.c_str(), "w");
    PEM_write_X509(out, certificate);
    std::fclose(out);
    out = std::fopen(key_file.c_str(), "w");
    PEM_write_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr);
    std::fclose(out);
    X509_free(certificate);
    EVP_PKEY_free(key);
}

TEST(Robustness, TlsServesTheSameSite) {
    TemporaryFolder folder;
    MakeCertificate(folder.path() + "/cert.pem", folder.path() + "/key.pem");
    ServerProcess server(
        {"--tls-cert", folder.path() + "/cert.pem", "--tls-key", folder.path() + "/key.pem"});
    EXPECT_TRUE(server.url().starts_with("https://"));
    Client alice(server, "alice");
    std::string content(3'000'000, 'q');
    EXPECT_EQ(
        alice.Change("POST", FolderUrl("") + "/Files/AddUsingPath(decodedurl='t',overwrite=true)", content)
            .status,
        200);
    EXPECT_EQ(alice.get(FileUrl("t") + "/$value").body, content);
}

TEST(Robustness, CookiesOfATlsSiteAreSecure) {
    TemporaryFolder folder;
    MakeCertificate(folder.path() + "/cert.pem", folder.path() + "/key.pem");
    ServerProcess server({"--auth", "forms", "--tls-cert", folder.path() + "/cert.pem", "--tls-key",
                          folder.path() + "/key.pem"});
    auto reply = server.Send(
        {.method = "POST", .path = "/_forms/default.aspx", .body = "username=alice&password=alice"});
    EXPECT_TRUE(reply.header("Location").starts_with("https://")) << reply.header("Location");
    auto [first, last] = reply.headers.equal_range("set-cookie");
    EXPECT_EQ(std::distance(first, last), 2);
    for (auto cookie = first; cookie != last; ++cookie)
        EXPECT_TRUE(cookie->second.ends_with("; secure")) << cookie->second;
}

}  // namespace
}  // namespace devserver::test
