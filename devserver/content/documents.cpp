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
constexpr TypeRow kTypes[] = {
    {".pdf", "application/pdf"}, {".txt", "text/plain"},        {".html", "text/html"}, {".png", "image/png"},
    {".jpg", "image/jpeg"},      {".json", "application/json"}, {".xml", "text/xml"},   {".csv", "text/csv"}};

http::Response NotFound() {
    return http::MakeResponse(404, "text/html; charset=utf-8",
                              "<html><body><h1>404 NOT FOUND</h1></body></html>");
}

}  // namespace

std::string DocumentTypeOf(const std::string& name) {
    auto lower = ToLower(name);
    for (const auto& row : kTypes)
        if (lower.ends_with(row.extension)) return std::string(row.type);
    return "application/octet-stream";
}

http::Response DocumentPages::Handle(http::Request& request, const User& user) {
    if (user.rights == Rights::none) {
        auto response = http::Forbidden();
        response.headers.Set("X-MSDAVEXT_Error", "917656; Access+denied.");
        return response;
    }
    if (request.method != "GET" && request.method != "HEAD")
        return http::MakeResponse(405, "text/plain", "This address takes GET and HEAD.");
    if (FindIgnoringCase(request.path, "/_layouts/15/getpreview.ashx") != std::string::npos)
        return preview(request);
    if (auto at = FindIgnoringCase(request.path, "/_vti_history/"); at != std::string::npos)
        return OldVersion(request, at);
    return document(request);
}

http::Response DocumentPages::document(const http::Request& request) {
    if (IsSharingPath(request.path)) {
        auto item = FindShared(m_store, request.base_url, request.raw_path);
        if (!item) return NotFound();
        auto response = http::MakeResponse(302, "", "");
        response.headers.Set("Location", request.base_url + EncodePath(item->path));
        return response;
    }
    auto item = m_store.Find(request.path);
    if (!item) return NotFound();
    if (item->folder) {
        return http::MakeResponse(200, "text/html; charset=utf-8",
                                  "<!DOCTYPE html><html><head><title>" + HtmlEscape(item->name) +
                                      "</title></head><body><h1>" + HtmlEscape(item->path) +
                                      "</h1></body></html>");
    }
    return content(request, item->blob, item->name, EtagOf(*item), item->modified);
}

http::Response DocumentPages::OldVersion(const http::Request& request, std::size_t at) {
    auto rest = request.path.substr(at + 14);
    auto slash = rest.find('/');
    auto number = ParseInteger(rest.substr(0, slash));
    if (slash == std::string::npos || !number) return NotFound();
    auto item = m_store.Find(request.path.substr(0, at) + rest.substr(slash));
    if (!item || item->folder) return NotFound();
    for (const auto& version : m_store.versions(item->id)) {
        if (version.ui_version == *number)
            return content(request, version.blob, item->name, EtagOf(*item), version.created);
    }
    return NotFound();
}

http::Response DocumentPages::content(const http::Request& request, const std::string& blob,
                                      const std::string& name, const std::string& etag, Seconds modified) {
    http::Response response;
    response.headers.Set("ETag", etag);
    response.headers.Set("Last-Modified", HttpDate(modified));
    if (request.headers.get("If-None-Match") == etag) {
        response.status = 304;
        return response;
    }
    response.file = m_store.blobs().Open(blob);
    if (!response.file) return NotFound();
    response.file_length = response.file->size();
    response.headers.Set("Content-Type", DocumentTypeOf(name));
    response.headers.Set("Accept-Ranges", "bytes");
    response.headers.Set("X-Content-Type-Options", "nosniff");
    http::ApplyRange(request, response);
    return response;
}

http::Response DocumentPages::preview(const http::Request& request) {
    auto path = QueryValue(request.query, "path");
    if (path.empty() && HasQuery(request.query, "guidFile")) {
        auto item = m_store.ItemByGuid(QueryValue(request.query, "guidFile"));
        if (item) path = item->path;
    }
    if (!path.starts_with('/')) path = "/" + path;
    auto item = m_store.Find(path);
    if (!item) item = m_store.Find(ReplaceAll(path, "''", "'"));
    bool has_preview = item && !item->folder && ToLower(item->name).ends_with(".pdf");
    if (!has_preview) return NotFound();
    auto resolution = ParseInteger(QueryValue(request.query, "resolution")).value_or(0);
    auto response = http::MakeResponse(200, "image/png", PreviewPng(*item, static_cast<int>(resolution)));
    response.headers.Set("Cache-Control", "private, max-age=60");
    return response;
}

}  // namespace devserver
