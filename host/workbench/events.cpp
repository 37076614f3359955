#include "host/workbench/events.h"

#include <algorithm>

#include "host/base/failure.h"

namespace host {

HRESULT EventServer::Subscribe(DWORD event_id, TMK::IEventHandler* handler) {
    if (!handler) return E_INVALIDARG;
    return Guarded([&] {
        const std::lock_guard lock(m_mutex);
        m_subscriptions.emplace_back(event_id, handler);
        return S_OK;
    });
}

HRESULT EventServer::Unsubscribe(DWORD event_id, TMK::IEventHandler* handler) {
    ComPtr<TMK::IEventHandler> released;
    const std::lock_guard lock(m_mutex);
    const auto found =
        std::find_if(m_subscriptions.begin(), m_subscriptions.end(),
                     [&](const Subscription& s) { return s.first == event_id && s.second.get() == handler; });
    if (found == m_subscriptions.end()) return S_FALSE;
    released = std::move(found->second);
    m_subscriptions.erase(found);
    return S_OK;
}

void EventServer::Raise(DWORD event_id, IUnknown* source) {
    std::vector<Subscription> subscriptions;
    {
        const std::lock_guard lock(m_mutex);
        subscriptions = m_subscriptions;
    }
    for (const auto& [id, handler] : subscriptions) {
        if (id == event_id) handler->OnEvent(event_id, nullptr, source);
    }
}

std::size_t EventServer::Count() const {
    const std::lock_guard lock(m_mutex);
    return m_subscriptions.size();
}

void EventServer::Clear() {
    std::vector<Subscription> released;
    const std::lock_guard lock(m_mutex);
    released.swap(m_subscriptions);
}

}  // namespace host
