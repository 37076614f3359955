// The basic types, result codes, error numbers and clock calls of the Win32 subset.
// Owned by nobody; every function here may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using BOOL = int;
using LCID = std::uint32_t;
using HRESULT = std::int32_t;

using LPSTR = char*;
using LPCSTR = const char*;
using WCHAR = char16_t;
using LPWSTR = char16_t*;
using LPCWSTR = const char16_t*;
using LPVOID = void*;
using LPCVOID = const void*;

using HANDLE = void*;
struct ModuleResources;
using HMODULE = const ModuleResources*;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;
inline constexpr DWORD MAX_PATH = 260;

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
static_assert(sizeof(FILETIME) == 8 && sizeof(SYSTEMTIME) == 16);

// Written as IID{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}.
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    friend constexpr bool operator==(const GUID& a, const GUID& b) = default;
};
static_assert(sizeof(GUID) == 16);
using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;

namespace platform::detail {
constexpr HRESULT Hresult(std::uint32_t bits) {
    return static_cast<HRESULT>(bits);
}
}  // namespace platform::detail

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = platform::detail::Hresult(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = platform::detail::Hresult(0x80004002);
inline constexpr HRESULT E_POINTER = platform::detail::Hresult(0x80004003);
inline constexpr HRESULT E_ABORT = platform::detail::Hresult(0x80004004);
inline constexpr HRESULT E_FAIL = platform::detail::Hresult(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = platform::detail::Hresult(0x8000FFFF);
inline constexpr HRESULT E_ACCESSDENIED = platform::detail::Hresult(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = platform::detail::Hresult(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = platform::detail::Hresult(0x80070057);
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = platform::detail::Hresult(0x80020003);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = platform::detail::Hresult(0x80020005);
inline constexpr HRESULT DISP_E_UNKNOWNNAME = platform::detail::Hresult(0x80020006);
inline constexpr HRESULT DISP_E_BADVARTYPE = platform::detail::Hresult(0x80020008);
inline constexpr HRESULT DISP_E_OVERFLOW = platform::detail::Hresult(0x8002000A);
inline constexpr HRESULT DISP_E_BADINDEX = platform::detail::Hresult(0x8002000B);
inline constexpr HRESULT DISP_E_ARRAYISLOCKED = platform::detail::Hresult(0x8002000D);
inline constexpr HRESULT STG_E_INVALIDFUNCTION = platform::detail::Hresult(0x80030001);
inline constexpr HRESULT STG_E_MEDIUMFULL = platform::detail::Hresult(0x80030070);
inline constexpr HRESULT STG_E_INVALIDPOINTER = platform::detail::Hresult(0x80030009);

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD NO_ERROR = 0;
inline constexpr DWORD ERROR_INVALID_FUNCTION = 1;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_WRITE_FAULT = 29;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_HANDLE_EOF = 38;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_BAD_NETPATH = 53;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_INVALID_FLAGS = 1004;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr DWORD ERROR_CANCELLED = 1223;
inline constexpr DWORD ERROR_RETRY = 1237;
inline constexpr DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr DWORD ERROR_RESOURCE_NAME_NOT_FOUND = 1814;

constexpr bool SUCCEEDED(HRESULT result) {
    return result >= 0;
}
constexpr bool FAILED(HRESULT result) {
    return result < 0;
}
// A number not above 0 stands as it is.
constexpr HRESULT HRESULT_FROM_WIN32(std::uint32_t error) {
    return static_cast<HRESULT>(error) <= 0 ? static_cast<HRESULT>(error)
                                            : platform::detail::Hresult((error & 0xFFFF) | 0x80070000);
}

inline LPCWSTR MAKEINTRESOURCEW(WORD id) {
    return reinterpret_cast<LPCWSTR>(std::uintptr_t{id});
}

extern "C" {

// The calling thread's last error; a successful call leaves it alone unless its contract says otherwise.
DWORD GetLastError();
void SetLastError(DWORD error);
DWORD GetCurrentThreadId();

// UTC, to the millisecond.
void GetSystemTime(SYSTEMTIME* time);
// UTC, in units of 100 ns since 1601.
void GetSystemTimeAsFileTime(FILETIME* time);
// ERROR_INVALID_PARAMETER for a date that does not exist or lies before 1601.
BOOL SystemTimeToFileTime(const SYSTEMTIME* system_time, FILETIME* file_time);
// ERROR_INVALID_PARAMETER for a time beyond 0x7FFFFFFFFFFFFFFF.
BOOL FileTimeToSystemTime(const FILETIME* file_time, SYSTEMTIME* system_time);
struct TIME_ZONE_INFORMATION;
// Converts UTC to the process's time zone; a zone must not be given.
BOOL SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                                     SYSTEMTIME* local);

}  // extern "C"
