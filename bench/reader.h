// The reference host with the loaded library, bound to a site, for measurements in one process.
// Prompts count as closed. Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/base/host_objects.h"
#include "host/core/host.h"
#include "host/testing/silent_front_end.h"
#include "tests/support/account.h"
#include "tests/support/dev_server.h"

namespace bench {

using namespace testing_support;

// The login for curl's command line.
std::vector<std::string> CurlOptions(const Login& login);

class Reader {
public:
    // `origin` is the server's, or that of something in front of it.
    Reader(const std::string& origin, const Login& login);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    TMK::IAFS_FileSys* file_system() { return m_file_system.get(); }
    ComPtr<TMK::IAFS_Name> Name(const std::string& item);
    ComPtr<TMK::IAFS_File> Open(const std::string& document, DWORD flags);

private:
    std::string m_origin;
    TempFolder m_folder;
    host::testing::SilentFrontEnd m_front_end;
    std::unique_ptr<host::Host> m_host;
    ComPtr<TMK::IAFS_FileSys> m_file_system;
    TestAccount m_account;
    ComPtr<TMK::IAFS_Name> m_root;
};

}  // namespace bench
