// Files and folders under Win32's names; a backslash in a path stands for a slash.
// Every function may be called from any thread; a file handle belongs to one thread at a time. Below the
// folder for temporary files each folder has to be the user's own and no link.
#pragma once

#include "platform/base.h"

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

inline constexpr DWORD FILE_GENERIC_WRITE = 0x00120116;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_ATTRIBUTE_TEMPORARY = 0x100;
inline constexpr DWORD FILE_FLAG_WRITE_THROUGH = 0x80000000;

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

extern "C" {

// TMPDIR or "/tmp", written "\tmp\"; the units without the zero, or the size needed when it is too small.
DWORD GetTempPathW(DWORD size, LPWSTR buffer);

// ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED. New folders are the user's alone.
BOOL CreateDirectoryW(LPCWSTR path, const SECURITY_ATTRIBUTES* security);

// Opens for FILE_GENERIC_WRITE with CREATE_ALWAYS alone; INVALID_HANDLE_VALUE on failure. New files are the
// user's alone, and with FILE_ATTRIBUTE_TEMPORARY their folder becomes so.
HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, const SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD flags, HANDLE template_file);
// Writes all bytes at the end of what was written so far, in one system call where the system takes them so.
BOOL WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* written, OVERLAPPED* overlapped);
BOOL CloseHandle(HANDLE handle);

}  // extern "C"

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    WCHAR cFileName[MAX_PATH];
    WCHAR cAlternateFileName[14];
};
static_assert(sizeof(WIN32_FIND_DATAW) == 592);

extern "C" {

// The last component may hold '?' and '*'; ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, then
// ERROR_NO_MORE_FILES.
HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data);
BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data);
BOOL FindClose(HANDLE find);

BOOL DeleteFileW(LPCWSTR path);
// ERROR_DIR_NOT_EMPTY if anything lies in it.
BOOL RemoveDirectoryW(LPCWSTR path);

}  // extern "C"
