// The class templates from which every object that the host can hold is made: reference counts, interface
// queries, enumerators. Counts are atomic; an object is made with a count of 0 and its maker takes the first.
#pragma once

#include <atomic>
#include <new>
#include <utility>
#include <vector>

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
        if (left == 0) {
            m_count.store(kDying, std::memory_order_relaxed);
            delete static_cast<Class*>(this);
        }
        return left;
    }
    void* QueryFurther(const IID&) { return nullptr; }

private:
    // The count while the destructor runs: what takes and drops a reference meanwhile doesn't delete once
    // more.
    static constexpr ULONG kDying = 0x40000000;

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

// Enumerator over a copy of a list of counted items.
template <typename Class, typename Interface, typename Item>
class cCoEnumItemsT : public cCoClassUnknownT<Class, Interface> {
public:
    explicit cCoEnumItemsT(std::vector<ComPtr<Item>> items, size_t next = 0)
        : m_items(std::move(items)), m_next(next) {}

    HRESULT Next(UINT count, Item** out_items, UINT* out_fetched) override {
        if (!out_items) return E_POINTER;
        UINT fetched = 0;
        for (; fetched < count && m_next < m_items.size(); ++fetched)
            out_items[fetched] = m_items[m_next++].copy();
        if (out_fetched) *out_fetched = fetched;
        return fetched == count ? S_OK : S_FALSE;
    }
    HRESULT Skip(UINT count) override {
        const size_t left = m_items.size() - m_next;
        m_next += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    HRESULT Reset() override {
        m_next = 0;
        return S_OK;
    }
    HRESULT Clone(Interface** out_clone) override {
        if (!out_clone) return E_POINTER;
        *out_clone = new (std::nothrow) Class(m_items, m_next);
        if (!*out_clone) return E_OUTOFMEMORY;
        (*out_clone)->AddRef();
        return S_OK;
    }

private:
    std::vector<ComPtr<Item>> m_items;
    size_t m_next;
};

// Makes an object of the scaffolding and holds its first reference.
template <typename Class, typename... Arguments>
ComPtr<Class> MakeObject(Arguments&&... arguments) {
    return ComPtr<Class>(new Class(std::forward<Arguments>(arguments)...));
}
