// What the server last told of an item, for the rest of the operation that asked, until that changes
// something or some seconds have passed: the same question is not asked twice there.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "base/operation_scope.h"
#include "sharepoint/object.h"

namespace SharePoint {

// The answer to one question about the item at a path, the last one that was asked. Any thread.
template <typename Answer>
class Told {
public:
    // Nothing when the server has to be asked.
    std::optional<Answer> Find(const std::u16string& path) const {
        const std::lock_guard guard(m_guard);
        const bool holds = m_knowledge != 0 && m_knowledge == OperationScope::Knowledge() && path == m_path &&
                           OperationScope::IsYoung(m_asked_at);
        return holds ? m_answer : std::nullopt;
    }
    // `asked_at` is when the question was sent, as OperationScope::Now.
    void Keep(const std::u16string& path, Answer answer, int64_t asked_at) {
        const std::lock_guard guard(m_guard);
        m_knowledge = OperationScope::Knowledge();
        m_asked_at = asked_at;
        m_path = path;
        m_answer = std::move(answer);
    }

private:
    mutable std::mutex m_guard;
    uint64_t m_knowledge = 0;
    int64_t m_asked_at = 0;
    std::u16string m_path;
    std::optional<Answer> m_answer;
};

struct Item {
    Information information;
    bool is_folder = false;
};

}  // namespace SharePoint
