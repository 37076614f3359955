#include "frontpage/frontpage_server.h"

#include "base/clock.h"
#include "base/text.h"

namespace devserver::frontpage {
namespace {

constexpr std::string_view author = "/_vti_bin/_vti_aut/author.dll", shtml = "/_vti_bin/shtml.dll",
                           information = "/_vti_inf.html";
constexpr long unknown_method = 327682, not_in_web = 589830;

bool ends_with(const std::string& path, std::string_view end) {
    return path.size() >= end.size() &&
           equals_ignoring_case(std::string_view(path).substr(path.size() - end.size()), end);
}

std::string web_path_of(const std::string& path) {
    auto at = find_ignoring_case(path, "/_vti_bin/");
    return path.substr(0, at);
}

std::string yes_or_no(bool value) {
    return value ? "BX|true" : "BX|false";
}

std::string time_value(Seconds time) {
    return "TR|" + digest_date(time);
}

}  // namespace

bool FrontPageServer::owns(const http::Request& request) {
    // The extension's file may be followed by "/_vti_rpc".
    return ends_with(request.path, author) || ends_with(request.path, information) ||
           find_ignoring_case(request.path, shtml) != std::string::npos;
}

http::Response FrontPageServer::handle(http::Request& request, const User& user) {
    if (ends_with(request.path, information)) return describe();
    if (user.rights == Rights::none) return http::forbidden();
    if (request.method != "POST") return http::make_response(405, "text/plain", "This address takes POST.");
    auto web = m_store.web_at(web_path_of(request.path));
    if (!web) return http::not_found_page();
    auto rpc = RpcRequest::parse(http::read_text(request));
    auto response = http::make_response(200, "text/html; charset=utf-8", call(rpc, *web, user));
    response.headers.set("Cache-Control", "no-cache");
    return response;
}

http::Response FrontPageServer::describe() {
    return http::make_response(
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

std::string FrontPageServer::call(const RpcRequest& rpc, const Web& web, const User& user) {
    if (rpc.method == "server version") return server_version(rpc);
    if (rpc.method == "open service") return open_service(rpc, web, user);
    if (rpc.method == "getDocsMetaInfo") return documents(rpc, web, user);
    if (rpc.method == "url to web url") return url_to_web(rpc);
    return error(rpc, unknown_method, "The method '" + rpc.method + "' isn't known.");
}

std::string FrontPageServer::server_version(const RpcRequest& rpc) {
    auto parts = split(version(), '.');
    parts.resize(4);
    RpcPage page(rpc.method, version());
    page.argument("server version").begin_list();
    page.element("major ver", parts[0]).element("minor ver", parts[1]);
    page.element("phase ver", parts[2]).element("ver incr", parts[3]);
    return page.end_list().argument("source control", "1").finish();
}

std::string FrontPageServer::open_service(const RpcRequest& rpc, const Web& web, const User& user) {
    RpcPage page(rpc.method, version());
    page.argument("service").begin_list();
    page.element("service_name", web.server_relative_url()).element("meta_info").begin_list();
    page.metadata("vti_casesensitiveurls", "IX|0").metadata("vti_longfilenames", "IX|1");
    page.metadata("vti_welcomenames", "VX|Default.aspx").metadata("vti_username", value("SX", user.login));
    page.metadata("vti_servertz", "SX|+0000").metadata("vti_sourcecontrolsystem", "SX|lw");
    page.metadata("vti_sourcecontrolversion", "SX|V1").metadata("vti_doclibwebviewenabled", "IX|1");
    page.metadata("vti_sourcecontrolcookie", "SX|fp_internal");
    page.metadata("vti_sourcecontrolproject", value("SX", "<STS-based Locking>"));
    page.metadata("vti_title", value("SR", web.title));
    return page.end_list().end_list().finish();
}

void FrontPageServer::describe_document(RpcPage& page, const Item& item, const std::string& name,
                                        const User& user) {
    auto login = [&](Id id) { return value("SR", m_store.login_of(id)); };
    page.begin_list().element(item.folder ? "url" : "document_name", name).element("meta_info").begin_list();
    page.metadata("vti_timecreated", time_value(item.created));
    page.metadata("vti_timelastmodified", time_value(item.modified));
    // By the permissions alone; a check-out is told below.
    page.metadata("vti_canmaybeedit", yes_or_no(user.rights == Rights::edit));
    if (item.folder) {
        page.metadata("vti_isexecutable", "BR|false").metadata("vti_isbrowsable", "BR|true");
    } else {
        page.metadata("vti_author", login(item.author)).metadata("vti_modifiedby", login(item.editor));
        page.metadata("vti_filesize", "IR|" + std::to_string(item.size));
        page.metadata("vti_rtag", value("SW", resource_tag_of(item)));
        page.metadata("vti_sourcecontrolversion", value("SR", "V" + item.version_label()));
        page.metadata("vti_sourcecontrolcookie", "SR|fp_internal");
        if (item.checked_out_by != 0) {
            page.metadata("vti_sourcecontrolcheckedoutby", login(item.checked_out_by));
            page.metadata("vti_sourcecontroltimecheckedout", time_value(item.checked_out_at));
        }
    }
    page.end_list().end_list();
}

std::string FrontPageServer::documents(const RpcRequest& rpc, const Web& web, const User& user) {
    std::vector<std::pair<std::string, Item>> files, folders;
    std::vector<std::string> failed;
    for (const auto& name : rpc.list("url_list")) {
        auto path = (web.path.empty() ? "" : "/" + web.path) + (name.empty() ? "" : "/" + name);
        auto item = m_store.find(path.empty() ? "/" : path);
        if (!item || equals_ignoring_case(name, "_vti_bin"))
            failed.push_back(name);
        else
            (item->folder ? folders : files).emplace_back(name, *item);
    }
    if (files.empty() && folders.empty() && failed.size() == 1)
        return error(rpc, not_in_web, "There is no file with URL '" + failed[0] + "' in this Web.");
    RpcPage page(rpc.method, version());
    page.argument("document_list").begin_list();
    for (const auto& [name, item] : files) describe_document(page, item, name, user);
    page.end_list().argument("urldirs").begin_list();
    for (const auto& [name, item] : folders) describe_document(page, item, name, user);
    page.end_list();
    if (!failed.empty()) {
        page.argument("failedUrls").begin_list();
        for (const auto& name : failed) page.element("url", name);
        page.end_list();
    }
    return page.finish();
}

std::string FrontPageServer::url_to_web(const RpcRequest& rpc) {
    auto path = rpc.argument("url");
    if (!path.starts_with('/')) path.insert(0, "/");
    auto web = m_store.web_of(path);
    RpcPage page(rpc.method, version());
    page.argument("webUrl", web.server_relative_url());
    auto rest = path.substr(std::min(path.size(), web.path.empty() ? 1 : web.path.size() + 2));
    return page.argument("fileUrl", rest).finish();
}

std::string FrontPageServer::error(const RpcRequest& rpc, long status, const std::string& message) {
    RpcPage page(rpc.method, version());
    page.argument("status").begin_list();
    page.element("status", std::to_string(status))
        .element("osstatus", "0")
        .element("msg", message)
        .element("osmsg");
    return page.end_list().finish();
}

}  // namespace devserver::frontpage
