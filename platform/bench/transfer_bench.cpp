// Throughput of reading and pushing over loopback, beside the command-line client of the transfer library.
// Arguments: mebibytes (default 1024) and the folder for the files (default the temporary one).
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "platform/wininet.h"
#include "tests/support/loopback/loopback_socket.h"

namespace {

using Clock = std::chrono::steady_clock;

// Answers GET with zeros of the size in the path, and reads the body of PUT.
class Server {
public:
    Server() : m_listener(testing_support::ListenOnLoopback(m_port)) {
        m_thread = std::thread([this] {
            for (int client; (client = accept(m_listener, nullptr, nullptr)) >= 0; close(client))
                Serve(client);
        });
    }
    ~Server() {
        shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        close(m_listener);
    }
    unsigned short port() const { return m_port; }

private:
    static void SendAll(int client, const char* data, std::size_t size) {
        while (size) {
            const ssize_t sent = send(client, data, size, MSG_NOSIGNAL);
            if (sent <= 0) return;
            data += sent;
            size -= static_cast<std::size_t>(sent);
        }
    }
    static void Serve(int client) {
        std::vector<char> block(1 << 20);
        std::string head;
        while (head.find("\r\n\r\n") == std::string::npos) {
            const ssize_t got = recv(client, block.data(), block.size(), 0);
            if (got <= 0) return;
            head.append(block.data(), static_cast<std::size_t>(got));
        }
        const std::size_t end = head.find("\r\n\r\n") + 4;
        if (head.compare(0, 3, "PUT") == 0) {
            const std::size_t at = head.find("ontent-") + 15;
            std::size_t left = std::strtoull(head.c_str() + at, nullptr, 10) - (head.size() - end);
            while (left) {
                const ssize_t got = recv(client, block.data(), block.size(), 0);
                if (got <= 0) return;
                left -= static_cast<std::size_t>(got);
            }
            const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
            return SendAll(client, answer.data(), answer.size());
        }
        std::size_t size = std::strtoull(head.c_str() + 5, nullptr, 10);
        const std::string answer =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\nConnection: close\r\n\r\n";
        SendAll(client, answer.data(), answer.size());
        for (std::size_t part; size; size -= part)
            SendAll(client, block.data(), part = std::min(size, block.size()));
    }

    std::uint16_t m_port = 0;
    int m_listener;
    std::thread m_thread;
};

struct Open {
    explicit Open(unsigned short port, LPCWSTR verb, const std::u16string& object)
        : session(InternetOpenW(u"bench", 0, nullptr, nullptr, 0)),
          connection(
              InternetConnectW(session, u"127.0.0.1", port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0)),
          request(HttpOpenRequestW(connection, verb, object.c_str(), nullptr, nullptr, nullptr, 0, 0)) {}
    ~Open() {
        for (HINTERNET handle : {request, connection, session}) InternetCloseHandle(handle);
    }
    HINTERNET session, connection, request;
};

std::u16string Widen(const std::string& text) {
    return {text.begin(), text.end()};
}

void Download(unsigned short port, std::size_t size, const std::string& path, DWORD block) {
    const Open open(port, u"GET", Widen("/" + std::to_string(size)));
    HANDLE file = CreateFileW(Widen(path).c_str(), FILE_GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (!HttpSendRequestW(open.request, nullptr, 0, nullptr, 0)) std::abort();
    std::vector<char> buffer(std::max<DWORD>(block, 1 << 16));
    std::size_t filled = 0;
    DWORD count = 0, written = 0;
    do {
        if (!InternetReadFile(open.request, buffer.data() + filled, block, &count)) std::abort();
        filled += count;
        if (filled + block > buffer.size() || !count) {
            if (!WriteFile(file, buffer.data(), static_cast<DWORD>(filled), &written, nullptr)) std::abort();
            filled = 0;
        }
    } while (count);
    CloseHandle(file);
}

void Upload(unsigned short port, std::size_t size, const std::string& path, DWORD block) {
    const Open open(port, u"PUT", u"/");
    std::FILE* file = std::fopen(path.c_str(), "rb");
    std::setvbuf(file, nullptr, _IONBF, 0);
    HttpAddRequestHeadersW(open.request, Widen("content-length:" + std::to_string(size)).c_str(), ~DWORD{0},
                           HTTP_ADDREQ_FLAG_ADD);
    if (!HttpSendRequestExW(open.request, nullptr, nullptr, 0, 0)) std::abort();
    std::vector<char> buffer(block);
    DWORD written = 0;
    for (std::size_t count; (count = std::fread(buffer.data(), 1, block, file)) > 0;)
        if (!InternetWriteFile(open.request, buffer.data(), static_cast<DWORD>(count), &written))
            std::abort();
    if (!HttpEndRequestW(open.request, nullptr, 0, 0)) std::abort();
    std::fclose(file);
}

void RunCommand(const std::string& command) {
    if (std::system(command.c_str()) != 0) std::abort();
}

// The best of three, in MiB a second.
double Measure(const char* name, std::size_t size, double floor, const std::function<void()>& work) {
    double best = 0;
    for (int i = 0; i < 3; ++i) {
        const auto begin = Clock::now();
        work();
        const std::chrono::duration<double> took = Clock::now() - begin;
        best = std::max(best, static_cast<double>(size) / (1 << 20) / took.count());
    }
    std::printf("%-36s %8.0f MiB/s", name, best);
    if (floor > 0) std::printf("   %.2f of the floor", best / floor);
    std::printf("\n");
    return best;
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t size = (argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1024) << 20;
    const std::filesystem::path folder = argc > 2 ? argv[2] : std::filesystem::temp_directory_path();
    const std::string path = (folder / "transfer_bench.tmp").string();
    Server server;
    const std::string base = "http://127.0.0.1:" + std::to_string(server.port()) + "/";
    const double get_floor = Measure(
        "curl -o", size, 0, [&] { RunCommand("curl -s -o '" + path + "' " + base + std::to_string(size)); });
    Measure("InternetReadFile, 1024 bytes", size, get_floor,
            [&] { Download(server.port(), size, path, 1024); });
    Measure("InternetReadFile, 64 KiB", size, get_floor, [&] { Download(server.port(), size, path, 65536); });
    const double put_floor =
        Measure("curl -T", size, 0, [&] { RunCommand("curl -s -H Expect: -T '" + path + "' " + base); });
    Measure("InternetWriteFile, 64 KiB", size, put_floor, [&] { Upload(server.port(), size, path, 65536); });
    Measure("InternetWriteFile, 1 MiB", size, put_floor, [&] { Upload(server.port(), size, path, 1 << 20); });
    std::filesystem::remove(path);
}
