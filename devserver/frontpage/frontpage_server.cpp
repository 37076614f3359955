#include "frontpage/frontpage_server.h"

#include "base/clock.h"
#include "base/text.h"

namespace devserver::frontpage {
namespace {

constexpr std::string_view kAuthor = "/_vti_bin/_vti_aut/author.dll", kShtml = "/_vti_bin/shtml.dll",
                           kInformation = "/_vti_inf.html";
constexpr long kUnknownMethod = 327682, kNotInWeb = 589830;

bool EndsWith(const std::string& path, std::string_view end) {
    return path.size() >= end.size() &&
           EqualsIgnoringCase(std::string_view(path).substr(path.size() - end.size()), end);
}

std::string WebPathOf(const std::string& path) {
    auto at = FindIgnoringCase(path, "/_vti_bin/");
    return path.substr(0, at);
}

std::string YesOrNo(bool value) {
    return value ? "BX|true" : "BX|false";
}

std::string TimeValue(Seconds time) {
    return "TR|" + DigestDate(time);
}

}  // namespace

bool FrontPageServer::Owns(const http::Request& request) {
    // The extension's file may be followed by "/_vti_rpc".
    return EndsWith(request.path, kAuthor) || EndsWith(request.path, kInformation) ||
           FindIgnoringCase(request.path, kShtml) != std::string::npos;
}

http::Response FrontPageServer::Handle(http::Request& request, const User& user) {
    if (EndsWith(request.path, kInformation)) return Describe();
    if (user.rights == Rights::none) return http::Forbidden();
    if (request.method != "POST") return http::MakeResponse(405, "text/plain", "This address takes POST.");
    auto web = m_store.WebAt(WebPathOf(request.path));
    if (!web) return http::NotFoundPage();
    auto rpc = RpcRequest::Parse(http::ReadText(request));
    auto response = http::MakeResponse(200, "text/html; charset=utf-8", Call(rpc, *web, user));
    response.headers.Set("Cache-Control", "no-cache");
    return response;
}

http::Response FrontPageServer::Describe() {
    return http::MakeResponse(
        200, "text/html; charset=utf-8",
        "<html><head><title>FrontPage Configuration Information</title></head><body>\n<!-- FrontPage "
        "Configuration "
        "Information\nFPVersion=\"" +
            version() +
            "\"\nFPShtmlScriptUrl=\"_vti_bin/shtml.dll/_vti_rpc\"\n"
            "FPAuthorScriptUrl=\"_vti_bin/_vti_aut/author.dll\"\n"
            "FPAdminScriptUrl=\"_vti_bin/_vti_adm/admin.dll\"\nTPScriptUrl=\"_vti_bin/owssvr.dll\"\n-->\n"
            "</body></html>\n");
}

std::string FrontPageServer::Call(const RpcRequest& rpc, const Web& web, const User& user) {
    if (rpc.method == "server version") return ServerVersion(rpc);
    if (rpc.method == "open service") return OpenService(rpc, web, user);
    if (rpc.method == "getDocsMetaInfo") return documents(rpc, web, user);
    if (rpc.method == "url to web url") return UrlToWeb(rpc);
    return error(rpc, kUnknownMethod, "The method '" + rpc.method + "' isn't known.");
}

std::string FrontPageServer::ServerVersion(const RpcRequest& rpc) {
    auto parts = Split(version(), '.');
    parts.resize(4);
    RpcPage page(rpc.method, version());
    page.argument("server version").BeginList();
    page.element("major ver", parts[0]).element("minor ver", parts[1]);
    page.element("phase ver", parts[2]).element("ver incr", parts[3]);
    return page.EndList().argument("source control", "1").Finish();
}

std::string FrontPageServer::OpenService(const RpcRequest& rpc, const Web& web, const User& user) {
    RpcPage page(rpc.method, version());
    page.argument("service").BeginList();
    page.element("service_name", web.ServerRelativeUrl()).element("meta_info").BeginList();
    page.metadata("vti_casesensitiveurls", "IX|0").metadata("vti_longfilenames", "IX|1");
    page.metadata("vti_welcomenames", "VX|Default.aspx").metadata("vti_username", Value("SX", user.login));
    page.metadata("vti_servertz", "SX|+0000").metadata("vti_sourcecontrolsystem", "SX|lw");
    page.metadata("vti_sourcecontrolversion", "SX|V1").metadata("vti_doclibwebviewenabled", "IX|1");
    page.metadata("vti_sourcecontrolcookie", "SX|fp_internal");
    page.metadata("vti_sourcecontrolproject", Value("SX", "<STS-based Locking>"));
    page.metadata("vti_title", Value("SR", web.title));
    return page.EndList().EndList().Finish();
}

void FrontPageServer::DescribeDocument(RpcPage& page, const Item& item, const std::string& name,
                                       const User& user) {
    auto login = [&](Id id) { return Value("SR", m_store.LoginOf(id)); };
    page.BeginList().element(item.folder ? "url" : "document_name", name).element("meta_info").BeginList();
    page.metadata("vti_timecreated", TimeValue(item.created));
    page.metadata("vti_timelastmodified", TimeValue(item.modified));
    // By the permissions alone; a check-out has properties of its own below.
    page.metadata("vti_canmaybeedit", YesOrNo(user.rights == Rights::edit));
    if (item.folder) {
        page.metadata("vti_isexecutable", "BR|false").metadata("vti_isbrowsable", "BR|true");
    } else {
        page.metadata("vti_author", login(item.author)).metadata("vti_modifiedby", login(item.editor));
        page.metadata("vti_filesize", "IR|" + std::to_string(item.size));
        page.metadata("vti_rtag", Value("SW", ResourceTagOf(item)));
        page.metadata("vti_sourcecontrolversion", Value("SR", "V" + item.VersionLabel()));
        page.metadata("vti_sourcecontrolcookie", "SR|fp_internal");
        if (item.checked_out_by != 0) {
            page.metadata("vti_sourcecontrolcheckedoutby", login(item.checked_out_by));
            page.metadata("vti_sourcecontroltimecheckedout", TimeValue(item.checked_out_at));
        }
    }
    page.EndList().EndList();
}

std::string FrontPageServer::documents(const RpcRequest& rpc, const Web& web, const User& user) {
    std::vector<std::pair<std::string, Item>> files, folders;
    std::vector<std::string> failed;
    for (const auto& name : rpc.list("url_list")) {
        auto path = (web.path.empty() ? "" : "/" + web.path) + (name.empty() ? "" : "/" + name);
        auto item = m_store.Find(path.empty() ? "/" : path);
        if (!item || EqualsIgnoringCase(name, "_vti_bin")) {
            failed.push_back(name);
        } else {
            (item->folder ? folders : files).emplace_back(name, *item);
        }
    }
    if (files.empty() && folders.empty() && failed.size() == 1)
        return error(rpc, kNotInWeb, "There is no file with URL '" + failed[0] + "' in this Web.");
    RpcPage page(rpc.method, version());
    page.argument("document_list").BeginList();
    for (const auto& [name, item] : files) DescribeDocument(page, item, name, user);
    page.EndList().argument("urldirs").BeginList();
    for (const auto& [name, item] : folders) DescribeDocument(page, item, name, user);
    page.EndList();
    if (!failed.empty()) {
        page.argument("failedUrls").BeginList();
        for (const auto& name : failed) page.element("url", name);
        page.EndList();
    }
    return page.Finish();
}

std::string FrontPageServer::UrlToWeb(const RpcRequest& rpc) {
    auto path = rpc.argument("url");
    if (!path.starts_with('/')) path.insert(0, "/");
    auto web = m_store.WebOf(path);
    RpcPage page(rpc.method, version());
    page.argument("webUrl", web.ServerRelativeUrl());
    auto rest = path.substr(std::min(path.size(), web.path.empty() ? 1 : web.path.size() + 2));
    return page.argument("fileUrl", rest).Finish();
}

std::string FrontPageServer::error(const RpcRequest& rpc, long status, const std::string& message) {
    RpcPage page(rpc.method, version());
    page.argument("status").BeginList();
    page.element("status", std::to_string(status))
        .element("osstatus", "0")
        .element("msg", message)
        .element("osmsg");
    return page.EndList().Finish();
}

}  // namespace devserver::frontpage
