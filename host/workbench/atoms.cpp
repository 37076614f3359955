#include "host/workbench/atoms.h"

namespace host {

DWORD Atoms::Of(std::u16string_view name) {
    const std::lock_guard lock(m_mutex);
    const auto next = static_cast<DWORD>(m_atoms.size() + 1);
    return m_atoms.try_emplace(std::u16string(name), next).first->second;
}

std::optional<DWORD> Atoms::Find(std::u16string_view name) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_atoms.find(name);
    if (found == m_atoms.end()) return std::nullopt;
    return found->second;
}

}  // namespace host
