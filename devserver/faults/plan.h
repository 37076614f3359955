// The fault plan: rules that make the requests they match fail.
// Owner: app/service; any thread.
#pragma once
#include <regex.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "http/message.h"

namespace devserver {

enum class FaultKind {
    stall_connect,
    stall,
    stall_headers,
    stall_body,
    stall_upload,
    drop_body,
    drop_upload,
    close,
    truncate,
    body,
    sign_in_page,
    status,
    forms_403,
    length,
    slow,
    delay,
    nested,
    xml_entities,
    huge_multistatus,
    locked,
    soap_fault,
    partial_failure,
    header_bomb,
    redirect,
    rewrite_upload,
    stale_digest,
    newer_version,
};

struct FaultAction {
    FaultKind kind = FaultKind::status;
    std::int64_t after = 0;   // bytes
    std::int64_t amount = 0;  // delta, bytes per second, milliseconds, depth, count
    std::int64_t size = 0;
    int status = 0;
    bool loop = false;
    bool xml = false;
    bool run_first = false;  // let the request do its work before its answer is replaced
    std::optional<std::string> text;
    std::string content_type, code, message, location, user, document;
    std::optional<std::int64_t> modified;
    std::vector<std::pair<std::string, std::string>> headers;

    int StatusOr(int otherwise) const { return status ? status : otherwise; }
};

struct FaultRule {
    std::string method, path;
    std::shared_ptr<regex_t> path_pattern;  // extended syntax, ignoring case
    std::int64_t nth = 1, times = 1;        // times 0: for ever
    std::int64_t seen = 0, fired = 0;
    FaultAction action;
    std::string source;  // the rule's own JSON
};

// A rule that can't be used; its text is one clear line.
struct FaultSyntaxError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class FaultPlan {
public:
    // Adds the rules of a JSON list, or the one rule of a JSON object; all of them or none.
    void Add(const std::string& json);
    void Clear();
    std::string Describe();
    bool StallConnection();
    // Counts the request in every rule that it matches and returns what the rules do to it.
    std::vector<FaultAction> Match(const http::Request& request);

private:
    std::mutex m_mutex;
    std::vector<FaultRule> m_rules;
};

http::WirePlan WirePlan(const std::vector<FaultAction>& actions);

}  // namespace devserver
