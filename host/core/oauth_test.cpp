// Device sign-in against a small sign-in server: when a token is given out, renewed, or asked for anew.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "core/failure.h"
#include "core/http_form.h"
#include "core/oauth.h"
#include "testing/temp_folder.h"

namespace host {
namespace {

using testing::ReadText;
using testing::TempFolder;

// Answers each form by its grant type; one connection after the other.
class SignInServer {
public:
    SignInServer() {
        m_socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        bind(m_socket, reinterpret_cast<sockaddr*>(&address), size);
        listen(m_socket, 8);
        getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size);
        authority = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/organizations/";
        m_thread = std::thread([this] { Serve(); });
    }
    ~SignInServer() {
        shutdown(m_socket, SHUT_RDWR);
        m_thread.join();
        close(m_socket);
    }
    std::string authority;
    std::atomic<int> pending{0};  // polls before the person has signed in
    std::atomic<bool> denied{false};
    std::atomic<bool> can_refresh{true};
    std::atomic<long> lifetime{3600};
    std::atomic<int> device_codes{0};
    std::atomic<int> refreshes{0};

private:
    std::string Answer(const std::string& request, int& status) {
        status = 200;
        if (request.find("/devicecode ") != std::string::npos) {
            ++device_codes;
            return R"({"device_code":"d","user_code":"AB-CD","verification_uri":"http://x/dev","interval":1,"expires_in":60})";
        }
        const bool is_refresh = request.find("grant_type=refresh_token") != std::string::npos;
        status = 400;
        if (is_refresh && !can_refresh) return R"({"error":"invalid_grant"})";
        if (!is_refresh && denied) return R"({"error":"access_denied"})";
        if (!is_refresh && pending-- > 0) return R"({"error":"authorization_pending"})";
        if (is_refresh) ++refreshes;
        status = 200;
        const std::string number = std::to_string(++m_tokens);
        return R"({"access_token":"access)" + number + R"(","refresh_token":"refresh)" + number +
               R"(","expires_in":)" + std::to_string(lifetime) + "}";
    }
    void Serve() {
        for (;;) {
            const int client = accept(m_socket, nullptr, nullptr);
            if (client < 0) return;
            std::string request;
            char block[4096];
            std::size_t body = std::string::npos;
            std::size_t wanted = 0;
            while (body == std::string::npos || request.size() < body + wanted) {
                const ssize_t got = read(client, block, sizeof(block));
                if (got <= 0) break;
                request.append(block, static_cast<std::size_t>(got));
                const std::size_t end = request.find("\r\n\r\n");
                const std::size_t length = request.find("Content-Length: ");
                if (end == std::string::npos || length == std::string::npos) continue;
                body = end + 4;
                wanted = std::stoul(request.substr(length + 16));
            }
            int status = 0;
            const std::string text = Answer(request, status);
            const std::string answer =
                "HTTP/1.1 " + std::to_string(status) +
                " X\r\nConnection: close\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n" +
                text;
            [[maybe_unused]] const ssize_t written = write(client, answer.data(), answer.size());
            close(client);
        }
    }
    int m_socket;
    int m_tokens = 0;
    std::thread m_thread;
};

class QuietTerminal final : public Terminal {
public:
    bool CanAsk() const override { return false; }
    void Tell(std::string_view line) override { shown += line; }
    std::optional<std::string> Ask(std::string_view, bool) override { return std::nullopt; }
    std::string shown;
};

class SignIn : public ::testing::Test {
protected:
    // A process of its own on the same profile.
    struct Process {
        explicit Process(SignIn& test)
            : profile(test.folder.path(), {}),
              oauth(profile, std::make_shared<const Cipher>(test.folder / "key"), test.terminal) {}
        Profile profile;
        OAuth oauth;
    };
    OAuthRequest Request() const { return {server.authority, "client", "http://site/AllSites.Write", ""}; }

    TempFolder folder;
    SignInServer server;
    QuietTerminal terminal;
};

TEST_F(SignIn, ShowsTheCodePollsAndKeepsTokensEnciphered) {
    server.pending = 1;
    Process process(*this);
    EXPECT_EQ(process.oauth.GetToken(Request()), "access1");
    EXPECT_NE(terminal.shown.find("http://x/dev"), std::string::npos);
    EXPECT_NE(terminal.shown.find("AB-CD"), std::string::npos);
    const std::string stored = ReadText(folder / "tokens.json");
    EXPECT_EQ(stored.find("access1"), std::string::npos);
    EXPECT_EQ(stored.find("refresh1"), std::string::npos);
    EXPECT_NE(stored.find("sph1:"), std::string::npos);
}

TEST_F(SignIn, ARefusedTokenIsRenewedOnceThenTheSignInBeginsAnew) {
    Process process(*this);
    EXPECT_EQ(process.oauth.GetToken(Request()), "access1");
    EXPECT_EQ(process.oauth.GetToken(Request()), "access2") << "refused: renewed";
    EXPECT_EQ(server.refreshes, 1);
    EXPECT_EQ(process.oauth.GetToken(Request()), "access3") << "refused again: a new sign-in";
    EXPECT_EQ(server.refreshes, 1);
    EXPECT_EQ(server.device_codes, 2);
}

TEST_F(SignIn, ATokenOfAnotherProcessIsTakenUnlessTheServerRefusedIt) {
    Process first(*this);
    const std::string token = first.oauth.GetToken(Request());
    Process second(*this);
    EXPECT_EQ(second.oauth.GetToken(Request()), token);
    Process third(*this);
    third.oauth.NoteInUse(token);
    EXPECT_EQ(third.oauth.GetToken(Request()), "access2");
    EXPECT_EQ(server.device_codes, 1);
    server.can_refresh = false;
    Process fourth(*this);
    fourth.oauth.NoteInUse("access2");
    EXPECT_EQ(fourth.oauth.GetToken(Request()), "access3") << "a refused renewal is a new sign-in";
    EXPECT_EQ(server.device_codes, 2);
    fourth.oauth.Forget("http://site:8080/sites/a");
    Process fifth(*this);
    EXPECT_EQ(fifth.oauth.GetToken(Request()), "access4") << "forgotten";
}

TEST_F(SignIn, AnExpiredTokenIsNotGivenOut) {
    server.lifetime = 5;
    Process first(*this);
    first.oauth.GetToken(Request());
    Process second(*this);
    EXPECT_EQ(second.oauth.GetToken(Request()), "access2");
    EXPECT_EQ(server.refreshes, 1);
}

TEST_F(SignIn, FailuresAreToldApart) {
    Process process(*this);
    const auto code = [&](const OAuthRequest& request) {
        try {
            process.oauth.GetToken(request);
            return S_OK;
        } catch (const Failure& failure) {
            EXPECT_FALSE(std::string(failure.what()).empty());
            return failure.code();
        }
    };
    server.denied = true;
    EXPECT_EQ(code(Request()), kCanceled);
    EXPECT_EQ(code({"http://127.0.0.1:9/x", "c", "s", ""}), HRESULT_FROM_WIN32(12029));
    EXPECT_EQ(code({"http://login.test/x", "c", "s", ""}), E_INVALIDARG) << "secrets travel over TLS alone";
    EXPECT_EQ(code({"http://127.0.0.1.evil.test/x", "c", "s", ""}), E_INVALIDARG);
}

TEST_F(SignIn, OverridesBelongToTheServerOfTheSite) {
    Process process(*this);
    process.oauth.SetOverride("http://Site:8080/sites/a", {"https://login/x", "id"});
    EXPECT_EQ(process.oauth.FindOverride("http://site:8080/other")->authority, "https://login/x");
    EXPECT_EQ(process.oauth.FindOverride("http://site/other"), std::nullopt);
    EXPECT_EQ(ServerOf("HTTPS://user@Host:1/x?y"), "https://host:1");
}

}  // namespace
}  // namespace host
