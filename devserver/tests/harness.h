// The server as a process with a data folder of its own, and signed-in people who ask it.
// Owner: the tests of devserver/; one thread.
#pragma once
#include <rapidjson/document.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/support/dev_server.h"

namespace devserver::test {

class TemporaryFolder : public testing_support::TempFolder {
public:
    std::string path() const { return Path().string(); }
    void Write(const std::string& name, const std::string& content) const;
};

struct Reply : testing_support::HttpAnswer {
    std::string header(const std::string& name) const { return Header(name); }
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
    // `options` stand behind --data. Throws what the program says when it doesn't start.
    explicit ServerProcess(const std::vector<std::string>& options, const std::string& data_folder = {})
        : m_server(options, {}, data_folder) {}

    const std::string& url() const { return m_server.Origin(); }
    std::string DataFolder() const { return m_server.Data().string(); }
    int port() const { return m_server.Port(); }
    int ProcessId() const { return m_server.Id(); }
    // Ends the process with SIGTERM and returns its exit status.
    int Stop() { return m_server.Stop(); }
    // Sends raw bytes on a connection of its own and returns what comes back until the end.
    std::string raw(const std::string& bytes) const { return m_server.Raw(bytes); }
    Reply Send(const Ask& ask) const;
    std::string token(const std::string& user) const { return m_server.Token(user); }

private:
    testing_support::DevServer m_server;
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
// As servers of 2013 take it.
std::string OlderFileUrl(const std::string& name);
// Options for a generation of server whose users sign in with tokens, and what stands behind them.
std::vector<std::string> GenerationOptions(const std::string& name, std::vector<std::string> more = {});
// The document's own address.
std::string DocumentPath(const std::string& name);
std::string Escape(const std::string& text);
// The number at the start of an error's code, 0 when there is none.
long long ErrorNumber(const Reply& reply);

}  // namespace devserver::test
