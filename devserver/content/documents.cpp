#include "content/documents.h"

#include "base/clock.h"
#include "base/text.h"
#include "content/preview.h"
#include "content/sharing.h"

namespace devserver {
namespace {

struct TypeRow {
    std::string_view extension, type;
};
constexpr TypeRow types[] = {
    {".pdf", "application/pdf"}, {".txt", "text/plain"},        {".html", "text/html"}, {".png", "image/png"},
    {".jpg", "image/jpeg"},      {".json", "application/json"}, {".xml", "text/xml"},   {".csv", "text/csv"}};

http::Response not_found() {
    return http::make_response(404, "text/html; charset=utf-8",
                               "<html><body><h1>404 NOT FOUND</h1></body></html>");
}

}  // namespace

std::string document_type_of(const std::string& name) {
    auto lower = to_lower(name);
    for (const auto& row : types)
        if (lower.ends_with(row.extension)) return std::string(row.type);
    return "application/octet-stream";
}

http::Response DocumentPages::handle(http::Request& request, const User& user) {
    if (user.rights == Rights::none) {
        auto response = http::forbidden();
        response.headers.set("X-MSDAVEXT_Error", "917656; Access+denied.");
        return response;
    }
    if (request.method != "GET" && request.method != "HEAD")
        return http::make_response(405, "text/plain", "This address takes GET and HEAD.");
    if (find_ignoring_case(request.path, "/_layouts/15/getpreview.ashx") != std::string::npos)
        return preview(request);
    if (auto at = find_ignoring_case(request.path, "/_vti_history/"); at != std::string::npos)
        return old_version(request, at);
    return document(request);
}

http::Response DocumentPages::document(const http::Request& request) {
    if (is_sharing_path(request.path)) {
        auto item = find_shared(m_store, request.base_url, request.raw_path);
        if (!item) return not_found();
        auto response = http::make_response(302, "", "");
        response.headers.set("Location", request.base_url + encode_path(item->path));
        return response;
    }
    auto item = m_store.find(request.path);
    if (!item) return not_found();
    if (item->folder)
        return http::make_response(200, "text/html; charset=utf-8",
                                   "<!DOCTYPE html><html><head><title>" + html_escape(item->name) +
                                       "</title></head><body><h1>" + html_escape(item->path) +
                                       "</h1></body></html>");
    return content(request, item->blob, item->name, etag_of(*item), item->modified);
}

http::Response DocumentPages::old_version(const http::Request& request, std::size_t at) {
    auto rest = request.path.substr(at + 14);
    auto slash = rest.find('/');
    auto number = parse_integer(rest.substr(0, slash));
    if (slash == std::string::npos || !number) return not_found();
    auto item = m_store.find(request.path.substr(0, at) + rest.substr(slash));
    if (!item || item->folder) return not_found();
    for (const auto& version : m_store.versions(item->id))
        if (version.ui_version == *number)
            return content(request, version.blob, item->name, etag_of(*item), version.created);
    return not_found();
}

http::Response DocumentPages::content(const http::Request& request, const std::string& blob,
                                      const std::string& name, const std::string& etag, Seconds modified) {
    http::Response response;
    response.headers.set("ETag", etag);
    response.headers.set("Last-Modified", http_date(modified));
    if (request.headers.get("If-None-Match") == etag) {
        response.status = 304;
        return response;
    }
    response.file = m_store.blobs().open(blob);
    if (!response.file) return not_found();
    response.file_length = response.file->size();
    response.headers.set("Content-Type", document_type_of(name));
    response.headers.set("Accept-Ranges", "bytes");
    response.headers.set("X-Content-Type-Options", "nosniff");
    http::apply_range(request, response);
    return response;
}

http::Response DocumentPages::preview(const http::Request& request) {
    auto path = query_value(request.query, "path");
    if (path.empty() && has_query(request.query, "guidFile")) {
        auto item = m_store.item_by_guid(query_value(request.query, "guidFile"));
        if (item) path = item->path;
    }
    if (!path.starts_with('/')) path = "/" + path;
    auto item = m_store.find(path);
    if (!item) item = m_store.find(replace_all(path, "''", "'"));
    bool has_preview = item && !item->folder && to_lower(item->name).ends_with(".pdf");
    if (!has_preview) return not_found();
    auto resolution = parse_integer(query_value(request.query, "resolution")).value_or(0);
    auto response = http::make_response(200, "image/png", preview_png(*item, static_cast<int>(resolution)));
    response.headers.set("Cache-Control", "private, max-age=60");
    return response;
}

}  // namespace devserver
