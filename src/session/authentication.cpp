#include "session/authentication.h"

#include <new>

#include "base/failure.h"
#include "base/main_thread.h"
#include "base/settings_access.h"
#include "base/url.h"
#include "dialogs/web_view_dialog.h"
#include "platform/com_ptr.h"
#include "session/browser_cookies.h"
#include "session/sign_in_server.h"

namespace {

// What the window's callbacks share; the caller's frame outlives them.
struct FormsSignIn {
    Http::Session::AuthCookies& o_cookies;
    const std::u16string& required_url;
    const std::u16string& return_url;
    const std::u16string& server_url;
};

HRESULT OnNavigated(const FormsSignIn& sign_in, TMK::WebViewDlg& dialog, const char16_t* i_url) {
    TRACE_ENTRY("AuthenticateWithMicrosoftForms::on_navigated");
    CHECK_RETURN(i_url != nullptr, E_FAIL);
    if (!sign_in.return_url.empty()) {
        if (CompareUrls(i_url, sign_in.return_url.c_str()) != CompareUrlsResult::equal) {
            LOG_LINE(Log::verbose, u"Navigating to non-return URL '%s'", MaskForLog(i_url));
            TRACE_RETURN(S_OK);
        }
        dialog.HidePage();
    }
    CHECK_RESULT_TEXT(dialog.RequestCookies(), u"dialog->m_pWebView->RequestCookies(dialog, 0)");
    TRACE_RETURN(S_OK);
}

HRESULT TakeCookies(const FormsSignIn& sign_in, const char16_t* url, ICoreWebView2CookieList* cookie_list) {
    TRACE_NAME("AuthenticateWithMicrosoftForms::on_cookies");
    std::u16string fed_auth;
    if (!FindCookie(cookie_list, u"FedAuth", sign_in.server_url, fed_auth)) {
        LOG_LINE(Log::information, u"FedAuth cookie not found on navigating to '%s'", MaskForLog(url));
        // A page on the way there may lack it; the page of the return may not.
        return sign_in.return_url.empty() ? S_FALSE : E_UNEXPECTED;
    }
    std::u16string rt_fa;
    if (!FindCookie(cookie_list, u"rtFa", sign_in.server_url, rt_fa)) {
        LOG_LINE(Log::information, u"rtFa cookie not found on navigating to '%s'", MaskForLog(url));
        return E_UNEXPECTED;
    }
    sign_in.o_cookies.emplace_back(u"FedAuth", std::move(fed_auth));
    sign_in.o_cookies.emplace_back(u"rtFa", std::move(rt_fa));
    return S_OK;
}

HRESULT OnCookies(const FormsSignIn& sign_in, const char16_t* url, ICoreWebView2CookieList* cookie_list,
                  bool& done) {
    TRACE_ENTRY("AuthenticateWithMicrosoftForms::on_cookies");
    HRESULT result = S_OK;
    try {
        result = TakeCookies(sign_in, url, cookie_list);
    } catch (...) {
        result = FailureToResult(trace_function, nullptr);
    }
    done = result != S_FALSE;
    TRACE_EXIT(done ? u"done" : u"not done");
    return result == S_FALSE ? S_OK : result;
}

HRESULT ShowSignIn(const FormsSignIn& sign_in, TMK::ITMK_Inst* i_tmk_instance) {
    TRACE_NAME("AuthenticateWithMicrosoftForms");
    const ComPtr<TMK::WebViewDlg> dialog(new (std::nothrow) TMK::WebViewDlg(i_tmk_instance));
    CHECK_RETURN(dialog != nullptr, E_OUTOFMEMORY);
    dialog->m_sCookiesGroupName = SignInServer::kCookieGroup;
    dialog->Initialize();
    const HRESULT result = dialog->DoModal(
        sign_in.required_url.c_str(), [&](const char16_t* url) { return OnNavigated(sign_in, *dialog, url); },
        [&](const char16_t* url, ICoreWebView2CookieList* cookie_list, bool& done) {
            return OnCookies(sign_in, url, cookie_list, done);
        });
    CHECK_RESULT(result);
    return S_OK;
}

}  // namespace

HRESULT AuthenticateWithMicrosoftForms(Http::Session::AuthCookies& o_cookies,
                                       const std::u16string& required_url, const std::u16string& return_url,
                                       const std::u16string& server_url, TMK::ITMK_Inst* i_tmk_instance) {
    TRACE_ENTRY("AuthenticateWithMicrosoftForms");
    LOG_LINE(Log::verbose, u"Authenticating to '%s', return URL is '%s'", MaskForLog(required_url),
             MaskForLog(return_url));
    const FormsSignIn sign_in{o_cookies, required_url, return_url, server_url};
    const HRESULT call_result =
        CallOnMainThread(i_tmk_instance, [&] { return ShowSignIn(sign_in, i_tmk_instance); });
    CHECK_RESULT(call_result);
    TRACE_RETURN(S_OK);
}

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
