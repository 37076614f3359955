#include "host/jobs/error_text.h"

#include <algorithm>
#include <array>

#include "host/base/environment.h"
#include "host/base/text.h"
#include "platform/text.h"

namespace host {

namespace {

struct Row {
    std::uint32_t code;
    const char* text;
};

constexpr std::array kRows{
    Row{0x821704C7, "cancelled"},
    Row{0x80004005, "the operation failed, or the server gave an answer that makes no sense here"},
    Row{0x80004001, "this isn't possible yet"},
    Row{0x80070057, "the server names no site for this address, or the plug-in can't work with it"},
    Row{0x80070002, "there is no such file"},
    Row{0x80070003, "there is no such folder"},
    Row{0x80070005, "access was denied"},
    Row{0x8007000D, "the data is damaged or incomplete"},
    Row{0x80070013, "the place is write-protected"},
    Row{0x80070020, "the document is in use by another program"},
    Row{0x80070026, "the document ended too early"},
    Row{0x80070035, "the site was not found on this server"},
    Row{0x80070050, "there is a file of that name already"},
    Row{0x80070070, "the disk is full"},
    Row{0x800700DC, "the document is checked out to somebody else"},
    Row{0x800700DF, "the file is too large"},
    Row{0x800702A7, "the server has a newer version"},
    Row{0x80070490, "there is nothing at this address"},
    Row{0x800704D5, "the upload has to be tried again"},
    Row{0x80071779, "you have no right to change this document"},
    Row{0x8007139F, "the document is not open in a way that allows this"},
    Row{0x803D0020, "a name holds a character that isn't allowed: one of ? * : \" | < > \\"},
    Row{0x80072EE2, "the server took too long to answer"},
    Row{0x80072EE5, "the address is not valid"},
    Row{0x80072EE7, "the server's name could not be found"},
    Row{0x80072EFD, "the server could not be reached"},
    Row{0x80072EFE, "the connection was broken"},
    Row{0x80072EFF, "the connection was reset"},
    Row{0x80072F00, "the connection broke each time the upload was tried"},
    Row{0x80072F08, "the server leads to an address that is not secure; nothing was sent there"},
    Row{0x80072F78, "the server's answer is not valid"},
    Row{0x80072F8F, "the server's certificate is not trusted"},
    Row{0x80072F7D, "a secure connection could not be made"},
};

std::string SystemText(HRESULT code) {
    std::array<char16_t, 512> text{};
    const auto bits = static_cast<std::uint32_t>(code);
    const DWORD number = bits & 0xFFFF;
    const bool is_internet = (bits & 0xFFFF0000) == 0x80070000 && number >= 12000 && number < 13000;
    const DWORD flags = FORMAT_MESSAGE_IGNORE_INSERTS |
                        (is_internet ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM);
    const DWORD size =
        FormatMessageW(flags, is_internet ? static_cast<LPCVOID>(GetModuleHandleW(u"wininet.dll")) : nullptr,
                       is_internet ? number : bits, 0, text.data(), text.size(), nullptr);
    return PlainLine(ToUtf8({text.data(), size}));
}

// A proxy's refusals come as failures of the request or of the connection.
std::string ProxyHint(std::uint32_t code) {
    const bool is_likely = code == 0x80004005 || code == 0x80072EFD;
    if (!is_likely || !IsProxySet()) return {};
    return "; the proxy on the way may refuse the request, or want a name and a password in its address";
}

}  // namespace

std::string FriendlyText(HRESULT code) {
    const auto bits = static_cast<std::uint32_t>(code);
    const auto row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return r.code == bits; });
    if (row != kRows.end()) return row->text + ProxyHint(bits);
    if ((bits & 0xFFFF0000) == 0x80190000)
        return "the server answered with status " + std::to_string(bits & 0xFFFF);
    const std::string text = SystemText(code);
    return text.empty() ? "the operation failed" : text;
}

}  // namespace host
