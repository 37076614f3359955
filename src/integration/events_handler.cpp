#include "integration/events_handler.h"

#include "base/failure.h"

HRESULT EventsHandler::Init() {
    TRACE_ENTRY("EventsHandler::Init");
    TRACE_RETURN(S_OK);
}

void EventsHandler::Shutdown() {
    TRACE_ENTRY("EventsHandler::Shutdown");
    m_plugin = nullptr;
    TRACE_EXIT(u"");
}

HRESULT EventsHandler::OnEvent(DWORD, IUnknown*, IUnknown* event_source) {
    TRACE_ENTRY("EventsHandler::OnEvent");
    CHECK_RETURN(event_source != nullptr, E_INVALIDARG);
    TRACE_RETURN(S_OK);
}

void EventsHandler::UpdateCommandItems(File*) {
    TRACE_ENTRY("EventsHandler::UpdateCommandItems");
    TRACE_EXIT(u"");
}
