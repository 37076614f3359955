// The event server, which passes the host's events to their subscribers. Any thread.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "host/base/object.h"
#include "hostapi/itmk.h"

namespace host {

class EventServer final : public Object<TMK::ITMK_EventServer> {
public:
    HRESULT Subscribe(DWORD event_id, TMK::IEventHandler* handler) override;
    // S_FALSE when there was no such subscription.
    HRESULT Unsubscribe(DWORD event_id, TMK::IEventHandler* handler) override;
    // Calls every subscriber, in the order of subscription.
    void Raise(DWORD event_id, IUnknown* source);
    std::size_t Count() const;
    void Clear();

private:
    using Subscription = std::pair<DWORD, ComPtr<TMK::IEventHandler>>;
    mutable std::mutex m_mutex;
    std::vector<Subscription> m_subscriptions;
};

}  // namespace host
