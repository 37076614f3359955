// One exchange with a server over the transfer library, driven by the thread that waits for it.
// A pool of handles is shared by all threads; a transfer belongs to one thread at a time.
#pragma once

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "internet/credentials.h"
#include "internet/headers.h"
#include "internet/target.h"

namespace platform::internet {

// Libcurl's two handles of an exchange: the multi handle keeps the connections, the easy handle uses them.
class CurlHandles {
public:
    CurlHandles();
    ~CurlHandles();
    CurlHandles(const CurlHandles&) = delete;
    CurlHandles& operator=(const CurlHandles&) = delete;

    bool ok() const { return m_multi && m_easy; }
    CURLM* multi() const { return m_multi; }
    CURL* easy() const { return m_easy; }
    // Forgets another server's challenges; connections are kept.
    void UseFor(const std::string& origin);

private:
    friend class CurlHandlePool;

    CURLM* m_multi;
    CURL* m_easy;
    std::string m_origin;
    unsigned m_session = 0;
};

class CurlHandlePool {
public:
    // Idle handles, the last used first, or new ones.
    std::unique_ptr<CurlHandles> Take();
    void GiveBack(std::unique_ptr<CurlHandles> handles);
    // Handles from before this call are never used again, by any pool.
    static void EndSession();

private:
    static constexpr std::size_t kMaxIdle = 8;

    std::mutex m_mutex;
    std::vector<std::unique_ptr<CurlHandles>> m_idle;
};

struct TransferLimits {
    std::chrono::milliseconds connect;
    std::chrono::milliseconds stall;
};

// How a request authenticates itself: one scheme, or none.
struct Login {
    Credentials credentials;
    unsigned long scheme = 0;
};

struct TransferRequest {
    std::string verb;
    Target target;
    std::string agent;
    std::vector<Header> headers;
    // A body in memory, borrowed until `send` returns ...
    const void* body = nullptr;
    std::size_t body_size = 0;
    // ... or one that is pushed; -1 leaves its length open.
    bool pushed = false;
    long long pushed_size = -1;
    std::optional<Login> login;
    std::optional<Login> proxy_login;
    TransferLimits limits{};
};

class Transfer {
public:
    // `closed` ends every wait of this transfer; it must outlive it.
    Transfer(CurlHandlePool& pool, const std::atomic<bool>& closed) : m_pool(pool), m_closed(closed) {}
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // All return a Win32 error number. An exchange in progress is ended by the next `start`.
    DWORD Start(const TransferRequest& request);  // connects, and for a pushed body sends the headers
    DWORD Push(const void* data, std::size_t size);
    DWORD FinishSending();  // sends the rest and waits for the answer's headers
    DWORD Read(void* buffer, std::size_t size, std::size_t& out_read);
    // Reads a short rest of the answer, so that the connection can be kept, or drops the connection.
    void DiscardAnswer();

    const ResponseHeaders& headers() const { return m_headers; }
    bool answered() const { return m_answered; }
    // CURLAUTH_ bits of the last answer's challenges, the server's or the proxy's.
    unsigned long OfferedSchemes(bool proxy);
    const std::string& ErrorText() const { return m_error_text; }

private:
    static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnUpload(char* buffer, std::size_t size, std::size_t count, void* self);
    static int OnReady(void* self, char*, char*, int, int);
    static curl_socket_t OpenSocket(void*, curlsocktype, curl_sockaddr* address);
    static CURLcode OnTls(CURL*, void* context, void* self);

    std::size_t TakeHeader(const char* data, std::size_t size);
    std::size_t TakeBody(const char* data, std::size_t size);
    std::size_t GiveUpload(char* buffer, std::size_t size);

    bool SetOptions(const TransferRequest& request);
    bool SetBody(const TransferRequest& request);
    bool SetHeaders(const TransferRequest& request);
    bool SetLogin(const TransferRequest& request);
    template <class Option, class Value>
    bool Set(Option option, Value value) {
        return curl_easy_setopt(m_handles->easy(), option, value) == CURLE_OK;
    }

    // Drives the exchange until `reached` or its end; the stall limit counts from the last byte that moved.
    template <class Reached>
    DWORD Drive(Reached reached);
    curl_off_t uploaded() const;
    bool reached() const;
    bool IdleTooLong(std::chrono::steady_clock::time_point& since);
    bool CheckDone();
    void Settle(CURLcode result);
    void NoteOffers();
    void Resume();
    bool BodyWasSent() const;
    void detach();
    void ReleaseHandles();

    CurlHandlePool& m_pool;
    const std::atomic<bool>& m_closed;
    std::unique_ptr<CurlHandles> m_handles;
    curl_slist* m_header_list = nullptr;
    char m_curl_error[CURL_ERROR_SIZE] = {};
    std::string m_error_text;
    TransferLimits m_limits{};

    bool m_active = false;  // the easy handle is in the multi handle
    bool m_done = false;
    DWORD m_error = ERROR_SUCCESS;
    DWORD m_own_error = ERROR_SUCCESS;  // why a callback ended the exchange

    bool m_connected = false;
    bool m_moved = false;
    bool m_discarding = false;
    ResponseHeaders m_headers;
    bool m_answered = false;         // the final header block is in
    bool m_may_be_repeated = false;  // a 401 or 407 may be answered inside the library
    unsigned long m_offered = 0;
    unsigned long m_proxy_offered = 0;

    bool m_receive_paused = false;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    char* m_wanted = nullptr;  // where the reader wants the bytes
    std::size_t m_wanted_size = 0;
    std::size_t m_delivered = 0;

    bool m_pushing = false;
    bool m_upload_wanted = false;
    bool m_send_paused = false;
    bool m_upload_ended = false;
    const char* m_source = nullptr;
    std::size_t m_source_size = 0;
    long long m_push_left = -1;
    std::size_t m_memory_body = 0;
    curl_off_t m_seen_uploaded = 0;
};

}  // namespace platform::internet
