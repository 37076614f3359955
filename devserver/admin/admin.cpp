#include "admin/admin.h"

#include "base/json.h"
#include "base/text.h"
#include "content/column_text.h"
#include "content/sharing.h"
#include "faults/apply.h"

namespace devserver {
namespace {

http::Response Json(int status, const std::string& text) {
    return http::MakeResponse(status, "application/json; charset=utf-8", text);
}

http::Response JsonMember(int status, const char* name, const std::string& text) {
    return Json(status, JsonWriter().StartObject().Member(name, text).EndObject().Take());
}

http::Response Refusal(int status, const std::string& text) {
    return JsonMember(status, "error", text);
}

http::Response Done() {
    return Json(200, JsonWriter().StartObject().EndObject().Take());
}

std::string Argument(const http::Request& request, const char* name) {
    return QueryValue(request.query, name);
}

std::string ItemJson(Store& store, const Item& item) {
    auto holder = store.UserById(item.checked_out_by);
    JsonWriter writer;
    writer.StartObject().Member("path", item.path).Member("version", item.VersionLabel());
    writer.Member("size", item.size).Member("modified", IsoTime(item.modified)).Key("checked_out_by");
    holder ? writer.Value(holder->name) : writer.Null();
    return writer.EndObject().Take();
}

// A browser names the page that a call comes from; pages of other origins may not administrate.
bool ComesFromElsewhere(const http::Request& request) {
    return request.headers.Has("Origin") &&
           !EqualsIgnoringCase(request.headers.get("Origin"), request.base_url);
}

}  // namespace

bool Admin::Owns(const http::Request& request) {
    return request.path.starts_with("/_dev/");
}

http::Response Admin::Handle(http::Request& request) {
    if (ComesFromElsewhere(request)) return Refusal(403, "this is not for pages of other origins");
    auto operation = request.path.substr(6);
    bool post = request.method == "POST";
    try {
        if (operation == "faults") return faults(request);
        if (operation == "requests") return requests(request);
        if (operation == "document" && request.method == "GET") return document(request);
        if (!post) return Refusal(405, "this operation takes POST");
        if (operation == "write") return Write(request);
        if (operation == "checkout" || operation == "undo-checkout" || operation == "checkin")
            return workflow(request, operation);
        if (operation == "token") return token(request);
        if (operation == "column") return column(request);
        if (operation == "expire-tokens" || operation == "expire-cookies") {
            m_tickets.ExpireTokens(operation == "expire-tokens" ? "access" : "forms");
            return Done();
        }
        if (operation == "expire-digests") {
            m_digests.ExpireAll();
            return Done();
        }
    } catch (const StoreError& error) {
        return Refusal(error.fault == Fault::not_found ? 404 : 409, error.what());
    } catch (const FaultSyntaxError& error) {
        return Refusal(400, error.what());
    }
    return Refusal(404, "there is no operation '" + operation + "'");
}

http::Response Admin::faults(http::Request& request) {
    if (request.method == "DELETE")
        m_faults.Clear();
    else if (request.method == "POST")
        m_faults.Add(http::ReadText(request));
    else if (request.method != "GET")
        return Refusal(405, "GET, POST or DELETE");
    return Json(200, m_faults.Describe());
}

http::Response Admin::requests(const http::Request& request) {
    if (request.method == "DELETE") {
        m_log.Clear();
        return Json(200, JsonWriter().StartArray().EndArray().Take());
    }
    return request.method == "GET" ? Json(200, m_log.json()) : Refusal(405, "GET or DELETE");
}

http::Response Admin::Write(http::Request& request) {
    std::optional<Seconds> time;
    if (auto text = Argument(request, "modified"); !text.empty()) {
        time = ParseIsoTime(text);
        if (!time) return Refusal(400, "'modified' must be a time such as 2024-05-01T12:00:00Z");
    }
    auto user = Argument(request, "user");
    auto item = WriteAsOther(m_store, Argument(request, "path"), user.empty() ? "bob" : user,
                             http::ReadText(request, 256 << 20), time, Argument(request, "force") == "1");
    return Json(200, ItemJson(m_store, item));
}

http::Response Admin::workflow(const http::Request& request, const std::string& operation) {
    auto item = m_store.Find(Argument(request, "path"));
    auto user = m_store.UserByName(Argument(request, "user"));
    if (!item) return Refusal(404, "there is no such document");
    if (!user) return Refusal(404, "there is no such user");
    if (operation == "checkout") {
        item = m_store.CheckOut(item->id, *user);
    } else if (operation == "undo-checkout") {
        item = m_store.UndoCheckOut(item->id, *user);
    } else {
        auto type = ParseInteger(Argument(request, "type")).value_or(1);
        item = m_store.CheckIn(item->id, Argument(request, "comment"), static_cast<CheckInType>(type), *user);
    }
    return Json(200, ItemJson(m_store, *item));
}

http::Response Admin::token(const http::Request& request) {
    auto user = m_store.UserByName(Argument(request, "user"));
    if (!user) return Refusal(404, "there is no such user");
    std::optional<int> lifetime;
    if (auto text = Argument(request, "lifetime"); !text.empty()) {
        auto number = ParseInteger(text);
        if (!number) return Refusal(400, "'lifetime' must be a number of seconds");
        lifetime = static_cast<int>(*number);
    }
    auto value = m_authority.IssueAccessToken(*user, "test", "admin", lifetime);
    return JsonMember(200, "access_token", value);
}

http::Response Admin::column(http::Request& request) {
    try {
        auto column = ParseColumn(http::ReadText(request));
        m_store.PutColumn(m_store.libraries(m_store.site().id).at(0).id, column);
        return Done();
    } catch (const ColumnSyntaxError& error) {
        return Refusal(400, error.what());
    }
}

http::Response Admin::document(const http::Request& request) {
    auto item = m_store.Find(Argument(request, "path"));
    if (!item || item->folder) return Refusal(404, "there is no such document");
    http::Response response;
    response.file = m_store.blobs().Open(item->blob);
    if (!response.file) return Refusal(500, "the content is missing");
    response.file_length = response.file->size();
    auto holder = m_store.UserById(item->checked_out_by);
    auto editor = m_store.UserById(item->editor);
    response.headers.Set("Content-Type", "application/octet-stream");
    response.headers.Set("X-Version", item->VersionLabel());
    response.headers.Set("X-Level", std::to_string(item->level));
    response.headers.Set("X-Comment", PercentEncode(item->comment, " -_.~,;:!?"));
    response.headers.Set("X-Modified", IsoTime(item->modified));
    response.headers.Set("X-Modified-By", editor ? editor->name : "");
    response.headers.Set("X-Checked-Out-By", holder ? holder->name : "");
    response.headers.Set("X-Sharing-Link", request.base_url + SharingPath(m_store, *item));
    return response;
}

}  // namespace devserver
