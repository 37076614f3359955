// The development server as a process on a port of its own, with its admin calls. Its data lies in a
// temporary folder and ends with the object. One thread.
#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/http_client.h"
#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace testing_support {

// A document of the library as the server has it.
struct StoredDocument {
    bool exists = false;
    std::string bytes, version, comment, checked_out_by, modified_by;
};

// A request that the server answered.
struct LoggedRequest {
    std::string method, path, query, user, depth;
    std::vector<std::string> headers;  // their names
    int status = 0;
    long bytes_in = 0;  // of its body

    bool Has(const std::string& header) const;
};

class DevServer {
public:
    // `options` are added to the command line; `seed` is copied into the library; `data` replaces the
    // server's own data folder. Throws with what the program says when it doesn't start.
    explicit DevServer(const std::vector<std::string>& options = {}, const std::filesystem::path& seed = {},
                       const std::filesystem::path& data = {});
    ~DevServer();

    const std::string& Origin() const { return m_origin; }
    std::string Site() const { return m_origin + "/sites/team"; }
    std::uint16_t Port() const;
    const std::filesystem::path& Data() const { return m_data; }
    // The URL of a document of the library, its name escaped.
    std::string Url(const std::string& name) const;
    // "/sites/team/Shared Documents/<name>", unescaped.
    static std::string PathOf(const std::string& name);
    pid_t Id() const { return m_process->Id(); }
    // Whether it plays the modern generation; the others know users by name and password alone.
    bool IsModern() const;
    // Ends it by SIGTERM and gives its exit status; 0 when it was ended before.
    int Stop();
    void Restart();

    std::string Token(const std::string& user) const;
    // A request as `user` with JSON without metadata.
    HttpAnswer Rest(const std::string& user, const std::string& method, const std::string& path,
                    const std::string& body = {}, const std::vector<std::string>& headers = {}) const;
    // Sends raw bytes on a connection of their own and gives what comes back until its end.
    std::string Raw(const std::string& bytes) const;

    void SetFaults(const std::string& json_rules) const;
    void ClearFaults() const;
    // How often the rules have struck so far, all together.
    int FaultsFired() const;

    // An admin call; throws when it is refused.
    void Admin(const std::string& call, const std::string& body = {}) const;
    // One for a document, such as "checkout", as a user.
    void AdminFor(const std::string& operation, const std::string& user, const std::string& name,
                  const std::string& body = {}) const;
    void WriteAs(const std::string& user, const std::string& name, const std::string& bytes) const;
    void CheckOutAs(const std::string& user, const std::string& name) const;
    // Makes or replaces a document, checked in, by the site's own calls.
    void Upload(const std::string& user, const std::string& name, const std::string& bytes) const;
    StoredDocument Find(const std::string& name) const;
    // The same; throws when it isn't there.
    StoredDocument Look(const std::string& name) const;
    std::string Document(const std::string& name) const;  // its bytes, or the status in their place
    std::string CheckedOutBy(const std::string& name) const { return Look(name).checked_out_by; }

    // Requests since the last call of ClearRequests.
    std::vector<LoggedRequest> Log() const;
    // The same as "METHOD path?query".
    std::vector<std::string> Requests() const;
    void ClearRequests() const;
    // How many of these list a folder.
    std::size_t Listings() const;

private:
    void Start();

    TempFolder m_folder;
    std::vector<std::string> m_options;
    std::filesystem::path m_seed, m_data;
    std::optional<Process> m_process;
    std::string m_origin;
    std::string m_port = "0";
    mutable std::mutex m_tokens_mutex;
    mutable std::map<std::string, std::string> m_tokens;
};

}  // namespace testing_support
