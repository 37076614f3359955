// A small site for tests, modern or older: canned answers by request line on a real server, and a web bound
// to it. One test, one fixture.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/text/encoding.h"
#include "base/url.h"
#include "http/session.h"
#include "sharepoint/legacy/web.h"
#include "sharepoint/rest/web.h"
#include "tests/support/loopback/loopback_test_server.h"

// The status of the HttpException that `work` throws, 0 when it throws none.
template <typename Work>
uint32_t StatusOf(const Work& work) {
    try {
        work();
    } catch (const Http::HttpException& failure) {
        return failure.status;
    }
    return 0;
}

class TestSite {
public:
    using Type = SharePoint::Web::BindObjectType;
    using Request = LoopbackTestServer::Request;

    virtual ~TestSite() = default;
    TestSite(const TestSite&) = delete;
    TestSite& operator=(const TestSite&) = delete;

    // Makes the server know an item at a path of plain characters.
    virtual void AddPlainFile(const std::string& path) = 0;
    virtual void AddPlainFolder(const std::string& path) = 0;
    // The answer to LinkLine().
    virtual std::string LinkAnswer(const std::string& item_json) const = 0;
    // A web of this site's dialect.
    virtual std::shared_ptr<SharePoint::Object> CreateWeb(const std::u16string& url) = 0;

    std::u16string Url(const std::u16string& path) const { return server.Url() + u"/" + path; }
    std::string Host() const { return ToUtf8(server.Url()); }
    // The request line that asks for the file behind the link ":b:/s/x/EaBc".
    std::string LinkLine() const {
        return "GET /_api/SP.RemoteWeb(@url)/web/GetFileByUrl(@url)?$select=ServerRelativeUrl,Name,Length,"
               "TimeCreated,TimeLastModified,CheckedOutByUser/LoginName&$expand=CheckedOutByUser&@url='"
               "http%3A//127.0.0.1%3A" +
               std::to_string(server.Port()) + "/%3Ab%3A/s/x/EaBc'";
    }
    std::shared_ptr<SharePoint::Object> Bind(const std::u16string& path, Type type = Type::any) {
        return web_object->AsWeb()->BindObject(Url(path), type);
    }
    // The same for an item that is there; its requests are forgotten.
    std::shared_ptr<SharePoint::Object> BindKnown(const std::u16string& path) {
        auto object = Bind(path);
        if (!object) throw Exception(u"Nothing bound at " + path);
        server.Forget();
        return object;
    }

    std::map<std::string, std::string> answers;
    std::string fallback;        // to all else
    std::vector<Request> setup;  // the requests of making the web
    // What the server answers by itself; nothing where `fallback` applies.
    using OwnReply = std::function<std::optional<std::string>(const Request&)>;
    OwnReply own_reply;
    LoopbackTestServer server{[this](const Request& request) { return Reply(request); }};
    std::shared_ptr<Http::Session> session =
        Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
    std::shared_ptr<SharePoint::Object> web_object;

protected:
    TestSite(std::u16string web_path, std::string answer_to_all, OwnReply reply)
        : fallback(std::move(answer_to_all)), own_reply(std::move(reply)), m_web_path(std::move(web_path)) {}

    template <typename Web>
    std::shared_ptr<Web> MakeWeb() {
        auto web = Web::Create(session, Url(m_web_path + u"/Library/a.pdf"));
        setup = server.Requests();
        server.Forget();
        web_object = web;
        return web;
    }
    std::string WebPath() const { return ToUtf8(m_web_path); }
    std::string EncodedWebPath() const { return ToUtf8(UrlEncode(m_web_path)); }

private:
    std::string Reply(const Request& request) {
        if (const auto found = answers.find(request.Line()); found != answers.end()) return found->second;
        return own_reply(request).value_or(fallback);
    }

    std::u16string m_web_path;
};

// A modern site.
class RestSite : public TestSite {
public:
    static constexpr char kMissing[] =
        R"({"error":{"code":"-2130575338, Microsoft.SharePoint.SPException","message":{"value":"gone"}}})";

    explicit RestSite(std::u16string web_path = u"sites/docs")
        : TestSite(std::move(web_path), Answer("404 Not Found", kMissing),
                   [this](const Request& request) { return ReplyAsServer(request); }),
          web(MakeWeb<SharePointRestAPI::Web>()) {}

    // "/<web>/_api/web/GetFolderByServerRelativePath(decodedurl='/<path>"
    std::string FolderAddress(const std::string& encoded_path) const {
        return Api() + "/web/GetFolderByServerRelativePath(decodedurl='/" + encoded_path;
    }
    std::string FileAddress(const std::string& encoded_path) const {
        return Api() + "/web/GetFileByServerRelativePath(decodedurl='/" + encoded_path;
    }
    std::string Api() const { return (WebPath().empty() ? "" : "/" + EncodedWebPath()) + "/_api"; }

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

    void AddPlainFile(const std::string& path) override { AddFile(path, File("/" + path)); }
    void AddPlainFolder(const std::string& path) override { AddFolder(path, Folder("/" + path + "/")); }
    std::string LinkAnswer(const std::string& item_json) const override { return D(item_json); }
    std::shared_ptr<SharePoint::Object> CreateWeb(const std::u16string& url) override {
        return SharePointRestAPI::Web::Create(session, url);
    }

    std::string digest_answer;  // empty: the form digests are "digest1", "digest2" and so on
    int digests = 0;
    std::shared_ptr<SharePointRestAPI::Web> web;

private:
    std::optional<std::string> ReplyAsServer(const Request& request) {
        if (request.target.starts_with("/_api/SP.Web.GetWebUrlFromPageUrl")) {
            return Answer("200 OK",
                          "<?xml version=\"1.0\"?><d:GetWebUrlFromPageUrl xmlns:d=\"urn:d\">http://" +
                              request.Header("host") + "/" + WebPath() + "</d:GetWebUrlFromPageUrl>");
        }
        if (!request.target.ends_with("/_api/contextinfo")) return std::nullopt;
        if (!digest_answer.empty()) return digest_answer;
        return D(R"({"GetContextWebInformation":{"FormDigestTimeoutSeconds":1800,"FormDigestValue":"digest)" +
                 std::to_string(++digests) + "\"}}");
    }
};

// A site of a server of 2013 or 2010.
class OlderSite final : public TestSite {
public:
    explicit OlderSite(std::u16string web_path = u"sites/docs")
        : TestSite(std::move(web_path), Answer("404 Not Found"),
                   [this](const Request& request) { return ReplyAsServer(request); }),
          web(MakeWeb<SharePoint2013::Web>()) {}

    static std::string Multistatus(const std::string& responses) {
        return Answer("207 Multi-Status",
                      "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:multistatus xmlns:D=\"DAV:\" "
                      "xmlns:Office=\"urn:schemas-microsoft-com:office:office\" "
                      "xmlns:Repl=\"http://schemas.microsoft.com/repl/\" "
                      "xmlns:Z=\"urn:schemas-microsoft-com:\"><Repl:repl/>" +
                          responses + "</D:multistatus>");
    }
    // The answer to a change of one item, with the item's status line.
    static std::string ItemStatus(const std::string& line) {
        return Multistatus("<D:response><D:url>a</D:url><D:status>" + line + "</D:status></D:response>");
    }
    // An item at an encoded path, with the properties that are known of it.
    std::string Item(const std::string& encoded_path, const std::string& properties) const {
        return "<D:response><D:href>" + Host() + "/" + encoded_path + "</D:href><D:propstat><D:prop>" +
               properties + "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>";
    }
    std::string File(const std::string& encoded_path, const std::string& more = {}) const {
        return Item(encoded_path,
                    "<D:isFolder>f</D:isFolder><D:getcontentlength>7</D:getcontentlength>" + more);
    }
    std::string Folder(const std::string& encoded_path, const std::string& more = {}) const {
        return Item(encoded_path, "<D:isFolder>t</D:isFolder>" + more);
    }
    // Makes the server know an item.
    void AddFile(const std::string& encoded_path, const std::string& more = {}) {
        answers["PROPFIND /" + encoded_path] = Multistatus(File(encoded_path, more));
    }
    void AddFolder(const std::string& encoded_path, const std::string& more = {}) {
        answers["PROPFIND /" + encoded_path] = Multistatus(Folder(encoded_path, more));
    }
    // The answer of a SOAP method with the given XML as its result.
    static std::string Soap(const std::string& method, const std::string& result,
                            const char* status = "200 OK") {
        return Answer(status, "<?xml version=\"1.0\"?><soap:Envelope xmlns:soap=\"s\"><soap:Body><" + method +
                                  "Response xmlns=\"n\"><" + method + "Result>" + result + "</" + method +
                                  "Result></" + method + "Response></soap:Body></soap:Envelope>");
    }

    void AddPlainFile(const std::string& path) override { AddFile(path); }
    void AddPlainFolder(const std::string& path) override {
        AddFolder(path);
        answers["PROPFIND /" + path + "/"] = answers["PROPFIND /" + path];
    }
    std::string LinkAnswer(const std::string& item_json) const override {
        return Answer("200 OK", item_json);
    }
    std::shared_ptr<SharePoint::Object> CreateWeb(const std::u16string& url) override {
        return SharePoint2013::Web::Create(session, url);
    }

    std::string web_url;  // of the page; empty: of this web
    std::shared_ptr<SharePoint2013::Web> web;

private:
    std::optional<std::string> ReplyAsServer(const Request& request) const {
        if (request.target == "/_vti_bin/Webs.asmx")
            return Soap("WebUrlFromPageUrl", web_url.empty() ? Host() + "/" + WebPath() : web_url);
        const std::string path = EncodedWebPath();
        if (request.Line() == "PROPFIND /" + path) return Multistatus(Folder(path));
        return std::nullopt;
    }
};
