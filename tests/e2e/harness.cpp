// Real processes for end-to-end tests.
#include "harness.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace e2e {

namespace fs = std::filesystem;

TempFolder::TempFolder() {
    std::string pattern = (fs::temp_directory_path() / "e2e-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
    m_path = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), {});
}

void WriteFile(const fs::path& path, const std::string& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

namespace {

void Redirect(const fs::path& path, int to, int flags) {
    const int file = open(path.c_str(), flags, 0600);
    if (file < 0 || dup2(file, to) < 0) _exit(127);
}

[[noreturn]] void RunChild(const ProcessOptions& options, const fs::path& input) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setsid();  // no terminal: prompts count as closed
    Redirect(input, 0, O_RDONLY);
    Redirect(options.out, 1, O_WRONLY | O_CREAT | O_TRUNC);
    Redirect(options.err, 2, O_WRONLY | O_CREAT | O_TRUNC);
    for (const auto& [name, value] : options.environment) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> arguments;
    for (const std::string& argument : options.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

int ToExitStatus(int wait_status) {
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
}

size_t Append(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

std::string Bin(const std::string& name) {
    return std::string(BIN_FOLDER) + "/" + name;
}

}  // namespace

Process::Process(const ProcessOptions& options) {
    fs::path input = "/dev/null";
    if (!options.input.empty()) {
        input = options.out.string() + ".in";
        WriteFile(input, options.input);
    }
    m_id = fork();
    if (m_id < 0) throw std::runtime_error("fork failed");
    if (m_id == 0) RunChild(options, input);
}

Process::~Process() {
    if (!m_status && m_id > 0) {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
}

bool Process::IsRunning() {
    int status = 0;
    if (!m_status && waitpid(m_id, &status, WNOHANG) == m_id) m_status = ToExitStatus(status);
    return !m_status;
}

void Process::Signal(int number) const {
    if (!m_status) kill(m_id, number);
}

int Process::Wait(int limit_seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(limit_seconds);
    while (IsRunning()) {
        if (std::chrono::steady_clock::now() > end) {
            kill(m_id, SIGKILL);
            waitpid(m_id, nullptr, 0);
            m_status = -1;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return *m_status;
}

HttpAnswer Http(const HttpCall& call) {
    HttpAnswer answer;
    CURL* const curl = curl_easy_init();
    curl_slist* headers = curl_slist_append(nullptr, "Expect:");
    for (const std::string& header : call.headers) headers = curl_slist_append(headers, header.c_str());
    curl_easy_setopt(curl, CURLOPT_URL, call.url.c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, call.method.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 60L);
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);  // of a server that was started here
    if (call.method == "POST" || call.method == "PUT") {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, call.body.data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(call.body.size()));
    }
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, Append);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &answer.headers);
    curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    return answer;
}

std::string Escape(const std::string& text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (isalnum(byte) || strchr("-_.~/", c)) {
            escaped += c;
        } else {
            escaped += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return escaped;
}

DevServer::DevServer(const std::vector<std::string>& options, const fs::path& seed)
    : m_options(options), m_seed(seed) {
    Start();
}

DevServer::~DevServer() {
    Stop();
}

void DevServer::Start() {
    ProcessOptions options;
    options.arguments = {
        Bin("spdevserver"),  "--data", (m_folder / "data").string(), "--port", m_port, "--admin",
        "--exit-with-parent"};
    if (!m_seed.empty()) options.arguments.insert(options.arguments.end(), {"--seed", m_seed.string()});
    options.arguments.insert(options.arguments.end(), m_options.begin(), m_options.end());
    options.out = m_folder / "out";
    options.err = m_folder / "err";
    fs::remove(options.out);  // of a start before this one
    m_process.emplace(options);
    static constexpr char kReady[] = "Listening on ";
    for (;;) {
        const std::string line = ReadFile(options.out);
        const size_t end = line.find('\n');
        if (line.starts_with(kReady) && end != std::string::npos) {
            m_origin = line.substr(sizeof(kReady) - 1, end - sizeof(kReady) + 1);
            m_port = m_origin.substr(m_origin.rfind(':') + 1);
            return;
        }
        if (!m_process->IsRunning()) throw std::runtime_error("spdevserver: " + ReadFile(options.err));
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

bool DevServer::IsModern() const {
    const auto option = std::find(m_options.begin(), m_options.end(), "--generation");
    return option == m_options.end() || *(option + 1) == "modern";
}

void DevServer::Stop() {
    if (!m_process) return;
    m_process->Signal(SIGTERM);
    m_process->Wait(20);
    m_process.reset();
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
    std::string& token = m_tokens[user];
    if (token.empty()) {
        rapidjson::Document answer;
        answer.Parse(Http({.method = "POST", .url = m_origin + "/_dev/token?user=" + user}).body.c_str());
        if (!answer.IsObject()) throw std::runtime_error("no token for " + user);
        token = answer["access_token"].GetString();
    }
    return token;
}

HttpAnswer DevServer::Rest(const std::string& user, const std::string& method, const std::string& path,
                           const std::string& body, const std::vector<std::string>& headers) const {
    HttpCall call{.method = method, .url = Site() + path, .body = body, .headers = headers};
    call.headers.push_back("Authorization: Bearer " + Token(user));
    call.headers.push_back("Accept: application/json;odata=nometadata");
    if (method != "GET") {
        HttpCall digest{.method = "POST", .url = Site() + "/_api/contextinfo", .headers = call.headers};
        rapidjson::Document answer;
        answer.Parse(Http(digest).body.c_str());
        if (answer.IsObject() && answer.HasMember("FormDigestValue")) {
            call.headers.push_back(std::string("X-RequestDigest: ") + answer["FormDigestValue"].GetString());
        }
    }
    return Http(call);
}

void DevServer::SetFaults(const std::string& json_rules) const {
    const HttpAnswer answer = Http({.method = "POST", .url = m_origin + "/_dev/faults", .body = json_rules});
    if (answer.status / 100 != 2) throw std::runtime_error("fault plan refused: " + answer.body);
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
    const HttpAnswer answer =
        Http({.method = "POST",
              .url = m_origin + "/_dev/write?user=" + user + "&path=" + Escape(PathOf(name)),
              .body = bytes});
    if (answer.status / 100 != 2) throw std::runtime_error("write refused: " + answer.body);
}

void DevServer::CheckOutAs(const std::string& user, const std::string& name) const {
    const HttpAnswer answer =
        Http({.method = "POST",
              .url = m_origin + "/_dev/checkout?user=" + user + "&path=" + Escape(PathOf(name))});
    if (answer.status / 100 != 2) throw std::runtime_error("check-out refused: " + answer.body);
}

std::string DevServer::Document(const std::string& name) const {
    const HttpAnswer answer = Http({.url = m_origin + "/_dev/document?path=" + Escape(PathOf(name))});
    return answer.status == 200 ? answer.body : "<status " + std::to_string(answer.status) + ">";
}

std::string DevServer::CheckedOutBy(const std::string& name) const {
    const HttpAnswer answer = Http({.url = m_origin + "/_dev/document?path=" + Escape(PathOf(name))});
    static constexpr char kHeader[] = "X-Checked-Out-By:";
    const size_t at = answer.headers.find(kHeader);
    if (at == std::string::npos) return {};
    const size_t start = answer.headers.find_first_not_of(' ', at + sizeof kHeader - 1);
    return answer.headers.substr(start, answer.headers.find('\r', start) - start);
}

std::vector<std::string> DevServer::Requests() const {
    rapidjson::Document json;
    json.Parse(Http({.url = m_origin + "/_dev/requests"}).body.c_str());
    std::vector<std::string> requests;
    if (!json.IsArray()) return requests;
    for (const rapidjson::Value& entry : json.GetArray()) {
        requests.push_back(std::string(entry["method"].GetString()) + " " + entry["path"].GetString() + "?" +
                           entry["query"].GetString());
    }
    return requests;
}

std::size_t DevServer::Listings() const {
    rapidjson::Document json;
    json.Parse(Http({.url = m_origin + "/_dev/requests"}).body.c_str());
    const auto is_listing = [](const rapidjson::Value& entry) {
        const std::string method = entry["method"].GetString();
        return (method == "PROPFIND" && entry["depth"] == "1") ||
               std::strstr(entry["query"].GetString(), "$expand=Folders") != nullptr;
    };
    if (!json.IsArray()) return 0;
    return static_cast<std::size_t>(std::count_if(json.Begin(), json.End(), is_listing));
}

void DevServer::ClearRequests() const {
    Http({.method = "DELETE", .url = m_origin + "/_dev/requests"});
}

Sphost::Sphost() : m_profile(m_folder / "profile") {
    fs::create_directories(m_folder / "tmp");
    environment["TMPDIR"] = (m_folder / "tmp").string();
    environment["LC_ALL"] = "C.UTF-8";
}

ProcessOptions Sphost::Options(const std::vector<std::string>& arguments) const {
    static int number = 0;
    ProcessOptions options;
    options.arguments = prefix;
    options.arguments.insert(options.arguments.end(), {Bin("sphost"), "--profile", m_profile.string()});
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    options.environment = environment;
    options.out = m_folder / ("out" + std::to_string(++number));
    options.err = m_folder / ("err" + std::to_string(number));
    return options;
}

Result Sphost::Run(const std::vector<std::string>& arguments, const std::string& input) const {
    ProcessOptions options = Options(arguments);
    options.input = input;
    Process process(options);
    const int status = process.Wait();
    return {status, ReadFile(options.out), ReadFile(options.err)};
}

std::unique_ptr<Process> Sphost::Start(const std::vector<std::string>& arguments,
                                       const std::string& input) const {
    ProcessOptions options = Options(arguments);
    options.input = input;
    return std::make_unique<Process>(options);
}

void Sphost::AddPlace(const DevServer& server, const std::string& user) const {
    const Result added =
        server.IsModern()
            ? Run({"place", "add", server.Site(), "--api", "modern", "--token-stdin"},
                  server.Token(user) + "\n")
            : Run({"place", "add", server.Site(), "--api", "compatible", "--user", user, "--password-stdin"},
                  user + "\n");
    if (added.status != 0) throw std::runtime_error("place add: " + added.err);
}

void Sphost::AddPlaceByCode(const DevServer& server) const {
    const Result added = Run({"place", "add", server.Site(), "--api", "modern", "--authority",
                              server.Origin() + "/organizations/"});
    if (added.status != 0) throw std::runtime_error("place add: " + added.err);
}

std::string Sphost::TraceLog() const {
    std::string text;
    const fs::path folder = m_folder / "tmp/TSMK-SharePoint";
    if (!fs::exists(folder)) return text;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string bytes = ReadFile(entry.path());
        for (size_t at = 0; at + 1 < bytes.size(); at += 2) {
            const unsigned unit =
                static_cast<unsigned char>(bytes[at]) | static_cast<unsigned char>(bytes[at + 1]) << 8;
            text += unit < 0x80 ? static_cast<char>(unit) : '?';
        }
    }
    return text;
}

}  // namespace e2e
