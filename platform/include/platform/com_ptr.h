// Owning helpers over the COM subset: ComPtr, Bstr, Variant.
// The same for every system; like what they hold, they belong to one thread at a time.
#pragma once

#include "platform/com.h"

#include <concepts>
#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <utility>

// A counted pointer; made from a raw pointer it takes a reference of its own.
template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    ComPtr(T* object) : m_object(object) {
        if (m_object) m_object->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.m_object) {}
    ComPtr(ComPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <class U>
    requires std::convertible_to<U*, T*> ComPtr(const ComPtr<U>& other) : ComPtr(other.get()) {}
    template <class U>
    requires std::convertible_to<U*, T*> ComPtr(ComPtr<U>&& other) : m_object(other.detach()) {}
    ~ComPtr() { reset(); }

    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    // Takes over the reference that the caller holds.
    static ComPtr attach(T* object) {
        ComPtr owner;
        owner.m_object = object;
        return owner;
    }
    // Hands the reference to the caller.
    [[nodiscard]] T* detach() { return std::exchange(m_object, nullptr); }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    friend bool operator==(const ComPtr& a, const ComPtr& b) { return a.m_object == b.m_object; }
    friend bool operator==(const ComPtr& a, std::nullptr_t) { return a.m_object == nullptr; }

    void reset() {
        if (T* old = std::exchange(m_object, nullptr)) old->Release();
    }
    // For an out argument: what was held is released first.
    T** put() {
        reset();
        return &m_object;
    }
    // For an untyped out argument.
    void** PutVoid() { return reinterpret_cast<void**>(put()); }
    // Hands one more reference out, null for null.
    [[nodiscard]] T* copy() const {
        if (m_object) m_object->AddRef();
        return m_object;
    }
    // The same by an out argument; E_POINTER for null.
    HRESULT CopyTo(T** out_object) const {
        if (!out_object) return E_POINTER;
        *out_object = copy();
        return S_OK;
    }
    // The same object's interface U, or null.
    template <class U>
    ComPtr<U> as() const {
        ComPtr<U> other;
        if (m_object && FAILED(m_object->QueryInterface(kIidOf<U>, other.PutVoid()))) other.reset();
        return other;
    }

private:
    T* m_object = nullptr;
};

// An owned BSTR.
class Bstr {
public:
    Bstr() = default;
    explicit Bstr(std::u16string_view text) : m_text(allocate(text)) {}
    Bstr(const Bstr& other) : m_text(other.m_text ? allocate(other.view()) : nullptr) {}
    Bstr(Bstr&& other) noexcept : m_text(std::exchange(other.m_text, nullptr)) {}
    ~Bstr() { SysFreeString(m_text); }
    Bstr& operator=(Bstr other) noexcept {
        std::swap(m_text, other.m_text);
        return *this;
    }

    [[nodiscard]] BSTR detach() { return std::exchange(m_text, nullptr); }
    BSTR get() const { return m_text; }
    // For an out argument: what was held is freed first.
    BSTR* put() {
        SysFreeString(std::exchange(m_text, nullptr));
        return &m_text;
    }
    std::u16string_view view() const {
        return m_text ? std::u16string_view(m_text, SysStringLen(m_text)) : std::u16string_view();
    }
    std::u16string str() const { return std::u16string(view()); }
    bool empty() const { return SysStringLen(m_text) == 0; }
    explicit operator bool() const { return m_text != nullptr; }

    // Throws std::bad_alloc.
    static BSTR allocate(std::u16string_view text) {
        BSTR made = SysAllocStringLen(text.data() ? text.data() : u"", static_cast<UINT>(text.size()));
        if (!made) throw std::bad_alloc();
        return made;
    }

private:
    BSTR m_text = nullptr;
};

// An owned VARIANT.
class Variant : public VARIANT {
public:
    Variant() { VariantInit(this); }
    template <class Bool>
    requires std::same_as<Bool, bool>
    explicit Variant(Bool value) : Variant() {
        vt = VT_BOOL;
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    }
    explicit Variant(LONG value) : Variant() {
        vt = VT_I4;
        lVal = value;
    }
    explicit Variant(LONGLONG value) : Variant() {
        vt = VT_I8;
        llVal = value;
    }
    explicit Variant(std::u16string_view text) : Variant() {
        bstrVal = Bstr::allocate(text);
        vt = VT_BSTR;
    }
    explicit Variant(const char16_t* text) : Variant(std::u16string_view(text)) {}
    explicit Variant(IUnknown* object) : Variant() {
        vt = VT_UNKNOWN;
        punkVal = object;
        if (object) object->AddRef();
    }
    // Throws std::bad_alloc.
    explicit Variant(const VARIANT& value) : Variant() {
        if (FAILED(VariantCopy(this, &value))) throw std::bad_alloc();
    }
    Variant(const Variant& other) : Variant(other.get()) {}
    Variant(Variant&& other) noexcept : VARIANT(other) { VariantInit(&other); }
    ~Variant() { VariantClear(this); }
    Variant& operator=(Variant other) noexcept {
        std::swap(get(), other.get());
        return *this;
    }

    VARTYPE type() const { return vt; }
    const VARIANT& get() const { return *this; }
    VARIANT& get() { return *this; }
    // For an out argument: what was held is cleared first.
    VARIANT* put() {
        VariantClear(this);
        return this;
    }
    // Hands what is held to the caller.
    [[nodiscard]] VARIANT detach() {
        VARIANT value = *this;
        VariantInit(this);
        return value;
    }
};
