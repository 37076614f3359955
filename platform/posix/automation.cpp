// BSTR, VARIANT and SAFEARRAY, all on malloc, so that another copy of this library may free them.
// Any thread; each object belongs to one thread at a time.
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "platform/com.h"

namespace {

// The text starts 8 bytes into the block, so that it is aligned; its length stands in the 4 bytes before it.
constexpr std::size_t kBstrOffset = 8;

char* BstrBlock(BSTR text) {
    return reinterpret_cast<char*>(text) - kBstrOffset;
}

DWORD BstrBytes(BSTR text) {
    DWORD bytes;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - sizeof bytes, sizeof bytes);
    return bytes;
}

// The element type of an array stands in front of it.
constexpr std::size_t kArrayOffset = 16;
constexpr USHORT kHasVartype = 0x0080;

std::size_t ElementSize(VARTYPE type) {
    switch (type) {
        case VT_UI1:
            return 1;
        case VT_I2:
        case VT_BOOL:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_R4:
        case VT_ERROR:
            return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
        case VT_DATE:
            return 8;
        case VT_BSTR:
        case VT_DISPATCH:
        case VT_UNKNOWN:
            return sizeof(void*);
        case VT_VARIANT:
            return sizeof(VARIANT);
        default:
            return 0;
    }
}

VARTYPE ElementType(const SAFEARRAY* array) {
    VARTYPE type;
    std::memcpy(&type, reinterpret_cast<const char*>(array) - kArrayOffset, sizeof type);
    return type;
}

char* ElementAt(const SAFEARRAY* array, ULONG index) {
    return static_cast<char*>(array->pvData) + std::size_t{index} * array->cbElements;
}

bool IsVector(const SAFEARRAY* array) {
    return array && array->cDims == 1 && (array->fFeatures & kHasVartype);
}

HRESULT CopyElement(VARTYPE type, const char* from, void* to) {
    switch (type) {
        case VT_BSTR: {
            BSTR text;
            std::memcpy(&text, from, sizeof text);
            BSTR copy = text ? SysAllocStringLen(text, SysStringLen(text)) : nullptr;
            if (text && !copy) return E_OUTOFMEMORY;
            std::memcpy(to, &copy, sizeof copy);
            return S_OK;
        }
        case VT_DISPATCH:
        case VT_UNKNOWN: {
            IUnknown* object;
            std::memcpy(&object, from, sizeof object);
            if (object) object->AddRef();
            std::memcpy(to, &object, sizeof object);
            return S_OK;
        }
        case VT_VARIANT: {
            VARIANT* target = static_cast<VARIANT*>(to);
            VariantInit(target);
            return VariantCopy(target, reinterpret_cast<const VARIANT*>(from));
        }
        default:
            std::memcpy(to, from, ElementSize(type));
            return S_OK;
    }
}

void ReleaseElement(VARTYPE type, char* element) {
    if (type == VT_BSTR) {
        BSTR text;
        std::memcpy(&text, element, sizeof text);
        SysFreeString(text);
    } else if (type == VT_DISPATCH || type == VT_UNKNOWN) {
        IUnknown* object;
        std::memcpy(&object, element, sizeof object);
        if (object) object->Release();
    } else if (type == VT_VARIANT) {
        VariantClear(reinterpret_cast<VARIANT*>(element));
    }
}

HRESULT CopyArray(SAFEARRAY* source, SAFEARRAY** out_copy) {
    *out_copy = nullptr;
    if (!source) return S_OK;
    if (!IsVector(source)) return E_INVALIDARG;
    const SAFEARRAYBOUND& bound = source->rgsabound[0];
    SAFEARRAY* copy = SafeArrayCreateVector(ElementType(source), bound.lLbound, bound.cElements);
    if (!copy) return E_OUTOFMEMORY;
    HRESULT result = S_OK;
    for (ULONG i = 0; i < bound.cElements && SUCCEEDED(result); ++i)
        result = CopyElement(ElementType(source), ElementAt(source, i), ElementAt(copy, i));
    if (FAILED(result))
        SafeArrayDestroy(copy);
    else
        *out_copy = copy;
    return result;
}

bool IsKnownScalar(VARTYPE type) {
    return type == VT_EMPTY || type == VT_NULL || ElementSize(type) > 0;
}

}  // namespace

LPVOID CoTaskMemAlloc(SIZE_T size) {
    return std::malloc(size ? size : 1);
}

void CoTaskMemFree(LPVOID memory) {
    std::free(memory);
}

BSTR SysAllocString(LPCWSTR text) {
    if (!text) return nullptr;
    const std::size_t length = std::u16string_view(text).size();
    return length > std::numeric_limits<UINT>::max() ? nullptr
                                                     : SysAllocStringLen(text, static_cast<UINT>(length));
}

BSTR SysAllocStringLen(LPCWSTR text, UINT length) {
    constexpr std::size_t kUnit = sizeof(char16_t);
    if (length > std::numeric_limits<DWORD>::max() / kUnit - kBstrOffset) return nullptr;
    const DWORD bytes = static_cast<DWORD>(length * kUnit);
    char* block = static_cast<char*>(std::malloc(kBstrOffset + bytes + kUnit));
    if (!block) return nullptr;
    std::memset(block, 0, kBstrOffset);
    std::memcpy(block + kBstrOffset - sizeof bytes, &bytes, sizeof bytes);
    if (text) std::memcpy(block + kBstrOffset, text, bytes);
    std::memset(block + kBstrOffset + bytes, 0, kUnit);
    return reinterpret_cast<BSTR>(block + kBstrOffset);
}

void SysFreeString(BSTR text) {
    if (text) std::free(BstrBlock(text));
}

UINT SysStringLen(BSTR text) {
    return text ? static_cast<UINT>(BstrBytes(text) / sizeof(char16_t)) : 0;
}

void VariantInit(VARIANT* variant) {
    std::memset(variant, 0, sizeof *variant);
}

HRESULT VariantClear(VARIANT* variant) {
    if (!variant) return E_INVALIDARG;
    if (variant->vt & VT_ARRAY) {
        if (!(variant->vt & VT_BYREF)) {
            const HRESULT result = SafeArrayDestroy(variant->parray);
            if (FAILED(result)) return result;
        }
    } else if (!(variant->vt & VT_BYREF)) {
        if (!IsKnownScalar(variant->vt) || variant->vt == VT_VARIANT) return DISP_E_BADVARTYPE;
        if (variant->vt == VT_BSTR) SysFreeString(variant->bstrVal);
        if ((variant->vt == VT_UNKNOWN || variant->vt == VT_DISPATCH) && variant->punkVal)
            variant->punkVal->Release();
    }
    VariantInit(variant);
    return S_OK;
}

HRESULT VariantCopy(VARIANT* target, const VARIANT* source) {
    if (!target || !source) return E_INVALIDARG;
    if (target == source) return S_OK;
    VARIANT copy = *source;
    if (!(source->vt & VT_BYREF)) {
        if (source->vt & VT_ARRAY) {
            const HRESULT result = CopyArray(source->parray, &copy.parray);
            if (FAILED(result)) return result;
        } else if (!IsKnownScalar(source->vt) || source->vt == VT_VARIANT) {
            return DISP_E_BADVARTYPE;
        } else if (source->vt != VT_EMPTY && source->vt != VT_NULL) {
            const HRESULT result =
                CopyElement(source->vt, reinterpret_cast<const char*>(&source->llVal), &copy.llVal);
            if (FAILED(result)) return result;
        }
    }
    const HRESULT cleared = VariantClear(target);
    if (FAILED(cleared)) {
        VariantClear(&copy);
        return cleared;
    }
    *target = copy;
    return S_OK;
}

SAFEARRAY* SafeArrayCreateVector(VARTYPE type, LONG lower_bound, ULONG count) {
    const std::size_t size = ElementSize(type);
    if (!size) return nullptr;
    char* block = static_cast<char*>(std::calloc(1, kArrayOffset + sizeof(SAFEARRAY)));
    void* data = std::calloc(count ? count : 1, size);
    if (!block || !data) {
        std::free(block);
        std::free(data);
        return nullptr;
    }
    std::memcpy(block, &type, sizeof type);
    SAFEARRAY* array = reinterpret_cast<SAFEARRAY*>(block + kArrayOffset);
    array->cDims = 1;
    array->fFeatures = kHasVartype;
    array->cbElements = static_cast<ULONG>(size);
    array->pvData = data;
    array->rgsabound[0] = {count, lower_bound};
    return array;
}

HRESULT SafeArrayDestroy(SAFEARRAY* array) {
    if (!array) return S_OK;
    if (!IsVector(array)) return E_INVALIDARG;
    if (array->cLocks) return DISP_E_ARRAYISLOCKED;
    for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i)
        ReleaseElement(ElementType(array), ElementAt(array, i));
    std::free(array->pvData);
    std::free(reinterpret_cast<char*>(array) - kArrayOffset);
    return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY* array) {
    return array ? array->cDims : 0;
}

HRESULT SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* out_bound) {
    if (!IsVector(array) || !out_bound) return E_INVALIDARG;
    if (dimension != 1) return DISP_E_BADINDEX;
    *out_bound = array->rgsabound[0].lLbound;
    return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* out_bound) {
    if (!IsVector(array) || !out_bound) return E_INVALIDARG;
    if (dimension != 1) return DISP_E_BADINDEX;
    *out_bound = array->rgsabound[0].lLbound + static_cast<LONG>(array->rgsabound[0].cElements) - 1;
    return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY* array, void** out_data) {
    if (!array || !out_data) return E_INVALIDARG;
    ++array->cLocks;
    *out_data = array->pvData;
    return S_OK;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY* array) {
    if (!array) return E_INVALIDARG;
    if (!array->cLocks) return E_UNEXPECTED;
    --array->cLocks;
    return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY* array, const LONG* indices, void* out_element) {
    if (!IsVector(array) || !indices || !out_element) return E_INVALIDARG;
    const LONGLONG index = LONGLONG{*indices} - array->rgsabound[0].lLbound;
    if (index < 0 || index >= array->rgsabound[0].cElements) return DISP_E_BADINDEX;
    return CopyElement(ElementType(array), ElementAt(array, static_cast<ULONG>(index)), out_element);
}
