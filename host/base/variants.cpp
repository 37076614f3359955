#include "host/base/variants.h"

#include <new>

namespace host {

Variant ArrayOf(std::vector<Variant> elements) {
    Variant array;
    array.parray = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(elements.size()));
    if (!array.parray) throw std::bad_alloc();
    array.vt = VT_ARRAY | VT_VARIANT;
    void* data = nullptr;
    SafeArrayAccessData(array.parray, &data);
    for (std::size_t i = 0; i < elements.size(); ++i) static_cast<VARIANT*>(data)[i] = elements[i].detach();
    SafeArrayUnaccessData(array.parray);
    return array;
}

std::vector<Variant> ElementsOf(const VARIANT& array) {
    std::vector<Variant> elements;
    LONG first = 0;
    LONG last = -1;
    if (array.vt != (VT_ARRAY | VT_VARIANT) || SafeArrayGetDim(array.parray) != 1 ||
        FAILED(SafeArrayGetLBound(array.parray, 1, &first)) ||
        FAILED(SafeArrayGetUBound(array.parray, 1, &last))) {
        return elements;
    }
    for (LONG index = first; index <= last; ++index)
        SafeArrayGetElement(array.parray, &index, elements.emplace_back().put());
    return elements;
}

}  // namespace host
