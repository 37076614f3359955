// The class templates from which every object that the host can hold is made: reference counts, interface
// queries, enumerators. Counts are atomic; an object is made with a count of 0 and its maker takes the first.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "platform/base.h"
#include "platform/com.h"
#include "platform/com_ptr.h"

// Base of interface objects: `Class` adds further interfaces by hiding QueryFurther.
template <typename Class, typename Interface>
class cCoClassUnknownT : public Interface {
public:
    cCoClassUnknownT() = default;
    cCoClassUnknownT(const cCoClassUnknownT&) = delete;
    cCoClassUnknownT& operator=(const cCoClassUnknownT&) = delete;
    virtual ~cCoClassUnknownT() = default;

    HRESULT QueryInterface(const IID& iid, void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (iid == IUnknown::kIid || iid == Interface::kIid) {
            *out = static_cast<Interface*>(this);
        } else {
            *out = static_cast<Class*>(this)->QueryFurther(iid);
        }
        if (!*out) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Release() override {
        const ULONG left = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete static_cast<Class*>(this);
        return left;
    }
    void* QueryFurther(const IID&) { return nullptr; }

private:
    std::atomic<ULONG> m_count{0};
};

// The same for automation interfaces; their type library is the host's.
template <typename Class, typename Interface>
class cCoClassDispatchT : public cCoClassUnknownT<Class, Interface> {
public:
    void* QueryFurther(const IID& iid) {
        return iid == IDispatch::kIid ? static_cast<IDispatch*>(this) : nullptr;
    }
    HRESULT GetTypeInfoCount(UINT* out_count) override {
        if (!out_count) return E_POINTER;
        *out_count = 1;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo** out_info) override {
        if (out_info) *out_info = nullptr;
        return E_NOTIMPL;
    }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
};

// Makes an object of the scaffolding and holds its first reference.
template <typename Class, typename... Arguments>
ComPtr<Class> MakeObject(Arguments&&... arguments) {
    return ComPtr<Class>(new Class(std::forward<Arguments>(arguments)...));
}
