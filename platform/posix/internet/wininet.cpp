#include "platform/wininet.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "internet/credentials.h"
#include "internet/handles.h"
#include "internet/headers.h"
#include "internet/request.h"

using namespace platform::internet;
using platform::ToUtf8;

namespace {

thread_local std::u16string t_last_text;

// Runs a body that gives an error number; nothing is thrown beyond it.
template <class Body>
DWORD Guarded(Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_INTERNET_INTERNAL_ERROR;
    }
}

BOOL Finish(DWORD error) {
    if (error) SetLastError(error);
    return error == ERROR_SUCCESS;
}

template <class T>
std::shared_ptr<T> As(std::shared_ptr<Object> object) {
    return object && object->kind == T::kKind ? std::static_pointer_cast<T>(std::move(object)) : nullptr;
}

template <class T>
std::shared_ptr<T> FindAs(HINTERNET handle, DWORD& error) {
    std::shared_ptr<Object> object = FindHandle(handle);
    error = !object                    ? ERROR_INVALID_HANDLE
            : object->kind != T::kKind ? ERROR_INTERNET_INCORRECT_HANDLE_TYPE
                                       : ERROR_SUCCESS;
    return As<T>(std::move(object));
}

template <class Body>
BOOL WithRequest(HINTERNET handle, Body body) {
    return Finish(Guarded([&]() -> DWORD {
        DWORD error;
        const auto request = FindAs<Request>(handle, error);
        if (!request) return error;
        error = body(*request);
        if (error) t_last_text = FromHeaderBytes(request->ErrorText());
        return error;
    }));
}

std::u16string_view TextOf(LPCWSTR text, DWORD length) {
    constexpr DWORD kZeroEnded = 0xFFFFFFFF;
    if (!text) return {};
    return length == kZeroEnded ? std::u16string_view(text) : std::u16string_view(text, length);
}

// A size counts the zero or leaves it out.
std::string OptionText(LPVOID buffer, DWORD size) {
    const std::u16string_view text(static_cast<const char16_t*>(buffer), size);
    return ToUtf8(text.substr(0, text.find(u'\0')));
}

DWORD SetTimeout(HINTERNET handle, const void* buffer, DWORD size) {
    DWORD milliseconds;
    if (!buffer || size != sizeof milliseconds) return ERROR_INVALID_PARAMETER;
    std::memcpy(&milliseconds, buffer, sizeof milliseconds);
    const std::shared_ptr<Object> object = FindHandle(handle);
    if (const auto session = As<Session>(object)) {
        session->connect_timeout = milliseconds;
    } else if (const auto connection = As<Connection>(object)) {
        connection->connect_timeout = milliseconds;
    } else if (const auto request = As<Request>(object)) {
        request->SetConnectTimeout(milliseconds);
    } else {
        return ERROR_INVALID_HANDLE;
    }
    return ERROR_SUCCESS;
}

}  // namespace

HINTERNET InternetOpenW(LPCWSTR agent, DWORD access_type, LPCWSTR, LPCWSTR, DWORD flags) {
    HINTERNET handle = nullptr;
    Finish(Guarded([&]() -> DWORD {
        if (access_type != INTERNET_OPEN_TYPE_PRECONFIG || flags) return ERROR_INVALID_PARAMETER;
        auto session = std::make_shared<Session>();
        session->agent = agent ? ToUtf8(agent) : "";
        const bool clean = std::none_of(session->agent.begin(), session->agent.end(),
                                        [](char c) { return static_cast<unsigned char>(c) < 0x20; });
        if (!clean) return ERROR_INVALID_PARAMETER;
        handle = AddHandle(std::move(session));
        return ERROR_SUCCESS;
    }));
    return handle;
}

HINTERNET InternetConnectW(HINTERNET session_handle, LPCWSTR server, INTERNET_PORT port, LPCWSTR user,
                           LPCWSTR password, DWORD service, DWORD, DWORD_PTR) {
    HINTERNET handle = nullptr;
    Finish(Guarded([&]() -> DWORD {
        DWORD error;
        const auto session = FindAs<Session>(session_handle, error);
        if (!session) return error;
        if (!server || service != INTERNET_SERVICE_HTTP || user || password) return ERROR_INVALID_PARAMETER;
        const auto host = MakeHost(server);
        if (!host) return ERROR_INTERNET_INVALID_URL;
        auto connection = std::make_shared<Connection>();
        connection->connect_timeout = session->connect_timeout.load();
        connection->session = session;
        connection->host = *host;
        connection->port = port;
        handle = AddHandle(std::move(connection));
        return ERROR_SUCCESS;
    }));
    return handle;
}

BOOL InternetCloseHandle(HINTERNET handle) {
    return Finish(Guarded([&]() -> DWORD {
        const std::shared_ptr<Object> object = RemoveHandle(handle);
        if (!object) return ERROR_INVALID_HANDLE;
        object->Close();
        return ERROR_SUCCESS;
    }));
}

BOOL InternetSetOptionW(HINTERNET handle, DWORD option, LPVOID buffer, DWORD size) {
    return Finish(Guarded([&]() -> DWORD {
        switch (option) {
            case INTERNET_OPTION_END_BROWSER_SESSION:
                CredentialStore::EndBrowserSession();
                CurlHandlePool::EndSession();
                return ERROR_SUCCESS;
            case INTERNET_OPTION_CONNECT_TIMEOUT:
                return SetTimeout(handle, buffer, size);
            case INTERNET_OPTION_USERNAME:
            case INTERNET_OPTION_PASSWORD:
            case INTERNET_OPTION_PROXY_USERNAME:
            case INTERNET_OPTION_PROXY_PASSWORD: {
                DWORD error;
                const auto request = FindAs<Request>(handle, error);
                if (!request) return error;
                if (!buffer) return ERROR_INVALID_PARAMETER;
                return request->SetCredential(option, OptionText(buffer, size));
            }
            default:
                return ERROR_INTERNET_INVALID_OPTION;
        }
    }));
}

BOOL InternetQueryOptionW(HINTERNET handle, DWORD option, LPVOID buffer, DWORD* size) {
    return WithRequest(handle, [&](Request& request) -> DWORD {
        if (option != INTERNET_OPTION_URL) return ERROR_INTERNET_INVALID_OPTION;
        if (!size) return ERROR_INVALID_PARAMETER;
        const std::u16string url = FromHeaderBytes(request.FinalUrl());
        const bool fits = buffer && url.size() < *size;
        *size = static_cast<DWORD>(url.size() + (fits ? 0 : 1));
        if (!fits) return ERROR_INSUFFICIENT_BUFFER;
        std::memcpy(buffer, url.c_str(), (url.size() + 1) * sizeof(char16_t));
        return ERROR_SUCCESS;
    });
}

HINTERNET HttpOpenRequestW(HINTERNET connection_handle, LPCWSTR verb, LPCWSTR object, LPCWSTR, LPCWSTR,
                           LPCWSTR* accept_types, DWORD flags, DWORD_PTR) {
    HINTERNET handle = nullptr;
    Finish(Guarded([&]() -> DWORD {
        DWORD error;
        const auto connection = FindAs<Connection>(connection_handle, error);
        if (!connection) return error;
        const std::string method = verb && *verb ? ToUtf8(verb) : "GET";
        const bool is_word =
            std::all_of(method.begin(), method.end(), [](char c) { return c > ' ' && c < 0x7F; });
        if (!is_word) return ERROR_INVALID_PARAMETER;
        auto request =
            std::make_shared<Request>(connection, method, MakeObject(object ? object : u""), flags);
        std::u16string accept;
        for (LPCWSTR* type = accept_types; type && *type; ++type)
            accept.append(accept.empty() ? u"Accept: " : u", ").append(*type);
        error = request->AddHeaders(accept, HTTP_ADDREQ_FLAG_ADD);
        if (!error) handle = AddHandle(std::move(request));
        return error;
    }));
    return handle;
}

BOOL HttpAddRequestHeadersW(HINTERNET request_handle, LPCWSTR headers, DWORD length, DWORD modifiers) {
    return WithRequest(request_handle, [&](Request& request) -> DWORD {
        return headers ? request.AddHeaders(TextOf(headers, length), modifiers)
                       : static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    });
}

BOOL HttpSendRequestW(HINTERNET request_handle, LPCWSTR headers, DWORD headers_length, LPVOID body,
                      DWORD body_size) {
    return WithRequest(request_handle, [&](Request& request) -> DWORD {
        if (!body && body_size) return ERROR_INVALID_PARAMETER;
        return request.Send(TextOf(headers, headers_length), body, body_size);
    });
}

BOOL HttpSendRequestExW(HINTERNET request_handle, INTERNET_BUFFERSW* buffers_in, INTERNET_BUFFERSW*, DWORD,
                        DWORD_PTR) {
    return WithRequest(request_handle, [&](Request& request) -> DWORD {
        if (!buffers_in) return request.BeginUpload({}, 0);
        if (buffers_in->dwStructSize != sizeof(INTERNET_BUFFERSW) || buffers_in->lpvBuffer)
            return ERROR_INVALID_PARAMETER;
        return request.BeginUpload(TextOf(buffers_in->lpcszHeader, buffers_in->dwHeadersLength),
                                   buffers_in->dwBufferTotal);
    });
}

BOOL InternetWriteFile(HINTERNET request_handle, LPCVOID data, DWORD size, DWORD* written) {
    if (written) *written = 0;
    const BOOL result = WithRequest(request_handle, [&](Request& request) -> DWORD {
        return data || !size ? request.Write(data, size) : static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    });
    if (result && written) *written = size;
    return result;
}

BOOL HttpEndRequestW(HINTERNET request_handle, INTERNET_BUFFERSW*, DWORD, DWORD_PTR) {
    return WithRequest(request_handle, [](Request& request) { return request.EndUpload(); });
}

BOOL HttpQueryInfoW(HINTERNET request_handle, DWORD level, LPVOID buffer, DWORD* size, DWORD* index) {
    return WithRequest(request_handle,
                       [&](Request& request) { return request.Query(level, buffer, size, index); });
}

BOOL InternetReadFile(HINTERNET request_handle, LPVOID buffer, DWORD size, DWORD* read) {
    if (read) *read = 0;
    return WithRequest(request_handle, [&](Request& request) -> DWORD {
        if (!read || (!buffer && size)) return ERROR_INVALID_PARAMETER;
        std::size_t count = 0;
        const DWORD error = request.Read(buffer, size, count);
        *read = static_cast<DWORD>(count);
        return error;
    });
}

BOOL InternetGetLastResponseInfoW(DWORD* error, LPWSTR buffer, DWORD* size) {
    if (!size) return Finish(ERROR_INVALID_PARAMETER);
    if (error) *error = 0;
    const bool fits = buffer && t_last_text.size() < *size;
    *size = static_cast<DWORD>(t_last_text.size() + (fits ? 0 : 1));
    if (!fits) return Finish(ERROR_INSUFFICIENT_BUFFER);
    *std::copy(t_last_text.begin(), t_last_text.end(), buffer) = 0;
    return TRUE;
}

DWORD InternetSetCookieExW(LPCWSTR url, LPCWSTR name, LPCWSTR data, DWORD, DWORD_PTR) {
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof parts;
    if (!name || !data) return Finish(ERROR_INVALID_PARAMETER);
    return InternetCrackUrlW(url, 0, 0, &parts);
}

HRESULT ObtainUserAgentString(DWORD, LPSTR buffer, DWORD* size) {
    constexpr char kAgent[] = "Mozilla/5.0 (X11; Linux)";
    if (!size) return E_INVALIDARG;
    const bool fits = buffer && *size >= sizeof kAgent;
    *size = sizeof kAgent;
    if (!fits) return E_OUTOFMEMORY;
    std::memcpy(buffer, kAgent, sizeof kAgent);
    return S_OK;
}
