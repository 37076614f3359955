// The calls of the internet layer with handles that close themselves, for tests.
// One thread at a time, like the handles.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/wininet.h"
#include "tests/support/loopback/raw_server.h"

namespace testing_support {

class Handle {
public:
    Handle(HINTERNET handle) : m_handle(handle) {}
    Handle(Handle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    ~Handle() {
        if (m_handle) InternetCloseHandle(m_handle);
    }
    operator HINTERNET() const { return m_handle; }

private:
    HINTERNET m_handle;
};

// A connection to one server, in a session of its own or in a given one.
struct Client {
    explicit Client(unsigned short port, LPCWSTR host = u"127.0.0.1", HINTERNET given_session = nullptr)
        : session(given_session ? nullptr : OpenSession()),
          connection(InternetConnectW(given_session ? given_session : static_cast<HINTERNET>(session), host,
                                      port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0)) {}

    Handle Open(LPCWSTR verb, LPCWSTR object,
                DWORD flags = INTERNET_FLAG_KEEP_CONNECTION | INTERNET_FLAG_NO_COOKIES) {
        return HttpOpenRequestW(connection, verb, object, nullptr, nullptr, nullptr, flags, 0);
    }

    static HINTERNET OpenSession() {
        return InternetOpenW(u"test-agent", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
    }

    Handle session;
    Handle connection;
};

// The error of a send without a body, 0 for success.
inline DWORD Send(HINTERNET request, LPCWSTR headers = nullptr) {
    return HttpSendRequestW(request, headers, static_cast<DWORD>(-1), nullptr, 0) ? 0 : GetLastError();
}

inline DWORD Status(HINTERNET request) {
    DWORD value = 0;
    DWORD size = sizeof value;
    HttpQueryInfoW(request, HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &value, &size, nullptr);
    return value;
}

// The body to its end; `error` is what the last read failed with.
inline std::string ReadAll(HINTERNET request, DWORD& error, DWORD block = 1024) {
    std::string body;
    std::string buffer(block, '\0');
    for (;;) {
        DWORD count = 0;
        if (!InternetReadFile(request, buffer.data(), block, &count)) {
            error = GetLastError();
            return body;
        }
        error = 0;
        if (!count) return body;
        body.append(buffer, 0, count);
    }
}

inline void SetLogin(HINTERNET request, std::u16string user, std::u16string password, bool proxy = false) {
    InternetSetOptionW(request, proxy ? INTERNET_OPTION_PROXY_USERNAME : INTERNET_OPTION_USERNAME,
                       user.data(), static_cast<DWORD>(user.size() + 1));
    InternetSetOptionW(request, proxy ? INTERNET_OPTION_PROXY_PASSWORD : INTERNET_OPTION_PASSWORD,
                       password.data(), static_cast<DWORD>(password.size() + 1));
}

inline void EndBrowserSession() {
    InternetSetOptionW(nullptr, INTERNET_OPTION_END_BROWSER_SESSION, nullptr, 0);
}

inline BOOL BeginUpload(HINTERNET request, std::size_t size) {
    INTERNET_BUFFERSW buffers{};
    buffers.dwStructSize = sizeof buffers;
    buffers.dwBufferTotal = static_cast<DWORD>(size);
    return HttpSendRequestExW(request, &buffers, nullptr, 0, 0);
}

// Begins an upload, pushes the body and ends it; the first error, 0 for success.
inline DWORD Upload(HINTERNET request, const std::string& body, std::size_t block = 65536) {
    if (!BeginUpload(request, body.size())) return GetLastError();
    for (std::size_t at = 0; at < body.size(); at += block) {
        DWORD written = 0;
        const DWORD count = static_cast<DWORD>(std::min(block, body.size() - at));
        if (!InternetWriteFile(request, body.data() + at, count, &written)) return GetLastError();
        if (written != count) return ERROR_WRITE_FAULT;
    }
    return HttpEndRequestW(request, nullptr, 0, 0) ? 0 : GetLastError();
}

}  // namespace testing_support
