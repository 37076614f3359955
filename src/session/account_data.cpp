#include "session/account_data.h"

#include "base/failure.h"
#include "base/out_values.h"
#include "base/resources.h"
#include "base/settings_access.h"
#include "session/account_match.h"
#include "session/cab_encryptor.h"

namespace {

constexpr const char16_t* settings_name = u"SharePointAccountDataSettingsV1";

HRESULT GiveNull(const char* trace_function, IUnknown** o_value) {
    CHECK_RETURN(o_value != nullptr, E_POINTER);
    *o_value = nullptr;
    return S_OK;
}

const char16_t* Emptiness(const std::u16string& text, const char16_t* empty, const char16_t* filled) {
    return text.empty() ? empty : filled;
}

}  // namespace

AccountData::AccountData(PluginContext& plugin, std::u16string url, uint32_t api_version)
    : m_url(std::move(url)), m_plugin(&plugin), m_api_version(api_version) {}

HRESULT AccountData::Create(PluginContext* i_plugin, TMK::ITMK_Cab* i_cab, ComPtr<AccountData>& o_account) {
    TRACE_ENTRY("AccountData::Create");
    CHECK_RETURN(i_plugin != nullptr, E_INVALIDARG);
    CHECK_RESULT_TEXT(ApplyCabTemplate(i_cab, IDR_ACCOUNT_DATA_CAB_XML, settings_name),
                      u"ApplyCabTemplate(i_plugin->m_aux_inst, i_cab, "
                      u"MAKEINTRESOURCE(IDR_ACCOUNT_DATA_CAB_XML), settings_name)");
    const Settings::Node node = Settings::GetRoot(i_cab);
    o_account = MakeObject<AccountData>(*i_plugin, Settings::GetString(node.get(), u"Url"),
                                        static_cast<uint32_t>(Settings::GetInt(node.get(), u"APIVer")));
    o_account->SetWebUrl(Settings::GetString(node.get(), u"WebUrl"));
    const auto load = [&](const char16_t* field) {
        std::u16string value;
        CabEncryptor::LoadEncryptedString(i_plugin, node.get(), field, value);
        return value;
    };
    o_account->SetAuthHeader(load(u"AuthHeader"));
    o_account->SetCredentials({load(u"User"), load(u"Password")});
    o_account->SetAuthToken(load(u"AuthToken"));
    TRACE_RETURN(S_OK);
}

ComPtr<AccountData> AccountData::FromObject(IUnknown* object) {
    ComPtr<IAccountData> account;
    if (object) object->QueryInterface(IAccountData::kIid, reinterpret_cast<void**>(account.put()));
    return ComPtr<AccountData>(static_cast<AccountData*>(account.get()));
}

void* AccountData::QueryFurther(const IID& iid) {
    return iid == IAccountData::kIid ? static_cast<IAccountData*>(this) : Base::QueryFurther(iid);
}

HRESULT AccountData::get_URL(BSTR* o_url) {
    TRACE_ENTRY("AccountData::get_URL");
    RETURN_STRING(o_url, m_url);
}

HRESULT AccountData::get_UserName(BSTR* o_user_name) {
    TRACE_ENTRY("AccountData::get_UserName");
    RETURN_STRING(o_user_name, m_credentials.user);
}

HRESULT AccountData::SaveTo(TMK::ITMK_Cab* o_cab) {
    TRACE_ENTRY("AccountData::SaveTo");
    try {
        CHECK_RETURN(o_cab != nullptr, E_POINTER);
        CHECK_RESULT_TEXT(ApplyCabTemplate(o_cab, IDR_ACCOUNT_DATA_CAB_XML, settings_name),
                          u"ApplyCabTemplate(m_plugin->m_aux_inst, o_cab, "
                          u"MAKEINTRESOURCE(IDR_ACCOUNT_DATA_CAB_XML), settings_name)");
        const Settings::Node node = Settings::GetRoot(o_cab);
        Settings::SetString(node.get(), u"Url", m_url);
        Settings::SetString(node.get(), u"WebUrl", m_web_url);
        CabEncryptor::SaveEncryptedString(m_plugin.get(), node.get(), u"AuthHeader", m_auth_header);
        CabEncryptor::SaveEncryptedString(m_plugin.get(), node.get(), u"User", m_credentials.user);
        CabEncryptor::SaveEncryptedString(m_plugin.get(), node.get(), u"Password", m_credentials.password);
        CabEncryptor::SaveEncryptedString(m_plugin.get(), node.get(), u"AuthToken", m_auth_token);
        Settings::SetInt(node.get(), u"APIVer", static_cast<int32_t>(m_api_version));
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT AccountData::VerifyURL(LPCWSTR i_url, LONG* o_result) {
    TRACE_ENTRY("AccountData::VerifyURL");
    try {
        CHECK_RETURN(o_result != nullptr, E_POINTER);
        LONG result = 0;
        const std::u16string& account_url = m_web_url.empty() ? m_url : m_web_url;
        CHECK_RESULT_TEXT(
            MatchAccountUrl(i_url, account_url, m_credentials.user, m_web_url.empty(), result),
            u"MatchAccountUrl(i_url, m_web_url.empty() ? m_url : m_web_url, m_credentials.user, "
            u"m_web_url.empty(), result)");
        LOG_LINE(Log::information, u"Input URL '%s' verification result with account URL '%s' and '%s' is %d",
                 MaskForLog(i_url ? i_url : u""), MaskForLog(account_url),
                 Emptiness(m_credentials.user, u"empty user", u"non-empty user"), result);
        *o_result = result;
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT AccountData::get_Reserved1(IUnknown** o_value) {
    TRACE_ENTRY("AccountData::get_Reserved1");
    return GiveNull(trace_function, o_value);
}

HRESULT AccountData::get_Reserved2(IUnknown** o_value) {
    TRACE_ENTRY("AccountData::get_Reserved2");
    return GiveNull(trace_function, o_value);
}

HRESULT AccountData::get_Reserved3(IUnknown** o_value) {
    TRACE_ENTRY("AccountData::get_Reserved3");
    return GiveNull(trace_function, o_value);
}

const std::u16string& AccountData::GetUrl() const {
    TRACE_ENTRY("AccountData::GetUrl");
    TRACE_EXIT(MaskForLog(m_url));
    return m_url;
}

void AccountData::SetUrl(const std::u16string& url) {
    TRACE_ENTRY("AccountData::SetUrl");
    m_url = url;
    TRACE_EXIT(MaskForLog(m_url));
}

void AccountData::SetWebUrl(const std::u16string& web_url) {
    TRACE_ENTRY("AccountData::SetWebUrl");
    m_web_url = web_url;
    TRACE_EXIT(MaskForLog(m_web_url));
}

const std::u16string& AccountData::GetAuthHeader() const {
    TRACE_ENTRY("AccountData::GetAuthHeader");
    TRACE_EXIT(Emptiness(m_auth_header, u"empty header", u"non-empty header"));
    return m_auth_header;
}

void AccountData::SetAuthHeader(const std::u16string& header) {
    TRACE_ENTRY("AccountData::SetAuthHeader");
    m_auth_header = header;
    TRACE_EXIT(Emptiness(m_auth_header, u"empty header", u"non-empty header"));
}

const std::u16string& AccountData::GetAuthToken() const {
    TRACE_ENTRY("AccountData::GetAuthToken");
    TRACE_EXIT(Emptiness(m_auth_token, u"empty auth token", u"non-empty auth token"));
    return m_auth_token;
}

void AccountData::SetAuthToken(const std::u16string& token) {
    TRACE_ENTRY("AccountData::SetAuthToken");
    m_auth_token = token;
    TRACE_EXIT(Emptiness(m_auth_token, u"empty auth token", u"non-empty auth token"));
}

const Http::Session::Credentials& AccountData::GetCredentials() const {
    TRACE_ENTRY("AccountData::GetCredentials");
    TRACE_EXIT(std::u16string(Emptiness(m_credentials.user, u"empty user, ", u"non-empty user, ")) +
               Emptiness(m_credentials.password, u"empty password", u"non-empty password"));
    return m_credentials;
}

void AccountData::SetCredentials(const Http::Session::Credentials& credentials) {
    TRACE_ENTRY("AccountData::SetCredentials");
    m_credentials = credentials;
    TRACE_EXIT(std::u16string(Emptiness(m_credentials.user, u"empty user, ", u"non-empty user, ")) +
               Emptiness(m_credentials.password, u"empty password", u"non-empty password"));
}
