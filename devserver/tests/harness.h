// A server process on a free port with a data folder of its own, and a small HTTP client for it.
// Owner: the tests of devserver/; one thread.
#pragma once
#include <rapidjson/document.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace devserver::test {

// A folder that is removed again.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& path() const { return m_path; }
    void Write(const std::string& name, const std::string& content) const;

private:
    std::string m_path;
};

struct Reply {
    int curl_code = 0;  // 0: a whole answer came
    int status = 0;
    std::string body;
    std::multimap<std::string, std::string> headers;  // names in lower case

    std::string header(const std::string& name) const;
    // The body as JSON; a null document when it is none.
    rapidjson::Document json() const;
};

struct Ask {
    std::string method = "GET";
    std::string path = {};  // escaped, with query
    std::vector<std::string> headers = {};
    std::optional<std::string> body = {};
    std::string upload_file = {};    // sent as the body, streamed
    std::string download_file = {};  // the answer's body goes there
    long timeout_milliseconds = 60'000;
    bool follow = false;
};

class ServerProcess {
public:
    // `options` stand behind --data; the process must print its line, or `start_error` has what it said.
    explicit ServerProcess(std::vector<std::string> options, std::string data_folder = {});
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    const std::string& url() const { return m_url; }
    const std::string& DataFolder() const { return m_data; }
    int port() const;
    int ProcessId() const { return m_process; }
    // Ends the process with SIGTERM and returns its exit status.
    int Stop();
    // Sends raw bytes on a connection of its own and returns what comes back until the end.
    std::string raw(const std::string& bytes) const;
    Reply Send(const Ask& ask) const;

private:
    TemporaryFolder m_folder;
    std::string m_data, m_url;
    int m_process = -1;
};

// Runs the program to its end; returns its exit status, its standard error in `error`.
int RunToEnd(const std::vector<std::string>& arguments, std::string& error);

// One signed-in person.
class Client {
public:
    Client(const ServerProcess& server, const std::string& user);
    Reply get(const std::string& path, const std::string& accept = kVerbose) const;
    // A change with a fresh digest.
    Reply Change(const std::string& method, const std::string& path, const std::string& body = {},
                 std::vector<std::string> headers = {}) const;
    // Any method, without a digest; a name below the library or a whole address.
    Reply Ask(const std::string& method, const std::string& path, std::vector<std::string> headers = {},
              std::optional<std::string> body = {}) const;
    std::string digest() const;
    const std::string& token() const { return m_token; }
    std::string authorization() const { return "Authorization: Bearer " + m_token; }

    static constexpr const char* kVerbose = "application/json; odata=verbose";
    static constexpr const char* kPlain = "application/json;odata=nometadata";

private:
    const ServerProcess& m_server;
    std::string m_token;
};

// Addresses on the default site; `name` is a path below the library, unescaped.
std::string FileUrl(const std::string& name);
std::string FolderUrl(const std::string& name);
// Options for a generation of server whose users sign in with tokens, and what stands behind them.
std::vector<std::string> GenerationOptions(const std::string& name, std::vector<std::string> more = {});
// The document's own address.
std::string DocumentPath(const std::string& name);
std::string Escape(const std::string& text);
// The number at the start of an error's code, 0 when there is none.
long long ErrorNumber(const Reply& reply);

}  // namespace devserver::test
