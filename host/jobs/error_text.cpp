#include "host/jobs/error_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

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

constexpr std::uint32_t kNoEditRights = 0x80071779;

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

// The message with each login name in it as a person knows it.
std::string WithoutClaims(std::string message) {
    for (std::size_t at = message.find("i:0"); at != std::string::npos; at = message.find("i:0", at + 1)) {
        const std::size_t end = std::min(message.find_first_of("\"' <>,;)", at), message.size());
        const std::size_t bar = message.substr(at, end - at).rfind('|');
        if (bar != std::string::npos) message.erase(at, bar + 1);
    }
    return message;
}

}  // namespace

std::string FriendlyText(HRESULT code) {
    const auto bits = static_cast<std::uint32_t>(code);
    const auto row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return r.code == bits; });
    if (row != kRows.end()) return row->text + ProxyHint(bits);
    if ((bits & 0xFFFF0000) == 0x80190000) {
        const std::string status = std::to_string(bits & 0xFFFF);
        return WordsFor(code, "HTTP " + status + ": the server answered with status " + status);
    }
    const std::string text = SystemText(code);
    return text.empty() ? "the operation failed" : text;
}

std::string WordsFor(HRESULT code, const std::string& given) {
    if (static_cast<std::uint32_t>(code) == kNoEditRights) return "you may only read this";
    std::string message = WithoutClaims(given);
    unsigned status = 0;
    if (std::sscanf(message.c_str(), "HTTP %3u:", &status) != 1) return message;
    const std::string behind = " (HTTP " + std::to_string(status) + ")";
    const std::size_t advice = message.find("try again");
    const std::string wait = advice == std::string::npos ? "try again in a minute" : message.substr(advice);
    switch (status) {
        case 403:
            return "you have no right to do this" + behind;
        case 404:
            return "there is nothing at this address" + behind;
        case 407:
            return "the proxy asks for a name and a password; they belong in its address, in http_proxy or "
                   "https_proxy" +
                   behind;
        case 423:
            return "the document is locked by somebody else" + behind;
        case 429:
        case 503:
            return "the server is busy" + behind + "; " + wait;
        case 507:
            return "the server has no space left for this" + behind;
        default:
            return status >= 500 ? "the server failed at this" + behind + ": " + message : message;
    }
}

std::string PersonOf(std::string_view login) {
    return PlainLine(login.substr(login.rfind('|') + 1));
}

std::string BrokenNameRule(std::string_view name) {
    static constexpr std::string_view kForbidden = "\"*:<>?\\|";
    static constexpr std::array<std::string_view, 26> kReserved{
        ".lock", "CON",  "PRN",  "AUX",  "NUL",  "COM0", "COM1", "COM2",       "COM3",
        "COM4",  "COM5", "COM6", "COM7", "COM8", "COM9", "LPT0", "LPT1",       "LPT2",
        "LPT3",  "LPT4", "LPT5", "LPT6", "LPT7", "LPT8", "LPT9", "desktop.ini"};
    if (name.find_first_of(kForbidden) != std::string_view::npos)
        return "a name can't hold any of " + std::string("\" * : < > ? \\ |");
    if (name.starts_with(' ') || name.ends_with(' ')) return "a name can't begin or end with a blank";
    if (name.ends_with('.')) return "a name can't end with a dot";
    if (name.starts_with("~$")) return "a name can't begin with ~$";
    if (name.find("_vti_") != std::string_view::npos) return "a name can't hold _vti_";
    const bool is_reserved = std::any_of(kReserved.begin(), kReserved.end(), [&](std::string_view reserved) {
        return EqualIgnoreCase(ToUtf16(name), ToUtf16(reserved));
    });
    if (is_reserved) return "this name is reserved";
    if (ToUtf16(name).size() > 255) return "a name can't have more than 255 characters";
    return {};
}

}  // namespace host
