// A small older site for tests: canned answers by request line on a real server, and a web bound to it. One
// test, one fixture.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "base/text/encoding.h"
#include "base/text/url.h"
#include "http/session.h"
#include "sharepoint/legacy/web.h"
#include "tests/support/loopback_test_server.h"

class OlderSiteFixture {
public:
    using Type = SharePoint::Web::BindObjectType;

    explicit OlderSiteFixture(std::u16string web_path = u"sites/docs") : m_web_path(std::move(web_path)) {
        web = SharePoint2013::Web::Create(session, Url(m_web_path + u"/Library/a.pdf"));
        setup = server.Requests();
        server.Forget();
    }

    std::u16string Url(const std::u16string& path) const { return server.Url() + u"/" + path; }
    std::string Host() const { return ToUtf8(server.Url()); }

    static std::string Multistatus(const std::string& responses) {
        return Answer("207 Multi-Status",
                      "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:multistatus xmlns:D=\"DAV:\" "
                      "xmlns:Office=\"urn:schemas-microsoft-com:office:office\" "
                      "xmlns:Repl=\"http://schemas.microsoft.com/repl/\" "
                      "xmlns:Z=\"urn:schemas-microsoft-com:\"><Repl:repl/>" +
                          responses + "</D:multistatus>");
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
    static std::string Soap(const std::string& method, const std::string& result) {
        return Answer("200 OK", "<?xml version=\"1.0\"?><soap:Envelope xmlns:soap=\"s\"><soap:Body><" +
                                    method + "Response xmlns=\"n\"><" + method + "Result>" + result + "</" +
                                    method + "Result></" + method + "Response></soap:Body></soap:Envelope>");
    }
    std::shared_ptr<SharePoint::Object> Bind(const std::u16string& path, Type type = Type::any) {
        return web->BindObject(Url(path), type);
    }

    std::map<std::string, std::string> answers;
    std::string fallback = Answer("404 Not Found");  // to all else
    std::string web_url;                             // of the page; empty: of this web
    std::vector<LoopbackTestServer::Request> setup;
    LoopbackTestServer server{[this](const LoopbackTestServer::Request& request) { return Reply(request); }};
    std::shared_ptr<Http::Session> session =
        Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
    std::shared_ptr<SharePoint2013::Web> web;

private:
    std::string Reply(const LoopbackTestServer::Request& request) {
        if (const auto found = answers.find(request.Line()); found != answers.end()) return found->second;
        const std::string path = ToUtf8(UrlEncode(m_web_path));
        if (request.target == "/_vti_bin/Webs.asmx")
            return Soap("WebUrlFromPageUrl", web_url.empty() ? Host() + "/" + ToUtf8(m_web_path) : web_url);
        if (request.Line() == "PROPFIND /" + path) return Multistatus(Folder(path));
        return fallback;
    }

    std::u16string m_web_path;
};
