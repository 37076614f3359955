#include "tests/windows/support/wine.h"

#include <windows.h>

#include <wininet.h>

#include <cstdint>
#include <cstring>
#include <cwchar>

namespace testing_support {

namespace {

// Wine escapes in browser mode whatever else is asked for. The mode matters behind a question mark alone.
BOOL WINAPI CanonicalizeAsWindows(LPCWSTR url, LPWSTR buffer, LPDWORD length, DWORD flags) {
    const bool is_plain = (flags & ICU_NO_ENCODE) && std::wcspbrk(url, L" <>\"{}|^`");
    const bool is_decoded = (flags & ICU_NO_ENCODE) && (flags & ICU_DECODE);
    if (is_plain || is_decoded) flags &= ~static_cast<DWORD>(ICU_BROWSER_MODE);
    // By its address in the library, since this program's own import is replaced, too.
    static const auto original =
        reinterpret_cast<decltype(&InternetCanonicalizeUrlW)>(reinterpret_cast<void*>(
            GetProcAddress(GetModuleHandleW(L"wininet.dll"), "InternetCanonicalizeUrlW")));
    return original(url, buffer, length, flags);
}

template <class T>
T* At(BYTE* base, std::uintptr_t offset) {
    return reinterpret_cast<T*>(base + offset);
}

const IMAGE_IMPORT_DESCRIPTOR* ImportsOf(BYTE* base) {
    const auto* headers = At<IMAGE_NT_HEADERS>(base, At<IMAGE_DOS_HEADER>(base, 0)->e_lfanew);
    return At<IMAGE_IMPORT_DESCRIPTOR>(
        base, headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
}

void Replace(IMAGE_THUNK_DATA& thunk, std::uintptr_t function) {
    DWORD before = 0;
    VirtualProtect(&thunk, sizeof thunk, PAGE_READWRITE, &before);
    thunk.u1.Function = function;
    VirtualProtect(&thunk, sizeof thunk, before, &before);
}

}  // namespace

bool IsWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

void MendCanonicalUrls(void* module) {
    if (!IsWine()) return;
    auto* base = static_cast<BYTE*>(module ? module : GetModuleHandleW(nullptr));
    for (const auto* from = ImportsOf(base); from->Name; ++from) {
        auto* thunk = At<IMAGE_THUNK_DATA>(base, from->FirstThunk);
        for (const auto* name = At<IMAGE_THUNK_DATA>(base, from->OriginalFirstThunk); name->u1.AddressOfData;
             ++name, ++thunk) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
            const auto* import = At<IMAGE_IMPORT_BY_NAME>(base, name->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(import->Name), "InternetCanonicalizeUrlW") == 0)
                Replace(*thunk, reinterpret_cast<std::uintptr_t>(&CanonicalizeAsWindows));
        }
    }
}

}  // namespace testing_support
