// What the server last told of an item, for the rest of the operation that asked, until that changes
// something: the same question is not asked twice there. One for a web; any thread.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "base/operation_scope.h"
#include "sharepoint/object.h"

namespace SharePoint {

class LookUp {
public:
    // False when it has to be asked for.
    bool Find(const std::u16string& path, Information* out_information, bool* out_is_folder) const {
        const std::lock_guard guard(m_guard);
        if (m_knowledge == 0 || m_knowledge != OperationScope::Knowledge() || path != m_path) return false;
        if (out_information) *out_information = m_information;
        if (out_is_folder) *out_is_folder = m_is_folder;
        return true;
    }
    void Keep(const std::u16string& path, const Information& information, bool is_folder) {
        const std::lock_guard guard(m_guard);
        m_knowledge = OperationScope::Knowledge();
        m_path = path;
        m_information = information;
        m_is_folder = is_folder;
    }

private:
    mutable std::mutex m_guard;
    uint64_t m_knowledge = 0;
    std::u16string m_path;
    Information m_information;
    bool m_is_folder = false;
};

// The same for whether an item may be changed, until the operation changes something.
class Rights {
public:
    std::optional<bool> Find(const std::u16string& path) const {
        const std::lock_guard guard(m_guard);
        if (m_knowledge == 0 || m_knowledge != OperationScope::Knowledge() || path != m_path)
            return std::nullopt;
        return m_can_edit;
    }
    void Keep(const std::u16string& path, bool can_edit) {
        const std::lock_guard guard(m_guard);
        m_knowledge = OperationScope::Knowledge();
        m_path = path;
        m_can_edit = can_edit;
    }

private:
    mutable std::mutex m_guard;
    uint64_t m_knowledge = 0;
    std::u16string m_path;
    bool m_can_edit = false;
};

}  // namespace SharePoint
