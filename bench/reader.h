// The reference host with the loaded library, bound to a site, for measurements in one process. Main thread.
#pragma once

#include <string>
#include <vector>

#include "tests/support/dev_server.h"
#include "tests/support/signed_in_host.h"

namespace bench {

using namespace testing_support;

// The login for curl's command line.
std::vector<std::string> CurlOptions(const Login& login);

class Reader : public SignedInHost {
public:
    // `origin` is the server's, or that of something in front of it.
    Reader(const std::string& origin, const Login& login);
    ComPtr<TMK::IAFS_File> Open(const std::string& document, DWORD flags);
};

}  // namespace bench
