#include "faults/plan.h"

#include <rapidjson/document.h>

#include <algorithm>

#include "base/clock.h"
#include "base/json.h"
#include "base/text.h"

namespace devserver {
namespace {

struct KindRow {
    std::string_view name;
    FaultKind kind;
};
constexpr KindRow kInds[] = {{"stall-connect", FaultKind::stall_connect},
                             {"stall", FaultKind::stall},
                             {"stall-headers", FaultKind::stall_headers},
                             {"stall-body", FaultKind::stall_body},
                             {"stall-upload", FaultKind::stall_upload},
                             {"drop-body", FaultKind::drop_body},
                             {"drop-upload", FaultKind::drop_upload},
                             {"close", FaultKind::close},
                             {"truncate", FaultKind::truncate},
                             {"body", FaultKind::body},
                             {"sign-in-page", FaultKind::sign_in_page},
                             {"status", FaultKind::status},
                             {"forms-403", FaultKind::forms_403},
                             {"length", FaultKind::length},
                             {"slow", FaultKind::slow},
                             {"delay", FaultKind::delay},
                             {"nested", FaultKind::nested},
                             {"xml-entities", FaultKind::xml_entities},
                             {"huge-multistatus", FaultKind::huge_multistatus},
                             {"locked", FaultKind::locked},
                             {"soap-fault", FaultKind::soap_fault},
                             {"partial-failure", FaultKind::partial_failure},
                             {"header-bomb", FaultKind::header_bomb},
                             {"redirect", FaultKind::redirect},
                             {"rewrite-upload", FaultKind::rewrite_upload},
                             {"stale-digest", FaultKind::stale_digest},
                             {"newer-version", FaultKind::newer_version}};

using Json = rapidjson::Value;

std::string TextMember(const Json& object, const char* name) {
    return JsonMember<FaultSyntaxError, std::string>(object, name, {});
}

std::int64_t NumberMember(const Json& object, const char* name, std::int64_t otherwise) {
    return JsonMember<FaultSyntaxError>(object, name, otherwise);
}

bool FlagMember(const Json& object, const char* name) {
    auto member = object.FindMember(name);
    return member != object.MemberEnd() && member->value.IsBool() && member->value.GetBool();
}

void CheckMembers(const Json& object, std::initializer_list<std::string_view> known, const char* where) {
    for (const auto& member : object.GetObject()) {
        std::string_view name = member.name.GetString();
        if (std::find(known.begin(), known.end(), name) == known.end())
            throw FaultSyntaxError("'" + std::string(name) + "' isn't known in '" + where + "'");
    }
}

FaultAction ParseAction(const Json& object) {
    CheckMembers(
        object,
        {"kind",    "after",    "delta", "bytes_per_second", "milliseconds", "depth",        "count",
         "size",    "status",   "loop",  "run_first",        "text",         "content_type", "code",
         "message", "location", "user",  "document",         "modified",     "headers",      "retry_after",
         "xml"},
        "fault");
    FaultAction action;
    auto name = TextMember(object, "kind");
    const KindRow* row =
        std::find_if(std::begin(kInds), std::end(kInds), [&](const KindRow& r) { return r.name == name; });
    if (row == std::end(kInds)) throw FaultSyntaxError("there is no fault of the kind '" + name + "'");
    action.kind = row->kind;
    action.after = NumberMember(object, "after", 0);
    for (const char* key : {"delta", "bytes_per_second", "milliseconds", "depth", "count"})
        action.amount = NumberMember(object, key, action.amount);
    action.size = NumberMember(object, "size", 1000);
    action.status = static_cast<int>(NumberMember(object, "status", 0));
    action.loop = FlagMember(object, "loop");
    action.xml = FlagMember(object, "xml");
    action.run_first = FlagMember(object, "run_first");
    if (object.HasMember("text")) action.text = TextMember(object, "text");
    action.content_type = TextMember(object, "content_type");
    action.code = TextMember(object, "code");
    action.message = TextMember(object, "message");
    action.location = TextMember(object, "location");
    action.user = TextMember(object, "user");
    action.document = TextMember(object, "document");
    if (auto time = TextMember(object, "modified"); !time.empty()) {
        action.modified = ParseIsoTime(time);
        if (!action.modified)
            throw FaultSyntaxError("'modified' must be a time such as 2024-05-01T12:00:00Z");
    }
    if (object.HasMember("retry_after"))
        action.headers.emplace_back("Retry-After", std::to_string(NumberMember(object, "retry_after", 0)));
    auto headers = object.FindMember("headers");
    if (headers != object.MemberEnd()) {
        if (!headers->value.IsObject()) throw FaultSyntaxError("'headers' must be an object");
        for (const auto& header : headers->value.GetObject()) {
            if (!header.value.IsString()) throw FaultSyntaxError("a header's value must be a text");
            action.headers.emplace_back(header.name.GetString(), header.value.GetString());
        }
    }
    return action;
}

std::shared_ptr<regex_t> CompilePattern(const std::string& text) {
    auto pattern = std::make_unique<regex_t>();
    if (::regcomp(pattern.get(), text.c_str(), REG_EXTENDED | REG_ICASE | REG_NOSUB) != 0)
        throw FaultSyntaxError("'" + text + "' isn't a regular expression");
    return {pattern.release(), [](regex_t* compiled) {
                ::regfree(compiled);
                delete compiled;
            }};
}

FaultRule ParseRule(const Json& object) {
    if (!object.IsObject()) throw FaultSyntaxError("a fault rule must be an object");
    CheckMembers(object, {"match", "fault"}, "rule");
    FaultRule rule;
    rule.source = JsonText(object);
    auto match = object.FindMember("match");
    if (match != object.MemberEnd()) {
        if (!match->value.IsObject()) throw FaultSyntaxError("'match' must be an object");
        CheckMembers(match->value, {"method", "path", "path_regex", "nth", "times"}, "match");
        rule.method = TextMember(match->value, "method");
        rule.path = TextMember(match->value, "path");
        if (auto pattern = TextMember(match->value, "path_regex"); !pattern.empty())
            rule.path_pattern = CompilePattern(pattern);
        rule.nth = NumberMember(match->value, "nth", 1);
        rule.times = NumberMember(match->value, "times", 1);
    }
    auto fault = object.FindMember("fault");
    if (fault == object.MemberEnd() || !fault->value.IsObject())
        throw FaultSyntaxError("a rule needs the object 'fault'");
    rule.action = ParseAction(fault->value);
    return rule;
}

// Counts one event and says whether the rule acts on it.
bool Counts(FaultRule& rule) {
    ++rule.seen;
    if (rule.seen < rule.nth || (rule.times > 0 && rule.fired >= rule.times)) return false;
    ++rule.fired;
    return true;
}

bool Matches(const FaultRule& rule, const http::Request& request, const std::string& address) {
    if (rule.action.kind == FaultKind::stall_connect) return false;
    auto override_method = request.headers.get("X-HTTP-Method");
    if (!rule.method.empty() && !EqualsIgnoringCase(rule.method, request.method) &&
        !EqualsIgnoringCase(rule.method, override_method))
        return false;
    if (FindIgnoringCase(address, rule.path) == std::string::npos) return false;
    return !rule.path_pattern || ::regexec(rule.path_pattern.get(), address.c_str(), 0, nullptr, 0) == 0;
}

}  // namespace

void FaultPlan::Add(const std::string& json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(json.c_str(), json.size());
    if (document.HasParseError()) throw FaultSyntaxError("the fault plan isn't JSON");
    std::vector<FaultRule> rules;
    if (document.IsArray()) {
        for (const auto& element : document.GetArray()) rules.push_back(ParseRule(element));
    } else {
        rules.push_back(ParseRule(document));
    }
    std::lock_guard lock(m_mutex);
    for (auto& rule : rules) m_rules.push_back(std::move(rule));
}

void FaultPlan::Clear() {
    std::lock_guard lock(m_mutex);
    m_rules.clear();
}

std::string FaultPlan::Describe() {
    std::lock_guard lock(m_mutex);
    JsonWriter json;
    json.StartArray();
    for (const auto& rule : m_rules) {
        json.StartObject().Key("rule").Raw(rule.source);
        json.Member("seen", rule.seen).Member("fired", rule.fired).EndObject();
    }
    return json.EndArray().Take();
}

bool FaultPlan::StallConnection() {
    std::lock_guard lock(m_mutex);
    bool stalls = false;
    for (auto& rule : m_rules)
        if (rule.action.kind == FaultKind::stall_connect && Counts(rule)) stalls = true;
    return stalls;
}

std::vector<FaultAction> FaultPlan::Match(const http::Request& request) {
    std::vector<FaultAction> actions;
    std::lock_guard lock(m_mutex);
    if (m_rules.empty()) return actions;
    auto address = request.path + (request.query_text.empty() ? "" : "?" + PercentDecode(request.query_text));
    for (auto& rule : m_rules)
        if (Matches(rule, request, address) && Counts(rule)) actions.push_back(rule.action);
    return actions;
}

namespace {

using Bytes = std::optional<std::uint64_t>;

// The faults of the wire, and what each asks of the connection.
struct WireRow {
    FaultKind kind;
    void (*ask)(http::WirePlan& plan, const FaultAction& action, Bytes after);
};
constexpr WireRow kWireFaults[] = {
    {FaultKind::stall, [](auto& plan, auto&, Bytes) { plan.stall_before_answer = true; }},
    {FaultKind::stall_headers, [](auto& plan, auto&, Bytes) { plan.stall_in_headers = true; }},
    {FaultKind::stall_body, [](auto& plan, auto&, Bytes after) { plan.stall_down_after = after; }},
    {FaultKind::stall_upload, [](auto& plan, auto&, Bytes after) { plan.stall_up_after = after; }},
    {FaultKind::drop_body, [](auto& plan, auto&, Bytes after) { plan.drop_down_after = after; }},
    {FaultKind::drop_upload, [](auto& plan, auto&, Bytes after) { plan.drop_up_after = after; }},
    {FaultKind::close, [](auto& plan, auto&, Bytes) { plan.close_before_answer = true; }},
    {FaultKind::length, [](auto& plan, auto& action, Bytes) { plan.length_error = action.amount; }},
    {FaultKind::slow, [](auto& plan, auto& action,
                         Bytes) { plan.bytes_per_second = std::max<std::int64_t>(1, action.amount); }},
    {FaultKind::delay,
     [](auto& plan, auto& action, Bytes) { plan.delay_milliseconds = static_cast<int>(action.amount); }}};

}  // namespace

http::WirePlan WirePlan(const std::vector<FaultAction>& actions) {
    http::WirePlan plan;
    for (const auto& action : actions) {
        for (const auto& row : kWireFaults) {
            if (row.kind == action.kind)
                row.ask(plan, action, static_cast<std::uint64_t>(std::max<std::int64_t>(0, action.after)));
        }
    }
    return plan;
}

}  // namespace devserver
