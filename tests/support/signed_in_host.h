// The reference host with the loaded plug-in, bound to a site as one user. Prompts count as closed unless a
// test answers them. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/testing/silent_front_end.h"
#include "tests/support/account.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_host.h"

namespace testing_support {

class SignedInHost {
public:
    // `origin` is the server's, or that of something in front of it. `prepare` runs between loading the
    // plug-in and signing in.
    using Prepare = std::function<void(SignedInHost&)>;
    SignedInHost(const std::string& plugin_file, const std::string& origin, const Login& login,
                 const Prepare& prepare = {});
    ~SignedInHost();
    SignedInHost(const SignedInHost&) = delete;
    SignedInHost& operator=(const SignedInHost&) = delete;

    TestHost& host() { return *m_host; }
    host::testing::SilentFrontEnd& front_end() { return m_front_end; }
    TMK::IAFS_FileSys* file_system() { return m_file_system.get(); }
    TMK::IAFS_Name* root() { return m_root.get(); }
    TMK::IAFS_AccountData* account() { return m_account.account.get(); }
    std::shared_ptr<host::SettingsTree> account_tree() { return m_account.tree; }

    // Lets go of the plug-in's objects that it holds and unloads it.
    void EndPlugIn();

    // A fresh name of something in the library ("a.txt", "Folder/b.txt", "" for the library itself).
    ComPtr<TMK::IAFS_Name> Name(const std::string& item);
    std::u16string Url(const std::string& item) const;

protected:
    TempFolder m_folder;

private:
    std::string m_origin;
    host::testing::SilentFrontEnd m_front_end;
    std::unique_ptr<TestHost> m_host;
    ComPtr<TMK::IAFS_FileSys> m_file_system;
    TestAccount m_account;
    ComPtr<TMK::IAFS_Name> m_root;
};

}  // namespace testing_support
