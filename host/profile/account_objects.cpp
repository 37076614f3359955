// Accounts as objects of a plug-in, and the items of the trees that they are made of.
#include <algorithm>

#include "host/base/failure.h"
#include "host/profile/accounts.h"

namespace host {

namespace {

// The items of an account that the host fills in or asks for.
constexpr std::u16string_view kUrl = u"Url";
constexpr std::u16string_view kWebUrl = u"WebUrl";
constexpr std::u16string_view kUser = u"User";
constexpr std::u16string_view kPassword = u"Password";
constexpr std::u16string_view kToken = u"AuthToken";
constexpr std::u16string_view kAuthHeader = u"AuthHeader";
constexpr std::u16string_view kApiVersion = u"APIVer";  // 1 for modern servers, 0 for older ones

// The port of an address, written or not; empty for what is no address of a server.
std::u16string PortOf(std::u16string_view url) {
    const std::size_t scheme = url.find(u"://");
    if (scheme == std::u16string_view::npos) return {};
    const std::u16string_view server = url.substr(scheme + 3, url.find(u'/', scheme + 3) - scheme - 3);
    const std::size_t colon = server.rfind(u':');
    const std::size_t bracket = server.rfind(u']');
    const bool has_port = colon != std::u16string_view::npos &&
                          (bracket == std::u16string_view::npos || bracket < colon) &&
                          colon + 1 < server.size();
    if (has_port) return std::u16string(server.substr(colon + 1));
    return EqualIgnoreCase(url.substr(0, scheme), u"https") ? u"443" : u"80";
}

// The account's tree after the plug-in has saved into it.
ComPtr<TMK::ITMK_Cab> SavedItems(const StoredAccount& account) {
    auto cab = account.data->View();
    Accounts::SaveItems(account);
    return cab;
}

}  // namespace

ComPtr<TMK::IAFS_AccountData> Accounts::Restore(TMK::IAFS_FileSys* file_system, SettingsTree& data) {
    ComPtr<TMK::IAFS_AccountData> account;
    const HRESULT result = file_system->CreateAccount(nullptr, data.View().get(), 0, 0, 0, account.put());
    if (FAILED(result) || !account)
        throw Failure(FAILED(result) ? result : E_FAIL, "a stored account can't be used");
    return account;
}

void Accounts::SaveItems(const StoredAccount& account) {
    const HRESULT result = account.account->SaveTo(account.data->View().get());
    if (FAILED(result)) throw Failure(result, "the account can't be saved");
}

StoredAccount Accounts::Make(TMK::IAFS_FileSys* file_system, const AccountDetails& details) {
    StoredAccount account{{}, std::make_shared<SettingsTree>(), nullptr};
    Restore(file_system, *account.data);  // gives the empty tree its shape
    const auto cab = account.data->View();
    const auto put = [&](std::u16string_view item, const std::u16string& text) {
        if (!text.empty()) PutString(cab.get(), item, text);
    };
    put(kUrl, details.url);
    put(kUser, details.user);
    put(kPassword, details.password);
    put(kToken, details.token);
    put(kAuthHeader, details.auth_header);
    const auto version = ChildOf(cab.get(), kApiVersion);
    if (version) version->put_v(Variant(LONG{details.is_modern}).get());
    account.account = Restore(file_system, *account.data);
    return account;
}

void Accounts::SetSite(TMK::IAFS_FileSys* file_system, StoredAccount& account, const std::u16string& url) {
    const auto cab = SavedItems(account);
    PutString(cab.get(), kUrl, url);
    PutString(cab.get(), kWebUrl, url);
    account.account = Restore(file_system, *account.data);
}

void Accounts::DropSignIn(TMK::IAFS_FileSys* file_system, StoredAccount& account) {
    const auto cab = SavedItems(account);
    for (const auto item : {kAuthHeader, kPassword, kToken}) PutString(cab.get(), item, u"");
    account.account = Restore(file_system, *account.data);
}

std::u16string Accounts::UrlOf(TMK::IAFS_AccountData* account) {
    Bstr url;
    account->get_URL(url.put());
    return std::u16string(url.view());
}

std::u16string Accounts::UserOf(TMK::IAFS_AccountData* account) {
    Bstr user;
    account->get_UserName(user.put());
    return std::u16string(user.view());
}

std::u16string Accounts::StoredTokenOf(const StoredAccount& account) {
    return StringOf(ChildOf(account.data->View().get(), kToken).get());
}

bool Accounts::IsModern(const StoredAccount& account) {
    Variant version;
    if (const auto item = ChildOf(account.data->View().get(), kApiVersion)) item->get_v(version.put());
    return version.type() == VT_I4 && version.lVal == 1;
}

const StoredAccount* Accounts::Find(const std::vector<StoredAccount>& accounts, const std::u16string& url) {
    const StoredAccount* best = nullptr;
    std::pair<LONG, std::size_t> best_rank{0, 0};
    for (const auto& account : accounts) {
        // The plug-in doesn't compare ports; here two ports are two places.
        if (PortOf(UrlOf(account.account.get())) != PortOf(url)) continue;
        LONG match = 0;
        if (FAILED(account.account->VerifyURL(url.c_str(), &match)) || match <= 0) continue;
        const std::pair rank{match, UrlOf(account.account.get()).size()};
        if (best && rank <= best_rank) continue;
        best = &account;
        best_rank = rank;
    }
    return best;
}

}  // namespace host
