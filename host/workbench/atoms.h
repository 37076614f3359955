// The numbers that stand for names in the whole host. Any thread.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base.h"

namespace host {

class Atoms {
public:
    DWORD Of(std::u16string_view name);  // made when there is none
    std::optional<DWORD> Find(std::u16string_view name) const;

private:
    mutable std::mutex m_mutex;
    std::map<std::u16string, DWORD, std::less<>> m_atoms;
};

}  // namespace host
