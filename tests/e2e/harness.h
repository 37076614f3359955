// Real processes for end-to-end tests: spdevserver on port 0, sphost with a profile of its own, and plain
// HTTP. Everything lives in a temporary folder and ends with its object. One thread.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace e2e {

// A folder that goes with its object.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& bytes);

// A child process with its output in files.
struct ProcessOptions {
    std::vector<std::string> arguments;  // the program first
    std::map<std::string, std::string> environment;
    std::string input;
    std::filesystem::path out, err;
};

class Process {
public:
    explicit Process(const ProcessOptions& options);
    ~Process();  // ends a child that still runs
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Id() const { return m_id; }
    bool IsRunning();
    void Signal(int number) const;
    // Exit status, or 128 and the signal's number. A child that doesn't end within the limit is killed:
    // status -1.
    int Wait(int limit_seconds = 120);

private:
    pid_t m_id = -1;
    std::optional<int> m_status;
};

struct HttpAnswer {
    long status = 0;  // 0: no answer
    std::string body;
    std::string headers;
};
struct HttpCall {
    std::string method = "GET";
    std::string url = {};
    std::string body = {};
    std::vector<std::string> headers = {};
};
HttpAnswer Http(const HttpCall& call);

// The development server, with its admin calls.
class DevServer {
public:
    // `options` are added to the command line; `seed` is copied into the library.
    explicit DevServer(const std::vector<std::string>& options = {}, const std::filesystem::path& seed = {});
    ~DevServer();

    const std::string& Origin() const { return m_origin; }
    std::string Site() const { return m_origin + "/sites/team"; }
    // The URL of a document of the library, its name escaped.
    std::string Url(const std::string& name) const;
    // "/sites/team/Shared Documents/<name>", unescaped.
    static std::string PathOf(const std::string& name);
    pid_t Id() const { return m_process->Id(); }
    // Whether it plays the modern generation; the others know users by name and password alone.
    bool IsModern() const;
    void Stop();
    void Restart();

    std::string Token(const std::string& user) const;
    // A request as `user` with JSON without metadata.
    HttpAnswer Rest(const std::string& user, const std::string& method, const std::string& path,
                    const std::string& body = {}, const std::vector<std::string>& headers = {}) const;

    void SetFaults(const std::string& json_rules) const;
    void ClearFaults() const;
    // How often the rules have struck so far, all together.
    int FaultsFired() const;
    void WriteAs(const std::string& user, const std::string& name, const std::string& bytes) const;
    void CheckOutAs(const std::string& user, const std::string& name) const;
    std::string Document(const std::string& name) const;  // its bytes as the server has them
    std::string CheckedOutBy(const std::string& name) const;
    // Requests since the last call of ClearRequests, as "METHOD path?query".
    std::vector<std::string> Requests() const;
    void ClearRequests() const;
    // How many of these list a folder.
    std::size_t Listings() const;

private:
    void Start();

    TempFolder m_folder;
    std::vector<std::string> m_options;
    std::filesystem::path m_seed;
    std::optional<Process> m_process;
    std::string m_origin;
    std::string m_port = "0";
    mutable std::map<std::string, std::string> m_tokens;
};

struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

// sphost with a profile and a temporary folder (for the log) of its own.
class Sphost {
public:
    Sphost();
    Result Run(const std::vector<std::string>& arguments, const std::string& input = {}) const;
    // Starts and lets run.
    std::unique_ptr<Process> Start(const std::vector<std::string>& arguments,
                                   const std::string& input = {}) const;
    // Adds the server's site as a place, signed in by a device code that the server approves at once.
    void AddPlaceByCode(const DevServer& server) const;
    // The same as `user`: with a token on a modern site, by name and password on an older one.
    void AddPlace(const DevServer& server, const std::string& user) const;
    const std::filesystem::path& Profile() const { return m_profile; }
    const TempFolder& Folder() const { return m_folder; }
    std::map<std::string, std::string> environment;
    // What stands before the program in its command line, e.g. a program that sets limits.
    std::vector<std::string> prefix;
    // What `recover --json` lists: URL and state, with what the server has.
    std::string Unsent() const { return Run({"recover", "--json"}).out; }
    // All text of the trace logs that runs have left, as UTF-8.
    std::string TraceLog() const;

private:
    ProcessOptions Options(const std::vector<std::string>& arguments) const;

    TempFolder m_folder;
    std::filesystem::path m_profile;
};

// Percent-encoding of every byte but unreserved ones and the slash.
std::string Escape(const std::string& text);

}  // namespace e2e
