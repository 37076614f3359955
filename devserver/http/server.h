// Listens on one address and serves each connection on a thread of its own, up to a limit.
// Owner: app/main; start, run and stop belong to the main thread, stop also to a signal watcher.
#pragma once
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "http/host_names.h"
#include "http/message.h"
#include "http/transport.h"

namespace devserver::http {

struct ServerOptions {
    std::string host = "127.0.0.1";
    int port = 0;
    std::vector<std::string> more_names;     // by which it is addressed
    std::string certificate_file, key_file;  // both empty: plain HTTP
    int max_connections = 256;
};

class Server {
public:
    Server(ServerOptions options, Application& application);
    ~Server();

    // Binds and listens; throws std::runtime_error with one clear line.
    void Start();
    std::string url() const;
    // Accepts until stop() is called, then waits for the connections' end.
    void Run();
    void Stop();

private:
    void LoadCertificate();
    void Serve(int socket);

    ServerOptions m_options;
    Application& m_application;
    HostNames m_names;
    std::string m_scheme;
    SSL_CTX* m_tls = nullptr;
    int m_listener = -1;
    int m_wake[2] = {-1, -1};
    int m_port = 0;
    std::atomic<bool> m_stopping{false};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::set<Transport*> m_transports;
    int m_connections = 0;
};

}  // namespace devserver::http
