#include "app/options.h"

#include <fstream>
#include <functional>
#include <map>

#include "base/text.h"
#include "content/column_text.h"

namespace devserver {
namespace {

Rights ParseRights(const std::string& text) {
    if (text == "edit") return Rights::edit;
    if (text == "read") return Rights::read;
    if (text == "none") return Rights::none;
    throw UsageError("unknown rights '" + text + "': use edit, read or none");
}

UserOption ParseUser(const std::string& text) {
    auto parts = Split(text, ':');
    if (parts.size() < 2 || parts.size() > 3 || parts[0].empty() ||
        parts[0].find_first_of("@|/ ") != std::string::npos)
        throw UsageError("a user is given as NAME:PASSWORD or NAME:PASSWORD:RIGHTS");
    return {parts[0], parts[1], parts.size() == 3 ? ParseRights(parts[2]) : Rights::edit};
}

void ReadUserFile(const std::string& file, std::vector<UserOption>& users) {
    std::ifstream stream(file);
    if (!stream) throw UsageError("cannot read the user file " + file);
    for (std::string line; std::getline(stream, line);) {
        if (auto text = Trim(line); !text.empty() && text[0] != '#')
            users.push_back(ParseUser(std::string(text)));
    }
}

int ParseNumber(const std::string& option, const std::string& text, std::int64_t least, std::int64_t most) {
    auto number = ParseInteger(text);
    if (!number || *number < least || *number > most) {
        throw UsageError(option + " takes a number from " + std::to_string(least) + " to " +
                         std::to_string(most));
    }
    return static_cast<int>(*number);
}

std::string ParseSite(std::string text) {
    while (!text.empty() && text.front() == '/') text.erase(0, 1);
    while (!text.empty() && text.back() == '/') text.pop_back();
    if (text.empty() || text.find("..") != std::string::npos)
        throw UsageError("--site takes a path such as /sites/team");
    return text;
}

std::pair<std::string, int> ParseSeedCount(const std::string& text) {
    auto equals = text.rfind('=');
    if (equals == std::string::npos || equals == 0) throw UsageError("--seed-count takes FOLDER=COUNT");
    return {text.substr(0, equals), ParseNumber("--seed-count", text.substr(equals + 1), 1, 1'000'000)};
}

Generation ParseGeneration(const std::string& text) {
    if (text == "modern") return Generation::modern;
    if (text == "2013") return Generation::server2013;
    if (text == "2010") return Generation::server2010;
    throw UsageError("unknown generation '" + text + "': use modern, 2013 or 2010");
}

LoginForm ParseLogins(const std::string& text) {
    if (text == "membership") return LoginForm::membership;
    if (text == "windows") return LoginForm::windows;
    if (text == "classic") return LoginForm::classic;
    throw UsageError("unknown form of logins '" + text + "': use membership, windows or classic");
}

Column ParseColumnOption(const std::string& text) {
    try {
        return ParseColumn(text);
    } catch (const ColumnSyntaxError& error) {
        throw UsageError(std::string("--column: ") + error.what());
    }
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& arguments) {
    Options options;
    using Setter = std::function<void(const std::string&)>;
    const std::map<std::string, Setter> with_value = {
        {"--data", [&](auto& v) { options.data_folder = v; }},
        {"--seed", [&](auto& v) { options.seed_folder = v; }},
        {"--seed-count", [&](auto& v) { options.seed_counts.push_back(ParseSeedCount(v)); }},
        {"--host", [&](auto& v) { options.server.host = v; }},
        {"--host-name", [&](auto& v) { options.server.more_names.push_back(v); }},
        {"--port", [&](auto& v) { options.server.port = ParseNumber("--port", v, 0, 65535); }},
        {"--site", [&](auto& v) { options.site_path = ParseSite(v); }},
        {"--library", [&](auto& v) { options.library = v; }},
        {"--generation", [&](auto& v) { options.generation = ParseGeneration(v); }},
        {"--auth", [&](auto& v) { options.sign_in = Split(v, ','); }},
        {"--keytab", [&](auto& v) { options.key_table = v; }},
        {"--logins", [&](auto& v) { options.logins = ParseLogins(v); }},
        {"--column", [&](auto& v) { options.columns.push_back(ParseColumnOption(v)); }},
        {"--user", [&](auto& v) { options.users.push_back(ParseUser(v)); }},
        {"--user-file", [&](auto& v) { ReadUserFile(v, options.users); }},
        {"--tls-cert", [&](auto& v) { options.server.certificate_file = v; }},
        {"--tls-key", [&](auto& v) { options.server.key_file = v; }},
        {"--approve", [&](auto& v) { options.oauth.approve_user = v; }},
        {"--token-lifetime",
         [&](auto& v) { options.oauth.token_lifetime = ParseNumber("--token-lifetime", v, 1, 31'536'000); }},
        {"--cookie-lifetime",
         [&](auto& v) {
             options.forms.cookie_lifetime = ParseNumber("--cookie-lifetime", v, 1, 31'536'000);
         }},
        {"--digest-lifetime",
         [&](auto& v) { options.digest_lifetime = ParseNumber("--digest-lifetime", v, 1, 31'536'000); }},
        {"--list-threshold",
         [&](auto& v) { options.limits.list_threshold = ParseNumber("--list-threshold", v, 1, 1'000'000); }},
        {"--max-url", [&](auto& v) { options.limits.max_url = ParseNumber("--max-url", v, 100, 65'536); }},
        {"--faults", [&](auto& v) { options.faults_file = v; }},
        {"--request-log", [&](auto& v) { options.request_log_file = v; }},
        {"--max-connections",
         [&](auto& v) { options.server.max_connections = ParseNumber("--max-connections", v, 1, 4096); }},
    };
    const std::map<std::string, bool*> switches = {{"--admin", &options.admin},
                                                   {"--force-checkout", &options.force_checkout},
                                                   {"--relative-hrefs", &options.dav.relative_hrefs},
                                                   {"--optional-digest", &options.optional_digest},
                                                   {"--exit-with-parent", &options.exit_with_parent},
                                                   {"--help", &options.help}};
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto& name = arguments[i];
        if (auto flag = switches.find(name); flag != switches.end()) {
            *flag->second = true;
        } else if (name == "--major-versions-only") {
            options.minor_versions = false;
        } else if (name == "--no-return-url") {
            options.forms.return_url = false;
        } else if (auto setter = with_value.find(name); setter != with_value.end()) {
            if (++i == arguments.size()) throw UsageError(name + " needs a value");
            setter->second(arguments[i]);
        } else {
            throw UsageError("unknown option '" + name + "'; --help lists what there is");
        }
    }
    if (options.help) return options;
    if (options.data_folder.empty()) throw UsageError("--data DIR is missing; --help lists what there is");
    if (options.server.certificate_file.empty() != options.server.key_file.empty())
        throw UsageError("--tls-cert and --tls-key belong together");
    if (options.library.empty() || options.library.find_first_of("/\\\"*:<>?|") != std::string::npos)
        throw UsageError("--library takes a folder name");
    if (options.sign_in.empty()) {
        options.sign_in = options.generation == Generation::modern
                              ? std::vector<std::string>{"bearer"}
                              : std::vector<std::string>{"digest", "basic"};
    }
    options.default_users = options.users.empty();
    if (options.default_users) {
        options.users = {
            {"alice", "alice", Rights::edit}, {"bob", "bob", Rights::edit}, {"carol", "carol", Rights::read}};
    }
    return options;
}

std::string HelpText() {
    return R"(Usage: spdevserver --data DIR [option]...

A development server that speaks SharePoint's REST interface over HTTP. When it is ready it prints one line
on standard output, "Listening on http://HOST:PORT", and everything else on standard error.

Where it keeps and finds things
  --data DIR              folder of the database and the documents; made when it isn't there (required)
  --seed DIR              at the first start, copy DIR's content into the site's library
  --seed-count NAME=N     at the first start, make the folder NAME with N small files in the library
  --site PATH             path of the site (default /sites/team); a root site "/" is always there too
  --library NAME          folder name of the site's library (default "Shared Documents")
  --force-checkout        documents must be checked out before they are changed
  --column JSON           define a column of the site's library, such as
                          {"name":"Stage","type":"Choice","choices":["Draft","Final"],"required":true}
  --major-versions-only   no minor versions in the site's library

Which server it plays
  --generation NAME       modern (default), 2013 or 2010; the older ones speak WebDAV, SOAP and FrontPage RPC
  --relative-hrefs        WebDAV answers name files without scheme and host

Where it listens
  --host HOST             address to listen on (default 127.0.0.1)
  --host-name NAME        a name by which clients address the server, beside localhost and the address that it
                          listens on; requests by other names are refused; may be repeated
  --port PORT             port to listen on (default 0: any free one)
  --tls-cert FILE         serve HTTPS with this PEM certificate chain ...
  --tls-key FILE          ... and this PEM key
  --max-connections N     connections served at the same time (default 256)

Who may sign in
  --user NAME:PASSWORD[:RIGHTS]   RIGHTS is edit (default), read or none; may be repeated
  --user-file FILE        users, one per line in the same form; '#' begins a comment
                          (default users: alice:alice, bob:bob, carol:carol:read)
  --logins FORM           membership (default: i:0#.f|membership|alice@contoso.example), windows
                          (i:0#.w|contoso\alice) or classic (CONTOSO\alice), for users not known yet
  --auth LIST             ways of signing in, separated by commas: bearer, basic, digest, ntlm,
                          negotiate, forms (default: bearer on the modern generation, digest,basic on the
                          others)
  --keytab FILE           keys of the service HTTP: negotiate takes tickets of Kerberos
  --approve USER          approve every device code and application at once for this user
  --token-lifetime S      seconds that an access token is valid (default 3600)
  --cookie-lifetime S     seconds that the cookies of a forms sign-in are valid (default 43200)
  --no-return-url         don't say where a forms sign-in ends
  --digest-lifetime S     seconds that a form digest is valid (default 1800)
  --list-threshold N      entries above which a folder is listed in pages only; 5000 on real
                          servers (default: any number)
  --max-url N             length of a path above which a request is refused (default: any)
  --optional-digest       a change without a digest passes; a wrong one is still refused

For tests
  --faults FILE           a JSON list of faults; docs/devserver.md says how they look
  --request-log FILE      append one JSON line per request; no secret values
  --admin                 serve the operations under /_dev/
  --exit-with-parent      end when the thread that started the server ends

SIGTERM and SIGINT end the server with exit status 0; wrong usage is exit status 2.
)";
}

}  // namespace devserver
