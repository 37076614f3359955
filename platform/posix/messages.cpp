// The English texts of error numbers and result codes: the system's table, and the internet layer's from
// 12001 on. Any thread.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "platform/resource_table.h"
#include "platform/text.h"
#include "platform/wininet.h"

namespace {

struct Message {
    DWORD id;
    std::u16string_view text;
};

constexpr Message kSystemMessages[] = {
    {0, u"The operation has been completed."},
    {ERROR_INVALID_FUNCTION, u"This function can't be used here."},
    {ERROR_FILE_NOT_FOUND, u"There is no such file."},
    {ERROR_PATH_NOT_FOUND, u"There is no such folder."},
    {ERROR_TOO_MANY_OPEN_FILES, u"Too many files are open."},
    {ERROR_ACCESS_DENIED, u"Access was denied."},
    {ERROR_INVALID_HANDLE, u"The handle is not valid."},
    {ERROR_NOT_ENOUGH_MEMORY, u"There is not enough memory for this operation."},
    {ERROR_INVALID_DATA, u"The data is not valid."},
    {14, u"There is not enough memory for this operation."},
    {ERROR_NO_MORE_FILES, u"There are no more files."},
    {ERROR_WRITE_FAULT, u"The device could not be written to."},
    {ERROR_GEN_FAILURE, u"The device does not work."},
    {ERROR_SHARING_VIOLATION, u"The file is in use by another process."},
    {ERROR_HANDLE_EOF, u"The end of the file has been reached."},
    {ERROR_NOT_SUPPORTED, u"The request is not supported."},
    {ERROR_BAD_NETPATH, u"The network place was not found."},
    {ERROR_FILE_EXISTS, u"The file exists already."},
    {ERROR_INVALID_PARAMETER, u"A parameter is wrong."},
    {ERROR_DISK_FULL, u"There is no space left on the disk."},
    {ERROR_INSUFFICIENT_BUFFER, u"The buffer is too small for the data."},
    {ERROR_INVALID_NAME, u"The name of the file or folder is not valid."},
    {ERROR_MOD_NOT_FOUND, u"The module was not found."},
    {ERROR_DIR_NOT_EMPTY, u"The folder is not empty."},
    {ERROR_ALREADY_EXISTS, u"An item of this name exists already."},
    {ERROR_FILENAME_EXCED_RANGE, u"The name or its extension is too long."},
    {ERROR_MR_MID_NOT_FOUND, u"There is no message text for this number."},
    {ERROR_INVALID_FLAGS, u"The flags are not valid."},
    {ERROR_NO_UNICODE_TRANSLATION, u"A character has no counterpart in the other encoding."},
    {ERROR_CANCELLED, u"The operation was canceled by the user."},
    {ERROR_RETRY, u"The operation could not be completed and should be tried again."},
    {ERROR_RESOURCE_DATA_NOT_FOUND, u"The module has no resources."},
    {ERROR_RESOURCE_TYPE_NOT_FOUND, u"The module has no resource of this type."},
    {ERROR_RESOURCE_NAME_NOT_FOUND, u"The module has no resource of this name."},
    {5023, u"The object is not in the state that this operation needs."},
    {static_cast<DWORD>(E_NOTIMPL), u"Not implemented"},
    {static_cast<DWORD>(E_NOINTERFACE), u"The object does not support this interface"},
    {static_cast<DWORD>(E_POINTER), u"A pointer is not valid"},
    {static_cast<DWORD>(E_ABORT), u"The operation was aborted"},
    {static_cast<DWORD>(E_FAIL), u"Failure without further details"},
    {static_cast<DWORD>(E_UNEXPECTED), u"Something failed that never should"},
    {static_cast<DWORD>(DISP_E_MEMBERNOTFOUND), u"There is no such member."},
    {static_cast<DWORD>(DISP_E_TYPEMISMATCH), u"The type does not match."},
    {static_cast<DWORD>(DISP_E_UNKNOWNNAME), u"The name is not known."},
    {static_cast<DWORD>(DISP_E_BADVARTYPE), u"The variable's type is not valid."},
    {static_cast<DWORD>(DISP_E_BADINDEX), u"The index is not valid."},
    {static_cast<DWORD>(DISP_E_ARRAYISLOCKED), u"The memory is locked."},
    {static_cast<DWORD>(STG_E_INVALIDFUNCTION), u"This operation can't be done on the stream."},
    {static_cast<DWORD>(STG_E_INVALIDPOINTER), u"A pointer given to the stream is not valid."},
    {static_cast<DWORD>(STG_E_MEDIUMFULL), u"There is no room for more data."},
};

constexpr Message kInternetMessages[] = {
    {12001, u"There are no more internet handles"},
    {ERROR_INTERNET_TIMEOUT, u"The server did not answer in time"},
    {ERROR_INTERNET_EXTENDED_ERROR, u"The server answered with an error text of its own"},
    {ERROR_INTERNET_INTERNAL_ERROR, u"An internal error occurred in the internet layer"},
    {ERROR_INTERNET_INVALID_URL, u"The URL is not valid"},
    {ERROR_INTERNET_UNRECOGNIZED_SCHEME, u"The scheme of the URL is not known"},
    {ERROR_INTERNET_NAME_NOT_RESOLVED, u"The name of the server or of the proxy could not be resolved"},
    {ERROR_INTERNET_INVALID_OPTION, u"The option is not valid"},
    {ERROR_INTERNET_OPERATION_CANCELLED, u"The operation was canceled"},
    {ERROR_INTERNET_INCORRECT_HANDLE_TYPE, u"The handle is of the wrong kind for this operation"},
    {ERROR_INTERNET_INCORRECT_HANDLE_STATE, u"The handle is not in the right state for this operation"},
    {ERROR_INTERNET_CANNOT_CONNECT, u"A connection with the server could not be made"},
    {ERROR_INTERNET_CONNECTION_ABORTED, u"The connection with the server was ended before its time"},
    {ERROR_INTERNET_CONNECTION_RESET, u"The connection with the server was reset"},
    {ERROR_INTERNET_FORCE_RETRY, u"The server asks for the request to be sent again"},
    {ERROR_INTERNET_SEC_CERT_CN_INVALID, u"The server's certificate is for another name"},
    {ERROR_INTERNET_HTTPS_TO_HTTP_ON_REDIR,
     u"The server leads from a secure address to one that is not; nothing was sent there"},
    {ERROR_INTERNET_CLIENT_AUTH_CERT_NEEDED, u"The server asks for a client certificate"},
    {ERROR_INTERNET_INVALID_CA, u"The server's certificate comes from an authority that is not trusted"},
    {ERROR_HTTP_HEADER_NOT_FOUND, u"The header was not found"},
    {ERROR_HTTP_INVALID_SERVER_RESPONSE, u"The server's answer could not be understood"},
    {ERROR_HTTP_INVALID_HEADER, u"The header is not valid"},
    {ERROR_HTTP_REDIRECT_FAILED, u"The redirection failed"},
    {ERROR_INTERNET_SECURITY_CHANNEL_ERROR, u"A secure connection could not be made"},
    {ERROR_INTERNET_DECODING_FAILED, u"The security of the connection could not be verified"},
};

const ModuleResources kInternetModule{nullptr, 0};

template <std::size_t N>
const Message* Find(const Message (&table)[N], DWORD id) {
    const auto found = std::lower_bound(std::begin(table), std::end(table), id,
                                        [](const Message& row, DWORD wanted) { return row.id < wanted; });
    return found != std::end(table) && found->id == id ? found : nullptr;
}

static_assert(std::is_sorted(std::begin(kSystemMessages), std::end(kSystemMessages),
                             [](const Message& a, const Message& b) { return a.id < b.id; }));
static_assert(std::is_sorted(std::begin(kInternetMessages), std::end(kInternetMessages),
                             [](const Message& a, const Message& b) { return a.id < b.id; }));

// A result code made of an error number has that number's text.
const Message* FindSystem(DWORD id) {
    if (const Message* own = Find(kSystemMessages, id)) return own;
    constexpr DWORD kFacilityMask = 0xFFFF0000;
    constexpr DWORD kWin32Failure = 0x80070000;
    return (id & kFacilityMask) == kWin32Failure ? Find(kSystemMessages, id & 0xFFFF) : nullptr;
}

}  // namespace

HMODULE GetModuleHandleW(LPCWSTR name) {
    constexpr std::u16string_view kName = u"wininet.dll";
    if (name && CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, name, -1, kName.data(),
                               static_cast<int>(kName.size())) == CSTR_EQUAL)
        return &kInternetModule;
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD message_id, DWORD, LPWSTR buffer, DWORD size,
                     va_list*) {
    const Message* message = nullptr;
    if ((flags & FORMAT_MESSAGE_FROM_HMODULE) && source == &kInternetModule)
        message = Find(kInternetMessages, message_id);
    if (!message && (flags & FORMAT_MESSAGE_FROM_SYSTEM)) message = FindSystem(message_id);
    if (!message || !buffer) {
        SetLastError(message ? ERROR_INVALID_PARAMETER : ERROR_MR_MID_NOT_FOUND);
        return 0;
    }
    constexpr std::u16string_view kLineEnd = u"\r\n";
    const std::size_t length = message->text.size() + kLineEnd.size();
    if (length >= size) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    LPWSTR end = std::copy(message->text.begin(), message->text.end(), buffer);
    *std::copy(kLineEnd.begin(), kLineEnd.end(), end) = 0;
    return static_cast<DWORD>(length);
}
