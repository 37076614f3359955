// The OAuth flow through the host.
#include "session/authentication.h"

#include "platform/com_ptr.h"
#include "plugin/failure.h"
#include "plugin/settings_access.h"
#include "session/sign_in_server.h"

HRESULT AuthenticateWithMSAL(TMK::ITMK_Inst* i_tmk_instance, std::u16string& o_token,
                             const std::u16string& url) {
    TRACE_ENTRY("AuthenticateWithMSAL");
    CHECK_RETURN(i_tmk_instance != nullptr, E_INVALIDARG);
    ComPtr<TMK::ITMK_Cab> pParams;
    CHECK_RESULT_TEXT(i_tmk_instance->CreateOAuthParams(pParams.put()),
                      u"i_tmk_instance->CreateOAuthParams(&pParams)");
    const Settings::Node pParamsNode = Settings::GetRoot(pParams.get());
    CHECK_RETURN(pParamsNode != nullptr, E_FAIL);
    Settings::SetInt(pParamsNode.get(), u"authMethod", 1);
    Settings::SetString(pParamsNode.get(), u"clientID", SignInServer::kClientId);
    Settings::SetString(pParamsNode.get(), u"authority", SignInServer::kAuthority);
    Settings::SetString(pParamsNode.get(), u"scope", url + u"/AllSites.Write");
    Settings::SetString(pParamsNode.get(), u"redirectURI", SignInServer::kRedirectUri);
    HWND nWndHandle = nullptr;
    i_tmk_instance->get_MainWindow(&nWndHandle);
    CHECK_RESULT_TEXT(i_tmk_instance->DoOAuth(nWndHandle, pParamsNode.get()),
                      u"i_tmk_instance->DoOAuth(nWndHandle, pParamsNode)");
    o_token = Settings::GetString(pParamsNode.get(), u"tokenData.accessToken");
    TRACE_RETURN(S_OK);
}
