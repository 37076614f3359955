#include "platform/resource_table.h"

#include <string_view>

HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type) {
    if (!module || !type || !module->count) {
        SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
        return nullptr;
    }
    const auto id = reinterpret_cast<std::uintptr_t>(name);
    bool type_found = false;
    for (std::size_t i = 0; i < module->count; ++i) {
        const ResourceEntry& entry = module->entries[i];
        if (std::u16string_view(entry.type) != type) continue;
        type_found = true;
        if (entry.id == id) return &entry;
    }
    SetLastError(type_found ? ERROR_RESOURCE_NAME_NOT_FOUND : ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
}

HGLOBAL LoadResource(HMODULE, HRSRC resource) {
    if (resource) return const_cast<void*>(resource->data);
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
}

LPVOID LockResource(HGLOBAL resource) {
    return resource;
}

DWORD SizeofResource(HMODULE, HRSRC resource) {
    if (resource) return resource->size;
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
}
