#include "tests/support/dev_server.h"

#include <rapidjson/document.h>
#include <signal.h>
#include <strings.h>

#include <algorithm>
#include <stdexcept>

namespace testing_support {

namespace fs = std::filesystem;

bool LoggedRequest::Has(const std::string& header) const {
    return std::any_of(headers.begin(), headers.end(), [&](const std::string& name) {
        return strcasecmp(name.c_str(), header.c_str()) == 0;
    });
}

DevServer::DevServer(const std::vector<std::string>& options, const fs::path& seed, const fs::path& data)
    : m_options(options), m_seed(seed), m_data(data.empty() ? m_folder / "data" : data) {
    Start();
}

DevServer::~DevServer() {
    Stop();
}

void DevServer::Start() {
    ProcessOptions options;
    options.arguments = {ProgramPath("spdevserver"), "--data", m_data.string(), "--port", m_port, "--admin",
                         "--exit-with-parent"};
    if (!m_seed.empty()) options.arguments.insert(options.arguments.end(), {"--seed", m_seed.string()});
    options.arguments.insert(options.arguments.end(), m_options.begin(), m_options.end());
    options.out = m_folder / "out";
    options.err = m_folder / "err";
    fs::remove(options.out);  // of a start before this one
    m_process.emplace(options);
    static constexpr char kReady[] = "Listening on ";
    const auto is_ready = [&] { return ReadText(options.out).find('\n') != std::string::npos; };
    Comes([&] { return is_ready() || !m_process->IsRunning(); });
    const std::string line = ReadText(options.out);
    if (!line.starts_with(kReady) || !is_ready())
        throw std::runtime_error("spdevserver: " + ReadText(options.err));
    m_origin = line.substr(sizeof(kReady) - 1, line.find('\n') - sizeof(kReady) + 1);
    m_port = m_origin.substr(m_origin.rfind(':') + 1);
}

std::uint16_t DevServer::Port() const {
    return static_cast<std::uint16_t>(std::stoi(m_port));
}

bool DevServer::IsModern() const {
    const auto option = std::find(m_options.begin(), m_options.end(), "--generation");
    return option == m_options.end() || *(option + 1) == "modern";
}

int DevServer::Stop() {
    if (!m_process) return 0;
    m_process->Signal(SIGTERM);
    const int status = m_process->Wait(20);
    m_process.reset();
    return status;
}

void DevServer::Restart() {
    Stop();
    Start();
}

std::string DevServer::PathOf(const std::string& name) {
    return "/sites/team/Shared Documents/" + name;
}

std::string DevServer::Url(const std::string& name) const {
    return m_origin + Escape(PathOf(name));
}

std::string DevServer::Token(const std::string& user) const {
    const std::lock_guard lock(m_tokens_mutex);  // tests ask on several threads
    std::string& token = m_tokens[user];
    if (token.empty()) {
        rapidjson::Document answer;
        const std::string url = m_origin + "/_dev/token?user=" + user;
        answer.Parse(Http({.method = "POST", .url = url, .body = ""}).body.c_str());
        if (!answer.IsObject()) throw std::runtime_error("no token for " + user);
        token = answer["access_token"].GetString();
    }
    return token;
}

HttpAnswer DevServer::Rest(const std::string& user, const std::string& method, const std::string& path,
                           const std::string& body, const std::vector<std::string>& headers) const {
    HttpCall call{.method = method, .url = Site() + path, .headers = headers};
    call.headers.push_back("Authorization: Bearer " + Token(user));
    call.headers.push_back("Accept: application/json;odata=nometadata");
    if (method != "GET") {
        HttpCall digest{
            .method = "POST", .url = Site() + "/_api/contextinfo", .body = "", .headers = call.headers};
        rapidjson::Document answer;
        answer.Parse(Http(digest).body.c_str());
        if (answer.IsObject() && answer.HasMember("FormDigestValue")) {
            call.headers.push_back(std::string("X-RequestDigest: ") + answer["FormDigestValue"].GetString());
        }
        call.body = body;
    }
    return Http(call);
}

void DevServer::Admin(const std::string& call, const std::string& body) const {
    const HttpAnswer answer = Http({.method = "POST", .url = m_origin + "/_dev/" + call, .body = body});
    if (answer.status / 100 != 2) throw std::runtime_error(call + " refused: " + answer.body);
}

void DevServer::AdminFor(const std::string& operation, const std::string& user, const std::string& name,
                         const std::string& body) const {
    Admin(operation + "?user=" + user + "&path=" + Escape(PathOf(name)), body);
}

void DevServer::SetFaults(const std::string& json_rules) const {
    Admin("faults", json_rules);
}

void DevServer::ClearFaults() const {
    Http({.method = "DELETE", .url = m_origin + "/_dev/faults"});
}

int DevServer::FaultsFired() const {
    rapidjson::Document json;
    json.Parse(Http({.url = m_origin + "/_dev/faults"}).body.c_str());
    int fired = 0;
    if (!json.IsArray()) return fired;
    for (const rapidjson::Value& rule : json.GetArray()) fired += rule["fired"].GetInt();
    return fired;
}

void DevServer::WriteAs(const std::string& user, const std::string& name, const std::string& bytes) const {
    AdminFor("write", user, name, bytes);
}

void DevServer::CheckOutAs(const std::string& user, const std::string& name) const {
    AdminFor("checkout", user, name);
}

void DevServer::Upload(const std::string& user, const std::string& name, const std::string& bytes) const {
    const std::string path = PathOf(name);
    const std::size_t slash = path.rfind('/');
    const HttpAnswer answer =
        Rest(user, "POST",
             "/_api/web/GetFolderByServerRelativePath(decodedurl='" + Escape(path.substr(0, slash)) +
                 "')/Files/AddUsingPath(decodedurl='" + Escape(path.substr(slash + 1)) + "',overwrite=true)",
             bytes);
    if (answer.status / 100 != 2) throw std::runtime_error("upload refused: " + answer.body);
}

StoredDocument DevServer::Find(const std::string& name) const {
    const HttpAnswer answer = Http({.url = m_origin + "/_dev/document?path=" + Escape(PathOf(name))});
    if (answer.status != 200) return {};
    return {.exists = true,
            .bytes = answer.body,
            .version = answer.Header("X-Version"),
            .comment = answer.Header("X-Comment"),
            .checked_out_by = answer.Header("X-Checked-Out-By"),
            .modified_by = answer.Header("X-Modified-By")};
}

StoredDocument DevServer::Look(const std::string& name) const {
    StoredDocument document = Find(name);
    if (!document.exists) throw std::runtime_error("no document " + name);
    return document;
}

std::string DevServer::Document(const std::string& name) const {
    const HttpAnswer answer = Http({.url = m_origin + "/_dev/document?path=" + Escape(PathOf(name))});
    return answer.status == 200 ? answer.body : "<status " + std::to_string(answer.status) + ">";
}

std::vector<LoggedRequest> DevServer::Log() const {
    rapidjson::Document json;
    json.Parse(Http({.url = m_origin + "/_dev/requests"}).body.c_str());
    std::vector<LoggedRequest> log;
    if (!json.IsArray()) return log;
    for (const rapidjson::Value& entry : json.GetArray()) {
        const auto text = [&](const char* name) { return std::string(entry[name].GetString()); };
        log.push_back({.method = text("method"),
                       .path = text("path"),
                       .query = text("query"),
                       .user = text("user"),
                       .depth = text("depth"),
                       .headers = {},
                       .status = entry["status"].GetInt(),
                       .bytes_in = static_cast<long>(entry["bytes_in"].GetInt64())});
        for (const rapidjson::Value& name : entry["headers"].GetArray())
            log.back().headers.push_back(name.GetString());
    }
    return log;
}

std::vector<std::string> DevServer::Requests() const {
    std::vector<std::string> requests;
    for (const LoggedRequest& request : Log())
        requests.push_back(request.method + " " + request.path + "?" + request.query);
    return requests;
}

std::size_t DevServer::Listings() const {
    const auto log = Log();
    return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [](const LoggedRequest& request) {
        return (request.method == "PROPFIND" && request.depth == "1") ||
               request.query.find("$expand=Folders") != std::string::npos;
    }));
}

void DevServer::ClearRequests() const {
    Http({.method = "DELETE", .url = m_origin + "/_dev/requests"});
}

}  // namespace testing_support
