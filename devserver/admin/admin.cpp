#include "admin/admin.h"

#include "base/json.h"
#include "base/text.h"
#include "content/column_text.h"
#include "content/sharing.h"
#include "faults/apply.h"

namespace devserver {
namespace {

http::Response json(int status, const std::string& text) {
    return http::make_response(status, "application/json; charset=utf-8", text);
}

http::Response json_member(int status, const char* name, const std::string& text) {
    return json(status, JsonWriter().object().member(name, text).end_object().take());
}

http::Response refusal(int status, const std::string& text) {
    return json_member(status, "error", text);
}

http::Response done() {
    return json(200, JsonWriter().object().end_object().take());
}

std::string argument(const http::Request& request, const char* name) {
    return query_value(request.query, name);
}

std::string item_json(Store& store, const Item& item) {
    auto holder = store.user_by_id(item.checked_out_by);
    JsonWriter writer;
    writer.object().member("path", item.path).member("version", item.version_label());
    writer.member("size", item.size).member("modified", iso_time(item.modified)).key("checked_out_by");
    holder ? writer.value(holder->name) : writer.null();
    return writer.end_object().take();
}

}  // namespace

bool Admin::owns(const http::Request& request) {
    return request.path.starts_with("/_dev/");
}

http::Response Admin::handle(http::Request& request) {
    auto operation = request.path.substr(6);
    bool post = request.method == "POST";
    try {
        if (operation == "faults") return faults(request);
        if (operation == "requests") return requests(request);
        if (operation == "document" && request.method == "GET") return document(request);
        if (!post) return refusal(405, "this operation takes POST");
        if (operation == "write") return write(request);
        if (operation == "checkout" || operation == "undo-checkout" || operation == "checkin")
            return workflow(request, operation);
        if (operation == "token") return token(request);
        if (operation == "column") return column(request);
        if (operation == "expire-tokens" || operation == "expire-cookies") {
            m_tickets.expire_tokens(operation == "expire-tokens" ? "access" : "forms");
            return done();
        }
        if (operation == "expire-digests") {
            m_digests.expire_all();
            return done();
        }
    } catch (const StoreError& error) {
        return refusal(error.fault == Fault::not_found ? 404 : 409, error.what());
    } catch (const FaultSyntaxError& error) {
        return refusal(400, error.what());
    }
    return refusal(404, "there is no operation '" + operation + "'");
}

http::Response Admin::faults(http::Request& request) {
    if (request.method == "DELETE")
        m_faults.clear();
    else if (request.method == "POST")
        m_faults.add(http::read_text(request));
    else if (request.method != "GET")
        return refusal(405, "GET, POST or DELETE");
    return json(200, m_faults.describe());
}

http::Response Admin::requests(const http::Request& request) {
    if (request.method == "DELETE") {
        m_log.clear();
        return json(200, JsonWriter().array().end_array().take());
    }
    return request.method == "GET" ? json(200, m_log.json()) : refusal(405, "GET or DELETE");
}

http::Response Admin::write(http::Request& request) {
    std::optional<Seconds> time;
    if (auto text = argument(request, "modified"); !text.empty()) {
        time = parse_iso_time(text);
        if (!time) return refusal(400, "'modified' must be a time such as 2024-05-01T12:00:00Z");
    }
    auto user = argument(request, "user");
    auto item = write_as_other(m_store, argument(request, "path"), user.empty() ? "bob" : user,
                               http::read_text(request, 256 << 20), time, argument(request, "force") == "1");
    return json(200, item_json(m_store, item));
}

http::Response Admin::workflow(const http::Request& request, const std::string& operation) {
    auto item = m_store.find(argument(request, "path"));
    auto user = m_store.user_by_name(argument(request, "user"));
    if (!item) return refusal(404, "there is no such document");
    if (!user) return refusal(404, "there is no such user");
    if (operation == "checkout") {
        item = m_store.check_out(item->id, *user);
    } else if (operation == "undo-checkout") {
        item = m_store.undo_check_out(item->id, *user);
    } else {
        auto type = parse_integer(argument(request, "type")).value_or(1);
        item =
            m_store.check_in(item->id, argument(request, "comment"), static_cast<CheckInType>(type), *user);
    }
    return json(200, item_json(m_store, *item));
}

http::Response Admin::token(const http::Request& request) {
    auto user = m_store.user_by_name(argument(request, "user"));
    if (!user) return refusal(404, "there is no such user");
    std::optional<int> lifetime;
    if (auto text = argument(request, "lifetime"); !text.empty()) {
        auto number = parse_integer(text);
        if (!number) return refusal(400, "'lifetime' must be a number of seconds");
        lifetime = static_cast<int>(*number);
    }
    auto value = m_authority.issue_access_token(*user, "test", "admin", lifetime);
    return json_member(200, "access_token", value);
}

http::Response Admin::column(http::Request& request) {
    try {
        auto column = parse_column(http::read_text(request));
        m_store.put_column(m_store.libraries(m_store.site().id).at(0).id, column);
        return done();
    } catch (const ColumnSyntaxError& error) {
        return refusal(400, error.what());
    }
}

http::Response Admin::document(const http::Request& request) {
    auto item = m_store.find(argument(request, "path"));
    if (!item || item->folder) return refusal(404, "there is no such document");
    http::Response response;
    response.file = m_store.blobs().open(item->blob);
    if (!response.file) return refusal(500, "the content is missing");
    response.file_length = response.file->size();
    auto holder = m_store.user_by_id(item->checked_out_by);
    auto editor = m_store.user_by_id(item->editor);
    response.headers.set("Content-Type", "application/octet-stream");
    response.headers.set("X-Version", item->version_label());
    response.headers.set("X-Level", std::to_string(item->level));
    response.headers.set("X-Comment", percent_encode(item->comment, " -_.~,;:!?"));
    response.headers.set("X-Modified", iso_time(item->modified));
    response.headers.set("X-Modified-By", editor ? editor->name : "");
    response.headers.set("X-Checked-Out-By", holder ? holder->name : "");
    response.headers.set("X-Sharing-Link", request.base_url + sharing_path(m_store, *item));
    return response;
}

}  // namespace devserver
