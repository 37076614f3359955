// A value that each thread may set for itself; other threads see the one that was set last. Any thread.
#pragma once

#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace host {

template <class Value>
class PerThread {
public:
    void Set(Value value) {
        const std::lock_guard lock(m_mutex);
        m_last = value;
        m_values[std::this_thread::get_id()] = std::move(value);
    }
    Value Get() const {
        const std::lock_guard lock(m_mutex);
        const auto found = m_values.find(std::this_thread::get_id());
        return found == m_values.end() ? m_last : found->second;
    }

private:
    mutable std::mutex m_mutex;
    Value m_last{};
    std::map<std::thread::id, Value> m_values;
};

}  // namespace host
