// The services that a plug-in gets through its instance object. Implemented by the host; any thread.
#pragma once

#include <string>
#include <string_view>

#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

namespace host {

class Browser;
class Catalogue;
class FrontEnd;
class PromptDesk;
class Workbench;

class PluginServices {
public:
    virtual ~PluginServices() = default;
    // "AFS", "AUX", "RGC" or "UIX"; null for any other id.
    virtual IUnknown* FindExtension(std::u16string_view id) = 0;
    // Changes are stored when the tree is released. Null when there are none and `create` is false. Throws a
    // Failure.
    virtual ComPtr<TMK::ITMK_Cab> OpenSettings(TMK::ITMK_Plugin* plugin, bool create) = 0;
    virtual ComPtr<TMK::IAFS_BindContext> NewBindContext() = 0;
    // As ITMK_Inst::DoOAuth. Throws a Failure.
    virtual HRESULT SignIn(TMK::ITMK_CabNode* parameters) = 0;
    virtual FrontEnd& front_end() = 0;
    virtual Browser* browser() = 0;  // null for none
    virtual Catalogue& catalogue() = 0;
    virtual PromptDesk& prompts() = 0;
    virtual Workbench& workbench() = 0;
    // Keeps the message of a failure that the interface can't carry.
    virtual void NoteMessage(const std::string& message) = 0;
};

}  // namespace host
