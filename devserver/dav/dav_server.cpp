#include "dav/dav_server.h"

#include "base/text.h"
#include "dav/dav_error.h"
#include "dav/properties.h"

namespace devserver::dav {
namespace {

constexpr const char* kAllowedMethods =
    "GET, POST, OPTIONS, HEAD, MKCOL, PUT, PROPFIND, PROPPATCH, DELETE, MOVE, COPY, GETLIB, LOCK, UNLOCK";

bool IsPage(const std::string& path) {
    for (const char* part : {"/_layouts/", "/_vti_history/"})
        if (FindIgnoringCase(path, part) != std::string::npos) return true;
    return false;
}

}  // namespace

http::Response DavServer::Handle(http::Request& request, const User& user) {
    try {
        if (user.rights == Rights::none) throw AccessDenied();
        bool reads = request.method == "GET" || request.method == "HEAD";
        if (reads || IsPage(request.path)) return m_pages.Handle(request, user);
        // No resource has an address with a fragment.
        if (request.target.find('#') != std::string::npos) throw DavError(400, "The address has a fragment.");
        Call call{request, user, request.path, false, {}, IfHeader::Parse(request.headers.get("If"))};
        while (call.path.size() > 1 && call.path.back() == '/') {
            call.path.pop_back();
            call.trailing_slash = true;
        }
        call.item = m_store.Find(call.path);
        return Dispatch(call);
    } catch (const DavError& error) {
        return ResponseOf(error);
    } catch (const StoreError& error) {
        return ResponseOf(ErrorOf(error));
    }
}

http::Response DavServer::Dispatch(Call& call) {
    const auto& method = call.request.method;
    if (method == "OPTIONS") return options(call);
    if (method == "PROPFIND") return Propfind(call);
    if (method == "GETLIB") return LibraryOf(call);
    if (method == "PROPPATCH") return Proppatch(call);
    if (method == "PUT") return put(call);
    if (method == "MKCOL") return MakeCollection(call);
    if (method == "DELETE") return Remove(call);
    if (method == "MOVE") return MoveOrCopy(call, true);
    if (method == "COPY") return MoveOrCopy(call, false);
    if (method == "LOCK") return Lock(call);
    if (method == "UNLOCK") return Unlock(call);
    DavError refusal(call.request.method == "POST" ? 405 : 501, "The method isn't supported here.");
    auto response = ResponseOf(refusal);
    response.headers.Set("Allow", kAllowedMethods);
    return response;
}

http::Response DavServer::options(const Call&) {
    http::Response response;
    response.headers.Set("MS-Author-Via", "MS-FP/4.0,DAV");
    response.headers.Set("DocumentManagementServer", "Properties Schema;Source Control;Version History;");
    response.headers.Set("DAV", "1,2");
    response.headers.Set("Accept-Ranges", "bytes");
    response.headers.Set("Allow", kAllowedMethods);
    response.headers.Set("Public-Extension", "http://schemas.microsoft.com/repl-2");
    response.headers.Set("Cache-Control", "private");
    return response;
}

// Names the document library of an address.
http::Response DavServer::LibraryOf(const Call& call) {
    RequireItem(call);
    auto library = m_store.library(call.item->library);
    if (!library) throw DavError(404, "The address lies in no document library.");
    http::Response response;
    response.headers.Set("MS-Doclib",
                         WriterFor(call).href(m_store.item(library->root_item).value_or(Item{}).path));
    return response;
}

PropertyWriter DavServer::WriterFor(const Call& call) {
    return {m_store, call.request.base_url, m_options.relative_hrefs};
}

http::Response DavServer::Propfind(Call& call) {
    auto request =
        std::make_shared<PropertyRequest>(PropertyRequest::Parse(http::ReadText(call.request, 1 << 20)));
    auto depth = ToLower(call.request.headers.get("Depth"));
    bool without_itself = depth == "1,noroot";
    if (depth != "0" && depth != "1" && !without_itself)
        throw DavError(403, "Only the depths 0 and 1 are served.", 0, "propfind-finite-depth");
    RequireItem(call);
    auto writer = std::make_shared<PropertyWriter>(WriterFor(call));
    auto first = without_itself ? std::string() : writer->response(*call.item, *request);
    auto rows = std::make_shared<std::vector<Item>>();
    if (depth != "0" && call.item->folder) {
        *rows = m_store.children(*call.item, true);
        auto files = m_store.children(*call.item, false);
        rows->insert(rows->end(), std::make_move_iterator(files.begin()),
                     std::make_move_iterator(files.end()));
        writer->UseFreeProperties(m_store.FreePropertiesBelow(call.item->id));
    }
    http::Response response;
    response.status = 207;
    response.headers.Set("Content-Type", "text/xml; charset=utf-8");
    response.headers.Set("Cache-Control", "no-cache");
    response.producer = [=](BodySink& sink) {
        sink.Write(PropertyWriter::MultistatusBegin() + first);
        for (const auto& row : *rows) sink.Write(writer->response(row, *request));
        sink.Write(PropertyWriter::MultistatusEnd());
    };
    return response;
}

void DavServer::RequireEdit(const Call& call) const {
    if (call.user.rights != Rights::edit) throw AccessDenied();
}

void DavServer::RequireItem(const Call& call) const {
    if (!call.item) throw NotFound(call.path);
}

std::optional<DavServer::Blocked> DavServer::FindBlocked(const Call& call, const Item& item) {
    if (item.checked_out_by != 0 && item.checked_out_by != call.user.id)
        return Blocked{item.path, m_store.LoginOf(item.checked_out_by), true};
    auto lock = m_store.FindWriteLock(item.id);
    if (lock && (lock->user != call.user.id || !call.conditions.Submits(lock->token)))
        return Blocked{item.path, m_store.LoginOf(lock->user), false};
    return std::nullopt;
}

std::vector<DavServer::Blocked> DavServer::BlockedIn(const Call& call, const Item& item) {
    std::vector<Blocked> result;
    if (!item.folder) {
        if (auto one = FindBlocked(call, item)) result.push_back(*one);
        return result;
    }
    for (bool folders : {false, true}) {
        for (const auto& child : m_store.children(item, folders))
            for (auto& one : BlockedIn(call, child)) result.push_back(std::move(one));
    }
    return result;
}

void DavServer::RequireUnlocked(const Call& call, const Item& item) {
    if (auto one = FindBlocked(call, item)) throw Locked(one->path, one->login, one->checked_out);
}

void DavServer::RequireConditions(const Call& call) {
    auto state_of = [&](const std::string& resource) {
        auto item = call.item;
        if (!resource.empty()) item = m_store.Find(PercentDecode(SplitAddress(resource).second));
        ResourceState state;
        if (!item) return state;
        state.etag = item->folder ? "" : EtagOf(*item);
        if (auto lock = m_store.FindWriteLock(item->id)) {
            state.token = lock->token;
        } else if (item->checked_out_by != 0) {
            state.token = CheckOutToken(*item);
        }
        return state;
    };
    if (!call.conditions.Holds(state_of)) throw DavError(412, "The If header doesn't hold.");
    auto etag = call.item && !call.item->folder ? EtagOf(*call.item) : std::string();
    auto match = call.request.headers.get("If-Match");
    if (!match.empty() && (match == "*" ? !call.item : match.find(etag) == std::string::npos || etag.empty()))
        throw DavError(412, "The file has changed.");
    auto none_match = call.request.headers.get("If-None-Match");
    if (!none_match.empty() &&
        (none_match == "*" ? call.item.has_value()
                           : !etag.empty() && none_match.find(etag) != std::string::npos))
        throw DavError(412, "The file exists already.");
}

http::Response DavServer::PartialFailure(const Call& call, const std::vector<Blocked>& list) {
    auto writer = WriterFor(call);
    auto text = PropertyWriter::MultistatusBegin();
    for (const auto& one : list) {
        text += "<D:response><D:href>" + xml::Escape(writer.href(one.path)) + "</D:href><D:status>" +
                PropertyWriter::StatusLine(423) + "</D:status></D:response>";
    }
    return http::MakeResponse(207, "text/xml; charset=utf-8", text + PropertyWriter::MultistatusEnd());
}

}  // namespace devserver::dav
