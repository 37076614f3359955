// The plug-in's presence in the editor: for now what a change of a file's state needs, no commands and no
// bars. Made and driven by Plugin on the main thread; UpdateCommandItems may be called on any thread.
#pragma once

#include "base/scaffolding.h"
#include "hostapi/itmk.h"

class File;
class PluginContext;

class EventsHandler final : public cCoClassUnknownT<EventsHandler, TMK::IEventHandler> {
public:
    explicit EventsHandler(PluginContext& plugin) : m_plugin(&plugin) {}

    HRESULT Init();
    void Shutdown();

    HRESULT OnEvent(DWORD event_id, IUnknown* reserved, IUnknown* event_source) override;

    // A file's state changed; what the editor shows of it follows with the commands and the information bar.
    void UpdateCommandItems(File* file);

private:
    PluginContext* m_plugin;  // the owner, not counted
};
