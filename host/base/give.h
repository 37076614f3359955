// Results in out arguments of the host interfaces: E_POINTER for a null argument; exceptions become result
// codes. Any thread.
#pragma once

#include <utility>

#include "host/base/failure.h"
#include "host/base/object.h"

namespace host {

// `make` returns a ComPtr, or throws.
template <class Interface, class Maker>
HRESULT Give(Interface** out, Maker&& make) noexcept {
    if (!out) return E_POINTER;
    *out = nullptr;
    return Guarded([&] {
        *out = make().detach();
        return S_OK;
    });
}

template <class T, class Interface, class... Arguments>
HRESULT GiveNew(Interface** out, Arguments&&... arguments) noexcept {
    return Give(out, [&] { return Make<T>(std::forward<Arguments>(arguments)...); });
}

// A number or a plain structure.
template <class T, class Value>
HRESULT GiveValue(T* out, const Value& value) {
    if (!out) return E_POINTER;
    *out = static_cast<T>(value);
    return S_OK;
}

// true as VARIANT_TRUE.
inline HRESULT GiveBool(VARIANT_BOOL* out, bool value) {
    return GiveValue(out, value ? VARIANT_TRUE : VARIANT_FALSE);
}

}  // namespace host
