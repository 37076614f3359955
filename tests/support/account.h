// Accounts of a server for the reference host, made through the plug-in. Main thread.
#pragma once

#include <memory>
#include <string>

#include "host/profile/accounts.h"
#include "tests/support/dev_server.h"
#include "tests/support/test_host.h"

namespace testing_support {

// How to sign in: with a token on a modern site, by name and password or by cookies on an older one.
struct Login {
    bool is_modern = true;
    std::string token = {};
    std::string user = {}, password = {};
    std::string cookies = {};  // "a=b; c=d" in place of a password
};

// That of a user of the development server.
Login LoginOf(const DevServer& server, const std::string& user);

// The cookies that a server with forms gives a user. Throws when it gives none.
Login FormsLoginOf(const DevServer& server, const std::string& user);

struct TestAccount {
    std::shared_ptr<host::SettingsTree> tree;  // what it was made of
    ComPtr<TMK::IAFS_AccountData> account;
};

TestAccount MakeAccount(TestHost& host, const std::string& url, const Login& login);

// Throws when a step of a test's preparation fails.
void Require(HRESULT result, const std::string& what);

}  // namespace testing_support
