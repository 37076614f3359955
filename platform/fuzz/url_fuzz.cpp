// Feeds any text to the URL and comparison functions; whatever is taken must be stable and stay inside its
// buffers. One thread.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/url.h"

namespace {

void Check(bool good) {
    if (!good) std::abort();
}

void Crack(const std::u16string& url) {
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwSchemeLength = parts.dwHostNameLength = parts.dwUserNameLength = parts.dwPasswordLength = 1;
    parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
    if (!InternetCrackUrlW(url.c_str(), static_cast<DWORD>(url.size()), 0, &parts)) return;
    Check(parts.lpszUrlPath >= url.data() &&
          parts.lpszUrlPath + parts.dwUrlPathLength <= url.data() + url.size());
    Check(parts.lpszExtraInfo + parts.dwExtraInfoLength == url.data() + url.size());
    Check(!parts.lpszHostName || parts.lpszHostName + parts.dwHostNameLength <= parts.lpszUrlPath);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::uint8_t choice = data[0];
    std::u16string text((size - 1) / 2, u'\0');
    std::memcpy(text.data(), data + 1, text.size() * 2);
    text = text.c_str();
    // ASCII text gets further into the parsers than random UTF-16.
    if (choice & 1) text.assign(data + 1, data + size);
    text = text.c_str();
    const DWORD flags =
        ICU_NO_ENCODE | ((choice & 2) ? ICU_BROWSER_MODE : 0) | ((choice & 4) ? ICU_DECODE : 0);
    // Allocated at its exact size, so that a sanitizer sees a read beyond it.
    std::vector<char16_t> buffer((choice & 8) ? size / 2 : INTERNET_MAX_URL_LENGTH);
    DWORD length = static_cast<DWORD>(buffer.size());
    if (InternetCanonicalizeUrlW(text.c_str(), buffer.data(), &length, flags)) {
        Check(length < buffer.size() && buffer[length] == 0);
        Crack(std::u16string(buffer.data(), length));
    } else if (GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        buffer.resize(length);
        Check(InternetCanonicalizeUrlW(text.c_str(), buffer.data(), &length, flags));
    }
    Crack(text);
    const std::u16string other = text.substr(text.size() / 2);
    const int forth = CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, text.c_str(), -1, other.c_str(), -1);
    const int back = CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, other.c_str(), -1, text.c_str(), -1);
    Check(forth + back == 2 * CSTR_EQUAL);
    Check(StrCmpLogicalW(text.c_str(), other.c_str()) == -StrCmpLogicalW(other.c_str(), text.c_str()));
    Check(PathFindExtensionW(text.c_str()) <= text.c_str() + text.size());
    return 0;
}
