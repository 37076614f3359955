// How operations of a host interface give values out. Re-entrant.
#pragma once

#include <string_view>

#include "base/failure.h"
#include "platform/com.h"

constexpr VARIANT_BOOL ToVariantBool(bool value) {
    return value ? VARIANT_TRUE : VARIANT_FALSE;
}

// A text as a new host string, null when there is no memory for it.
inline BSTR AllocateString(std::u16string_view text) {
    return SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
}

// The end of a property getter, in a function that has TRACE_ENTRY: a null out pointer is E_POINTER.
#define RETURN_VALUE(out_value, value)                 \
    do {                                               \
        CHECK_RETURN(out_value != nullptr, E_POINTER); \
        *out_value = value;                            \
        TRACE_RETURN(S_OK);                            \
    } while (false)

// The same for a text, which becomes a new host string.
#define RETURN_STRING(out_value, text)                      \
    do {                                                    \
        CHECK_RETURN(out_value != nullptr, E_POINTER);      \
        *out_value = AllocateString(text);                  \
        CHECK_RETURN(*out_value != nullptr, E_OUTOFMEMORY); \
        TRACE_RETURN(S_OK);                                 \
    } while (false)
