#include "session/cab_encryptor.h"

#include "base/failure.h"
#include "base/plugin_context.h"
#include "base/settings_access.h"
#include "platform/com_ptr.h"

namespace CabEncryptor {

HRESULT SaveEncryptedString(PluginContext* i_plugin, TMK::ITMK_CabNode* cab, LPCWSTR pzsFieldName,
                            const std::u16string& value) {
    TRACE_ENTRY("CabEncryptor::SaveEncryptedString");
    CHECK_RETURN(i_plugin != nullptr, E_POINTER);
    Settings::SetString(cab, pzsFieldName, {});
    if (value.empty()) TRACE_RETURN(S_OK);
    CHECK_RETURN(i_plugin->m_aux_inst != nullptr && i_plugin->m_tmk_inst != nullptr, E_FAIL);
    ComPtr<TMK::IString> pToken;
    CHECK_RESULT_TEXT(i_plugin->m_aux_inst->CreateString(nullptr, pToken.put()),
                      u"m_aux_inst->CreateString(nullptr, &pToken)");
    CHECK_RESULT(pToken->SetValue(value.data(), static_cast<UINT>(value.size())));
    ComPtr<TMK::ITMK_CryptKey> pCKey;
    CHECK_RESULT_TEXT(i_plugin->m_tmk_inst->GetCryptKey(i_plugin, VARIANT_FALSE, pCKey.put()),
                      u"m_tmk_inst->GetCryptKey(i_plugin, VARIANT_FALSE, &pCKey)");
    ComPtr<TMK::IString> pTokenEnc;
    CHECK_RESULT_TEXT(i_plugin->m_aux_inst->EncryptString(pCKey.get(), pToken.get(), pTokenEnc.put()),
                      u"m_aux_inst->EncryptString(pCKey, pToken, &pTokenEnc)");
    Bstr bsValue;
    CHECK_RESULT_TEXT(pTokenEnc->get_Value(bsValue.put()), u"pTokenEnc->get_Value(&bsValue)");
    const Settings::Node field = Settings::GetChild(cab, pzsFieldName);
    CHECK_RETURN(field != nullptr, E_FAIL);
    CHECK_RESULT_TEXT(field->put_v(Variant(bsValue.view())), u"CabNode[pzsFieldName].p->put_v(v)");
    TRACE_RETURN(S_OK);
}

HRESULT LoadEncryptedString(PluginContext* i_plugin, TMK::ITMK_CabNode* cab, LPCWSTR pzsFieldName,
                            std::u16string& value) {
    TRACE_ENTRY("CabEncryptor::LoadEncryptedString");
    value.clear();
    CHECK_RETURN(i_plugin != nullptr, E_POINTER);
    CHECK_RETURN(i_plugin->m_aux_inst != nullptr && i_plugin->m_tmk_inst != nullptr, E_FAIL);
    ComPtr<TMK::IString> pToken;
    CHECK_RESULT_TEXT(i_plugin->m_aux_inst->CreateString(nullptr, pToken.put()),
                      u"m_aux_inst->CreateString(nullptr, &pToken)");
    const Settings::Node field = Settings::GetChild(cab, pzsFieldName);
    CHECK_RETURN(field != nullptr, E_FAIL);
    Bstr val;
    CHECK_RESULT_TEXT(field->get_String(val.put()), u"CabNode[pzsFieldName].p->get_String(&val)");
    if (val.view().empty()) TRACE_RETURN(S_OK);
    CHECK_RESULT_TEXT(pToken->SetValue(val.get(), static_cast<UINT>(val.view().size())),
                      u"pToken->SetValue(val.m_str, val.Length())");
    ComPtr<TMK::ITMK_CryptKey> pCKey;
    CHECK_RESULT_TEXT(i_plugin->m_tmk_inst->GetCryptKey(i_plugin, VARIANT_FALSE, pCKey.put()),
                      u"m_tmk_inst->GetCryptKey(i_plugin, VARIANT_FALSE, &pCKey)");
    ComPtr<TMK::IString> pTokenDec;
    const HRESULT result = i_plugin->m_aux_inst->DecryptString(pCKey.get(), pToken.get(), pTokenDec.put());
    // docs/compatibility.md: A secret stored as plain text reads back
    if (result == E_INVALIDARG) {
        pTokenDec = pToken;
    } else {
        CHECK_RESULT(result);
    }
    CHECK_RESULT_TEXT(pTokenDec->get_Value(val.put()), u"pTokenDec->get_Value(&val)");
    value = val.str();
    TRACE_RETURN(S_OK);
}

}  // namespace CabEncryptor
