#include "host/signin/code_flow.h"

#include <netinet/in.h>
#include <poll.h>
#include <sodium.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <map>
#include <regex>
#include <vector>

#include "host/base/failure.h"
#include "host/base/posix_file.h"

namespace host {

namespace {

constexpr std::chrono::minutes kTimeout{10};
constexpr int kCheckIntervalMs = 100;  // between looks whether the person has cancelled
constexpr std::size_t kLongestRequest = 16 * 1024;

std::string Base64Url(const unsigned char* bytes, std::size_t size) {
    std::string text(sodium_base64_ENCODED_LEN(size, sodium_base64_VARIANT_URLSAFE_NO_PADDING), '\0');
    sodium_bin2base64(text.data(), text.size(), bytes, size, sodium_base64_VARIANT_URLSAFE_NO_PADDING);
    text.pop_back();  // the closing zero
    return text;
}

std::string RandomText() {
    std::array<unsigned char, 32> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    return Base64Url(bytes.data(), bytes.size());
}

std::string ChallengeOf(const std::string& verifier) {
    std::array<unsigned char, crypto_hash_sha256_BYTES> hash{};
    crypto_hash_sha256(hash.data(), reinterpret_cast<const unsigned char*>(verifier.data()), verifier.size());
    return Base64Url(hash.data(), hash.size());
}

std::string Escape(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        const auto code = static_cast<unsigned char>(byte);
        if (std::isalnum(code) || byte == '-' || byte == '.' || byte == '_' || byte == '~') {
            escaped += byte;
        } else {
            constexpr std::string_view kDigits = "0123456789ABCDEF";
            escaped += {'%', kDigits[code >> 4], kDigits[code & 15]};
        }
    }
    return escaped;
}

std::string Unescape(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool is_escape = text[i] == '%' && i + 2 < text.size() &&
                               std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
                               std::isxdigit(static_cast<unsigned char>(text[i + 2]));
        if (is_escape) {
            plain += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else {
            plain += text[i] == '+' ? ' ' : text[i];
        }
    }
    return plain;
}

// The query of "GET PATH?a=b HTTP/1.1"; empty for a request to anything else.
std::map<std::string, std::string> QueryOf(const std::string& request, const std::string& path) {
    const std::string start = "GET " + path + "?";
    std::map<std::string, std::string> query;
    if (!request.starts_with(start)) return query;
    std::string_view rest(request);
    rest = rest.substr(start.size(), request.find(' ', start.size()) - start.size());
    while (!rest.empty()) {
        const std::string_view pair = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
        const std::size_t equals = pair.find('=');
        if (equals != std::string_view::npos)
            query[Unescape(pair.substr(0, equals))] = Unescape(pair.substr(equals + 1));
    }
    return query;
}

struct Redirect {
    std::string host = "127.0.0.1";
    std::uint16_t port = 0;
    std::string path = "/";
};

Redirect ParseRedirect(const std::string& text) {
    if (text.empty()) return {};
    static const std::regex form(R"(http://(localhost|127\.0\.0\.1)(?::([0-9]{1,5}))?(/[^?#]*)?)",
                                 std::regex::icase);
    std::smatch parts;
    const bool matches = std::regex_match(text, parts, form);
    const int port = matches && parts[2].matched ? std::stoi(parts[2]) : 0;
    if (!matches || port > 65535) {
        throw Failure(E_INVALIDARG,
                      "a redirect looks like http://localhost/ or http://127.0.0.1:8400/path, not '" +
                          PlainLine(text) + "'");
    }
    return {parts[1], static_cast<std::uint16_t>(port), parts[3].matched ? parts[3].str() : "/"};
}

// Takes what browsers send to a port of this machine, several connections at once: they open some in advance.
class Listener {
public:
    explicit Listener(const Redirect& redirect) : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(redirect.port);
        socklen_t size = sizeof(address);
        auto* const name = reinterpret_cast<sockaddr*>(&address);
        const int on = 1;  // a named port may still be in use by the last sign-in's connections
        setsockopt(m_socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        if (!m_socket || bind(m_socket.get(), name, size) != 0 || listen(m_socket.get(), 8) != 0 ||
            getsockname(m_socket.get(), name, &size) != 0) {
            throw Failure(ResultOfErrno(errno), "can't listen for the end of the sign-in");
        }
        m_url = "http://" + redirect.host + ":" + std::to_string(ntohs(address.sin_port)) + redirect.path;
    }
    const std::string& Url() const { return m_url; }

    // The next whole request, to be answered on its connection.
    std::pair<Descriptor, std::string> Next(std::chrono::steady_clock::time_point deadline,
                                            const SignInNotice& notice) {
        for (;;) {
            for (auto client = m_clients.begin(); client != m_clients.end(); ++client) {
                if (client->second.find("\r\n\r\n") == std::string::npos) continue;
                auto whole = std::move(*client);
                m_clients.erase(client);
                return whole;
            }
            Wait(deadline, notice);
        }
    }

private:
    void Wait(std::chrono::steady_clock::time_point deadline, const SignInNotice& notice) {
        if (std::chrono::steady_clock::now() >= deadline)
            throw Failure(HRESULT_FROM_WIN32(1460), "nobody signed in within ten minutes");
        std::vector<pollfd> watched{{m_socket.get(), POLLIN, 0}};
        for (const auto& client : m_clients) watched.push_back({client.first.get(), POLLIN, 0});
        if (poll(watched.data(), watched.size(), kCheckIntervalMs) < 0) return CheckCanceled(notice);
        CheckCanceled(notice);
        for (std::size_t i = m_clients.size(); i-- > 0;) {
            if (watched[i + 1].revents != 0 && !ReadMore(m_clients[i]))
                m_clients.erase(m_clients.begin() + static_cast<std::ptrdiff_t>(i));
        }
        if (watched[0].revents != 0) {
            Descriptor client(accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (client) m_clients.emplace_back(std::move(client), "");
        }
    }
    static void CheckCanceled(const SignInNotice& notice) {
        if (notice.IsCanceled()) throw Failure(kCanceled, "the sign-in was interrupted");
    }
    static bool ReadMore(std::pair<Descriptor, std::string>& client) {
        std::array<char, 4096> block;
        const ssize_t got = recv(client.first.get(), block.data(), block.size(), MSG_DONTWAIT);
        if (got < 0) return errno == EAGAIN || errno == EINTR;
        client.second.append(block.data(), static_cast<std::size_t>(got));
        return got > 0 && client.second.size() <= kLongestRequest;
    }

    Descriptor m_socket;
    std::string m_url;
    std::vector<std::pair<Descriptor, std::string>> m_clients;
};

void Reply(const Descriptor& client, const char* status, std::string_view sentence) {
    const std::string page =
        "<!doctype html><meta charset=utf-8><title>sphost</title><p>" + std::string(sentence);
    const std::string answer =
        std::string("HTTP/1.1 ") + status +
        "\r\nContent-Type: text/html\r\nConnection: close\r\nContent-Length: " + std::to_string(page.size()) +
        "\r\n\r\n" + page;
    [[maybe_unused]] const ssize_t sent =
        send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

}  // namespace

std::uint16_t PortOfRedirect(const std::string& redirect) {
    return ParseRedirect(redirect).port;
}

CodeAnswer AskForCode(const CodeRequest& request, SignInPrompts& prompts) {
    const Redirect redirect = ParseRedirect(request.redirect);
    Listener listener(redirect);
    const std::string state = RandomText();
    CodeAnswer answer{"", listener.Url(), RandomText()};
    std::string url =
        request.endpoint + "?response_type=code&response_mode=query&client_id=" + Escape(request.client_id) +
        "&scope=" + Escape(request.scope) + "&redirect_uri=" + Escape(answer.redirect_uri) +
        "&state=" + state + "&code_challenge=" + ChallengeOf(answer.verifier) + "&code_challenge_method=S256";
    if (!request.user.empty()) url += "&login_hint=" + Escape(request.user);
    const auto deadline = std::chrono::steady_clock::now() + kTimeout;
    const auto notice = prompts.OpenPage(url);
    for (;;) {
        const auto [client, text] = listener.Next(deadline, *notice);
        auto query = QueryOf(text, redirect.path);
        if (query["state"] != state) {
            // Not of this sign-in: a browser's request for an icon, or a guess.
            Reply(client, "404 Not Found", "There is nothing here.");
            continue;
        }
        if (!query["code"].empty()) {
            Reply(client, "200 OK", "You are signed in. This page can be closed.");
            answer.code = query["code"];
            return answer;
        }
        Reply(client, "200 OK", "The sign-in has ended without success. This page can be closed.");
        if (query["error"] == "access_denied") throw Failure(kCanceled, "the sign-in was declined");
        throw Failure(E_ACCESSDENIED, "the sign-in page ended with " + PlainLine(query["error"]) + ": " +
                                          PlainLine(query["error_description"]));
    }
}

}  // namespace host
