#include "internet/handles.h"

#include <array>
#include <mutex>
#include <unordered_map>

#include "platform/posix/internet/open_handles.h"

namespace platform::internet {

namespace {

// Bodies are read in small blocks by many threads, so the table is cut into parts with a short lock each.
struct Part {
    std::mutex mutex;
    std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> objects;
};

struct Table {
    std::array<Part, 16> parts;
    std::atomic<std::uintptr_t> next{0x1000};
};

constexpr std::uintptr_t kStep = 4;

// Never destroyed: callers may leave handles open until the process ends.
Table& table() {
    static Table* const instance = new Table;
    return *instance;
}

Part& part_of(std::uintptr_t number) {
    return table().parts[number / kStep % table().parts.size()];
}

}  // namespace

HINTERNET add_handle(std::shared_ptr<Object> object) {
    const std::uintptr_t number = table().next += kStep;
    Part& part = part_of(number);
    const std::lock_guard lock(part.mutex);
    part.objects.emplace(number, std::move(object));
    return reinterpret_cast<HINTERNET>(number);
}

std::shared_ptr<Object> find_handle(HINTERNET handle) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    Part& part = part_of(number);
    const std::lock_guard lock(part.mutex);
    const auto found = part.objects.find(number);
    return found != part.objects.end() ? found->second : nullptr;
}

std::shared_ptr<Object> remove_handle(HINTERNET handle) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    Part& part = part_of(number);
    const std::lock_guard lock(part.mutex);
    const auto node = part.objects.extract(number);
    return node ? node.mapped() : nullptr;
}

std::size_t open_handle_count() {
    std::size_t count = 0;
    for (Part& part : table().parts) {
        const std::lock_guard lock(part.mutex);
        count += part.objects.size();
    }
    return count;
}

}  // namespace platform::internet
