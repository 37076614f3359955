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
    SaveItems(account);
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

}  // namespace host
