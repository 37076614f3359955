// The timer behind EventsHandler::UpdateCommandItems. Main thread only.
#pragma once

#include "base/failure.h"
#include "integration/events_handler.h"

class EventsHandler::TimerUpdateUi final
    : public cCoClassUnknownT<EventsHandler::TimerUpdateUi, TMK::ITMK_TimerCallback> {
public:
    explicit TimerUpdateUi(EventsHandler& handler) : m_handler(&handler) {}

    HRESULT OnTimer(DWORD timer_id) override {
        TRACE_ENTRY("EventsHandler::TimerUpdateUi::OnTimer");
        try {
            CHECK_RETURN(timer_id != 0, E_INVALIDARG);
            if (const ComPtr<EventsHandler> handler = m_handler) handler->OnUpdateCommandItemsTimer();
            TRACE_RETURN(S_OK);
        }
        HOST_BOUNDARY(nullptr)
    }
    void Detach() { m_handler = nullptr; }

    DWORD m_id = 0;  // of the running timer, 0 for none

private:
    EventsHandler* m_handler;  // null after Shutdown
};
