// The COM and OLE automation subset: interfaces, BSTR, VARIANT, SAFEARRAY and memory streams.
// What one module allocates another may free.
// Free functions may be called from any thread; an object belongs to one thread at a time.
#pragma once

#include "platform/base.h"

using BSTR = char16_t*;
using LPOLESTR = char16_t*;
using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;
using SCODE = std::int32_t;
using DATE = double;
using DISPID = LONG;
using HGLOBAL = void*;

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

// Each interface names its id as T::kIid.
struct IUnknown {
    static constexpr IID kIid{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    virtual HRESULT QueryInterface(REFIID iid, void** out_object) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
};

template <class T>
inline constexpr const IID& kIidOf = T::kIid;

struct ITypeInfo;
struct EXCEPINFO;
struct VARIANT;
struct DISPPARAMS {
    VARIANT* rgvarg;
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

struct IDispatch : IUnknown {
    static constexpr IID kIid{0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    virtual HRESULT GetTypeInfoCount(UINT* count) = 0;
    virtual HRESULT GetTypeInfo(UINT index, LCID locale, ITypeInfo** out_info) = 0;
    virtual HRESULT GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                  DISPID* out_ids) = 0;
    virtual HRESULT Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* parameters,
                           VARIANT* result, EXCEPINFO* exception, UINT* argument_error) = 0;
};

union LARGE_INTEGER {
    LONGLONG QuadPart;
};
union ULARGE_INTEGER {
    ULONGLONG QuadPart;
};

inline constexpr DWORD STREAM_SEEK_SET = 0;
inline constexpr DWORD STREAM_SEEK_CUR = 1;
inline constexpr DWORD STREAM_SEEK_END = 2;
inline constexpr DWORD STGTY_STREAM = 2;
inline constexpr DWORD STATFLAG_NONAME = 1;

struct STATSTG {
    LPOLESTR pwcsName;
    DWORD type;
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
};
static_assert(sizeof(STATSTG) == 80);

struct ISequentialStream : IUnknown {
    static constexpr IID kIid{0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
    virtual HRESULT Read(void* data, ULONG size, ULONG* out_read) = 0;
    virtual HRESULT Write(const void* data, ULONG size, ULONG* out_written) = 0;
};

struct IStream : ISequentialStream {
    static constexpr IID kIid{0x0000000C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* out_position) = 0;
    virtual HRESULT SetSize(ULARGE_INTEGER size) = 0;
    virtual HRESULT CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* out_read,
                           ULARGE_INTEGER* out_written) = 0;
    virtual HRESULT Commit(DWORD flags) = 0;
    virtual HRESULT Revert() = 0;
    virtual HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) = 0;
    virtual HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) = 0;
    virtual HRESULT Stat(STATSTG* out_stat, DWORD flags) = 0;
    virtual HRESULT Clone(IStream** out_stream) = 0;
};

extern "C" {

// Memory that its receiver frees, other than a BSTR.
LPVOID CoTaskMemAlloc(SIZE_T size);  // null when there is none
void CoTaskMemFree(LPVOID memory);   // takes null

// A BSTR is preceded by its length in bytes (32 bits) and followed by a zero; null is an empty string.
BSTR SysAllocString(LPCWSTR text);                  // null for null
BSTR SysAllocStringLen(LPCWSTR text, UINT length);  // a null text leaves the content undefined
void SysFreeString(BSTR text);                      // takes null
UINT SysStringLen(BSTR text);                       // in UTF-16 units; 0 for null

}  // extern "C"

inline constexpr VARTYPE VT_EMPTY = 0;
inline constexpr VARTYPE VT_NULL = 1;
inline constexpr VARTYPE VT_I2 = 2;
inline constexpr VARTYPE VT_I4 = 3;
inline constexpr VARTYPE VT_R4 = 4;
inline constexpr VARTYPE VT_R8 = 5;
inline constexpr VARTYPE VT_DATE = 7;
inline constexpr VARTYPE VT_BSTR = 8;
inline constexpr VARTYPE VT_DISPATCH = 9;
inline constexpr VARTYPE VT_ERROR = 10;
inline constexpr VARTYPE VT_BOOL = 11;
inline constexpr VARTYPE VT_VARIANT = 12;
inline constexpr VARTYPE VT_UNKNOWN = 13;
inline constexpr VARTYPE VT_UI1 = 17;
inline constexpr VARTYPE VT_UI4 = 19;
inline constexpr VARTYPE VT_I8 = 20;
inline constexpr VARTYPE VT_UI8 = 21;
inline constexpr VARTYPE VT_INT = 22;
inline constexpr VARTYPE VT_UINT = 23;
inline constexpr VARTYPE VT_ARRAY = 0x2000;
inline constexpr VARTYPE VT_BYREF = 0x4000;

struct SAFEARRAYBOUND {
    ULONG cElements;
    LONG lLbound;
};
struct SAFEARRAY {
    USHORT cDims;
    USHORT fFeatures;
    ULONG cbElements;
    ULONG cLocks;
    LPVOID pvData;
    SAFEARRAYBOUND rgsabound[1];
};
static_assert(sizeof(SAFEARRAY) == 32 && offsetof(SAFEARRAY, pvData) == 16);

struct VARIANT_RECORD {
    LPVOID pvRecord;
    LPVOID pRecInfo;
};

struct VARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONGLONG llVal;
        ULONGLONG ullVal;
        LONG lVal;
        ULONG ulVal;
        INT intVal;
        UINT uintVal;
        SHORT iVal;
        BYTE bVal;
        float fltVal;
        double dblVal;
        DATE date;
        VARIANT_BOOL boolVal;
        SCODE scode;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        SAFEARRAY* parray;
        VARIANT* pvarVal;
        LPVOID byref;
        VARIANT_RECORD record;
    };
};
static_assert(sizeof(VARIANT) == 24 && offsetof(VARIANT, llVal) == 8);

extern "C" {

void VariantInit(VARIANT* variant);
// Frees what the variant holds and makes it empty; DISP_E_BADVARTYPE.
HRESULT VariantClear(VARIANT* variant);
// Clears the target and gives it a copy of its own (strings and arrays copied, objects counted).
HRESULT VariantCopy(VARIANT* target, const VARIANT* source);
// To VT_I4 alone, from numbers, VT_BOOL (-1 or 0), VT_EMPTY (0) and decimal texts; halves go to the even
// number. DISP_E_TYPEMISMATCH, DISP_E_OVERFLOW; E_INVALIDARG for another type or any flag. The target may be
// the source.
HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, USHORT flags, VARTYPE type);

// Days since 30 December 1899, the time of day as the fraction; to the second. FALSE outside the years 100 to
// 9999.
INT SystemTimeToVariantTime(SYSTEMTIME* time, DATE* out_date);
INT VariantTimeToSystemTime(DATE date, SYSTEMTIME* out_time);

// A zeroed array of one dimension, of the types that a VARIANT can hold and of VARIANTs; null on failure.
SAFEARRAY* SafeArrayCreateVector(VARTYPE type, LONG lower_bound, ULONG count);
HRESULT SafeArrayDestroy(SAFEARRAY* array);  // takes null; DISP_E_ARRAYISLOCKED
UINT SafeArrayGetDim(SAFEARRAY* array);
HRESULT SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* out_bound);  // dimensions count from 1
HRESULT SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* out_bound);
// Copies the element out, with a reference or allocation of its own; DISP_E_BADINDEX.
HRESULT SafeArrayAccessData(SAFEARRAY* array, void** out_data);  // locks
HRESULT SafeArrayUnaccessData(SAFEARRAY* array);
HRESULT SafeArrayGetElement(SAFEARRAY* array, const LONG* indices, void* out_element);

inline constexpr UINT GMEM_MOVEABLE = 0x0002;
inline constexpr UINT GMEM_ZEROINIT = 0x0040;
inline constexpr UINT GHND = GMEM_MOVEABLE | GMEM_ZEROINIT;

// A global memory block; its bytes are reached by locking it.
HGLOBAL GlobalAlloc(UINT flags, SIZE_T size);
LPVOID GlobalLock(HGLOBAL memory);
BOOL GlobalUnlock(HGLOBAL memory);  // FALSE when no lock is left
HGLOBAL GlobalFree(HGLOBAL memory);

// A stream over a block (a new empty one for null), which grows with it and may own it.
HRESULT CreateStreamOnHGlobal(HGLOBAL memory, BOOL delete_on_release, IStream** out_stream);
// A stream over a copy of the bytes, at its start; null when there is no memory.
IStream* SHCreateMemStream(const BYTE* data, UINT size);

}  // extern "C"
