// The one discipline for failures: exceptions inside, result codes at every operation of a host interface.
// Macros evaluate their arguments once and log the source text of what failed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/log.h"
#include "hostapi/common.h"
#include "platform/base.h"

inline constexpr HRESULT E_CANCELED = static_cast<HRESULT>(0x821704C7);  // the user's cancel flag was seen
inline constexpr HRESULT E_SP_RETRY = static_cast<HRESULT>(0x800704D5);  // the cache is to repeat the write
inline constexpr HRESULT E_SP_EOF = static_cast<HRESULT>(0x80070026);    // end of a file was reached
inline constexpr HRESULT E_SP_NOT_FOUND = static_cast<HRESULT>(0x80070002);
inline constexpr HRESULT E_SP_EXISTS = static_cast<HRESULT>(0x80070050);
inline constexpr HRESULT E_SP_WRONG_MODE = static_cast<HRESULT>(0x8007139F);
inline constexpr HRESULT E_SP_NO_EDIT_RIGHTS = static_cast<HRESULT>(0x80071779);
inline constexpr HRESULT E_SP_CHECKED_OUT_TO_OTHER = static_cast<HRESULT>(0x800700DC);
inline constexpr HRESULT E_SP_OUTDATED = static_cast<HRESULT>(0x800702A7);
inline constexpr HRESULT E_SP_NO_SUCH_ELEMENT = static_cast<HRESULT>(0x80070490);
inline constexpr HRESULT E_SP_INVALID_NAME = static_cast<HRESULT>(0x803D0020);

// What is thrown. `message` is the text for the user's error details.
struct Exception {
    explicit Exception(std::u16string_view text) : message(text) {}
    virtual ~Exception() = default;
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    // The message as a line of the log may hold it.
    std::u16string LoggedMessage() const { return names_something ? MaskForLog(message) : message; }
    std::u16string message;
    bool names_something = false;

protected:
    Exception() = default;
};

// A message with a name in it, of a document or a person: for the user's eyes, masked in the log.
struct NamingText {
    std::u16string text;
};

struct HResultException : Exception {
    // An empty message becomes the system's text of the code.
    explicit HResultException(HRESULT code, std::u16string_view message = {});
    HResultException(HRESULT code, const NamingText& message);
    HRESULT code;
    bool is_default_text;
};

struct ApiException : Exception {
    ApiException();  // of the calling thread's last error
    explicit ApiException(DWORD code);
    DWORD code;
    bool is_default_text;
};

// "HRESULT 0x%.8x: %s" with the system's text of the code.
std::u16string GetResultText(HRESULT code);

// "System error code %u: %s" of a Win32 error number, 0 meaning the thread's last error; `has_text` tells
// whether the words came from a table of the system (false: they are the server's own, or there are none).
std::u16string GetApiErrorText(DWORD code, bool& has_text);

// Whoever talks to servers registers here what reads a server's own words for the last internet error of the
// calling thread. Any thread.
using ServerErrorReader = std::u16string (*)();
void SetServerErrorReader(ServerErrorReader reader);

// Turns the exception in flight into a result code, and hands its message to `out_error_details` if given.
// Only to be called in a catch clause; see HOST_BOUNDARY.
HRESULT FailureToResult(const char* function, TMK::ITMK_ErrorDetails* out_error_details) noexcept;

// Hands a sentence for a person to the details of an operation that succeeds; `out_error_details` may be
// null.
void TellPerson(TMK::ITMK_ErrorDetails* out_error_details, std::u16string_view sentence);

// True when the host's cancel object is given and reports true.
bool IsCanceled(TMK::ITMK_CancelFlag* cancel_flag);

namespace Failure {
void LogReturn(const char* function, std::u16string_view expression, HRESULT code);
void LogThrow(const char* function, std::u16string_view expression, std::u16string_view message);
void LogPlainThrow(const char* function, std::u16string_view message);
void TraceExit(const char* function, std::u16string_view note);
std::u16string Note(std::u16string_view text);
std::u16string Note(const char16_t* text);
std::u16string Note(int64_t number);
std::u16string Note(uint64_t number);
inline std::u16string Note(int32_t number) {
    return Note(static_cast<int64_t>(number));
}
inline std::u16string Note(uint32_t number) {
    return Note(static_cast<uint64_t>(number));
}
}  // namespace Failure

// At the start of a function: names it for all lines below and writes "<name>-->" at the verbose level.
#define TRACE_ENTRY(name)                                                \
    [[maybe_unused]] static constexpr const char* trace_function = name; \
    if (Log::IsOn(Log::verbose)) Log::Write(Log::verbose, name "-->", {})

// Names the function without the entry line (for inner functions and lambdas that log under a given name).
#define TRACE_NAME(name) [[maybe_unused]] static constexpr const char* trace_function = name

// "<name><--" with a note: the result's name, a number or a short text.
#define TRACE_EXIT(note)                                                                      \
    do {                                                                                      \
        if (Log::IsOn(Log::verbose)) Failure::TraceExit(trace_function, Failure::Note(note)); \
    } while (false)

// Exit trace with the name of a result constant, then return it: TRACE_RETURN(S_OK).
#define TRACE_RETURN(code)     \
    do {                       \
        TRACE_EXIT(u"" #code); \
        return code;           \
    } while (false)

// Returns `code` when the expression is false.
#define CHECK_RETURN(expression, code) CHECK_RETURN_TEXT(expression, code, u"" #expression)
#define CHECK_RETURN_TEXT(expression, code, text)                 \
    do {                                                          \
        if (!(expression)) {                                      \
            const HRESULT check_code = (code);                    \
            Failure::LogReturn(trace_function, text, check_code); \
            return check_code;                                    \
        }                                                         \
    } while (false)

// Returns the failure of a call that gives an HRESULT.
#define CHECK_RESULT(call) CHECK_RESULT_TEXT(call, u"" #call)
#define CHECK_RESULT_TEXT(call, text)                                \
    do {                                                             \
        if (const HRESULT check_code = (call); FAILED(check_code)) { \
            Failure::LogReturn(trace_function, text, check_code);    \
            return check_code;                                       \
        }                                                            \
    } while (false)

// Throws `type(arguments...)` when the expression is false.
#define CHECK_THROW(expression, type, ...) CHECK_THROW_TEXT(expression, u"" #expression, type, __VA_ARGS__)
#define CHECK_THROW_TEXT(expression, text, type, ...)                               \
    do {                                                                            \
        if (!(expression)) {                                                        \
            const type check_failure{__VA_ARGS__};                                  \
            Failure::LogThrow(trace_function, text, check_failure.LoggedMessage()); \
            throw check_failure;                                                    \
        }                                                                           \
    } while (false)

// Throws the failure of a call that gives an HRESULT as an HResultException of its code.
#define CHECK_RESULT_THROW(call) CHECK_RESULT_THROW_TEXT(call, u"" #call)
#define CHECK_RESULT_THROW_TEXT(call, text)                                         \
    do {                                                                            \
        if (const HRESULT check_code = (call); FAILED(check_code)) {                \
            const HResultException check_failure{check_code};                       \
            Failure::LogThrow(trace_function, text, check_failure.LoggedMessage()); \
            throw check_failure;                                                    \
        }                                                                           \
    } while (false)

// An unconditional throw.
#define THROW_TRACED(type, ...)                                                \
    do {                                                                       \
        const type check_failure{__VA_ARGS__};                                 \
        Failure::LogPlainThrow(trace_function, check_failure.LoggedMessage()); \
        throw check_failure;                                                   \
    } while (false)

// Ends the try block of a host operation: `try { ... } HOST_BOUNDARY(out_error_details)`.
#define HOST_BOUNDARY(out_error_details)                           \
    catch (...) {                                                  \
        return FailureToResult(trace_function, out_error_details); \
    }
