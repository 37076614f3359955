#include "tests/windows/support/library.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <cstdint>

namespace testing_support {

void* LoadLibraryFile(const std::filesystem::path& file) {
    return LoadLibraryW(file.c_str());
}

void* FunctionOf(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void FreeLibraryFile(void* library) {
    FreeLibrary(static_cast<HMODULE>(library));
}

bool IsLoaded(const std::filesystem::path& file) {
    return GetModuleHandleW(file.filename().c_str()) != nullptr;
}

unsigned NextHandle() {
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(event);
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(event) / 4);
}

unsigned Threads() {
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 thread{};
    thread.dwSize = sizeof thread;
    unsigned count = 0;
    for (BOOL more = Thread32First(all, &thread); more; more = Thread32Next(all, &thread))
        count += thread.th32OwnerProcessID == GetCurrentProcessId();
    CloseHandle(all);
    return count;
}

std::size_t PeakBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PeakWorkingSetSize;
}

}  // namespace testing_support
