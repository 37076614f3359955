// The reference host with the loaded library, bound to a site, for measurements in one process.
// Nobody answers prompts. Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "harness.h"
#include "host/base/host_objects.h"
#include "host/core/host.h"
#include "host/testing/silent_front_end.h"

namespace bench {

// How to sign in: with a token on a modern site, by name and password on an older one.
struct SignIn {
    SignIn(const e2e::DevServer& server, const std::string& user);
    // The same for curl's command line.
    std::vector<std::string> CurlOptions() const;

    bool modern;
    std::string token;
    std::string user, password;
};

class Reader {
public:
    // `origin` is the server's, or that of something in front of it.
    Reader(const std::string& origin, const SignIn& sign_in);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    TMK::IAFS_FileSys* file_system() { return m_file_system.get(); }
    ComPtr<TMK::IAFS_Name> Name(const std::string& item);
    ComPtr<TMK::IAFS_File> Open(const std::string& document, DWORD flags);

private:
    std::string m_origin;
    e2e::TempFolder m_folder;
    host::testing::SilentFrontEnd m_front_end;
    std::unique_ptr<host::Host> m_host;
    ComPtr<TMK::IAFS_FileSys> m_file_system;
    ComPtr<TMK::IAFS_AccountData> m_account;
    ComPtr<TMK::IAFS_Name> m_root;
};

// Throws when a step fails, since a measurement of a failure says nothing.
void Require(HRESULT result, const std::string& what);

}  // namespace bench
