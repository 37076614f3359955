#include "host/profile/accounts.h"

#include <sodium.h>

#include <algorithm>
#include <array>

#include "host/base/failure.h"
#include "host/base/json.h"

namespace host {

namespace {

constexpr std::string_view kFile = "accounts.json";
constexpr std::string_view kSealPurpose = "stored account";
constexpr int kLockTimeoutMs = 10000;

// The items of an account that the host fills in or asks for.
constexpr std::u16string_view kUrl = u"Url";
constexpr std::u16string_view kWebUrl = u"WebUrl";
constexpr std::u16string_view kUser = u"User";
constexpr std::u16string_view kPassword = u"Password";
constexpr std::u16string_view kToken = u"AuthToken";
constexpr std::u16string_view kAuthHeader = u"AuthHeader";
constexpr std::u16string_view kApiVersion = u"APIVer";  // 1 for modern servers, 0 for older ones

bool IsAccountList(const Json& list) {
    if (!list.IsArray()) return false;
    return std::all_of(list.Begin(), list.End(), [](const auto& item) {
        return item.IsObject() && item.HasMember("id") && item["id"].IsString() && item.HasMember("data") &&
               item["data"].IsObject();
    });
}

std::string NewId() {
    std::array<unsigned char, 8> bytes;
    randombytes_buf(bytes.data(), bytes.size());
    return ToHex(bytes.data(), bytes.size());
}

// Makes an account from a tree, which takes the shape of the plug-in's accounts. Throws a Failure.
ComPtr<TMK::IAFS_AccountData> Restore(TMK::IAFS_FileSys* file_system, SettingsTree& data) {
    ComPtr<TMK::IAFS_AccountData> account;
    const HRESULT result = file_system->CreateAccount(nullptr, data.View().get(), 0, 0, 0, account.put());
    if (FAILED(result) || !account)
        throw Failure(FAILED(result) ? result : E_FAIL, "a stored account can't be used");
    return account;
}

// The account's tree after the plug-in has saved into it.
ComPtr<TMK::ITMK_Cab> SavedItems(const StoredAccount& account) {
    auto cab = account.data->View();
    const HRESULT result = account.account->SaveTo(cab.get());
    if (FAILED(result)) throw Failure(result, "the account can't be saved");
    return cab;
}

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

bool IsSecret(const rapidjson::Value& value) {
    return value.IsString() && Cipher::IsEnciphered({value.GetString(), value.GetStringLength()});
}

}  // namespace

// The seal covers the site and the user of the secrets.
std::string Accounts::SealOf(const rapidjson::Value& item) const {
    return m_cipher->Seal(kSealPurpose, TextOf(item, "id") + " " + CompactText(item["data"]));
}

void Accounts::DropForeignSecrets(rapidjson::Value& item, Json::AllocatorType& memory) const {
    rapidjson::Value& data = item["data"];
    const bool has_secrets = std::any_of(data.MemberBegin(), data.MemberEnd(),
                                         [](const auto& member) { return IsSecret(member.value); });
    if (!has_secrets || TextOf(item, "seal") == SealOf(item)) return;
    for (auto& member : data.GetObject())
        if (IsSecret(member.value)) member.value.SetString("", memory);
    m_profile.warn(
        "the stored account of " + TextOf(data, "Url") +
        " was changed by something else, or comes from another profile, so its secrets can't be read");
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

std::vector<StoredAccount> Accounts::Load(TMK::IAFS_FileSys* file_system) const {
    std::vector<StoredAccount> accounts;
    Json list = m_profile.LoadJson(kFile, IsAccountList);
    if (list.IsNull()) return accounts;
    for (auto& item : list.GetArray()) {
        StoredAccount account{TextOf(item, "id"), std::make_shared<SettingsTree>(), nullptr};
        try {
            DropForeignSecrets(item, list.GetAllocator());
            account.data->FromJson(CompactText(item["data"]));
            account.account = Restore(file_system, *account.data);
            if (UrlOf(account.account.get()).empty())
                throw Failure(kBadData, "a stored account has no address");
            accounts.push_back(std::move(account));
        } catch (const Failure& failure) {
            m_profile.warn(std::string(failure.what()) + " (" + FormatResult(failure.code()) + ")");
        }
    }
    return accounts;
}

void Accounts::Save(StoredAccount& account) const {
    const auto cab = SavedItems(account);
    if (!account.id.empty() && !account.data->TakeChanged()) return;
    if (account.id.empty()) account.id = NewId();
    const auto change = [&](Json& list) {
        if (!list.IsArray()) list.SetArray();
        auto& memory = list.GetAllocator();
        const Json data = ParseJsonObject(account.data->ToJson());
        rapidjson::Value item(rapidjson::kObjectType);
        item.AddMember("id", rapidjson::Value(account.id.c_str(), memory), memory);
        item.AddMember("data", rapidjson::Value(data, memory), memory);
        item.AddMember("seal", rapidjson::Value(SealOf(item).c_str(), memory), memory);
        const auto known = std::find_if(list.Begin(), list.End(), [&](const rapidjson::Value& other) {
            return TextOf(other, "id") == account.id;
        });
        if (known != list.End()) {
            *known = item.Move();
        } else {
            list.PushBack(item.Move(), memory);
        }
    };
    m_profile.UpdateJson(kFile, change, IsAccountList);
}

FileLock Accounts::LockAdding() const {
    fs::path path = m_profile.file(kFile);
    path += ".add.lock";
    auto lock = FileLock::Take(path, FileLock::Mode::exclusive, kLockTimeoutMs);
    if (!lock) throw Failure(kInUse, "another process adds a place");
    return std::move(*lock);
}

void Accounts::Remove(const StoredAccount& account) const {
    const auto change = [&](Json& list) {
        if (!list.IsArray()) list.SetArray();
        for (auto item = list.Begin(); item != list.End();) {
            item = TextOf(*item, "id") == account.id ? list.Erase(item) : item + 1;
        }
    };
    m_profile.UpdateJson(kFile, change, IsAccountList);
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
