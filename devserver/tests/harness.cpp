#include "tests/harness.h"

#include <cstdlib>

#include "base/text.h"

namespace devserver::test {

void TemporaryFolder::Write(const std::string& name, const std::string& content) const {
    testing_support::WriteText(*this / name, content);
}

rapidjson::Document Reply::json() const {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(body.c_str(), body.size());
    if (document.HasParseError()) document.SetNull();
    return document;
}

Reply ServerProcess::Send(const Ask& ask) const {
    return {testing_support::Http({.method = ask.method,
                                   .url = ask.path.starts_with("http") ? ask.path : url() + ask.path,
                                   .body = ask.body,
                                   .headers = ask.headers,
                                   .upload_file = ask.upload_file,
                                   .download_file = ask.download_file,
                                   .timeout_milliseconds = ask.timeout_milliseconds,
                                   .follow = ask.follow})};
}

int RunToEnd(const std::vector<std::string>& arguments, std::string& error) {
    testing_support::ProcessOptions options;
    options.arguments = {testing_support::ProgramPath("spdevserver")};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    const auto result = testing_support::RunToEnd(options);
    error = result.err;
    return result.status;
}

Client::Client(const ServerProcess& server, const std::string& user)
    : m_server(server), m_token(server.token(user)) {}

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

std::string OlderFileUrl(const std::string& name) {
    return "/sites/team/_api/web/GetFileByServerRelativeUrl('/sites/team/Shared%20Documents/" + Escape(name) +
           "')";
}

std::string FolderUrl(const std::string& name) {
    return "/sites/team/_api/web/GetFolderByServerRelativePath(decodedurl='/sites/team/Shared%20Documents" +
           (name.empty() ? "" : "/" + Escape(name)) + "')";
}

long long ErrorNumber(const Reply& reply) {
    auto json = reply.json();
    if (!json.IsObject()) return 0;
    for (const char* root : {"error", "odata.error"}) {
        if (json.HasMember(root) && json[root].HasMember("code"))
            return std::atoll(json[root]["code"].GetString());
    }
    return 0;
}

}  // namespace devserver::test
