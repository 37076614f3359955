#include "faults/apply.h"

#include <algorithm>

#include "auth/forms.h"
#include "base/text.h"
#include "faults/xml_answers.h"
#include "odata/format.h"

namespace devserver {
namespace {

// The document that a request is about: the quoted path in its address, or the address itself.
std::string DocumentOf(const FaultAction& action, const http::Request& request) {
    if (!action.document.empty()) return action.document;
    auto mark = FindIgnoringCase(request.path, "decodedurl='/");
    if (mark == std::string::npos) return request.path;
    auto begin = mark + 12;
    auto end = request.path.find("')", begin);
    return ReplaceAll(request.path.substr(begin, end - begin), "''", "'");
}

http::Response PlainAnswer(const FaultAction& action, int status) {
    return http::MakeResponse(action.StatusOr(status), action.content_type, action.text.value_or(""));
}

http::Response ErrorAnswer(const FaultAction& action, const http::Request& request) {
    if (action.code.empty() && action.message.empty()) return PlainAnswer(action, 500);
    auto code = action.code.empty() ? "-1, Microsoft.SharePoint.SPException" : action.code;
    auto message = action.message.empty() ? "An injected error." : action.message;
    return odata::ErrorResponse({action.StatusOr(500), code, message},
                                odata::ChooseMode(request.headers.get("Accept")));
}

http::Response SignInPage(const FaultAction& action) {
    return http::MakeResponse(
        action.StatusOr(200), "text/html; charset=utf-8",
        action.text.value_or("<!DOCTYPE html><html><head><title>Sign in to your account</title></head>"
                             "<body><form method=\"post\" action=\"/login\"><input name=\"loginfmt\">"
                             "</form></body></html>"));
}

http::Response NestedAnswer(const FaultAction& action) {
    auto depth = static_cast<std::size_t>(std::clamp<std::int64_t>(action.amount, 1, 10'000'000));
    if (action.xml) return NestedXml(action, depth);
    std::string text;
    text.reserve(depth * 6);
    for (std::size_t i = 0; i < depth; ++i) text += "{\"d\":";
    text += "null";
    text.append(depth, '}');
    return http::MakeResponse(action.StatusOr(200), "application/json;odata=verbose;charset=utf-8", text);
}

http::Response RedirectAnswer(const FaultAction& action, const http::Request& request) {
    auto response = http::MakeResponse(action.StatusOr(302), "", "");
    response.headers.Set("Location", action.loop ? request.base_url + request.target : action.location);
    return response;
}

// The faults that take an answer's place.
struct AnswerRow {
    FaultKind kind;
    http::Response (*make)(const FaultAction& action, const http::Request& request);
};
constexpr AnswerRow kAnswers[] = {
    {FaultKind::status, ErrorAnswer},
    {FaultKind::body, [](auto& action, auto&) { return PlainAnswer(action, 200); }},
    {FaultKind::sign_in_page, [](auto& action, auto&) { return SignInPage(action); }},
    {FaultKind::forms_403, [](auto&, auto& request) { return FormsChallenge(request, true); }},
    {FaultKind::nested, [](auto& action, auto&) { return NestedAnswer(action); }},
    {FaultKind::xml_entities, [](auto& action, auto&) { return ExpandingEntities(action); }},
    {FaultKind::huge_multistatus, HugeMultistatus},
    {FaultKind::locked, LockedAnswer},
    {FaultKind::soap_fault, [](auto& action, auto&) { return SoapFaultAnswer(action); }},
    {FaultKind::partial_failure, PartialFailureAnswer},
    {FaultKind::redirect, RedirectAnswer}};

void RewriteUpload(const FaultAction& action, const http::Request& request, Store& store) {
    auto item = store.Find(DocumentOf(action, request));
    if (!item || item->folder) return;
    auto content = store.blobs().Create();
    std::string text;
    if (!action.text) {
        http::Response whole;
        whole.file = store.blobs().Open(item->blob);
        whole.file_length = whole.file->size();
        http::Materialise(whole);
        text = whole.text + "\n% changed by the server\n";
    } else {
        text = *action.text;
    }
    content->Write(text.data(), text.size());
    store.Write(item->id, std::move(content), store.UserById(item->editor).value(), true,
                action.modified.value_or(item->modified + 1));
}

}  // namespace

Item WriteAsOther(Store& store, const std::string& path, const std::string& user_name,
                  const std::string& text, std::optional<Seconds> time, bool force) {
    auto user = store.UserByName(user_name);
    if (!user) throw StoreError(Fault::not_found, user_name);
    auto content = store.blobs().Create();
    content->Write(text.data(), text.size());
    auto item = store.Find(path);
    if (!item) return store.AddPublished(path, std::move(content), time.value_or(Now()), *user);
    // Times have whole seconds, and a newer version must show as newer.
    return store.Write(item->id, std::move(content), *user, force,
                       time.value_or(std::max(Now(), item->modified + 1)));
}

void Prepare(const std::vector<FaultAction>& actions, http::Request& request, Store& store) {
    for (const auto& action : actions) {
        if (action.kind == FaultKind::stale_digest)
            request.headers.Set("X-RequestDigest", "0x00,01 Jan 2001 00:00:00 -0000");
        if (action.kind == FaultKind::newer_version) {
            WriteAsOther(store, DocumentOf(action, request), action.user.empty() ? "bob" : action.user,
                         action.text.value_or("a newer version by somebody else"), action.modified, true);
        }
    }
}

std::optional<http::Response> AnswerInstead(const std::vector<FaultAction>& actions,
                                            const http::Request& request, bool served) {
    for (const auto& action : actions) {
        if (action.run_first != served) continue;
        auto row = std::ranges::find(kAnswers, action.kind, &AnswerRow::kind);
        if (row == std::end(kAnswers)) continue;
        auto response = row->make(action, request);
        for (const auto& [name, value] : action.headers) response.headers.Add(name, value);
        return response;
    }
    return std::nullopt;
}

void Spoil(const std::vector<FaultAction>& actions, const http::Request& request, http::Response& response,
           Store& store) {
    for (const auto& action : actions) {
        if (action.kind == FaultKind::truncate) {
            http::Materialise(response);
            response.text.resize(std::min<std::size_t>(
                response.text.size(), static_cast<std::size_t>(std::max<std::int64_t>(0, action.after))));
        } else if (action.kind == FaultKind::header_bomb) {
            auto size = static_cast<std::size_t>(std::clamp<std::int64_t>(action.size, 1, 1 << 24));
            for (std::int64_t i = 0; i < std::clamp<std::int64_t>(action.amount, 1, 100'000); ++i)
                response.headers.Add("X-Filler-" + std::to_string(i), std::string(size, 'x'));
        } else if (action.kind == FaultKind::rewrite_upload && response.status < 300) {
            RewriteUpload(action, request, store);
        }
    }
}

}  // namespace devserver
