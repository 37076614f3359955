// The exception of the host's code, a result code with a message, and its translation at the host interfaces.
// Any thread.
#pragma once

#include <exception>
#include <new>
#include <string>

#include "host/base/text.h"
#include "hostapi/common.h"

namespace host {

inline constexpr HRESULT kCanceled = static_cast<HRESULT>(0x821704C7);
inline constexpr HRESULT kRetryUpload = static_cast<HRESULT>(0x800704D5);
inline constexpr HRESULT kEndOfFile = HRESULT_FROM_WIN32(ERROR_HANDLE_EOF);
inline constexpr HRESULT kInUse = HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION);
inline constexpr HRESULT kDiskFull = HRESULT_FROM_WIN32(ERROR_DISK_FULL);
inline constexpr HRESULT kBadData = HRESULT_FROM_WIN32(ERROR_INVALID_DATA);

class Failure : public std::exception {
public:
    Failure(HRESULT code, std::string message) : m_code(code), m_message(std::move(message)) {}
    HRESULT code() const { return m_code; }
    const char* what() const noexcept override { return m_message.c_str(); }

private:
    HRESULT m_code;
    std::string m_message;
};

// Runs `work`, which returns an HRESULT; exceptions become result codes, and their message goes to `details`.
template <class Work>
HRESULT Guarded(TMK::ITMK_ErrorDetails* details, Work&& work) noexcept {
    try {
        return work();
    } catch (const Failure& failure) {
        try {
            if (details) details->put_Text(ToUtf16(failure.what()).c_str());
        } catch (...) {
        }
        return failure.code();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

template <class Work>
HRESULT Guarded(Work&& work) noexcept {
    return Guarded(nullptr, std::forward<Work>(work));
}

}  // namespace host
