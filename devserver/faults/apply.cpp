#include "faults/apply.h"

#include <algorithm>

#include "auth/forms.h"
#include "base/text.h"
#include "faults/xml_answers.h"
#include "odata/format.h"

namespace devserver {
namespace {

// The document that a request is about: the quoted path in its address, or the address itself.
std::string document_of(const FaultAction& action, const http::Request& request) {
    if (!action.document.empty()) return action.document;
    auto mark = find_ignoring_case(request.path, "decodedurl='/");
    if (mark == std::string::npos) return request.path;
    auto begin = mark + 12;
    auto end = request.path.find("')", begin);
    return replace_all(request.path.substr(begin, end - begin), "''", "'");
}

http::Response plain_answer(const FaultAction& action, int status) {
    return http::make_response(action.status_or(status), action.content_type, action.text.value_or(""));
}

http::Response error_answer(const FaultAction& action, const http::Request& request) {
    if (action.code.empty() && action.message.empty()) return plain_answer(action, 500);
    auto code = action.code.empty() ? "-1, Microsoft.SharePoint.SPException" : action.code;
    auto message = action.message.empty() ? "An injected error." : action.message;
    return odata::error_response({action.status_or(500), code, message},
                                 odata::choose_mode(request.headers.get("Accept")));
}

http::Response sign_in_page(const FaultAction& action) {
    return http::make_response(
        action.status_or(200), "text/html; charset=utf-8",
        action.text.value_or("<!DOCTYPE html><html><head><title>Sign in to your account</title></head>"
                             "<body><form method=\"post\" action=\"/login\"><input name=\"loginfmt\">"
                             "</form></body></html>"));
}

http::Response nested_answer(const FaultAction& action) {
    auto depth = static_cast<std::size_t>(std::clamp<std::int64_t>(action.amount, 1, 10'000'000));
    if (action.xml) return nested_xml(action, depth);
    std::string text;
    text.reserve(depth * 6);
    for (std::size_t i = 0; i < depth; ++i) text += "{\"d\":";
    text += "null";
    text.append(depth, '}');
    return http::make_response(action.status_or(200), "application/json;odata=verbose;charset=utf-8", text);
}

http::Response redirect_answer(const FaultAction& action, const http::Request& request) {
    auto response = http::make_response(action.status_or(302), "", "");
    response.headers.set("Location", action.loop ? request.base_url + request.target : action.location);
    return response;
}

// The faults that take an answer's place.
struct AnswerRow {
    FaultKind kind;
    http::Response (*make)(const FaultAction& action, const http::Request& request);
};
constexpr AnswerRow answers[] = {
    {FaultKind::status, error_answer},
    {FaultKind::body, [](auto& action, auto&) { return plain_answer(action, 200); }},
    {FaultKind::sign_in_page, [](auto& action, auto&) { return sign_in_page(action); }},
    {FaultKind::forms_403, [](auto&, auto& request) { return forms_challenge(request, true); }},
    {FaultKind::nested, [](auto& action, auto&) { return nested_answer(action); }},
    {FaultKind::xml_entities, [](auto& action, auto&) { return expanding_entities(action); }},
    {FaultKind::huge_multistatus, huge_multistatus},
    {FaultKind::locked, locked_answer},
    {FaultKind::soap_fault, [](auto& action, auto&) { return soap_fault_answer(action); }},
    {FaultKind::partial_failure, partial_failure_answer},
    {FaultKind::redirect, redirect_answer}};

void rewrite_upload(const FaultAction& action, const http::Request& request, Store& store) {
    auto item = store.find(document_of(action, request));
    if (!item || item->folder) return;
    auto content = store.blobs().create();
    std::string text;
    if (!action.text) {
        http::Response whole;
        whole.file = store.blobs().open(item->blob);
        whole.file_length = whole.file->size();
        http::materialise(whole);
        text = whole.text + "\n% changed by the server\n";
    } else {
        text = *action.text;
    }
    content->write(text.data(), text.size());
    store.write(item->id, std::move(content), store.user_by_id(item->editor).value(), true,
                action.modified.value_or(item->modified + 1));
}

}  // namespace

Item write_as_other(Store& store, const std::string& path, const std::string& user_name,
                    const std::string& text, std::optional<Seconds> time, bool force) {
    auto user = store.user_by_name(user_name);
    if (!user) throw StoreError(Fault::not_found, user_name);
    auto content = store.blobs().create();
    content->write(text.data(), text.size());
    auto item = store.find(path);
    if (!item) return store.add_published(path, std::move(content), time.value_or(now()), *user);
    // Times have whole seconds, and a newer version must show as newer.
    return store.write(item->id, std::move(content), *user, force,
                       time.value_or(std::max(now(), item->modified + 1)));
}

void prepare(const std::vector<FaultAction>& actions, http::Request& request, Store& store) {
    for (const auto& action : actions) {
        if (action.kind == FaultKind::stale_digest)
            request.headers.set("X-RequestDigest", "0x00,01 Jan 2001 00:00:00 -0000");
        if (action.kind == FaultKind::newer_version)
            write_as_other(store, document_of(action, request), action.user.empty() ? "bob" : action.user,
                           action.text.value_or("a newer version by somebody else"), action.modified, true);
    }
}

std::optional<http::Response> answer_instead(const std::vector<FaultAction>& actions,
                                             const http::Request& request, bool served) {
    for (const auto& action : actions) {
        if (action.run_first != served) continue;
        auto row = std::ranges::find(answers, action.kind, &AnswerRow::kind);
        if (row == std::end(answers)) continue;
        auto response = row->make(action, request);
        for (const auto& [name, value] : action.headers) response.headers.add(name, value);
        return response;
    }
    return std::nullopt;
}

void spoil(const std::vector<FaultAction>& actions, const http::Request& request, http::Response& response,
           Store& store) {
    for (const auto& action : actions) {
        if (action.kind == FaultKind::truncate) {
            http::materialise(response);
            response.text.resize(std::min<std::size_t>(
                response.text.size(), static_cast<std::size_t>(std::max<std::int64_t>(0, action.after))));
        } else if (action.kind == FaultKind::header_bomb) {
            auto size = static_cast<std::size_t>(std::clamp<std::int64_t>(action.size, 1, 1 << 24));
            for (std::int64_t i = 0; i < std::clamp<std::int64_t>(action.amount, 1, 100'000); ++i)
                response.headers.add("X-Filler-" + std::to_string(i), std::string(size, 'x'));
        } else if (action.kind == FaultKind::rewrite_upload && response.status < 300) {
            rewrite_upload(action, request, store);
        }
    }
}

}  // namespace devserver
