// The base of every object that the host hands to a plug-in, counted so that leaks can be found.
// Owned by its references; counts are atomic, an object is made with a count of 0.
#pragma once

#include <atomic>
#include <utility>

#include "platform/com.h"
#include "platform/com_ptr.h"

namespace host {

namespace detail {
inline std::atomic<long> live_objects{0};
}

// How many host objects are alive in this process.
inline long LiveObjects() {
    return detail::live_objects.load(std::memory_order_acquire);
}

// `Parents` are base interfaces of `Interface` that QueryInterface finds.
template <class Interface, class... Parents>
class Object : public Interface {
public:
    Object() { detail::live_objects.fetch_add(1, std::memory_order_relaxed); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() { detail::live_objects.fetch_sub(1, std::memory_order_release); }

    HRESULT QueryInterface(REFIID iid, void** out_object) override {
        if (!out_object) return E_POINTER;
        *out_object = nullptr;
        if (iid == IUnknown::kIid || iid == Interface::kIid || (... || (iid == Parents::kIid))) {
            *out_object = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Release() override {
        const ULONG left = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }
    // Takes a reference unless the last one was released.
    bool TryAddRef() {
        ULONG count = m_count.load(std::memory_order_relaxed);
        while (count != 0) {
            if (m_count.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) return true;
        }
        return false;
    }

private:
    std::atomic<ULONG> m_count{0};
};

// `Base`, an object, with one more interface.
template <class Base, class Interface>
class Also : public Base, public Interface {
public:
    using Base::Base;
    HRESULT QueryInterface(REFIID iid, void** out_object) override {
        if (!out_object || iid != Interface::kIid) return Base::QueryInterface(iid, out_object);
        *out_object = static_cast<Interface*>(this);
        Base::AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return Base::AddRef(); }
    ULONG Release() override { return Base::Release(); }
};

// The same for automation interfaces; this host has no type library.
template <class Interface>
class DispatchObject : public Object<Interface, IDispatch> {
public:
    HRESULT GetTypeInfoCount(UINT* count) override {
        if (!count) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
};

template <class T, class... Arguments>
ComPtr<T> Make(Arguments&&... arguments) {
    return ComPtr<T>(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace host
