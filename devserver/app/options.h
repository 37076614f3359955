// The command line of the server.
// Owner: app/main; read once at the start.
#pragma once
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "auth/forms.h"
#include "auth/oauth.h"
#include "base/generation.h"
#include "base/limits.h"
#include "dav/dav_server.h"
#include "http/server.h"
#include "store/records.h"

namespace devserver {

struct UserOption {
    std::string name, password;
    Rights rights = Rights::edit;
};

struct Options {
    std::string data_folder, seed_folder, faults_file, request_log_file;
    std::string site_path = "sites/team", library = "Shared Documents";
    http::ServerOptions server;
    OAuthOptions oauth;
    FormsOptions forms;
    std::vector<std::string> sign_in;  // schemes; empty: those of the generation
    std::string key_table;             // a file; empty for none
    std::vector<UserOption> users;
    std::vector<std::pair<std::string, int>> seed_counts;
    Generation generation = Generation::modern;
    dav::DavOptions dav;
    LoginForm logins = LoginForm::membership;
    std::vector<Column> columns;
    Limits limits;
    int digest_lifetime = 1800;
    bool force_checkout = false, minor_versions = true, optional_digest = false, admin = false,
         default_users = false, exit_with_parent = false, help = false;
};

struct UsageError : std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

// Throws UsageError with one clear line.
Options ParseOptions(const std::vector<std::string>& arguments);
std::string HelpText();

}  // namespace devserver
