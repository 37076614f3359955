#include "base/resources.h"

#include <cstring>

#include "base/failure.h"

extern "C" const ModuleResources g_sharepoint_resources;  // generated from src/resources

ResourceData FindResourceData(WORD id, LPCWSTR type) {
    const HMODULE module = &g_sharepoint_resources;
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), type);
    if (!found) return {};
    return {LockResource(LoadResource(module, found)), SizeofResource(module, found)};
}

ComPtr<IStream> LoadResourceStream(WORD id, LPCWSTR type) {
    const ResourceData resource = FindResourceData(id, type);
    ComPtr<IStream> stream;
    if (!resource.data || resource.size == 0) return stream;
    const HGLOBAL block = GlobalAlloc(GHND, resource.size);
    void* bytes = block ? GlobalLock(block) : nullptr;
    if (!bytes) return stream;
    std::memcpy(bytes, resource.data, resource.size);
    GlobalUnlock(block);
    if (FAILED(CreateStreamOnHGlobal(block, TRUE, stream.put()))) GlobalFree(block);
    return stream;
}

HRESULT ApplyCabTemplate(TMK::ITMK_Cab* o_cab, WORD resource_id, LPCWSTR i_template_name) {
    TRACE_ENTRY("ApplyCabTemplate");
    CHECK_RETURN(o_cab != nullptr, E_INVALIDARG);
    const ResourceData resource = FindResourceData(resource_id, u"XML");
    CHECK_RESULT_TEXT(o_cab->SetTemplate2(resource.data, static_cast<LONG>(resource.size), i_template_name),
                      u"o_cab->SetTemplate2(template_resource.GetData(), "
                      u"static_cast<long>(template_resource.GetSize()), i_template_name)");
    TRACE_RETURN(S_OK);
}
