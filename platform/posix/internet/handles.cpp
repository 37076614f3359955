// The table that guards the objects behind internet handles.
// Any thread.
#include "internet/handles.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace platform::internet {

namespace {

struct Table {
    std::shared_mutex mutex;
    std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> objects;
    std::uintptr_t next = 0x1000;
};

// Lives as long as the process: callers may leave handles open to the last.
Table& table() {
    static Table* const instance = new Table;
    return *instance;
}

}  // namespace

HINTERNET add_handle(std::shared_ptr<Object> object) {
    const std::lock_guard lock(table().mutex);
    constexpr std::uintptr_t kStep = 4;
    const std::uintptr_t number = table().next += kStep;
    table().objects.emplace(number, std::move(object));
    return reinterpret_cast<HINTERNET>(number);
}

std::shared_ptr<Object> find_handle(HINTERNET handle) {
    const std::shared_lock lock(table().mutex);
    const auto found = table().objects.find(reinterpret_cast<std::uintptr_t>(handle));
    return found != table().objects.end() ? found->second : nullptr;
}

std::shared_ptr<Object> remove_handle(HINTERNET handle) {
    const std::lock_guard lock(table().mutex);
    const auto node = table().objects.extract(reinterpret_cast<std::uintptr_t>(handle));
    return node ? node.mapped() : nullptr;
}

}  // namespace platform::internet
