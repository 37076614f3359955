// A remembered connection to a site: URLs, sign-in material and server generation.
// Owned by the host through its references; one thread at a time.
#pragma once

#include <string>

#include "base/plugin_context.h"
#include "base/scaffolding.h"
#include "hostapi/iafs.h"
#include "http/session.h"
#include "platform/com_ptr.h"

// Tells an account of this plug-in from any other object.
struct IAccountData : IUnknown {
    static constexpr IID kIid{0x3E51C7A4, 0x90B2, 0x4D6F, {0x87, 0x1E, 0x05, 0xC4, 0x6D, 0x2A, 0xB8, 0x93}};
};

class AccountData final : public cCoClassDispatchT<AccountData, TMK::IAFS_AccountData>, public IAccountData {
    using Base = cCoClassDispatchT<AccountData, TMK::IAFS_AccountData>;

public:
    static constexpr uint32_t kModernApi = 1;

    AccountData(PluginContext& plugin, std::u16string url, uint32_t api_version);

    // Reads an account from its settings node. A value that can't be read stays empty.
    static HRESULT Create(PluginContext* i_plugin, TMK::ITMK_Cab* i_cab, ComPtr<AccountData>& o_account);
    // The account behind a host object, null when it is none of this plug-in's.
    static ComPtr<AccountData> FromObject(IUnknown* object);

    HRESULT QueryInterface(REFIID iid, void** out) override { return Base::QueryInterface(iid, out); }
    ULONG AddRef() override { return Base::AddRef(); }
    ULONG Release() override { return Base::Release(); }
    void* QueryFurther(const IID& iid);

    HRESULT get_URL(BSTR* o_url) override;
    HRESULT get_UserName(BSTR* o_user_name) override;
    HRESULT SaveTo(TMK::ITMK_Cab* o_cab) override;
    HRESULT VerifyURL(LPCWSTR i_url, LONG* o_result) override;
    HRESULT get_Reserved1(IUnknown** o_value) override;
    HRESULT get_Reserved2(IUnknown** o_value) override;
    HRESULT get_Reserved3(IUnknown** o_value) override;

    const std::u16string& GetUrl() const;
    void SetUrl(const std::u16string& url);
    void SetWebUrl(const std::u16string& web_url);
    const std::u16string& GetAuthHeader() const;
    void SetAuthHeader(const std::u16string& header);
    const std::u16string& GetAuthToken() const;
    void SetAuthToken(const std::u16string& token);
    const Http::Session::Credentials& GetCredentials() const;
    void SetCredentials(const Http::Session::Credentials& credentials);
    uint32_t GetApiVersion() const { return m_api_version; }

private:
    std::u16string m_url;
    std::u16string m_web_url;
    std::u16string m_auth_header;
    std::u16string m_auth_token;
    Http::Session::Credentials m_credentials;
    ComPtr<PluginContext> m_plugin;
    uint32_t m_api_version;
};
