// The remembered places of a file system: saved through the plug-in into trees, kept in the profile.
// Owned by the host instance; one thread at a time, the file is shared by all processes on the profile.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/profile/cipher.h"
#include "host/profile/profile.h"
#include "hostapi/iafs.h"
#include "platform/com_ptr.h"

namespace host {

struct StoredAccount {
    std::string id;  // the host's own, never reused; empty for one that isn't stored yet
    std::shared_ptr<SettingsTree> data;
    ComPtr<TMK::IAFS_AccountData> account;
};

// A new account as a person describes it. The user and the secrets are enciphered for the plug-in.
struct AccountDetails {
    std::u16string url;
    std::u16string user;
    std::u16string password;
    std::u16string token;
    std::u16string auth_header = {};  // the cookies of a sign-in
    bool is_modern = true;
};

class Accounts {
public:
    Accounts(const Profile& profile, std::shared_ptr<const Cipher> cipher)
        : m_profile(profile), m_cipher(std::move(cipher)) {}

    // Makes every stored account through the file system; one that it refuses stays in the file, with a
    // warning. An account that another program changed loses its secrets, so that they can't reach another
    // site or user.
    std::vector<StoredAccount> Load(TMK::IAFS_FileSys* file_system) const;
    // Makes an account from a tree, which takes the shape of the plug-in's accounts. Throws a Failure.
    static ComPtr<TMK::IAFS_AccountData> Restore(TMK::IAFS_FileSys* file_system, SettingsTree& data);
    // Brings the account's tree up to date. Throws a Failure.
    static void SaveItems(const StoredAccount& account);
    // Makes an account that isn't stored yet. Throws a Failure.
    static StoredAccount Make(TMK::IAFS_FileSys* file_system, const AccountDetails& details);
    // Sets the account's address to its site. Throws a Failure.
    static void SetSite(TMK::IAFS_FileSys* file_system, StoredAccount& account, const std::u16string& url);
    // Removes what signs in from the account, except the user's name. Throws a Failure.
    static void DropSignIn(TMK::IAFS_FileSys* file_system, StoredAccount& account);
    // Saves what the account holds now; a stored one is replaced, a new one gets an id.
    void Save(StoredAccount& account) const;
    // Keeps other processes from adding places as long as it lives. Throws a Failure.
    FileLock LockAdding() const;
    void Remove(const StoredAccount& account) const;

    static std::u16string UrlOf(TMK::IAFS_AccountData* account);
    static std::u16string UserOf(TMK::IAFS_AccountData* account);
    static std::u16string StoredTokenOf(const StoredAccount& account);
    static bool IsModern(const StoredAccount& account);
    // The account that a URL belongs to: on the same port, the one with the same user first, then the longest
    // site.
    static const StoredAccount* Find(const std::vector<StoredAccount>& accounts, const std::u16string& url);

private:
    std::string SealOf(const rapidjson::Value& item) const;
    void DropForeignSecrets(rapidjson::Value& item, Json::AllocatorType& memory) const;

    const Profile& m_profile;
    std::shared_ptr<const Cipher> m_cipher;
};

}  // namespace host
