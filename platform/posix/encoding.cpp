// Conversion between UTF-16, UTF-8 and the process's own encoding.
// Any thread.
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <climits>
#include <cstring>
#include <cwchar>
#include <string_view>

#include "platform/text.h"

namespace {

int Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

int Finish(int32_t needed, int32_t size, UErrorCode error) {
    if (size && needed > size) return Fail(ERROR_INSUFFICIENT_BUFFER);
    if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR) return Fail(ERROR_NO_UNICODE_TRANSLATION);
    return needed;
}

int FromUtf8(DWORD flags, LPCSTR bytes, int count, LPWSTR text, int size) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t needed = 0;
    const bool strict = (flags & MB_ERR_INVALID_CHARS) != 0;
    u_strFromUTF8WithSub(text, size, &needed, bytes, count, strict ? U_SENTINEL : 0xFFFD, nullptr, &error);
    return Finish(needed, size, error);
}

int ToUtf8(LPCWSTR text, int length, LPSTR bytes, int size) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strToUTF8WithSub(bytes, size, &needed, text, length, 0xFFFD, nullptr, &error);
    return Finish(needed, size, error);
}

// Counts what it writes; writes nothing when it only measures.
template <class Unit>
class Output {
public:
    Output(Unit* buffer, int size) : m_buffer(buffer), m_size(size) {}
    void put(const Unit* units, std::size_t count) {
        if (m_size && m_used + static_cast<int>(count) <= m_size)
            std::memcpy(m_buffer + m_used, units, count * sizeof(Unit));
        m_used += static_cast<int>(count);
    }
    int result() const { return m_size && m_used > m_size ? Fail(ERROR_INSUFFICIENT_BUFFER) : m_used; }

private:
    Unit* m_buffer;
    int m_size;
    int m_used = 0;
};

int FromLocale(LPCSTR bytes, int count, LPWSTR text, int size) {
    Output<char16_t> out(text, size);
    std::mbstate_t state{};
    std::size_t left = static_cast<std::size_t>(count);
    while (left) {
        wchar_t wide = 0;
        std::size_t used = std::mbrtowc(&wide, bytes, left, &state);
        if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2)) break;
        if (used == 0) used = 1;  // an embedded zero
        char16_t units[2];
        int32_t unit_count = 0;
        U16_APPEND_UNSAFE(units, unit_count, static_cast<UChar32>(wide));
        out.put(units, static_cast<std::size_t>(unit_count));
        bytes += used;
        left -= used;
    }
    return out.result();
}

int ToLocale(LPCWSTR text, int length, LPSTR bytes, int size) {
    Output<char> out(bytes, size);
    std::mbstate_t state{};
    for (int32_t i = 0; i < length;) {
        UChar32 c;
        U16_NEXT(text, i, length, c);
        char units[MB_LEN_MAX];
        const std::size_t count = U_IS_SURROGATE(c) ? static_cast<std::size_t>(-1)
                                                    : std::wcrtomb(units, static_cast<wchar_t>(c), &state);
        if (count == static_cast<std::size_t>(-1)) break;
        out.put(units, count);
    }
    return out.result();
}

}  // namespace

int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR bytes, int byte_count, LPWSTR text,
                        int text_size) {
    if (!bytes || byte_count == 0 || text_size < 0 || (text_size && !text))
        return Fail(ERROR_INVALID_PARAMETER);
    if (byte_count < 0) byte_count = static_cast<int>(std::strlen(bytes) + 1);
    if (code_page == CP_UTF8) return FromUtf8(flags, bytes, byte_count, text, text_size);
    if (code_page == CP_ACP) return FromLocale(bytes, byte_count, text, text_size);
    return Fail(ERROR_INVALID_PARAMETER);
}

int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int text_length, LPSTR bytes,
                        int byte_size, LPCSTR default_char, BOOL* used_default_char) {
    if (!text || text_length == 0 || byte_size < 0 || (byte_size && !bytes) || default_char ||
        used_default_char)
        return Fail(ERROR_INVALID_PARAMETER);
    if (flags) return Fail(ERROR_INVALID_FLAGS);
    if (text_length < 0) text_length = static_cast<int>(std::char_traits<char16_t>::length(text) + 1);
    if (code_page == CP_UTF8) return ToUtf8(text, text_length, bytes, byte_size);
    if (code_page == CP_ACP) return ToLocale(text, text_length, bytes, byte_size);
    return Fail(ERROR_INVALID_PARAMETER);
}
