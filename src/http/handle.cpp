#include "http/handle.h"

#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "base/text/encoding.h"
#include "http/blocking_call.h"
#include "http/busy.h"
#include "platform/wininet.h"

namespace Http {

namespace {

constexpr size_t kBlockSize = 1024;
constexpr DWORD kFirstHeadersSize = 2048;
constexpr DWORD kTerminator = sizeof(char16_t);
constexpr uint32_t kProxyUnauthorized = 407;
constexpr char16_t kProxyHint[] = u"; the proxy asks for a name and a password, which belong in its address";

// Text that a header query gives, its size in bytes.
class HeaderBuffer {
public:
    explicit HeaderBuffer(DWORD bytes) : m_text(Allocate(bytes)), m_bytes(bytes) {
        TRACE_NAME("Http::GetHeaders");
        CHECK_THROW_TEXT(m_text != nullptr, u"buffer != nullptr", HResultException, E_OUTOFMEMORY);
    }
    void Grow(DWORD bytes) {
        TRACE_NAME("Http::GetHeaders");
        std::unique_ptr<char16_t[]> new_buffer = Allocate(bytes);
        CHECK_THROW(new_buffer != nullptr, HResultException, E_OUTOFMEMORY);
        std::memcpy(new_buffer.get(), m_text.get(), m_bytes);
        m_text = std::move(new_buffer);
        m_bytes = bytes;
    }
    void Put(std::u16string_view text) {
        std::memcpy(m_text.get(), text.data(), text.size() * sizeof(char16_t));
        m_text[text.size()] = u'\0';
    }
    char16_t* Text() { return m_text.get(); }
    DWORD Bytes() const { return m_bytes; }

private:
    static std::unique_ptr<char16_t[]> Allocate(DWORD bytes) {
        return std::unique_ptr<char16_t[]>(new (std::nothrow) char16_t[bytes / sizeof(char16_t) + 1]());
    }

    std::unique_ptr<char16_t[]> m_text;
    DWORD m_bytes;
};

// The non-empty lines of a block of zero-ended ones.
std::vector<std::u16string> SplitZeroEnded(std::u16string_view block) {
    std::vector<std::u16string> lines;
    while (!block.empty()) {
        const std::u16string_view line = block.substr(0, block.find(u'\0'));
        if (!line.empty()) lines.emplace_back(line);
        block.remove_prefix(std::min(block.size(), line.size() + 1));
    }
    return lines;
}

bool QueryStatusNumber(Handle handle, DWORD& status) {
    DWORD status_size = sizeof(status);
    return HttpQueryInfoW(handle, HTTP_QUERY_FLAG_NUMBER | HTTP_QUERY_STATUS_CODE, &status, &status_size,
                          nullptr) != FALSE;
}

}  // namespace

uint32_t QueryStatus(Handle handle) {
    DWORD status = 0;
    return QueryStatusNumber(handle, status) ? status : 0;
}

std::u16string GetHttpStatusText(Handle handle) {
    std::array<char16_t, 1024> text{};
    DWORD size = sizeof(text);
    if (!HttpQueryInfoW(handle, HTTP_QUERY_STATUS_TEXT, text.data(), &size, nullptr)) {
        bool has_text = false;
        return u"HTTP (failed to get status information): " + GetApiErrorText(GetLastError(), has_text);
    }
    const uint32_t status = QueryStatus(handle);
    std::u16string sentence = u"HTTP " + Widen(std::to_string(status)) + u": " + text.data();
    if (status == kProxyUnauthorized) sentence += kProxyHint;
    if (const auto wait = GetRetryAfter(handle, status))
        sentence += u"; try again in " + Widen(std::to_string(wait->count())) + u" s";
    return sentence;
}

std::u16string GetRequestUri(Handle request_handle) {
    TRACE_ENTRY("Http::GetRequestUri");
    std::array<char16_t, INTERNET_MAX_URL_LENGTH> text{};
    DWORD size = INTERNET_MAX_URL_LENGTH;
    CHECK_THROW_TEXT(InternetQueryOptionW(request_handle, INTERNET_OPTION_URL, text.data(), &size),
                     u"InternetQueryOptionW(request_handle, INTERNET_OPTION_URL, text, &size)", ApiException);
    TRACE_EXIT(u"");
    return text.data();
}

std::u16string GetStatusText(Handle request_handle) {
    TRACE_ENTRY("Http::GetStatusText");
    std::array<char16_t, 1024> text{};
    DWORD size = 1024;
    CHECK_THROW_TEXT(HttpQueryInfoW(request_handle, HTTP_QUERY_STATUS_TEXT, text.data(), &size, nullptr),
                     u"HttpQueryInfoW(request_handle, HTTP_QUERY_STATUS_TEXT, text, &size, nullptr)",
                     ApiException);
    TRACE_EXIT(u"");
    return text.data();
}

size_t ReadBody(Handle handle, void* buffer, size_t max_size) {
    TRACE_ENTRY("Http::ReadBody");
    DWORD read_size = 0;
    BlockingCall call(handle);
    const bool is_read = InternetReadFile(handle, buffer, static_cast<DWORD>(max_size), &read_size) != FALSE;
    const DWORD error = GetLastError();
    call.Finish();
    CHECK_THROW_TEXT(is_read, u"InternetReadFile(handle, buffer, max_size, &read_size)", ApiException, error);
    TRACE_EXIT(read_size);
    return read_size;
}

size_t ReadBody(Handle handle, std::string& stream) {
    TRACE_ENTRY("Http::ReadBody");
    std::array<char, kBlockSize> block;
    size_t total = 0;
    while (const size_t size = ReadBody(handle, block.data(), block.size())) {
        stream.append(block.data(), size);
        total += size;
    }
    TRACE_EXIT(static_cast<uint64_t>(total));
    return total;
}

std::vector<std::u16string> GetHeaders(Handle handle, const char16_t* name) {
    TRACE_ENTRY("Http::GetHeaders");
    const std::u16string_view name_text(name);
    HeaderBuffer buffer(static_cast<DWORD>((name_text.size() + 1) * sizeof(char16_t)));
    std::vector<std::u16string> values;
    DWORD index = 0;
    for (;;) {
        buffer.Put(name_text);
        DWORD size = buffer.Bytes();
        if (HttpQueryInfoW(handle, HTTP_QUERY_CUSTOM, buffer.Text(), &size, &index)) {
            values.emplace_back(buffer.Text());
            continue;
        }
        if (GetLastError() == ERROR_INSUFFICIENT_BUFFER && size + kTerminator > buffer.Bytes()) {
            buffer.Grow(size + kTerminator);
            continue;
        }
        CHECK_THROW(GetLastError() == ERROR_HTTP_HEADER_NOT_FOUND, ApiException);
        TRACE_EXIT(static_cast<uint64_t>(values.size()));
        return values;
    }
}

std::vector<std::u16string> GetHeaders(Handle handle) {
    TRACE_ENTRY("Http::GetHeaders");
    HeaderBuffer buffer(kFirstHeadersSize);
    DWORD size = buffer.Bytes();
    DWORD code = 0;
    const auto query = [&] {
        code = HttpQueryInfoW(handle, HTTP_QUERY_RAW_HEADERS, buffer.Text(), &size, nullptr) ? ERROR_SUCCESS
                                                                                             : GetLastError();
    };
    query();
    if (code == ERROR_INSUFFICIENT_BUFFER) {
        buffer.Grow(size + kTerminator);
        size = buffer.Bytes();
        query();
    }
    CHECK_THROW_TEXT(code == ERROR_SUCCESS, u"GetLastError() == 0", ApiException, code);
    std::vector<std::u16string> lines = SplitZeroEnded({buffer.Text(), size / sizeof(char16_t)});
    TRACE_EXIT(static_cast<uint64_t>(lines.size()));
    return lines;
}

std::u16string GetServerErrorText() {
    DWORD error = 0;
    DWORD size = 0;
    if (InternetGetLastResponseInfoW(&error, nullptr, &size) || GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return {};
    std::u16string text(size + 1, u'\0');
    size = static_cast<DWORD>(text.size());
    if (!InternetGetLastResponseInfoW(&error, text.data(), &size)) return {};
    text.resize(size);
    return text;
}

}  // namespace Http
