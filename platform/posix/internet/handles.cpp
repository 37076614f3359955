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
Table& HandleTable() {
    static Table* const instance = new Table;
    return *instance;
}

Part& PartOf(std::uintptr_t number) {
    return HandleTable().parts[number / kStep % HandleTable().parts.size()];
}

}  // namespace

HINTERNET AddHandle(std::shared_ptr<Object> object) {
    const std::uintptr_t number = HandleTable().next += kStep;
    Part& part = PartOf(number);
    const std::lock_guard lock(part.mutex);
    part.objects.emplace(number, std::move(object));
    return reinterpret_cast<HINTERNET>(number);
}

std::shared_ptr<Object> FindHandle(HINTERNET handle) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    Part& part = PartOf(number);
    const std::lock_guard lock(part.mutex);
    const auto found = part.objects.find(number);
    return found != part.objects.end() ? found->second : nullptr;
}

std::shared_ptr<Object> RemoveHandle(HINTERNET handle) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    Part& part = PartOf(number);
    const std::lock_guard lock(part.mutex);
    const auto node = part.objects.extract(number);
    return node ? node.mapped() : nullptr;
}

std::size_t OpenHandleCount() {
    std::size_t count = 0;
    for (Part& part : HandleTable().parts) {
        const std::lock_guard lock(part.mutex);
        count += part.objects.size();
    }
    return count;
}

}  // namespace platform::internet
