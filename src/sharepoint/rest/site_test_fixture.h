// A small site over REST for tests: canned answers by request line on a real server, and a web bound to it.
// One test, one fixture.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "base/text/encoding.h"
#include "base/text/url.h"
#include "http/session.h"
#include "sharepoint/rest/web.h"
#include "tests/support/loopback_test_server.h"

class SiteFixture {
public:
    static constexpr char kMissing[] =
        R"({"error":{"code":"-2130575338, Microsoft.SharePoint.SPException","message":{"value":"gone"}}})";

    explicit SiteFixture(std::u16string web_path = u"sites/docs") : m_web_path(std::move(web_path)) {
        web = SharePointRestAPI::Web::Create(session, server.Url() + u"/" + m_web_path + u"/Library/a.pdf");
        setup_lines = server.Lines();
        server.Forget();
    }

    // "/<web>/_api/web/GetFolderByServerRelativePath(decodedurl='/<path>"
    std::string FolderAddress(const std::string& encoded_path) const {
        return Api() + "/web/GetFolderByServerRelativePath(decodedurl='/" + encoded_path;
    }
    std::string FileAddress(const std::string& encoded_path) const {
        return Api() + "/web/GetFileByServerRelativePath(decodedurl='/" + encoded_path;
    }
    std::string Api() const { return (m_web_path.empty() ? "" : "/" + ToUtf8(UrlEncodedPath())) + "/_api"; }

    // An item as the server describes it; `more` is further members, each with a comma in front.
    static std::string Item(const std::string& type, const std::string& path, const std::string& more = {}) {
        return R"({"__metadata":{"type":")" + type + R"("},"ServerRelativeUrl":")" + path + "\"" + more + "}";
    }
    static std::string File(const std::string& path, const std::string& more = {}) {
        return Item("SP.File", path, more);
    }
    static std::string Folder(const std::string& path, const std::string& more = {}) {
        return Item("SP.Folder", path, more);
    }
    static std::string D(const std::string& json) { return Answer("200 OK", "{\"d\":" + json + "}"); }

    // Makes the server know a file or folder by its address.
    void AddFile(const std::string& encoded_path, const std::string& item) {
        answers["GET " + FileAddress(encoded_path) + "')"] = D(item);
    }
    void AddFolder(const std::string& encoded_path, const std::string& item) {
        answers["GET " + FolderAddress(encoded_path) + "')"] = D(item);
    }
    std::shared_ptr<SharePoint::Object> Bind(
        const std::u16string& path,
        SharePoint::Web::BindObjectType type = SharePoint::Web::BindObjectType::any) {
        return web->BindObject(server.Url() + u"/" + path, type);
    }

    std::map<std::string, std::string> answers;
    // What is answered to all else; the form digests are "digest1", "digest2" and so on.
    std::string fallback = Answer("404 Not Found", kMissing);
    std::string digest_answer;
    int digests = 0;
    std::vector<std::string> setup_lines;
    LoopbackTestServer server{[this](const LoopbackTestServer::Request& request) { return Reply(request); }};
    std::shared_ptr<Http::Session> session =
        Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
    std::shared_ptr<SharePointRestAPI::Web> web;

private:
    std::u16string UrlEncodedPath() const { return UrlEncode(m_web_path); }

    std::string Reply(const LoopbackTestServer::Request& request) {
        if (request.target.starts_with("/_api/SP.Web.GetWebUrlFromPageUrl")) {
            return Answer("200 OK",
                          "<?xml version=\"1.0\"?><d:GetWebUrlFromPageUrl xmlns:d=\"urn:d\">http://" +
                              request.Header("host") + "/" + ToUtf8(m_web_path) +
                              "</d:GetWebUrlFromPageUrl>");
        }
        if (const auto found = answers.find(request.Line()); found != answers.end()) return found->second;
        if (request.target.ends_with("/_api/contextinfo")) {
            if (!digest_answer.empty()) return digest_answer;
            return D(
                R"({"GetContextWebInformation":{"FormDigestTimeoutSeconds":1800,"FormDigestValue":"digest)" +
                std::to_string(++digests) + "\"}}");
        }
        return fallback;
    }

    std::u16string m_web_path;
};
