// The remembered places of a file system.
// One thread at a time.
#include "core/accounts.h"

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <sodium.h>

#include <array>
#include <functional>

#include "core/failure.h"

namespace host {

namespace {

constexpr std::string_view kFile = "accounts.json";

using Json = rapidjson::Document;

// The stored list; nothing when the text isn't one.
bool ParseList(const std::string& text, Json& list) {
    list.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(text.data(),
                                                                                       text.size());
    if (list.HasParseError() || !list.IsArray()) return false;
    for (const auto& item : list.GetArray()) {
        if (!item.IsObject() || !item.HasMember("id") || !item["id"].IsString() || !item.HasMember("data") ||
            !item["data"].IsObject()) {
            return false;
        }
    }
    return true;
}

std::string TextOf(const rapidjson::Value& json) {
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    json.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize());
}

std::string NewId() {
    std::array<unsigned char, 8> bytes;
    randombytes_buf(bytes.data(), bytes.size());
    return ToHex(bytes.data(), bytes.size());
}

void SetAside(const Profile& profile) {
    const fs::path aside = MoveAside(profile.file(kFile));
    profile.warn("the list of accounts is damaged; the file was set aside as " + aside.string());
}

// Changes the stored list as one step.
void Change(const Profile& profile, const std::function<void(Json&)>& change) {
    profile.UpdateFile(kFile, [&](const std::optional<std::string>& text) {
        Json list;
        if (text && !ParseList(*text, list)) SetAside(profile);
        if (!list.IsArray()) list.SetArray();
        change(list);
        return TextOf(list);
    });
}

}  // namespace

ComPtr<TMK::IAFS_AccountData> Accounts::Restore(TMK::IAFS_FileSys* file_system, SettingsTree& data) {
    const auto cab = data.View();
    ComPtr<TMK::IAFS_AccountData> account;
    const HRESULT result = file_system->CreateAccount(nullptr, cab.get(), 0, 0, 0, account.put());
    if (FAILED(result) || !account)
        throw Failure(FAILED(result) ? result : E_FAIL, "a stored account can't be used");
    return account;
}

std::vector<StoredAccount> Accounts::Load(TMK::IAFS_FileSys* file_system) const {
    std::vector<StoredAccount> accounts;
    const auto text = ReadWhole(m_profile.file(kFile));
    if (!text) return accounts;
    Json list;
    if (!ParseList(*text, list)) {
        SetAside(m_profile);
        return accounts;
    }
    for (const auto& item : list.GetArray()) {
        StoredAccount account{item["id"].GetString(), std::make_shared<SettingsTree>(), nullptr};
        try {
            account.data->FromJson(TextOf(item["data"]));
            account.account = Restore(file_system, *account.data);
            accounts.push_back(std::move(account));
        } catch (const Failure& failure) {
            m_profile.warn(std::string(failure.what()) + " (" + FormatResult(failure.code()) + ")");
        }
    }
    return accounts;
}

void Accounts::Save(StoredAccount& account) const {
    const auto cab = account.data->View();
    const HRESULT result = account.account->SaveTo(cab.get());
    if (FAILED(result)) throw Failure(result, "the account can't be saved");
    if (!account.id.empty() && !account.data->TakeChanged()) return;
    if (account.id.empty()) account.id = NewId();
    Change(m_profile, [&](Json& list) {
        auto& memory = list.GetAllocator();
        Json data(&memory);
        const std::string text = account.data->ToJson();
        data.Parse(text.data(), text.size());
        for (auto& item : list.GetArray()) {
            if (account.id == item["id"].GetString()) {
                item["data"] = data.Move();
                return;
            }
        }
        rapidjson::Value item(rapidjson::kObjectType);
        item.AddMember("id", rapidjson::Value(account.id.c_str(), memory), memory);
        item.AddMember("data", data.Move(), memory);
        list.PushBack(item.Move(), memory);
    });
}

void Accounts::Remove(const StoredAccount& account) const {
    Change(m_profile, [&](Json& list) {
        for (auto item = list.Begin(); item != list.End();) {
            item = account.id == (*item)["id"].GetString() ? list.Erase(item) : item + 1;
        }
    });
}

std::u16string Accounts::UrlOf(TMK::IAFS_AccountData* account) {
    Bstr url;
    account->get_URL(url.put());
    return std::u16string(url.view());
}

const StoredAccount* Accounts::Find(const std::vector<StoredAccount>& accounts, const std::u16string& url) {
    const StoredAccount* best = nullptr;
    std::pair<LONG, std::size_t> best_rank{0, 0};
    for (const auto& account : accounts) {
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
