// Text services: comparison, number and date formats, error texts, conversion between encodings.
// Owned by nobody; every function may be called from any thread.
#pragma once

#include "platform/base.h"

#include <cstdarg>

inline constexpr LCID LOCALE_INVARIANT = 0x007F;
inline constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
inline constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
inline constexpr DWORD NORM_IGNORECASE = 1;
inline constexpr int CSTR_LESS_THAN = 1;
inline constexpr int CSTR_EQUAL = 2;
inline constexpr int CSTR_GREATER_THAN = 3;

// Lengths in UTF-16 units, -1 for zero-ended text; 0 with ERROR_INVALID_PARAMETER for null text.
// Equality is exact (after simple case folding with NORM_IGNORECASE); the order of unequal texts is stable.
// Never allocates.
int CompareStringW(LCID locale, DWORD flags, LPCWSTR a, int a_length, LPCWSTR b, int b_length);

// -1, 0 or 1: ignores case, digits compare by their value.
int StrCmpLogicalW(LPCWSTR a, LPCWSTR b);

inline constexpr DWORD LCMAP_SORTKEY = 0x0400;
inline constexpr DWORD SORT_DIGITSASNUMBERS = 8;

// A sort key: bytes that compare, the shorter before the longer that begins with it, as StrCmpLogicalW
// compares the texts. The flags are LCMAP_SORTKEY, NORM_IGNORECASE and SORT_DIGITSASNUMBERS, all three. Gives
// the bytes written, without a zero; a size of 0 (in bytes) asks for the need. A length of -1 is zero-ended
// text. ERROR_INVALID_PARAMETER, ERROR_INVALID_FLAGS, ERROR_INSUFFICIENT_BUFFER.
int LCMapStringW(LCID locale, DWORD flags, LPCWSTR text, int length, LPWSTR key, int key_size);

// Points at the last dot of the last path component, or at the terminating zero.
LPWSTR PathFindExtensionW(LPCWSTR path);

inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x0200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x0800;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

// The English text of a Win32 error number or HRESULT, ended by "\r\n"; the units written without the zero,
// or 0 with ERROR_MR_MID_NOT_FOUND or ERROR_INSUFFICIENT_BUFFER.
DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD message_id, DWORD language, LPWSTR buffer, DWORD size,
                     va_list* arguments);

// Knows u"wininet.dll" alone: the module whose message table holds the numbers from 12001 on.
HMODULE GetModuleHandleW(LPCWSTR name);

struct NUMBERFMTW {
    UINT NumDigits;
    UINT LeadingZero;
    UINT Grouping;
    LPWSTR lpDecimalSep;
    LPWSTR lpThousandSep;
    UINT NegativeOrder;
};

using LCTYPE = DWORD;
inline constexpr LCTYPE LOCALE_SDECIMAL = 0x000E;
inline constexpr LCTYPE LOCALE_STHOUSAND = 0x000F;
inline constexpr LCTYPE LOCALE_SGROUPING = 0x0010;
inline constexpr LCTYPE LOCALE_INEGNUMBER = 0x1010;
inline constexpr LCTYPE LOCALE_RETURN_NUMBER = 0x20000000;

// Units with the zero; a size of 0 asks for the need. ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_FLAGS.
// With LOCALE_RETURN_NUMBER the buffer receives a DWORD and its size is 2 units.
int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR buffer, int size);

// Formats a number written in ASCII ("-1234.5"); results and errors as GetLocaleInfoW.
int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format, LPWSTR buffer,
                     int size);

// The user's short date and time formats; a picture must not be given. Results as GetLocaleInfoW.
int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* date, LPCWSTR picture, LPWSTR buffer,
                   int size);
int GetTimeFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture, LPWSTR buffer,
                   int size);

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 8;

// Units written, or needed when the size is 0; a length of -1 takes the zero along. 0 and an error on
// failure. CP_UTF8 turns what is not UTF-8 into U+FFFD, or with MB_ERR_INVALID_CHARS fails on it with
// ERROR_NO_UNICODE_TRANSLATION. CP_ACP is the process's C locale and ends where that can't convert.
int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR bytes, int byte_count, LPWSTR text,
                        int text_size);
// Lone surrogates become the bytes of U+FFFD; the default character must be null.
int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int text_length, LPSTR bytes,
                        int byte_size, LPCSTR default_char, BOOL* used_default_char);
