// Owners of what COM hands out: a counted reference, an automation string, a variant.
// Values of one thread at a time; the counts they take and drop are the objects' own.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/com.h"

// Holds one reference of an interface object, or null.
template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    explicit ComPtr(T* object) : m_object(object) {
        if (m_object) m_object->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.m_object) {}
    ComPtr(ComPtr&& other) noexcept : m_object(other.detach()) {}
    template <class U>
    ComPtr(const ComPtr<U>& other) : ComPtr(other.get()) {}
    template <class U>
    ComPtr(ComPtr<U>&& other) noexcept : m_object(other.detach()) {}
    ~ComPtr() { reset(); }

    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    // Takes over a reference that the caller already holds.
    static ComPtr attach(T* object) {
        ComPtr owner;
        owner.m_object = object;
        return owner;
    }
    // Gives the reference away.
    T* detach() { return std::exchange(m_object, nullptr); }
    void reset() {
        if (T* const object = detach()) object->Release();
    }
    // For an out argument: what was held is released first.
    T** put() {
        reset();
        return &m_object;
    }
    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    bool operator==(const ComPtr& other) const { return m_object == other.m_object; }
    bool operator==(std::nullptr_t) const { return m_object == nullptr; }

    // Hands one more reference out, null for null.
    T* copy() const {
        if (m_object) m_object->AddRef();
        return m_object;
    }
    // Asks for another interface; null when the object doesn't have it.
    template <class U>
    ComPtr<U> as() const {
        ComPtr<U> other;
        if (m_object) m_object->QueryInterface(U::kIid, reinterpret_cast<void**>(other.put()));
        return other;
    }

private:
    T* m_object = nullptr;
};

// Owns an automation string.
class Bstr {
public:
    Bstr() = default;
    explicit Bstr(std::u16string_view text)
        : m_text(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    static Bstr attach(BSTR text) {
        Bstr owner;
        owner.m_text = text;
        return owner;
    }
    Bstr(const Bstr& other) : Bstr(other.view()) {}
    Bstr(Bstr&& other) noexcept : m_text(other.detach()) {}
    ~Bstr() { SysFreeString(m_text); }
    Bstr& operator=(Bstr other) noexcept {
        std::swap(m_text, other.m_text);
        return *this;
    }

    BSTR get() const { return m_text; }
    BSTR* put() {
        SysFreeString(std::exchange(m_text, nullptr));
        return &m_text;
    }
    BSTR detach() { return std::exchange(m_text, nullptr); }
    std::u16string_view view() const {
        return m_text ? std::u16string_view(m_text, SysStringLen(m_text)) : std::u16string_view();
    }
    std::u16string str() const { return std::u16string(view()); }
    explicit operator bool() const { return m_text != nullptr; }

private:
    BSTR m_text = nullptr;
};

// Owns what a variant holds.
class Variant : public VARIANT {
public:
    Variant() { VariantInit(this); }
    template <class Bool>
    requires std::is_same_v<Bool, bool>
    explicit Variant(Bool value) : Variant() {
        vt = VT_BOOL;
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    }
    explicit Variant(std::int32_t value) : Variant() {
        vt = VT_I4;
        lVal = value;
    }
    explicit Variant(std::u16string_view text) : Variant() {
        vt = VT_BSTR;
        bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    }
    explicit Variant(IUnknown* object) : Variant() {
        vt = VT_UNKNOWN;
        punkVal = object;
        if (object) object->AddRef();
    }
    Variant(const Variant& other) : Variant() { VariantCopy(this, &other); }
    Variant(Variant&& other) noexcept : VARIANT(other) { VariantInit(&other); }
    ~Variant() { VariantClear(this); }
    Variant& operator=(Variant other) noexcept {
        std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(other));
        return *this;
    }
    VARIANT* put() {
        VariantClear(this);
        return this;
    }
};
