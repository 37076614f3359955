// The remembered places of a file system: saved through the plug-in into trees, kept in the profile.
// Owned by the host instance; one thread at a time, the file is shared by all processes on the profile.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/profile.h"
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
    explicit Accounts(const Profile& profile) : m_profile(profile) {}

    // Makes every stored account through the file system; what it refuses is told and left in the file.
    std::vector<StoredAccount> Load(TMK::IAFS_FileSys* file_system) const;
    // Makes an account from a tree. Throws a Failure.
    static ComPtr<TMK::IAFS_AccountData> Restore(TMK::IAFS_FileSys* file_system, SettingsTree& data);
    // Saves what the account holds now; a stored one is replaced, a new one gets an id.
    void Save(StoredAccount& account) const;
    void Remove(const StoredAccount& account) const;

    static std::u16string UrlOf(TMK::IAFS_AccountData* account);
    // The account that a URL belongs to: the one with the same user first, then the longest site.
    static const StoredAccount* Find(const std::vector<StoredAccount>& accounts, const std::u16string& url);

private:
    const Profile& m_profile;
};

}  // namespace host
