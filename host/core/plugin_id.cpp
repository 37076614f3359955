#include "host/core/plugin_id.h"

#include "host/base/failure.h"

namespace host {

std::u16string IdOf(TMK::ITMK_Plugin* plugin) {
    GUID id{};
    if (!plugin || FAILED(plugin->get__GUID(&id))) throw Failure(E_INVALIDARG, "a plug-in has no id");
    return ToUtf16(ToHex(&id, sizeof(id)));
}

}  // namespace host
