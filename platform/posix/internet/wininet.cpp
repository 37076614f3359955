#include "platform/wininet.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "internet/credentials.h"
#include "internet/handles.h"
#include "internet/headers.h"
#include "internet/request.h"

using namespace platform::internet;
using platform::to_utf8;

namespace {

thread_local std::u16string t_last_text;

// Runs a body that gives an error number; nothing is thrown beyond it.
template <class Body>
DWORD guarded(Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_INTERNET_INTERNAL_ERROR;
    }
}

BOOL finish(DWORD error) {
    if (error) SetLastError(error);
    return error == ERROR_SUCCESS;
}

template <class T>
std::shared_ptr<T> as(std::shared_ptr<Object> object) {
    return object && object->kind == T::kKind ? std::static_pointer_cast<T>(std::move(object)) : nullptr;
}

template <class T>
std::shared_ptr<T> find_as(HINTERNET handle, DWORD& error) {
    std::shared_ptr<Object> object = find_handle(handle);
    error = !object                    ? ERROR_INVALID_HANDLE
            : object->kind != T::kKind ? ERROR_INTERNET_INCORRECT_HANDLE_TYPE
                                       : ERROR_SUCCESS;
    return as<T>(std::move(object));
}

template <class Body>
BOOL with_request(HINTERNET handle, Body body) {
    return finish(guarded([&]() -> DWORD {
        DWORD error;
        const auto request = find_as<Request>(handle, error);
        if (!request) return error;
        error = body(*request);
        if (error) t_last_text = from_header_bytes(request->error_text());
        return error;
    }));
}

std::u16string_view text_of(LPCWSTR text, DWORD length) {
    constexpr DWORD kZeroEnded = 0xFFFFFFFF;
    if (!text) return {};
    return length == kZeroEnded ? std::u16string_view(text) : std::u16string_view(text, length);
}

// A size counts the zero or leaves it out.
std::string option_text(LPVOID buffer, DWORD size) {
    const std::u16string_view text(static_cast<const char16_t*>(buffer), size);
    return to_utf8(text.substr(0, text.find(u'\0')));
}

DWORD set_timeout(HINTERNET handle, const void* buffer, DWORD size) {
    DWORD milliseconds;
    if (!buffer || size != sizeof milliseconds) return ERROR_INVALID_PARAMETER;
    std::memcpy(&milliseconds, buffer, sizeof milliseconds);
    const std::shared_ptr<Object> object = find_handle(handle);
    if (const auto session = as<Session>(object))
        session->connect_timeout = milliseconds;
    else if (const auto connection = as<Connection>(object))
        connection->connect_timeout = milliseconds;
    else if (const auto request = as<Request>(object))
        request->set_connect_timeout(milliseconds);
    else
        return ERROR_INVALID_HANDLE;
    return ERROR_SUCCESS;
}

}  // namespace

HINTERNET InternetOpenW(LPCWSTR agent, DWORD access_type, LPCWSTR, LPCWSTR, DWORD flags) {
    HINTERNET handle = nullptr;
    finish(guarded([&]() -> DWORD {
        if (access_type != INTERNET_OPEN_TYPE_PRECONFIG || flags) return ERROR_INVALID_PARAMETER;
        auto session = std::make_shared<Session>();
        session->agent = agent ? to_utf8(agent) : "";
        const bool clean = std::none_of(session->agent.begin(), session->agent.end(),
                                        [](char c) { return static_cast<unsigned char>(c) < 0x20; });
        if (!clean) return ERROR_INVALID_PARAMETER;
        handle = add_handle(std::move(session));
        return ERROR_SUCCESS;
    }));
    return handle;
}

HINTERNET InternetConnectW(HINTERNET session_handle, LPCWSTR server, INTERNET_PORT port, LPCWSTR user,
                           LPCWSTR password, DWORD service, DWORD, DWORD_PTR) {
    HINTERNET handle = nullptr;
    finish(guarded([&]() -> DWORD {
        DWORD error;
        const auto session = find_as<Session>(session_handle, error);
        if (!session) return error;
        if (!server || service != INTERNET_SERVICE_HTTP || user || password) return ERROR_INVALID_PARAMETER;
        const auto host = make_host(server);
        if (!host) return ERROR_INTERNET_INVALID_URL;
        auto connection = std::make_shared<Connection>();
        connection->connect_timeout = session->connect_timeout.load();
        connection->session = session;
        connection->host = *host;
        connection->port = port;
        handle = add_handle(std::move(connection));
        return ERROR_SUCCESS;
    }));
    return handle;
}

BOOL InternetCloseHandle(HINTERNET handle) {
    return finish(guarded([&]() -> DWORD {
        const std::shared_ptr<Object> object = remove_handle(handle);
        if (!object) return ERROR_INVALID_HANDLE;
        object->close();
        return ERROR_SUCCESS;
    }));
}

BOOL InternetSetOptionW(HINTERNET handle, DWORD option, LPVOID buffer, DWORD size) {
    return finish(guarded([&]() -> DWORD {
        switch (option) {
            case INTERNET_OPTION_END_BROWSER_SESSION:
                CredentialStore::instance().clear();
                CurlHandlePool::end_session();
                return ERROR_SUCCESS;
            case INTERNET_OPTION_CONNECT_TIMEOUT:
                return set_timeout(handle, buffer, size);
            case INTERNET_OPTION_USERNAME:
            case INTERNET_OPTION_PASSWORD:
            case INTERNET_OPTION_PROXY_USERNAME:
            case INTERNET_OPTION_PROXY_PASSWORD: {
                DWORD error;
                const auto request = find_as<Request>(handle, error);
                if (!request) return error;
                if (!buffer) return ERROR_INVALID_PARAMETER;
                return request->set_credential(option, option_text(buffer, size));
            }
            default:
                return ERROR_INTERNET_INVALID_OPTION;
        }
    }));
}

BOOL InternetQueryOptionW(HINTERNET handle, DWORD option, LPVOID buffer, DWORD* size) {
    return with_request(handle, [&](Request& request) -> DWORD {
        if (option != INTERNET_OPTION_URL) return ERROR_INTERNET_INVALID_OPTION;
        if (!size) return ERROR_INVALID_PARAMETER;
        const std::u16string url = from_header_bytes(request.final_url());
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
    finish(guarded([&]() -> DWORD {
        DWORD error;
        const auto connection = find_as<Connection>(connection_handle, error);
        if (!connection) return error;
        const std::string method = verb && *verb ? to_utf8(verb) : "GET";
        const bool is_word =
            std::all_of(method.begin(), method.end(), [](char c) { return c > ' ' && c < 0x7F; });
        if (!is_word) return ERROR_INVALID_PARAMETER;
        auto request =
            std::make_shared<Request>(connection, method, make_object(object ? object : u""), flags);
        std::u16string accept;
        for (LPCWSTR* type = accept_types; type && *type; ++type)
            accept.append(accept.empty() ? u"Accept: " : u", ").append(*type);
        error = request->add_headers(accept, HTTP_ADDREQ_FLAG_ADD);
        if (!error) handle = add_handle(std::move(request));
        return error;
    }));
    return handle;
}

BOOL HttpAddRequestHeadersW(HINTERNET request_handle, LPCWSTR headers, DWORD length, DWORD modifiers) {
    return with_request(request_handle, [&](Request& request) -> DWORD {
        return headers ? request.add_headers(text_of(headers, length), modifiers)
                       : static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    });
}

BOOL HttpSendRequestW(HINTERNET request_handle, LPCWSTR headers, DWORD headers_length, LPVOID body,
                      DWORD body_size) {
    return with_request(request_handle, [&](Request& request) -> DWORD {
        if (!body && body_size) return ERROR_INVALID_PARAMETER;
        return request.send(text_of(headers, headers_length), body, body_size);
    });
}

BOOL HttpSendRequestExW(HINTERNET request_handle, INTERNET_BUFFERSW* buffers_in, INTERNET_BUFFERSW*, DWORD,
                        DWORD_PTR) {
    return with_request(request_handle, [&](Request& request) -> DWORD {
        if (!buffers_in) return request.begin_upload({}, 0);
        if (buffers_in->dwStructSize != sizeof(INTERNET_BUFFERSW) || buffers_in->lpvBuffer)
            return ERROR_INVALID_PARAMETER;
        return request.begin_upload(text_of(buffers_in->lpcszHeader, buffers_in->dwHeadersLength),
                                    buffers_in->dwBufferTotal);
    });
}

BOOL InternetWriteFile(HINTERNET request_handle, LPCVOID data, DWORD size, DWORD* written) {
    if (written) *written = 0;
    const BOOL result = with_request(request_handle, [&](Request& request) -> DWORD {
        return data || !size ? request.write(data, size) : static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    });
    if (result && written) *written = size;
    return result;
}

BOOL HttpEndRequestW(HINTERNET request_handle, INTERNET_BUFFERSW*, DWORD, DWORD_PTR) {
    return with_request(request_handle, [](Request& request) { return request.end_upload(); });
}

BOOL HttpQueryInfoW(HINTERNET request_handle, DWORD level, LPVOID buffer, DWORD* size, DWORD* index) {
    return with_request(request_handle,
                        [&](Request& request) { return request.query(level, buffer, size, index); });
}

BOOL InternetReadFile(HINTERNET request_handle, LPVOID buffer, DWORD size, DWORD* read) {
    if (read) *read = 0;
    return with_request(request_handle, [&](Request& request) -> DWORD {
        if (!read || (!buffer && size)) return ERROR_INVALID_PARAMETER;
        std::size_t count = 0;
        const DWORD error = request.read(buffer, size, count);
        *read = static_cast<DWORD>(count);
        return error;
    });
}

BOOL InternetGetLastResponseInfoW(DWORD* error, LPWSTR buffer, DWORD* size) {
    if (!size) return finish(ERROR_INVALID_PARAMETER);
    if (error) *error = 0;
    const bool fits = buffer && t_last_text.size() < *size;
    *size = static_cast<DWORD>(t_last_text.size() + (fits ? 0 : 1));
    if (!fits) return finish(ERROR_INSUFFICIENT_BUFFER);
    *std::copy(t_last_text.begin(), t_last_text.end(), buffer) = 0;
    return TRUE;
}

DWORD InternetSetCookieExW(LPCWSTR url, LPCWSTR name, LPCWSTR data, DWORD, DWORD_PTR) {
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof parts;
    if (!name || !data) return finish(ERROR_INVALID_PARAMETER);
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
