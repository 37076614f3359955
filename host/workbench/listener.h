// What a window hears of the models of the workbench. Main thread only.
#pragma once

#include <algorithm>
#include <vector>

#include "platform/base.h"

namespace host {

class Document;
class InfoBar;

class WorkbenchListener {
public:
    virtual ~WorkbenchListener() = default;
    // Commands were made or deleted, or one has another title, tip or icon.
    virtual void CommandsChanged() {}
    // The states of these commands are to be asked for again; an empty list means all.
    virtual void StatesChanged(const std::vector<DWORD>& /*command_ids*/) {}
    // A bar, menu, tab or group has other items.
    virtual void BarsChanged() {}
    virtual void InfoBarChanged(InfoBar& /*bar*/) {}
    // A TMK_Change with the TMK_ChangedProperty that it is of.
    virtual void DocumentChanged(Document& /*document*/, DWORD /*change*/, DWORD /*property*/) {}
    // Another document is in front, or none.
    virtual void ActiveViewChanged() {}
};

class Listeners {
public:
    void Add(WorkbenchListener& listener) { m_listeners.push_back(&listener); }
    void Remove(WorkbenchListener& listener) { std::erase(m_listeners, &listener); }
    bool IsEmpty() const { return m_listeners.empty(); }
    // A listener may add and remove listeners meanwhile; one that is removed hears no more.
    template <class... Parameters, class... Arguments>
    void Tell(void (WorkbenchListener::*what)(Parameters...), Arguments&&... arguments) const {
        for (WorkbenchListener* const listener : std::vector(m_listeners)) {
            if (std::find(m_listeners.begin(), m_listeners.end(), listener) != m_listeners.end())
                (listener->*what)(arguments...);
        }
    }

private:
    std::vector<WorkbenchListener*> m_listeners;
};

}  // namespace host
