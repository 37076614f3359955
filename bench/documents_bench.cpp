// A big document down and up through the loaded library, in turns with curl on the same URL, token and disk.
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "bench/reader.h"
#include "bench/report.h"
#include "host/base/host_objects.h"

namespace {

using namespace testing_support;

constexpr char kDocument[] = "big.bin";
constexpr std::size_t kBlock = 256 * 1024;
constexpr DWORD kRead = TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting;
constexpr DWORD kReadWrite = kRead | TMK::AFS_OpenFile_Write;

std::vector<char> MakeBlock() {
    std::vector<char> block(kBlock);
    unsigned state = 1;
    for (char& c : block) c = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return block;
}

void MakeDocument(const std::filesystem::path& path, std::uint64_t size) {
    const std::vector<char> block = MakeBlock();
    std::ofstream file(path, std::ios::binary);
    for (std::uint64_t at = 0; at < size; at += block.size())
        file.write(block.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(kBlock, size - at)));
    if (!file.flush()) throw std::runtime_error("can't write " + path.string());
}

// Gives both sides the same start: earlier writes are on the disk when the clock starts, and the memory that
// the document will take in the page cache has been used before. A virtual machine gets memory that it never
// touched from its own host, which is several times slower than a write into memory that it has.
double TimeOnEvenGround(const std::filesystem::path& folder, std::uint64_t size,
                        const std::function<void()>& work) {
    const auto scratch = folder / "scratch.bin";
    MakeDocument(scratch, 2 * size);
    sync();
    std::filesystem::remove(scratch);
    return bench::Time(work);
}

class Documents {
public:
    Documents(const DevServer& server, const std::filesystem::path& folder, std::uint64_t size)
        : m_server(server), m_login(LoginOf(server, "alice")), m_folder(folder), m_size(size) {
        const std::string path = Escape(DevServer::PathOf(kDocument));
        m_url = server.IsModern() ? server.Site() + "/_api/web/GetFileByServerRelativePath(decodedurl='" +
                                        path + "')/$value"
                                  : server.Url(kDocument);
        MakeDocument(Source(), size);
    }

    std::filesystem::path Source() const { return m_folder / "source.bin"; }

    double CurlDown() {
        const auto target = m_folder / "target.bin";
        const double seconds = Curl({"-o", target.string(), m_url});
        CheckSize(std::filesystem::file_size(target));
        std::filesystem::remove(target);
        return seconds;
    }

    double CurlUp() {
        std::vector<std::string> arguments{"-T", Source().string(), m_url};
        if (m_login.is_modern) arguments.insert(arguments.begin(), {"-H", "X-RequestDigest: " + Digest()});
        return Curl(arguments);
    }

    double ReadToEnd() {
        bench::Reader reader(m_server.Origin(), m_login);
        const auto file = reader.Open(kDocument, kRead);
        std::vector<char> block(kBlock);
        std::uint64_t total = 0;
        const double seconds = TimeOnEvenGround(m_folder, m_size, [&] {
            for (LONGLONG got = 1; got > 0; total += static_cast<std::uint64_t>(got)) {
                got = 0;
                const HRESULT result = file->Read(block.data(), kBlock, &got, nullptr, nullptr);
                if (result != static_cast<HRESULT>(0x80070026)) bench::Require(result, "Read");
            }
        });
        CheckSize(total);
        bench::Require(file->Close(0, nullptr, nullptr), "Close");
        return seconds;
    }

    double Flush() {
        bench::Reader reader(m_server.Origin(), m_login);
        const auto file = reader.Open(kDocument, kReadWrite);
        bench::Require(file->SetSize(0, nullptr, nullptr), "SetSize");
        std::vector<char> block = MakeBlock();
        std::fill_n(block.begin(), 8, static_cast<char>('a' + ++m_flushes % 26));
        for (std::uint64_t at = 0; at < m_size;) {
            LONGLONG done = 0;
            const auto count = static_cast<LONGLONG>(std::min<std::uint64_t>(kBlock, m_size - at));
            bench::Require(file->Write(block.data(), count, &done, nullptr, nullptr), "Write");
            at += static_cast<std::uint64_t>(done);
        }
        const auto details = host::Make<host::ErrorDetails>();
        const double seconds = TimeOnEvenGround(
            m_folder, m_size, [&] { bench::Require(file->Flush(details.get(), nullptr), "Flush"); });
        bench::Require(file->Close(TMK::AFS_CloseFile_CheckIn, details.get(), nullptr), "Close");
        CheckArrived(block);
        return seconds;
    }

private:
    void CheckSize(std::uint64_t size) const {
        if (size != m_size) throw std::runtime_error("got " + std::to_string(size) + " bytes");
    }

    // The server's document is what was written, to the last block.
    void CheckArrived(const std::vector<char>& block) const {
        const auto target = m_folder / "arrived.bin";
        Curl({"-o", target.string(), m_url});
        CheckSize(std::filesystem::file_size(target));
        std::ifstream file(target, std::ios::binary);
        std::vector<char> got(kBlock);
        for (std::uint64_t at = 0; at < m_size; at += kBlock) {
            file.read(got.data(), kBlock);
            const auto count = static_cast<std::ptrdiff_t>(file.gcount());
            if (count == 0 || !std::equal(got.begin(), got.begin() + count, block.begin()))
                throw std::runtime_error("the server has something else than was flushed");
        }
        std::filesystem::remove(target);
    }

    std::string Digest() const {
        const std::string body = m_server.Rest("alice", "POST", "/_api/contextinfo").body;
        const std::string key = "\"FormDigestValue\":\"";
        const std::size_t start = body.find(key);
        if (start == std::string::npos) throw std::runtime_error("no digest: " + body);
        return body.substr(start + key.size(), body.find('"', start + key.size()) - start - key.size());
    }

    double Curl(const std::vector<std::string>& arguments) const {
        ProcessOptions options;
        options.arguments = {"/usr/bin/curl", "-sS", "--fail", "--noproxy", "*", "-H", "Expect:"};
        for (const std::string& option : bench::CurlOptions(m_login)) options.arguments.push_back(option);
        options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
        options.out = m_folder / "curl.out";
        options.err = m_folder / "curl.err";
        int status = -1;
        const double seconds =
            TimeOnEvenGround(m_folder, m_size, [&] { status = Process(options).Wait(600); });
        if (status != 0) throw std::runtime_error("curl: " + ReadText(options.err));
        return seconds;
    }

    const DevServer& m_server;
    Login m_login;
    std::filesystem::path m_folder;
    std::uint64_t m_size;
    unsigned m_flushes = 0;
    std::string m_url;
};

bool Report(const char* what, const bench::Pair& pair, double mebibytes) {
    const double ratio = pair.floor / pair.measured;
    return bench::Line(what, bench::Fixed(mebibytes / pair.measured, 0, "MiB/s"),
                       bench::Fixed(mebibytes / pair.floor, 0, "MiB/s"), bench::Fixed(ratio, 2), ">= 0.80",
                       ratio >= 0.8);
}

bool Run(const std::string& generation, unsigned mebibytes, unsigned rounds) {
    const TempFolder folder;
    const DevServer server({"--generation", generation});
    Documents documents(server, folder.Path(), std::uint64_t{mebibytes} << 20);
    server.WriteAs("alice", kDocument, "x");
    documents.CurlUp();
    const bool down =
        Report("Read to the end, against curl -o",
               bench::Alternate(
                   rounds, [&] { return documents.ReadToEnd(); }, [&] { return documents.CurlDown(); }),
               mebibytes);
    const bool up = Report("Flush, against curl -T",
                           bench::Alternate(
                               rounds, [&] { return documents.Flush(); }, [&] { return documents.CurlUp(); }),
                           mebibytes);
    return down && up;
}

}  // namespace

int main(int argc, char** argv) {
    return bench::ExitStatus("documents_bench", [&] {
        return Run(bench::Generation(argc, argv), bench::Option(argc, argv, "--mib", 1024),
                   bench::Option(argc, argv, "--rounds", 5));
    });
}
