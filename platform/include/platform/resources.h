// Resources that are embedded in a module; the build function sp_embed_resources makes the table.
// The tables are read-only: any thread may read them.
#pragma once

#include "platform/base.h"

struct ResourceEntry;
using HRSRC = const ResourceEntry*;
using HGLOBAL = void*;

extern "C" {

// The name is an id made with MAKEINTRESOURCEW; ERROR_RESOURCE_NAME_NOT_FOUND or
// ERROR_RESOURCE_TYPE_NOT_FOUND.
HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
HGLOBAL LoadResource(HMODULE module, HRSRC resource);
LPVOID LockResource(HGLOBAL resource);
DWORD SizeofResource(HMODULE module, HRSRC resource);

}  // extern "C"
