#include "host/core/aux_extension.h"

#include <atomic>

#include "host/base/give.h"

namespace host {

namespace {

class String final : public DispatchObject<TMK::IString> {
public:
    explicit String(std::u16string value) : m_value(std::move(value)) {}
    HRESULT get_Value(BSTR* out_value) override { return GiveString(out_value, m_value); }
    HRESULT put_Value(LPCWSTR value) override {
        return Guarded([&] {
            m_value = FromWide(value);
            return S_OK;
        });
    }
    HRESULT get_IsEmpty(VARIANT_BOOL* out_empty) override { return GiveBool(out_empty, m_value.empty()); }
    HRESULT Clear() override {
        m_value.clear();
        return S_OK;
    }
    HRESULT get_Length(UINT* out_length) override { return GiveValue(out_length, m_value.size()); }
    HRESULT SetValue(LPCWSTR value, UINT length) override {
        return Guarded([&] {
            m_value = value ? std::u16string(value, length) : std::u16string();
            return S_OK;
        });
    }

private:
    std::u16string m_value;
};

class CryptKey final : public Object<TMK::ITMK_CryptKey> {
public:
    explicit CryptKey(std::u16string id) : m_id(std::move(id)) {}
    HRESULT get_Id(BSTR* out_id) override { return GiveString(out_id, m_id); }

private:
    std::u16string m_id;
};

class AuxExtension final : public Object<TMK::IAUX_Inst> {
public:
    AuxExtension(std::shared_ptr<const Cipher> cipher, const ProgressMaker& progress, Warn warn)
        : m_cipher(std::move(cipher)), m_progress(progress), m_warn(std::move(warn)) {}

    HRESULT CreateString(LPCWSTR value, TMK::IString** out_string) override {
        return GiveNew<String>(out_string, FromWide(value));
    }
    HRESULT EncryptString(TMK::ITMK_CryptKey* key, TMK::IString* plain,
                          TMK::IString** out_encrypted) override {
        return Convert(key, plain, out_encrypted, [&](const std::string& purpose, const std::string& text) {
            return m_cipher->Encrypt(purpose, text);
        });
    }
    HRESULT DecryptString(TMK::ITMK_CryptKey* key, TMK::IString* encrypted,
                          TMK::IString** out_plain) override {
        const HRESULT result =
            Convert(key, encrypted, out_plain, [&](const std::string& purpose, const std::string& text) {
                return m_cipher->Decrypt(purpose, text);
            });
        if (result == E_ACCESSDENIED && m_warn && !m_has_warned.exchange(true)) {
            m_warn(
                "what this profile keeps of a sign-in can't be read: it was changed, or comes from another "
                "profile; it counts as nothing");
        }
        return result;
    }
    HRESULT CreateProgress(HWND, TMK::ITMK_Progress** out_progress) override {
        return Give(out_progress, [&] { return m_progress.Make(); });
    }

private:
    template <class Function>
    HRESULT Convert(TMK::ITMK_CryptKey* key, TMK::IString* from, TMK::IString** out, Function&& function) {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (!key || !from) return E_INVALIDARG;
        return Guarded([&] {
            Bstr text;
            if (const HRESULT result = from->get_Value(text.put()); FAILED(result)) return result;
            *out = Make<String>(ToUtf16(function(PurposeOfKey(key), ToUtf8(text.view())))).detach();
            return S_OK;
        });
    }

    std::shared_ptr<const Cipher> m_cipher;
    const ProgressMaker& m_progress;
    const Warn m_warn;
    std::atomic<bool> m_has_warned{false};
};

}  // namespace

ComPtr<TMK::IAUX_Inst> MakeAuxExtension(std::shared_ptr<const Cipher> cipher, const ProgressMaker& progress,
                                        Warn warn) {
    return Make<AuxExtension>(std::move(cipher), progress, std::move(warn));
}

ComPtr<TMK::ITMK_CryptKey> MakeCryptKey(std::u16string id) {
    return Make<CryptKey>(std::move(id));
}

std::string PurposeOfKey(TMK::ITMK_CryptKey* key) {
    Bstr id;
    if (FAILED(key->get_Id(id.put()))) throw Failure(E_INVALIDARG, "a key without an id");
    return "plugin " + ToUtf8(id.view());
}

}  // namespace host
