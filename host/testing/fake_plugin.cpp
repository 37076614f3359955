// The library of the fake plug-in: its site is the folder that FAKE_SITE names.
// Main thread.
#include <cstdlib>

#include "host/testing/fake_site.h"

extern "C" __attribute__((visibility("default"))) HRESULT TMKE_GetPlugin(TMK::ITMK_Plugin** output_plugin) {
    static host::testing::FakeSite site;
    const char* folder = std::getenv("FAKE_SITE");
    if (!output_plugin || !folder) return E_FAIL;
    site.folder = folder;
    site.ReadEnvironment();
    *output_plugin = host::testing::MakeFakePlugin(site).detach();
    return S_OK;
}
