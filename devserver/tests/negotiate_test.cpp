// Signing in by NTLM and Negotiate: a real client's exchanges, and the sign-in of a connection.
// Owner: devserver/auth.
#include <curl/curl.h>
#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/text.h"
#include "tests/harness.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
using ForgetLeaks = __lsan::ScopedDisabler;
#else
struct ForgetLeaks {
    ForgetLeaks() {}
};
#endif

namespace devserver::test {
namespace {

constexpr const char* kPage = "/sites/team/Shared%20Documents";

size_t Take(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

// One client with kept connections; NTLM is libcurl's own.
class Browser {
public:
    explicit Browser(const ServerProcess& server) : m_curl(curl_easy_init()), m_url(server.url()) {}
    ~Browser() { curl_easy_cleanup(m_curl); }
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    // An Authorization header of the caller's own replaces the user, if it is given.
    long Ask(const std::string& user, const std::string& authorization = {}) {
        Prepare(kPage, "PROPFIND");
        auto* headers = curl_slist_append(nullptr, "Depth: 0");
        if (!authorization.empty())
            headers = curl_slist_append(headers, ("Authorization: " + authorization).c_str());
        curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(m_curl, CURLOPT_USERPWD, user.empty() ? nullptr : user.c_str());
        auto status = Perform();
        curl_slist_free_all(headers);
        return status;
    }
    long put(const std::string& user, const std::string& path, const std::string& body,
             const std::string& authorization = {}) {
        Prepare(path, "PUT");
        auto* headers = authorization.empty()
                            ? nullptr
                            : curl_slist_append(nullptr, ("Authorization: " + authorization).c_str());
        curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(m_curl, CURLOPT_USERPWD, user.empty() ? nullptr : user.c_str());
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(m_curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
        auto status = Perform();
        curl_slist_free_all(headers);
        return status;
    }
    std::string challenge, answer;
    long new_connections = 0;

private:
    void Prepare(const std::string& path, const char* method) {
        curl_easy_reset(m_curl);
        curl_easy_setopt(m_curl, CURLOPT_URL, (m_url + path).c_str());
        curl_easy_setopt(m_curl, CURLOPT_CUSTOMREQUEST, method);
        curl_easy_setopt(m_curl, CURLOPT_HTTPAUTH, CURLAUTH_NTLM);
        curl_easy_setopt(m_curl, CURLOPT_NOPROXY, "*");
        curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, Take);
        curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &answer);
    }
    long Perform() {
        long status = 0;
        answer.clear();
        EXPECT_EQ(curl_easy_perform(m_curl), CURLE_OK);
        curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &status);
        curl_easy_getinfo(m_curl, CURLINFO_NUM_CONNECTS, &new_connections);
        curl_header* header = nullptr;
        challenge = curl_easy_header(m_curl, "WWW-Authenticate", 0, CURLH_HEADER, -1, &header) == CURLHE_OK
                        ? header->value
                        : "";
        return status;
    }

    CURL* m_curl;
    const std::string m_url;
};

// A scheme and the form of its tokens.
struct Way {
    const char* scheme;
    bool framed;  // NTLM within SPNEGO
};
constexpr Way kWays[] = {{"NTLM", false}, {"Negotiate", true}, {"Negotiate", false}};

// The client's side by GSS-API, for exchanges that libcurl doesn't make.
class GssClient {
public:
    GssClient(const Way& way, std::string user, std::string password)
        : m_scheme(way.scheme),
          m_mechanism(way.framed ? gss_OID_desc{6, m_spnego} : gss_OID_desc{10, m_ntlm}) {
        OM_uint32 minor = 0;
        gss_buffer_desc text{user.size(), user.data()}, secret{password.size(), password.data()};
        std::string service = "HTTP@127.0.0.1";
        gss_buffer_desc target{service.size(), service.data()};
        gss_name_t name = GSS_C_NO_NAME;
        gss_import_name(&minor, &text, GSS_C_NT_USER_NAME, &name);
        gss_OID_set_desc mechanisms{1, &m_mechanism};
        // The mechanism never frees the algorithms that it fetches from OpenSSL.
        ForgetLeaks forget;
        gss_acquire_cred_with_password(&minor, name, &secret, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE,
                                       &m_credential, nullptr, nullptr);
        gss_release_name(&minor, &name);
        gss_import_name(&minor, &target, GSS_C_NT_HOSTBASED_SERVICE, &m_target);
    }
    ~GssClient() {
        OM_uint32 minor = 0;
        gss_delete_sec_context(&minor, &m_context, GSS_C_NO_BUFFER);
        gss_release_cred(&minor, &m_credential);
        gss_release_name(&minor, &m_target);
    }
    GssClient(const GssClient&) = delete;
    GssClient& operator=(const GssClient&) = delete;

    // The next Authorization, for the challenge "SCHEME TOKEN" or none.
    std::string next(const std::string& challenge) {
        auto begin = m_scheme.size() + 1;
        auto token = challenge.size() > begin ? Base64Decode(challenge.substr(begin)).value_or("") : "";
        gss_buffer_desc input{token.size(), token.data()}, output = GSS_C_EMPTY_BUFFER;
        OM_uint32 minor = 0;
        complete = gss_init_sec_context(&minor, m_credential, &m_context, m_target, &m_mechanism, 0, 0,
                                        GSS_C_NO_CHANNEL_BINDINGS, &input, nullptr, &output, nullptr,
                                        nullptr) == GSS_S_COMPLETE;
        std::string bytes(static_cast<const char*>(output.value), output.length);
        gss_release_buffer(&minor, &output);
        return m_scheme + " " + Base64Encode(bytes);
    }
    bool complete = false;  // the server has sent its last token

private:
    const std::string m_scheme;
    char m_spnego[7] = "\x2b\x06\x01\x05\x05\x02";
    char m_ntlm[11] = "\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a";
    gss_OID_desc m_mechanism;
    gss_cred_id_t m_credential = GSS_C_NO_CREDENTIAL;
    gss_ctx_id_t m_context = GSS_C_NO_CONTEXT;
    gss_name_t m_target = GSS_C_NO_NAME;
};

const std::vector<std::string> kNtlm{"--generation", "2013", "--auth", "ntlm,negotiate"};

TEST(Ntlm, SignsInAConnectionUntilItCloses) {
    ServerProcess server(kNtlm);
    struct stat file {};
    ASSERT_EQ(stat((server.DataFolder() + "/ntlm-users").c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777, 0600u);
    Browser browser(server);
    EXPECT_EQ(browser.Ask(""), 401);
    EXPECT_EQ(browser.challenge, "NTLM");
    EXPECT_EQ(browser.Ask("alice:alice"), 207);
    EXPECT_EQ(browser.new_connections, 0);
    EXPECT_EQ(browser.Ask("alice:alice"), 207);
    EXPECT_EQ(browser.new_connections, 0);
    // Without credentials the connection keeps its user; another user's attempt ends that.
    Browser other(server);
    EXPECT_EQ(other.Ask("CONTOSO\\bob:bob"), 207);
    EXPECT_EQ(Browser(server).Ask(""), 401);
    EXPECT_EQ(other.Ask("", "NTLM TlRMTVNTUAABAAAABoIIAAAAAAAAAAAAAAAAAAAAAAA="), 401);
    EXPECT_TRUE(other.challenge.starts_with("NTLM TlRMTVNTUAAC")) << other.challenge;
}

TEST(Ntlm, AWrongPasswordOrAnUnknownNameIsChallengedAgain) {
    ServerProcess server(kNtlm);
    for (const char* user : {"alice:bob", "nobody:x", "alice:", "CONTOSO\\alice:ALICE"}) {
        Browser browser(server);
        EXPECT_EQ(browser.Ask(user), 401) << user;
        EXPECT_EQ(browser.challenge, "NTLM") << user;
        EXPECT_EQ(browser.Ask("alice:alice"), 207) << "after " << user;
    }
}

TEST(Ntlm, AnUploadArrivesWholeUnderTheRightsOfItsUser) {
    ServerProcess server(kNtlm);
    std::string body(2'000'000, 'x');
    std::string path = std::string(kPage) + "/up.bin";
    Browser browser(server);
    EXPECT_EQ(browser.put("carol:carol", path, body), 403);
    EXPECT_EQ(Browser(server).put("alice:alice", path, body), 201);
    auto stored = server.Send({.path = "/_dev/document?path=/sites/team/Shared%20Documents/up.bin"});
    EXPECT_TRUE(stored.body == body) << stored.status << " " << stored.body.size();
}

// Both steps of an exchange; the status of the last.
long SignIn(Browser& browser, const Way& way, const std::string& user, const std::string& password) {
    GssClient client(way, user, password);
    EXPECT_EQ(browser.Ask("", client.next("")), 401);
    EXPECT_TRUE(browser.challenge.starts_with(std::string(way.scheme) + " ")) << browser.challenge;
    return browser.Ask("", client.next(browser.challenge));
}

TEST(Negotiate, SignsInByTheTokensOfGssApi) {
    ServerProcess server(kNtlm);
    for (const auto& way : kWays)
        for (const auto& [password, status] : {std::pair("alice", 207), std::pair("wrong", 401)}) {
            SCOPED_TRACE(std::string(way.scheme) + (way.framed ? " framed " : " ") + password);
            Browser browser(server);
            EXPECT_EQ(SignIn(browser, way, "CONTOSO\\alice", password), status);
            EXPECT_EQ(browser.Ask(""), status) << "the connection is signed in, or isn't";
            EXPECT_EQ(browser.new_connections, 0);
        }
}

TEST(Negotiate, TheLastTokenComesWithTheAnswerAndIsValidOnItsConnectionAlone) {
    ServerProcess server({"--generation", "2013", "--auth", "negotiate"});
    GssClient client(kWays[1], "alice", "alice");
    Browser browser(server);
    EXPECT_EQ(browser.Ask("", client.next("")), 401);
    auto last = client.next(browser.challenge);
    EXPECT_EQ(Browser(server).Ask("", last), 401);
    EXPECT_FALSE(client.complete);
    EXPECT_EQ(browser.Ask("", last), 207);
    client.next(browser.challenge);
    EXPECT_TRUE(client.complete);
    EXPECT_EQ(browser.Ask(""), 207);
    EXPECT_EQ(browser.challenge, "");
}

TEST(Negotiate, AnyDomainAndSpellingIsAccepted) {
    ServerProcess server({"--generation", "2013", "--auth", "ntlm,negotiate", "--user", "alice:alice",
                          "--user", "k\xc3\xa4the:p\xc3\xa4ss \xe2\x82\xac"});
    for (const char* user : {"alice", "ALICE", "CONTOSO\\alice", "conToso\\alice", "contoso.example\\alice",
                             "WORKGROUP\\Alice", "a-host\\alice", "alice@contoso.example"}) {
        EXPECT_EQ(Browser(server).Ask(std::string(user) + ":alice"), 207) << user;
        EXPECT_EQ(Browser(server).Ask(std::string(user) + ":alic"), 401) << user;
        for (const auto& way : kWays) {
            Browser browser(server);
            EXPECT_EQ(SignIn(browser, way, user, "alice"), 207) << user << " by " << way.scheme;
        }
    }
    for (const auto& way : kWays) {
        Browser browser(server);
        EXPECT_EQ(SignIn(browser, way, "CONTOSO\\k\xc3\xa4the", "p\xc3\xa4ss \xe2\x82\xac"), 207)
            << way.scheme;
    }
}

TEST(Negotiate, EachConnectionHasItsOwnUser) {
    ServerProcess server(kNtlm);
    std::string path = std::string(kPage) + "/two.bin";
    for (const auto& way : kWays) {
        Browser writer(server), reader(server);
        EXPECT_EQ(SignIn(reader, way, "carol", "carol"), 207);
        EXPECT_EQ(SignIn(writer, way, "alice", "alice"), 207);
        EXPECT_EQ(reader.put("", path, "carol's"), 403);
        EXPECT_LT(writer.put("", path, "alice's"), 300);
        EXPECT_EQ(reader.put("", path, "carol's"), 403);
        EXPECT_EQ(reader.new_connections + writer.new_connections, 0);
    }
}

TEST(Negotiate, NewCredentialsEndTheSignInOfTheConnection) {
    ServerProcess server({"--generation", "2013", "--auth", "basic,ntlm,negotiate"});
    std::string path = std::string(kPage) + "/new.bin";
    auto basic = [](const std::string& pair) { return "Basic " + Base64Encode(pair); };
    for (const auto& way : kWays) {
        SCOPED_TRACE(way.scheme);
        Browser browser(server);
        // An exchange that begins again before its end, then another user on a signed in connection.
        EXPECT_EQ(browser.Ask("", GssClient(way, "bob", "bob").next("")), 401);
        EXPECT_EQ(SignIn(browser, way, "alice", "alice"), 207);
        EXPECT_EQ(SignIn(browser, way, "carol", "carol"), 207);
        EXPECT_EQ(browser.put("", path, "x"), 403);
        EXPECT_EQ(SignIn(browser, way, "alice", "no"), 401);
        EXPECT_EQ(browser.Ask(""), 401);
        for (const auto& [pair, status] : {std::pair("carol:carol", 403), std::pair("alice:no", 401)}) {
            EXPECT_EQ(SignIn(browser, way, "alice", "alice"), 207);
            EXPECT_EQ(browser.put("", path, "x", basic(pair)), status);
            EXPECT_EQ(browser.Ask(""), 401) << "after " << pair;
        }
        EXPECT_EQ(browser.new_connections, 0);
    }
}

TEST(Negotiate, ARefusedUploadKeepsTheConnectionOfTheExchange) {
    ServerProcess server(kNtlm);
    for (const auto& way : kWays)
        for (std::size_t size : {1'000, 2'000'000}) {  // the larger one is sent when the server asks for it
            GssClient client(way, "alice", "alice");
            Browser browser(server);
            std::string path = std::string(kPage) + "/leg.bin", body(size, 'x');
            EXPECT_EQ(browser.put("", path, body, client.next("")), 401);
            EXPECT_LT(browser.put("", path, body, client.next(browser.challenge)), 300);
            EXPECT_EQ(browser.new_connections, 0) << size;
        }
}

TEST(Negotiate, ABrokenSecondTokenIsRefusedAndTheNextTrySucceeds) {
    ServerProcess server(kNtlm);
    for (const auto& way : kWays) {
        for (std::size_t size : {8, 12, 20, 63, 64, 70, 90, 120}) {
            GssClient client(way, "alice", "alice");
            Browser browser(server);
            EXPECT_EQ(browser.Ask("", client.next("")), 401);
            auto second = client.next(browser.challenge);
            auto begin = second.find(' ') + 1;
            auto token = Base64Decode(second.substr(begin)).value().substr(0, size);
            EXPECT_EQ(browser.Ask("", second.substr(0, begin) + Base64Encode(token)), 401) << size;
            EXPECT_EQ(browser.challenge, "NTLM") << size;
            EXPECT_EQ(browser.Ask("", second), 401) << "a spent exchange, " << size;
            EXPECT_EQ(SignIn(browser, way, "alice", "alice"), 207) << size;
        }
    }
}

TEST(Negotiate, InvalidTokensAreRefusedAndTheServerGoesOn) {
    ServerProcess server(kNtlm);
    auto third = Base64Encode(std::string("NTLMSSP\0\x03\0\0\0", 12) + std::string(76, '\xff'));
    for (std::string scheme : {"NTLM ", "Negotiate "}) {
        for (auto& token : {std::string(), std::string("!"), std::string("AAAA"), std::string("TlRMTVNTUAA="),
                            third, std::string("TlRMTVNTUAADAAAA"), std::string(60'000, 'A'),
                            std::string("TlRMTVNTUAABAAAA/////wAAAAAAAAAAAAAAAAAAAAA=")}) {
            Browser browser(server);
            auto status = browser.Ask("", scheme + token);
            EXPECT_EQ(status, 401) << scheme << token.substr(0, 30);
            EXPECT_EQ(browser.Ask("alice:alice"), 207) << scheme << token.substr(0, 30);
        }
        // Longer than a header may be.
        auto head = "GET / HTTP/1.1\r\nHost: localhost\r\nAuthorization: " + scheme +
                    std::string(1 << 20, 'A') + "\r\n\r\n";
        EXPECT_TRUE(server.raw(head).starts_with("HTTP/1.1 431 "));
        EXPECT_EQ(Browser(server).Ask("alice:alice"), 207);
    }
}

}  // namespace
}  // namespace devserver::test
