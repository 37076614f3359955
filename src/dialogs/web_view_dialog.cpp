// The window's life, from its template to the code that it ends with, and the browser's events in between.
#include "dialogs/web_view_dialog.h"

#include "base/resources.h"
#include "platform/com_ptr.h"

namespace TMK {

namespace {

constexpr DWORD kWindowStyle = 0x86CD0000;  // pop-up, caption, system menu, sizing frame, maximise box
constexpr LONGLONG kClosed = 0;             // by the user
constexpr LONGLONG kDone = 1;
constexpr LONGLONG kCanceled = 2;

// The address of the page that is shown, as the browser gives it out.
class PageUrl {
public:
    explicit PageUrl(ICoreWebView2* browser) {
        if (browser && FAILED(browser->get_Source(&m_url))) m_url = nullptr;
    }
    ~PageUrl() { CoTaskMemFree(m_url); }
    PageUrl(const PageUrl&) = delete;
    PageUrl& operator=(const PageUrl&) = delete;
    const char16_t* get() const { return m_url; }

private:
    LPWSTR m_url = nullptr;
};

HRESULT ToResult(LONGLONG code) {
    if (code == kClosed || code == kCanceled) return E_CANCELED;
    return code == kDone ? S_OK : static_cast<HRESULT>(code);
}

}  // namespace

void* WebViewDlg::QueryFurther(const IID& iid) {
    if (iid == ITMK_WebViewInitializationCallback::kIid)
        return static_cast<ITMK_WebViewInitializationCallback*>(this);
    if (iid == ITMK_WebViewRequestCookiesCallback::kIid)
        return static_cast<ITMK_WebViewRequestCookiesCallback*>(this);
    if (iid == ICoreWebView2NavigationCompletedEventHandler::kIid)
        return static_cast<ICoreWebView2NavigationCompletedEventHandler*>(this);
    return nullptr;
}

void WebViewDlg::Initialize() {
    TRACE_ENTRY("WebViewDlg::Initialize");
    TRACE_EXIT(u"");
}

HRESULT WebViewDlg::DoModal(LPCWSTR pzsURL, OnNavigated on_navigated, OnCookies on_cookies) {
    TRACE_ENTRY("WebViewDlg::DoModal");
    CHECK_RETURN(pzsURL != nullptr, E_INVALIDARG);
    CHECK_RETURN(m_pVInst != nullptr, E_INVALIDARG);
    m_sURL = pzsURL;
    m_cookies = std::move(on_cookies);
    if (on_navigated) {
        m_navigated = [this, navigated = std::move(on_navigated)](const char16_t* url) {
            HRESULT result = S_OK;
            try {
                result = navigated(url);
            } catch (...) {
                result = FailureToResult("WebViewDlg::Invoke", nullptr);
            }
            if (FAILED(result)) OnComplete();
            return result;
        };
    }
    const ComPtr<WebViewDlg> alive(this);
    const HRESULT result = RunWindow();
    // The callbacks belong to the caller's frame, and the control holds this object.
    m_navigated = nullptr;
    m_cookies = nullptr;
    m_pWebView.reset();
    TRACE_EXIT(result);
    return result;
}

HRESULT WebViewDlg::RunWindow() {
    TRACE_NAME("WebViewDlg::DoModal");
    const ResourceData dialogs = FindResourceData(IDR_DIALOGS_XML, u"XML");
    UIX_CreateObjParams parameters{};
    parameters.pImpl = this;
    parameters.pTemplate = dialogs.data;
    parameters.nTemplateSize = dialogs.size;
    parameters.szTemplateId = u"WebBrowserDialog";
    parameters.nStyle = kWindowStyle;
    ComPtr<IUIX_Inst> uix_instance;
    CHECK_RESULT_TEXT(m_pVInst->GetExtension(u"UIX", reinterpret_cast<IUnknown**>(uix_instance.put())),
                      u"m_pVInst->GetExtension(L\"UIX\", reinterpret_cast<IUnknown**>(&uix_instance))");
    CHECK_RESULT(uix_instance->CreateObj(&parameters, nullptr));
    CHECK_RETURN(m_pObj != nullptr, E_UNEXPECTED);
    const ComPtr<IUIX_Obj> window = m_pObj;  // destroying it takes the member away
    LONGLONG result = E_UNEXPECTED;
    window->DoModal(UIX_ObjModal_AppModal, &result);
    m_ended = true;
    window->Destroy();
    return ToResult(result);
}

HRESULT WebViewDlg::HandleEvent(UIX_Event& event) {
    switch (event.nCode) {
        case UIX_Event_InitDialog:
            OnInitDialog();
            break;
        case UIX_Event_Size:
            OnSize();
            event.bHandled = VARIANT_TRUE;
            break;
        case UIX_Event_BeforeDestroy:
            OnBeforeDestroy();
            event.bHandled = VARIANT_TRUE;
            break;
        default:
            break;
    }
    return S_OK;
}

void WebViewDlg::OnInitDialog() {
    TRACE_ENTRY("WebViewDlg::OnInitDialog");
    CHECK_RESULT_THROW_TEXT(
        m_pVInst->CreateWebView(GetFirstHWND(), this, Bstr(m_sCookiesGroupName).get(), m_pWebView.put()),
        u"m_pVInst->CreateWebView(GetFirstHWND(), this, (BSTR)m_sCookiesGroupName.c_str(), &m_pWebView)");
    TRACE_EXIT(u"");
}

HRESULT WebViewDlg::OnInitalized() {
    TRACE_ENTRY("WebViewDlg::OnInitalized");
    try {
        if (const HRESULT result = PrepareBrowser(); FAILED(result)) return result;
        m_pWebView->put_Bounds(GetClientRect());
        CHECK_RESULT_TEXT(m_pWebView->Navigate(m_sURL.c_str(), 0),
                          u"m_pWebView->Navigate(m_sURL.c_str(), 0)");
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT WebViewDlg::PrepareBrowser() {
    TRACE_NAME("WebViewDlg::OnInitalized");
    const ComPtr<ICoreWebView2> browser = GetBrowser();
    CHECK_RETURN(browser != nullptr, E_UNEXPECTED);
    ComPtr<ICoreWebView2Settings> settings;
    browser->get_Settings(settings.put());
    CHECK_RETURN(settings != nullptr, E_UNEXPECTED);
    settings->put_IsStatusBarEnabled(FALSE);
    settings->put_IsScriptEnabled(TRUE);
    settings->put_AreDefaultScriptDialogsEnabled(TRUE);
    settings->put_IsWebMessageEnabled(TRUE);
    settings->put_AreDefaultContextMenusEnabled(FALSE);
    settings->put_AreDevToolsEnabled(FALSE);
    EventRegistrationToken token{};
    CHECK_RESULT(browser->add_NavigationCompleted(this, &token));
    return S_OK;
}

ComPtr<ICoreWebView2> WebViewDlg::GetBrowser() const {
    ComPtr<IUnknown> object;
    if (m_pWebView) m_pWebView->get_WebView2(object.put());
    return object.as<ICoreWebView2>();
}

HRESULT WebViewDlg::Invoke(ICoreWebView2* sender, ICoreWebView2NavigationCompletedEventArgs* args) {
    TRACE_ENTRY("WebViewDlg::Invoke");
    BOOL is_success = FALSE;
    if (!m_ended && m_navigated && args && SUCCEEDED(args->get_IsSuccess(&is_success)) && is_success) {
        const PageUrl url(sender);
        if (url.get()) m_navigated(url.get());
    }
    TRACE_RETURN(S_OK);
}

void WebViewDlg::OnComplete() {
    TRACE_ENTRY("WebViewDlg::OnComplete");
    m_result = kCanceled;
    m_closing = m_pWebView != nullptr;
    if (!m_closing || FAILED(RequestCookies())) End(kCanceled);
    TRACE_EXIT(u"");
}

HRESULT WebViewDlg::RequestCookies() {
    TRACE_ENTRY("WebViewDlg::RequestCookies");
    CHECK_RETURN(m_pWebView != nullptr, E_UNEXPECTED);
    CHECK_RESULT(m_pWebView->RequestCookies(this, 0));
    TRACE_RETURN(S_OK);
}

void WebViewDlg::HidePage() {
    if (m_pWebView) m_pWebView->put_Visible(VARIANT_FALSE);
}

HRESULT WebViewDlg::OnCookiesCompleted(HRESULT result, IUnknown* cookie_list) {
    TRACE_ENTRY("WebViewDlg::OnCookiesCompleted");
    try {
        if (FAILED(result)) LOG_LINE(Log::warning, u"no cookies, HRESULT 0x%.8x", result);
        if (m_ended) TRACE_RETURN(S_OK);  // an answer to an earlier page's question
        bool done = false;
        LONGLONG code = m_result;
        const PageUrl url(m_cookies ? GetBrowser().get() : nullptr);
        if (url.get()) {
            const auto cookies = ComPtr<IUnknown>(cookie_list).as<ICoreWebView2CookieList>();
            const HRESULT answer = m_cookies(url.get(), cookies.get(), done);
            if (done) code = FAILED(answer) ? kCanceled : kDone;
        }
        if (m_closing || done) End(code);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

void WebViewDlg::End(LONGLONG code) {
    m_ended = true;
    EndModal(code);
}

void WebViewDlg::OnSize() {
    if (m_pWebView) m_pWebView->put_Bounds(GetClientRect());
}

void WebViewDlg::OnBeforeDestroy() {
    TRACE_ENTRY("WebViewDlg::OnBeforeDestroy");
    if (m_pWebView) m_pWebView->Close();
    TRACE_EXIT(u"");
}

HRESULT WebViewDlg::DeleteCookies(LPCWSTR pzsGroupName, LPCWSTR pzsURL, HWND nWndHandle) {
    TRACE_ENTRY("WebViewDlg::DeleteCookies");
    CHECK_RETURN(m_pVInst != nullptr, E_INVALIDARG);
    CHECK_RETURN(pzsGroupName != nullptr && pzsURL != nullptr, E_INVALIDARG);
    ComPtr<ITMK_WebView> pWebView;
    m_pVInst->CreateWebView(nWndHandle, this, Bstr(pzsGroupName).get(), pWebView.put());
    CHECK_RETURN(pWebView != nullptr, E_UNEXPECTED);
    CHECK_RESULT_TEXT(pWebView->DeleteCookies(Bstr(pzsURL).get()), u"pWebView->DeleteCookies((BSTR)pzsURL)");
    TRACE_RETURN(S_OK);
}

}  // namespace TMK
