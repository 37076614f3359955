// The one function that the library exports.
#include "base/failure.h"
#include "plugin/plugin.h"

extern "C" HRESULT TMKE_GetPlugin(TMK::ITMK_Plugin** output_plugin) {
    TRACE_ENTRY("TMKE_GetPlugin");
    try {
        CHECK_RETURN(output_plugin != nullptr, E_POINTER);
        *output_plugin = nullptr;
        const ComPtr<Plugin> p = MakeObject<Plugin>();
        CHECK_RESULT_TEXT(p->QueryInterface(TMK::ITMK_Plugin::kIid, reinterpret_cast<void**>(output_plugin)),
                          u"p->QueryInterface<TMK::ITMK_Plugin>(output_plugin)");
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}
