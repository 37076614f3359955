// The table of resources that are embedded in a module; the build function sp_embed_resources makes it.
// Read-only: any thread may read it.
#pragma once

#include "platform/resources.h"

struct ResourceEntry {
    const char16_t* type;
    std::uint16_t id;
    const void* data;
    std::uint32_t size;
};

// What an HMODULE points at.
struct ModuleResources {
    const ResourceEntry* entries;
    std::size_t count;
};
