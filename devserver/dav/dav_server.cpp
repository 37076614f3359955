#include "dav/dav_server.h"

#include "base/text.h"
#include "dav/dav_error.h"
#include "dav/properties.h"

namespace devserver::dav {
namespace {

constexpr const char* allowed_methods =
    "GET, POST, OPTIONS, HEAD, MKCOL, PUT, PROPFIND, PROPPATCH, DELETE, MOVE, COPY, GETLIB, LOCK, UNLOCK";

bool is_page(const std::string& path) {
    for (const char* part : {"/_layouts/", "/_vti_history/"})
        if (find_ignoring_case(path, part) != std::string::npos) return true;
    return false;
}

}  // namespace

http::Response DavServer::handle(http::Request& request, const User& user) {
    try {
        if (user.rights == Rights::none) throw access_denied();
        bool reads = request.method == "GET" || request.method == "HEAD";
        if (reads || is_page(request.path)) return m_pages.handle(request, user);
        // No resource has an address with a fragment.
        if (request.target.find('#') != std::string::npos) throw DavError(400, "The address has a fragment.");
        Call call{request, user, request.path, false, {}, IfHeader::parse(request.headers.get("If"))};
        while (call.path.size() > 1 && call.path.back() == '/') {
            call.path.pop_back();
            call.trailing_slash = true;
        }
        call.item = m_store.find(call.path);
        return dispatch(call);
    } catch (const DavError& error) {
        return response_of(error);
    } catch (const StoreError& error) {
        return response_of(error_of(error));
    }
}

http::Response DavServer::dispatch(Call& call) {
    const auto& method = call.request.method;
    if (method == "OPTIONS") return options(call);
    if (method == "PROPFIND") return propfind(call);
    if (method == "GETLIB") return library_of(call);
    if (method == "PROPPATCH") return proppatch(call);
    if (method == "PUT") return put(call);
    if (method == "MKCOL") return make_collection(call);
    if (method == "DELETE") return remove(call);
    if (method == "MOVE") return move_or_copy(call, true);
    if (method == "COPY") return move_or_copy(call, false);
    if (method == "LOCK") return lock(call);
    if (method == "UNLOCK") return unlock(call);
    DavError refusal(call.request.method == "POST" ? 405 : 501, "The method isn't supported here.");
    auto response = response_of(refusal);
    response.headers.set("Allow", allowed_methods);
    return response;
}

http::Response DavServer::options(const Call&) {
    http::Response response;
    response.headers.set("MS-Author-Via", "MS-FP/4.0,DAV");
    response.headers.set("DocumentManagementServer", "Properties Schema;Source Control;Version History;");
    response.headers.set("DAV", "1,2");
    response.headers.set("Accept-Ranges", "bytes");
    response.headers.set("Allow", allowed_methods);
    response.headers.set("Public-Extension", "http://schemas.microsoft.com/repl-2");
    response.headers.set("Cache-Control", "private");
    return response;
}

// Names the document library of an address.
http::Response DavServer::library_of(const Call& call) {
    require_item(call);
    auto library = m_store.library(call.item->library);
    if (!library) throw DavError(404, "The address lies in no document library.");
    http::Response response;
    response.headers.set("MS-Doclib",
                         writer_for(call).href(m_store.item(library->root_item).value_or(Item{}).path));
    return response;
}

PropertyWriter DavServer::writer_for(const Call& call) {
    return {m_store, call.request.base_url, m_options.relative_hrefs};
}

http::Response DavServer::propfind(Call& call) {
    auto request =
        std::make_shared<PropertyRequest>(PropertyRequest::parse(http::read_text(call.request, 1 << 20)));
    auto depth = to_lower(call.request.headers.get("Depth"));
    bool without_itself = depth == "1,noroot";
    if (depth != "0" && depth != "1" && !without_itself)
        throw DavError(403, "Only the depths 0 and 1 are served.", 0, "propfind-finite-depth");
    require_item(call);
    auto writer = std::make_shared<PropertyWriter>(writer_for(call));
    auto first = without_itself ? std::string() : writer->response(*call.item, *request);
    auto rows = std::make_shared<std::vector<Item>>();
    if (depth != "0" && call.item->folder) {
        *rows = m_store.children(*call.item, true);
        auto files = m_store.children(*call.item, false);
        rows->insert(rows->end(), std::make_move_iterator(files.begin()),
                     std::make_move_iterator(files.end()));
        writer->use_free_properties(m_store.free_properties_below(call.item->id));
    }
    http::Response response;
    response.status = 207;
    response.headers.set("Content-Type", "text/xml; charset=utf-8");
    response.headers.set("Cache-Control", "no-cache");
    response.producer = [=](BodySink& sink) {
        sink.write(PropertyWriter::multistatus_begin() + first);
        for (const auto& row : *rows) sink.write(writer->response(row, *request));
        sink.write(PropertyWriter::multistatus_end());
    };
    return response;
}

void DavServer::require_edit(const Call& call) const {
    if (call.user.rights != Rights::edit) throw access_denied();
}

void DavServer::require_item(const Call& call) const {
    if (!call.item) throw not_found(call.path);
}

std::optional<DavServer::Blocked> DavServer::blocked(const Call& call, const Item& item) {
    if (item.checked_out_by != 0 && item.checked_out_by != call.user.id)
        return Blocked{item.path, m_store.login_of(item.checked_out_by), true};
    auto lock = m_store.write_lock(item.id);
    if (lock && (lock->user != call.user.id || !call.conditions.submits(lock->token)))
        return Blocked{item.path, m_store.login_of(lock->user), false};
    return std::nullopt;
}

std::vector<DavServer::Blocked> DavServer::blocked_in(const Call& call, const Item& item) {
    std::vector<Blocked> result;
    if (!item.folder) {
        if (auto one = blocked(call, item)) result.push_back(*one);
        return result;
    }
    for (bool folders : {false, true})
        for (const auto& child : m_store.children(item, folders))
            for (auto& one : blocked_in(call, child)) result.push_back(std::move(one));
    return result;
}

void DavServer::require_unlocked(const Call& call, const Item& item) {
    if (auto one = blocked(call, item)) throw locked(one->path, one->login, one->checked_out);
}

void DavServer::require_conditions(const Call& call) {
    auto state_of = [&](const std::string& resource) {
        auto item = call.item;
        if (!resource.empty()) item = m_store.find(percent_decode(split_address(resource).second));
        ResourceState state;
        if (!item) return state;
        state.etag = item->folder ? "" : etag_of(*item);
        if (auto lock = m_store.write_lock(item->id))
            state.token = lock->token;
        else if (item->checked_out_by != 0)
            state.token = check_out_token(*item);
        return state;
    };
    if (!call.conditions.holds(state_of)) throw DavError(412, "The If header doesn't hold.");
    auto etag = call.item && !call.item->folder ? etag_of(*call.item) : std::string();
    auto match = call.request.headers.get("If-Match");
    if (!match.empty() && (match == "*" ? !call.item : match.find(etag) == std::string::npos || etag.empty()))
        throw DavError(412, "The file has changed.");
    auto none_match = call.request.headers.get("If-None-Match");
    if (!none_match.empty() &&
        (none_match == "*" ? call.item.has_value()
                           : !etag.empty() && none_match.find(etag) != std::string::npos))
        throw DavError(412, "The file exists already.");
}

http::Response DavServer::partial_failure(const Call& call, const std::vector<Blocked>& list) {
    auto writer = writer_for(call);
    auto text = PropertyWriter::multistatus_begin();
    for (const auto& one : list)
        text += "<D:response><D:href>" + xml::escape(writer.href(one.path)) + "</D:href><D:status>" +
                PropertyWriter::status_line(423) + "</D:status></D:response>";
    return http::make_response(207, "text/xml; charset=utf-8", text + PropertyWriter::multistatus_end());
}

}  // namespace devserver::dav
