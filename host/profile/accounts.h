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
    std::string id;  // the host's own, never reused
    std::shared_ptr<SettingsTree> data;
    ComPtr<TMK::IAFS_AccountData> account;
};

class Accounts {
public:
    Accounts(const Profile& profile, std::shared_ptr<const Cipher> cipher)
        : m_profile(profile), m_cipher(std::move(cipher)) {}

    // Makes every stored account through the file system; what it refuses is told and left in the file. One
    // that something else has changed comes without its secrets, lest they go to another place or user.
    std::vector<StoredAccount> Load(TMK::IAFS_FileSys* file_system) const;
    // Makes an account from a tree. Throws a Failure.
    static ComPtr<TMK::IAFS_AccountData> Restore(TMK::IAFS_FileSys* file_system, SettingsTree& data);
    // Saves what the account holds now; a stored one is replaced, a new one gets an id.
    void Save(StoredAccount& account) const;
    // Keeps other processes from adding places as long as it lives. Throws a Failure.
    FileLock LockAdding() const;
    void Remove(const StoredAccount& account) const;

    static std::u16string UrlOf(TMK::IAFS_AccountData* account);
    // The account that a URL belongs to: the one with the same user first, then the longest site.
    static const StoredAccount* Find(const std::vector<StoredAccount>& accounts, const std::u16string& url);

private:
    std::string SealOf(const rapidjson::Value& item) const;
    void DropForeignSecrets(rapidjson::Value& item, Json::AllocatorType& memory) const;

    const Profile& m_profile;
    std::shared_ptr<const Cipher> m_cipher;
};

}  // namespace host
