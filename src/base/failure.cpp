#include "base/failure.h"

#include <array>
#include <atomic>
#include <new>

#include "platform/text.h"

namespace {

// docs/compatibility.md: Misspelt words
constexpr std::u16string_view kNoText = u"<no system error information avaliable>";
constexpr DWORD kEnglish = 1033;
constexpr DWORD kFirstInternetError = 12001;
constexpr DWORD kExtendedInternetError = 12003;

std::atomic<ServerErrorReader> g_server_error_reader = nullptr;

// The words of a table of the system, empty when it has none.
std::u16string SystemMessage(DWORD flags, HMODULE module, DWORD code) {
    std::array<char16_t, 1024> buffer{};
    const DWORD length = FormatMessageW(flags | FORMAT_MESSAGE_IGNORE_INSERTS, module, code, kEnglish,
                                        buffer.data(), static_cast<DWORD>(buffer.size()), nullptr);
    return std::u16string(buffer.data(), length);
}

std::u16string OrNoText(const std::u16string& text) {
    return text.empty() ? std::u16string(kNoText) : text;
}

std::u16string TableText(DWORD code) {
    if (code < kFirstInternetError) return SystemMessage(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code);
    return SystemMessage(FORMAT_MESSAGE_FROM_HMODULE, GetModuleHandleW(u"wininet.dll"), code);
}

HRESULT ToResult(DWORD code) {
    return static_cast<int32_t>(code) <= 0 ? static_cast<HRESULT>(code)
                                           : static_cast<HRESULT>((code & 0xFFFF) | 0x80070000);
}

void HandOver(TMK::ITMK_ErrorDetails* out_error_details, const std::u16string& message) {
    if (out_error_details) out_error_details->put_Text(message.c_str());
}

}  // namespace

HResultException::HResultException(HRESULT failure, std::u16string_view text)
    : Exception(text.empty() ? GetResultText(failure) : std::u16string(text)),
      code(failure),
      is_default_text(text.empty()) {}

HResultException::HResultException(HRESULT failure, const NamingText& naming)
    : HResultException(failure, naming.text) {
    names_something = true;
}

ApiException::ApiException() : ApiException(GetLastError()) {}

ApiException::ApiException(DWORD failure) : code(failure), is_default_text(false) {
    message = GetApiErrorText(failure, is_default_text);
}

std::u16string GetResultText(HRESULT code) {
    return Log::Format(
        u"HRESULT 0x%.8x: %s", static_cast<uint32_t>(code),
        OrNoText(SystemMessage(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(code))));
}

void SetServerErrorReader(ServerErrorReader reader) {
    g_server_error_reader = reader;
}

std::u16string GetApiErrorText(DWORD code, bool& has_text) {
    has_text = false;
    if (code == 0) code = GetLastError();
    if (code == static_cast<DWORD>(E_CANCELED)) return u"Canceled";
    std::u16string text;
    if (code == kExtendedInternetError) {
        if (const ServerErrorReader reader = g_server_error_reader) text = reader();
    } else if (code != 0) {
        text = TableText(code);
        has_text = true;
    }
    return Log::Format(u"System error code %u: %s", code, OrNoText(text));
}

HRESULT FailureToResult(const char* function, TMK::ITMK_ErrorDetails* out_error_details) noexcept {
    try {
        try {
            throw;
        } catch (const HResultException& failure) {
            Failure::LogReturn(function, u"0", failure.code);
            if (!failure.is_default_text) HandOver(out_error_details, failure.message);
            return failure.code;
        } catch (const ApiException& failure) {
            const HRESULT result = ToResult(failure.code);
            Failure::LogReturn(function, u"0", result);
            if (!failure.is_default_text) HandOver(out_error_details, failure.message);
            return result;
        } catch (const Exception& failure) {
            Failure::LogReturn(function, u"E_FAIL", E_FAIL);
            HandOver(out_error_details, failure.message);
            return E_FAIL;
        } catch (const std::bad_alloc&) {
            Failure::LogReturn(function, u"E_OUTOFMEMORY", E_OUTOFMEMORY);
            return E_OUTOFMEMORY;
        } catch (...) {
            Failure::LogReturn(function, u"E_FAIL", E_FAIL);
            return E_FAIL;
        }
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

void TellPerson(TMK::ITMK_ErrorDetails* out_error_details, std::u16string_view sentence) {
    HandOver(out_error_details, std::u16string(sentence));
}

bool IsCanceled(TMK::ITMK_CancelFlag* cancel_flag) {
    VARIANT_BOOL canceled = VARIANT_FALSE;
    return cancel_flag && SUCCEEDED(cancel_flag->get_IsCanceled(&canceled)) && canceled != VARIANT_FALSE;
}

namespace Failure {

void LogReturn(const char* function, std::u16string_view expression, HRESULT code) {
    if (!Log::IsOn(Log::error)) return;
    Log::Write(Log::error, function,
               Log::Format(u"Expression: '%s' caused returning '%s'", expression, GetResultText(code)));
}

void LogThrow(const char* function, std::u16string_view expression, std::u16string_view message) {
    if (!Log::IsOn(Log::error)) return;
    Log::Write(Log::error, function,
               Log::Format(u"Expression '%s' caused throwing '%s'", expression, message));
}

void LogPlainThrow(const char* function, std::u16string_view message) {
    if (!Log::IsOn(Log::error)) return;
    Log::Write(Log::error, function, Log::Format(u"Throwing '%s'", message));
}

void TraceExit(const char* function, std::u16string_view note) {
    Log::Write(Log::verbose, std::string(function) + "<--", note);
}

std::u16string Note(std::u16string_view text) {
    return std::u16string(text);
}
std::u16string Note(const char16_t* text) {
    return text;
}
std::u16string Note(int64_t number) {
    return Log::Format(u"%lld", number);
}
std::u16string Note(uint64_t number) {
    return Log::Format(u"%llu", number);
}

}  // namespace Failure
