// From an account to a working connection, and back out by signing out.
#include "session/session.h"

#include <new>

#include "base/failure.h"
#include "base/main_thread.h"
#include "base/plugin_context.h"
#include "base/text/ignore_case.h"
#include "dialogs/web_view_dialog.h"
#include "platform/url.h"
#include "platform/wininet.h"
#include "session/account_data.h"
#include "session/authentication.h"
#include "session/sessions_memory.h"
#include "session/sign_in_server.h"
#include "sharepoint/legacy/web.h"
#include "sharepoint/rest/web.h"

namespace {

using Credentials = Http::Session::Credentials;

// Asks the user through the host; throws when he declines.
void Prompt(TMK::IAFS_BindContext* context, Credentials& record, const char16_t* host,
            const char16_t* status_text) {
    TRACE_NAME("Session::Create");
    Bstr user;
    Bstr password;
    CHECK_RESULT_THROW_TEXT(
        context->OnGetUserAccount(nullptr, const_cast<LPWSTR>(host), const_cast<LPWSTR>(status_text),
                                  record.user.data(), record.password.data(), user.put(), password.put(),
                                  nullptr, 0),
        u"context->OnGetUserAccount(nullptr, (LPWSTR)host, (LPWSTR)status_text, user, password, &user, "
        u"&password, "
        u"nullptr, 0)");
    record = {user.str(), password.str()};
}

// One best-effort step: what it throws is only logged.
template <typename Step>
void Try(const char* trace_function, Step&& step) {
    try {
        step();
    } catch (const Exception& failure) {
        LOG_LINE(Log::warning, u"%s", MaskForLog(failure.message));
    } catch (...) {
        LOG_LINE(Log::warning, u"step failed");
    }
}

void ClearCookie(const std::u16string& url, const char16_t* name) {
    TRACE_NAME("Session::SignOut");
    CHECK_THROW_TEXT(
        InternetSetCookieExW(url.c_str(), name, u"no=value; expires=Mon,01-Jan-0001 00:00:00 GMT",
                             INTERNET_COOKIE_HTTPONLY, 0),
        std::u16string(u"InternetSetCookieExW(m_http->GetUri().c_str(), L\"") + name +
            u"\", L\"no=value; expires=Mon,01-Jan-0001 00:00:00 GMT\", INTERNET_COOKIE_HTTPONLY, 0)",
        ApiException);
}

// Makes the browser forget the sign-in at a host, at the sign-in server and at hosted sites. What it can't
// forget is left.
void DeleteBrowserCookies(TMK::ITMK_Inst* instance, const std::u16string& host) {
    TRACE_NAME("Session::SignOut");
    const ComPtr<TMK::WebViewDlg> dialog(new (std::nothrow) TMK::WebViewDlg(instance));
    if (!dialog) THROW_TRACED(ApiException, ERROR_NOT_ENOUGH_MEMORY);
    CallOnMainThread(instance, [&] {
        for (const char16_t* url : {host.c_str(), SignInServer::kHost, SignInServer::kHostedSitesSuffix})
            dialog->DeleteCookies(SignInServer::kCookieGroup, url, nullptr);
        return S_OK;
    });
}

}  // namespace

Session::Session() = default;

Session::~Session() {
    TRACE_ENTRY("Session::~Session");
    TRACE_EXIT(u"");
}

std::shared_ptr<Session> Session::Create(AccountData& io_account_data, PluginContext& plugin,
                                         TMK::IAFS_BindContext* bind_context) {
    TRACE_ENTRY("Session::Create");
    CHECK_THROW_TEXT(bind_context != nullptr, u"context != nullptr", HResultException, E_INVALIDARG,
                     u"Cannot create session with null context");
    CHECK_THROW(!io_account_data.GetUrl().empty(), HResultException, E_INVALIDARG, u"URL cannot be empty");
    std::shared_ptr<Session> self(new Session());
    self->m_file_system = plugin.m_file_system;
    self->context = ComPtr<TMK::IAFS_BindContext>(bind_context);
    Credentials credentials;
    self->Connect(io_account_data, plugin, credentials);
    self->SetSignInCallbacks(io_account_data, plugin, credentials);
    self->CreateWeb(io_account_data);
    self->m_open_documents = OpenDocuments::OfWeb(self->GetWebUrl());
    try {
        Settings::Node node;
        if (SUCCEEDED(GetSettings(plugin, self->m_http->GetUri(), true, node)) && node) {
            Settings::SetString(node.get(), u"Login", credentials.user);
        }
    } catch (...) {
        LOG_LINE(Log::warning, u"the last user is not remembered");
    }
    // The record of this function ends with it: later prompts don't reach the account.
    self->m_http->SetOnCredentials(
        [context = self->context](Credentials& record, const char16_t* host, const char16_t* status_text) {
            Prompt(context.get(), record, host, status_text);
        });
    CHECK_THROW(self->m_file_system != nullptr, HResultException, E_FAIL);
    CHECK_RESULT_THROW_TEXT(
        self->m_file_system->GetAFS()->CreateFileCachesMap(self->m_file_system.get(),
                                                           self->m_files_cache.put()),
        u"self->m_file_system->GetAFS()->CreateFileCachesMap(self->m_file_system, &self->m_files_cache)");
    self->WriteBack(io_account_data, credentials);
    TRACE_EXIT(u"");
    return self;
}

void Session::Connect(const AccountData& account, PluginContext& plugin, Credentials& credentials) {
    std::u16string scheme;
    std::u16string host;
    uint16_t port = 0;
    Http::Session::CrackUri(account.GetUrl().c_str(), &scheme, &host, &port, &credentials, nullptr);
    if (!account.GetCredentials().user.empty()) {
        credentials = account.GetCredentials();
    } else if (credentials.user.empty()) {
        const std::u16string base_url = Http::Session::Create(scheme, host, port, {}, {})->GetUri();
        credentials = GetStoredCredentials(base_url, plugin, context.get());
    }
    m_http = Http::Session::Create(scheme, host, port, credentials, {});
    if (!account.GetAuthHeader().empty()) {
        Http::Session::AuthCookies cookies;
        Http::ParseCookieHeader(account.GetAuthHeader(), cookies);
        m_http->SetCookies(std::move(cookies));
    }
    if (!account.GetAuthToken().empty()) m_http->SetAuthToken(account.GetAuthToken());
}

void Session::SetSignInCallbacks(const AccountData& account, PluginContext& plugin,
                                 Credentials& credentials) {
    TRACE_NAME("Session::Create");
    // What is typed for another host, after a redirect, is that host's and never the account's.
    m_http->SetOnCredentials([context = context, &credentials, own_host = Http::GetHost(account.GetUrl())](
                                 Credentials& record, const char16_t* host, const char16_t* status_text) {
        Prompt(context.get(), record, host, status_text);
        if (EqualIgnoringCase(host, own_host)) credentials = record;
    });
    if (account.GetApiVersion() != AccountData::kModernApi) {
        SetFormsCallback(plugin);
        return;
    }
    m_http->SetOnAuthToken([inst = plugin.m_tmk_inst](std::u16string& token, const char16_t* url) {
        std::u16string sToken;
        const HRESULT result = AuthenticateWithMSAL(inst.get(), sToken, url);
        CHECK_RESULT_THROW(result);
        CHECK_THROW(!sToken.empty(), HResultException, E_CANCELED);
        token = std::move(sToken);
    });
}

void Session::SetFormsCallback(PluginContext& plugin) {
    TRACE_NAME("Session::Create");
    m_http->SetOnAuthCookies([inst = plugin.m_tmk_inst](
                                 Http::Session::AuthCookies& cookies, const char16_t* server_url,
                                 const char16_t* required_url, const char16_t* return_url) {
        Http::Session::AuthCookies auth_cookies;
        const HRESULT result =
            AuthenticateWithMicrosoftForms(auth_cookies, required_url, return_url, server_url, inst.get());
        CHECK_RESULT_THROW(result);
        CHECK_THROW(!auth_cookies.empty(), HResultException, E_CANCELED);
        cookies = std::move(auth_cookies);
    });
}

void Session::CreateWeb(const AccountData& account) {
    TRACE_NAME("Session::Create");
    if (account.GetApiVersion() == AccountData::kModernApi) {
        m_web = SharePointRestAPI::Web::Create(m_http, account.GetUrl());
    } else {
        m_web = SharePoint2013::Web::Create(m_http, account.GetUrl());
    }
    if (!m_web) SignOut();
    CHECK_THROW_TEXT(m_web != nullptr, u"self->m_web != nullptr", ApiException, ERROR_BAD_NETPATH);
}

void Session::WriteBack(AccountData& account, const Credentials& credentials) const {
    std::u16string header;
    Http::FormatCookieHeader(m_http->GetCookies(), header);
    account.SetAuthHeader(header);
    account.SetCredentials(credentials);
    account.SetAuthToken(m_http->GetAuthToken());
}

HRESULT Session::SignOut(PluginContext* pVInst, AccountData* pAcData) {
    TRACE_ENTRY("Session::SignOut");
    CHECK_RETURN(pVInst != nullptr, E_INVALIDARG);
    CHECK_RETURN(pAcData != nullptr, E_INVALIDARG);
    DeleteBrowserCookies(pVInst->m_tmk_inst.get(), Http::GetHost(pAcData->GetUrl()));
    TRACE_RETURN(S_OK);
}

void Session::SignOut() {
    TRACE_ENTRY("Session::SignOut");
    const ComPtr<PluginContext> plugin(m_file_system ? m_file_system->GetPlugin() : nullptr);
    Credentials credentials;
    Try(trace_function, [&] {
        if (m_http && plugin) credentials = GetStoredCredentials(m_http->GetUri(), *plugin, context.get());
    });
    credentials.password.clear();
    Try(trace_function, [&] {
        if (m_http) m_http->ResetAuthorizationData(credentials);
    });
    Try(trace_function, [] {
        Http::ConnectToLoginServer()->SendRequest(u"GET", u"logout.srf", nullptr, nullptr, nullptr, 0, true);
    });
    if (!plugin || !plugin->m_tmk_inst) THROW_TRACED(ApiException);
    DeleteBrowserCookies(plugin->m_tmk_inst.get(), Http::GetHost(m_http->GetUri()));
    ClearCookie(m_http->GetUri(), u"FedAuth");
    ClearCookie(m_http->GetUri(), u"rtFa");
    TRACE_EXIT(u"");
}

ComPtr<FileSystemContext> Session::GetFileSystem() const {
    return m_file_system;
}

ComPtr<TMK::IAFS_FilesCache> Session::GetFilesCache() const {
    return m_files_cache;
}

std::shared_ptr<SharePoint::Object> Session::GetWeb() const {
    return m_web;
}

std::u16string Session::GetPath() const {
    return m_http->GetUri();
}

std::u16string Session::GetWebUrl() const {
    return GetPath() + u"/" + m_web->GetInformation().m_path;
}
