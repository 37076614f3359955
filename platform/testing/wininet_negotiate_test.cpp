// Signing in by Negotiate, and by NTLM beyond ASCII, against a server that accepts by GSS-API, with the
// mechanism for NTLM that Debian has.
#include <gssapi/gssapi.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>

#include "internet/negotiation.h"
#include "testing/client.h"
#include "tests/support/loopback/raw_server.h"

namespace testing_support {
namespace {

std::string Base64(const void* bytes, std::size_t size) {
    std::string text((size + 2) / 3 * 4 + 1, '\0');
    text.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                                         static_cast<const unsigned char*>(bytes),
                                                         static_cast<int>(size))));
    return text;
}

std::string BytesOf(std::string_view text) {
    std::string bytes(text.size() / 4 * 3, '\0');
    EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                    reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    bytes.resize(bytes.size() - (text.size() - text.find_last_not_of('=') - 1));
    return bytes;
}

// Signs one user in by an exchange of tokens, for the connection that it went over. Requests are kept as
// "METHOD[+token] body-size".
struct NegotiatingServer {
    explicit NegotiatingServer(std::string_view its_scheme = "Negotiate",
                               const std::string& user = "alice:pw")
        : scheme(its_scheme), server([this](Exchange& exchange) { Serve(exchange); }) {
        std::setlocale(LC_CTYPE, "C.UTF-8");  // by which the mechanism compares names
        std::string pattern = "/tmp/negotiate-XXXXXX";
        close(mkstemp(pattern.data()));
        users = pattern;
        std::ofstream(users) << "CONTOSO:" + user + "\n";
        setenv("NTLM_USER_FILE", users.c_str(), 1);
    }
    ~NegotiatingServer() {
        EndBrowserSession();
        unsetenv("NTLM_USER_FILE");
        unlink(users.c_str());
        OM_uint32 minor = 0;
        for (auto& [connection, context] : contexts)
            gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
    }

    void Serve(Exchange& exchange) {
        const std::lock_guard lock(mutex);
        const std::string authorization = exchange.header("Authorization");
        const std::string_view token = platform::internet::TokenOf(authorization, scheme);
        seen.push_back(exchange.method + (token.empty() ? " " : "+token ") +
                       std::to_string(exchange.body.size()));
        if (token.empty()) return Refuse(exchange, "");
        std::string bytes = BytesOf(token);
        gss_buffer_desc input{bytes.size(), bytes.data()};
        gss_buffer_desc output = GSS_C_EMPTY_BUFFER;
        OM_uint32 minor = 0;
        gss_ctx_id_t& context = contexts[exchange.connection];
        const OM_uint32 major =
            gss_accept_sec_context(&minor, &context, GSS_C_NO_CREDENTIAL, &input, GSS_C_NO_CHANNEL_BINDINGS,
                                   nullptr, nullptr, &output, nullptr, nullptr, nullptr);
        const std::string answer = output.length ? " " + Base64(output.value, output.length) : "";
        gss_release_buffer(&minor, &output);
        if (major == GSS_S_COMPLETE && !drop_signed_in) {
            gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
            exchange.answer("200 OK", "", "in:" + exchange.body);
        } else {
            if (GSS_ERROR(major)) gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
            Refuse(exchange, GSS_ERROR(major) ? "" : answer);
        }
    }
    void Refuse(Exchange& exchange, const std::string& token) const {
        exchange.answer("401 Unauthorized", "WWW-Authenticate: " + std::string(scheme) + token + "\r\n",
                        "who?");
    }

    const std::string_view scheme;
    std::string users;
    std::map<int, gss_ctx_id_t> contexts;
    std::vector<std::string> seen;
    bool drop_signed_in = false;
    std::mutex mutex;
    RawServer server;
};

TEST(Negotiate, ANameAndAPasswordSignInOnOneConnection) {
    for (const char16_t* user : {u"alice", u"CONTOSO\\alice"}) {
        NegotiatingServer site;
        Client client(site.server.port());
        const Handle request = client.Open(u"GET", u"/");
        SetLogin(request, user, u"pw");
        ASSERT_EQ(Send(request), 0u);
        EXPECT_EQ(Status(request), 200u);
        EXPECT_EQ(site.seen, (std::vector<std::string>{"GET 0", "GET+token 0", "GET+token 0"}));
        EXPECT_EQ(site.server.connections(), 1);
        // With remembered credentials the request without a token is left out.
        const Handle later = client.Open(u"GET", u"/later");
        ASSERT_EQ(Send(later), 0u);
        EXPECT_EQ(Status(later), 200u);
        EXPECT_EQ(site.seen.size(), 5u);
    }
}

TEST(Negotiate, AWrongPasswordEndsAfterOneExchange) {
    NegotiatingServer site;
    Client client(site.server.port());
    const Handle request = client.Open(u"GET", u"/");
    SetLogin(request, u"alice", u"wrong");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 401u);
    EXPECT_EQ(site.seen, (std::vector<std::string>{"GET 0", "GET+token 0", "GET+token 0"}));
    ASSERT_EQ(Send(client.Open(u"GET", u"/")), 0u);
    EXPECT_EQ(site.seen.back(), "GET 0") << "not remembered";
    SetLogin(request, u"alice", u"pw");
    ASSERT_EQ(Send(request), 0u);
    EXPECT_EQ(Status(request), 200u);
}

// Libcurl's own NTLM would send the bytes of UTF-8 as letters.
TEST(Negotiate, NtlmTakesNamesAndPasswordsInAnyScript) {
    const struct {
        std::string user;
        std::u16string name, password;
    } rows[] = {
        {.user = "j\u00FCrgen:pw", .name = u"CONTOSO\\j\u00FCrgen", .password = u"pw"},
        {.user = "alice:\u043F\u0430\u0440\u043E\u043B\u044C \u00DF\u20AC",
         .name = u"alice",
         .password = u"\u043F\u0430\u0440\u043E\u043B\u044C \u00DF\u20AC"},
    };
    for (const auto& [user, name, password] : rows) {
        NegotiatingServer site("NTLM", user);
        Client client(site.server.port());
        const Handle request = client.Open(u"GET", u"/");
        SetLogin(request, name, password);
        ASSERT_EQ(Send(request), 0u);
        EXPECT_EQ(Status(request), 200u) << user;
        EXPECT_EQ(site.seen, (std::vector<std::string>{"GET 0", "GET+token 0", "GET+token 0"}));
    }
}

// An empty body that a server stores would replace the document.
TEST(Negotiate, ABodyGoesOnlyWithTheLastTokenAndNeverAnEmptyOneInItsPlace) {
    NegotiatingServer site;
    Client client(site.server.port());
    const Handle request = client.Open(u"PUT", u"/doc");
    SetLogin(request, u"alice", u"pw");
    const std::string body(300'000, 'x');
    EXPECT_EQ(Upload(request, body), ERROR_INTERNET_FORCE_RETRY);
    EXPECT_EQ(Upload(request, body), 0u);
    EXPECT_EQ(Status(request), 200u);
    EXPECT_EQ(site.seen, (std::vector<std::string>{"PUT 300000", "HEAD+token 0", "PUT+token 300000"}));
    const Handle post = client.Open(u"POST", u"/");
    char text[] = "text";
    ASSERT_TRUE(HttpSendRequestW(post, nullptr, 0, text, 4));
    DWORD error = 0;
    EXPECT_EQ(ReadAll(post, error), "in:text");
    EXPECT_EQ(site.seen.back(), "POST+token 4");
    EXPECT_EQ(site.seen[site.seen.size() - 2], "HEAD+token 0");
}

TEST(Negotiate, AServerThatNeverAcceptsOrSendsInvalidTokensIsARefusal) {
    {
        NegotiatingServer site;
        site.drop_signed_in = true;
        Client client(site.server.port());
        const Handle request = client.Open(u"GET", u"/");
        SetLogin(request, u"alice", u"pw");
        ASSERT_EQ(Send(request), 0u);
        EXPECT_EQ(Status(request), 401u);
        EXPECT_LE(site.seen.size(), 4u);
    }
    for (const std::string& token : {std::string("!!!!"), std::string("AAAA"), std::string("===="),
                                     std::string("TlRMTVNTUAAC"), std::string(90'000, 'A')}) {
        int requests = 0;
        RawServer server([&](Exchange& exchange) {
            ++requests;
            exchange.answer("401 Unauthorized", "WWW-Authenticate: Negotiate " + token + "\r\n");
        });
        Client client(server.port());
        const Handle request = client.Open(u"GET", u"/");
        SetLogin(request, u"alice", u"pw");
        ASSERT_EQ(Send(request), 0u);
        EXPECT_EQ(Status(request), 401u) << token.substr(0, 20);
        EXPECT_LE(requests, 3) << token.substr(0, 20);
    }
}

}  // namespace
}  // namespace testing_support
