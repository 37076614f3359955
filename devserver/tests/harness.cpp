#include "tests/harness.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/text.h"

namespace devserver::test {
namespace {

struct Child {
    int process = -1, out = -1, error = -1;
};

Child Start(const std::vector<std::string>& arguments) {
    int out[2], error[2];
    if (::pipe(out) != 0 || ::pipe(error) != 0) throw std::runtime_error("no pipe");
    Child child;
    child.process = ::fork();
    if (child.process == 0) {
        ::dup2(out[1], 1);
        ::dup2(error[1], 2);
        for (int end : {out[0], out[1], error[0], error[1]}) ::close(end);
        std::vector<char*> list{const_cast<char*>(SPDEVSERVER_PROGRAM)};
        for (const auto& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
        list.push_back(nullptr);
        ::execv(SPDEVSERVER_PROGRAM, list.data());
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(error[1]);
    child.out = out[0];
    child.error = error[0];
    return child;
}

std::string ReadAll(int descriptor) {
    std::string text;
    char buffer[4096];
    for (ssize_t count; (count = ::read(descriptor, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(count));
    return text;
}

std::string ReadLine(int descriptor) {
    std::string line;
    for (char c; ::read(descriptor, &c, 1) == 1 && c != '\n';) line += c;
    return line;
}

int WaitFor(int process) {
    int status = 0;
    ::waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::size_t Append(char* data, std::size_t size, std::size_t count, void* target) {
    static_cast<std::string*>(target)->append(data, size * count);
    return size * count;
}

std::size_t TakeHeader(char* data, std::size_t size, std::size_t count, void* target) {
    std::string_view line(data, size * count);
    auto& reply = *static_cast<Reply*>(target);
    if (line.starts_with("HTTP/")) reply.headers.clear();
    if (auto colon = line.find(':'); colon != std::string_view::npos)
        reply.headers.emplace(ToLower(line.substr(0, colon)), std::string(Trim(line.substr(colon + 1))));
    return size * count;
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
    auto pattern = (std::filesystem::temp_directory_path() / "devserver-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void TemporaryFolder::Write(const std::string& name, const std::string& content) const {
    auto file = std::filesystem::path(m_path) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

std::string Reply::header(const std::string& name) const {
    auto found = headers.find(ToLower(name));
    return found == headers.end() ? std::string() : found->second;
}

rapidjson::Document Reply::json() const {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(body.c_str(), body.size());
    if (document.HasParseError()) document.SetNull();
    return document;
}

ServerProcess::ServerProcess(std::vector<std::string> options, std::string data_folder)
    : m_data(data_folder.empty() ? m_folder.path() + "/data" : std::move(data_folder)) {
    std::vector<std::string> arguments{"--data", m_data, "--admin", "--exit-with-parent"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    auto child = Start(arguments);
    m_process = child.process;
    auto line = ReadLine(child.out);
    ::close(child.out);
    if (!line.starts_with("Listening on "))
        ADD_FAILURE() << "not started: " << ReadAll(child.error);
    else
        m_url = line.substr(13);
    ::close(child.error);
}

ServerProcess::~ServerProcess() {
    Stop();
}

int ServerProcess::port() const {
    return std::atoi(m_url.c_str() + m_url.rfind(':') + 1);
}

int ServerProcess::Stop() {
    if (m_process < 0) return 0;
    ::kill(m_process, SIGTERM);
    auto status = WaitFor(m_process);
    m_process = -1;
    return status;
}

std::string ServerProcess::raw(const std::string& bytes) const {
    int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    timeval limit{10, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::string answer;
    if (::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        (void)!::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        ::shutdown(descriptor, SHUT_WR);
        answer = ReadAll(descriptor);
    }
    ::close(descriptor);
    return answer;
}

Reply ServerProcess::Send(const Ask& ask) const {
    Reply reply;
    CURL* curl = curl_easy_init();
    auto url = ask.path.starts_with("http") ? ask.path : m_url + ask.path;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, ask.method.c_str());
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, ask.timeout_milliseconds);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, ask.follow ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, TakeHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply);
    if (ask.method == "HEAD") curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
    if (ask.body) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, ask.body->data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(ask.body->size()));
    }
    std::FILE* upload = nullptr;
    std::FILE* download = nullptr;
    if (!ask.upload_file.empty()) {
        upload = std::fopen(ask.upload_file.c_str(), "rb");
        curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(curl, CURLOPT_READDATA, upload);
        curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE,
                         static_cast<curl_off_t>(std::filesystem::file_size(ask.upload_file)));
    }
    if (!ask.download_file.empty()) {
        download = std::fopen(ask.download_file.c_str(), "wb");
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, download);
    } else {
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Append);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply.body);
    }
    curl_slist* list = nullptr;
    for (const auto& header : ask.headers) list = curl_slist_append(list, header.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    reply.curl_code = curl_easy_perform(curl);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    reply.status = static_cast<int>(status);
    curl_slist_free_all(list);
    curl_easy_cleanup(curl);
    if (upload) std::fclose(upload);
    if (download) std::fclose(download);
    return reply;
}

int RunToEnd(const std::vector<std::string>& arguments, std::string& error) {
    auto child = Start(arguments);
    error = ReadAll(child.error);
    ::close(child.error);
    ::close(child.out);
    return WaitFor(child.process);
}

Client::Client(const ServerProcess& server, const std::string& user) : m_server(server) {
    auto reply =
        server.Send({.method = "POST", .path = "/_dev/token?user=" + user, .headers = {}, .body = ""});
    auto json = reply.json();
    if (json.IsObject() && json.HasMember("access_token"))
        m_token = json["access_token"].GetString();
    else
        ADD_FAILURE() << "no token for " << user << ": " << reply.status << " " << reply.body;
}

Reply Client::get(const std::string& path, const std::string& accept) const {
    return m_server.Send(
        {.method = "GET", .path = path, .headers = {authorization(), "Accept: " + accept}, .body = {}});
}

std::string Client::digest() const {
    auto reply = m_server.Send({.method = "POST",
                                .path = "/sites/team/_api/contextinfo",
                                .headers = {authorization(), std::string("Accept: ") + kPlain},
                                .body = ""});
    auto json = reply.json();
    return json.IsObject() && json.HasMember("FormDigestValue") ? json["FormDigestValue"].GetString() : "";
}

Reply Client::Change(const std::string& method, const std::string& path, const std::string& body,
                     std::vector<std::string> headers) const {
    headers.insert(headers.end(), {authorization(), std::string("Accept: ") + kVerbose,
                                   "Content-Type: application/json", "X-RequestDigest: " + digest()});
    return m_server.Send({.method = method, .path = path, .headers = headers, .body = body});
}

Reply Client::Ask(const std::string& method, const std::string& path, std::vector<std::string> headers,
                  std::optional<std::string> body) const {
    headers.push_back(authorization());
    auto address = path.starts_with('/') ? path : DocumentPath(path);
    return m_server.Send({.method = method, .path = address, .headers = headers, .body = std::move(body)});
}

std::vector<std::string> GenerationOptions(const std::string& name, std::vector<std::string> more) {
    more.insert(more.end(), {"--generation", name, "--auth", "bearer"});
    return more;
}

std::string DocumentPath(const std::string& name) {
    return "/sites/team/Shared%20Documents" + (name.empty() ? "" : "/" + PercentEncode(name, "-_.~/"));
}

std::string Escape(const std::string& text) {
    return PercentEncode(ReplaceAll(text, "'", "''"), "-_.~/");
}

std::string FileUrl(const std::string& name) {
    return "/sites/team/_api/web/GetFileByServerRelativePath(decodedurl='/sites/team/Shared%20Documents/" +
           Escape(name) + "')";
}

std::string FolderUrl(const std::string& name) {
    return "/sites/team/_api/web/GetFolderByServerRelativePath(decodedurl='/sites/team/Shared%20Documents" +
           (name.empty() ? "" : "/" + Escape(name)) + "')";
}

long long ErrorNumber(const Reply& reply) {
    auto json = reply.json();
    if (!json.IsObject()) return 0;
    for (const char* root : {"error", "odata.error"})
        if (json.HasMember(root) && json[root].HasMember("code"))
            return std::atoll(json[root]["code"].GetString());
    return 0;
}

}  // namespace devserver::test
