#include "host/cli/run/run.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/base/interrupt.h"
#include "host/cli/run/error_text.h"
#include "host/cli/run/url_argument.h"

namespace cli {

namespace {

constexpr HRESULT kNotFound = HRESULT_FROM_WIN32(1168);

}  // namespace

Run::Run(host::Host& host, const Options& options)
    : m_host(host),
      m_options(options),
      m_cancel(host::Make<host::CancelFlag>(&host::InterruptFlag())),
      m_details(host::Make<host::ErrorDetails>()),
      m_file_system(host.FileSystem()) {}

void Run::Fail(HRESULT code, const std::string& what, const std::string& message) {
    throw CommandError{what, code, message};
}

HRESULT Run::Check(HRESULT result, const std::string& what) {
    const std::string noted = m_host.TakeMessage();
    if (SUCCEEDED(result)) {
        // What a person should know of a success.
        if (const std::string told = m_details->Text(); !told.empty())
            m_host.front_end().Warn(what + ": " + told);
        m_details->Clear();
        return result;
    }
    std::string message = host::PlainLine(m_details->Text());
    if (message.empty()) message = host::PlainLine(noted);
    if (message.empty() || result == host::kCanceled) {
        message = FriendlyText(result);
        if (result == host::kCanceled && !noted.empty()) message += ": " + host::PlainLine(noted);
    }
    m_details->Clear();
    Fail(result, what, message);
}

bool Run::Agrees(const Question& question, const std::string& what) {
    if (question.yes_agrees && m_options.Has("yes")) return true;
    ComPtr<TMK::ITMK_TaskDialog> dialog;
    Check(m_host.instance()->CreateTaskDialog(dialog.put()), what);
    dialog->put_Id(question.id);
    dialog->put_Style(TMK::TaskDialogStyle_Base | TMK::TaskDialogStyle_IconWarning);
    dialog->put_Text(host::ToUtf16(question.text).c_str());
    dialog->AddButton(question.yes);
    dialog->AddButton(question.no);
    dialog->put_DefaultButton(question.is_default ? 0 : 1);
    dialog->put_CancelButton(1);
    UINT pressed = 1;
    Check(dialog->DoModal(nullptr, &pressed), what);
    return pressed == 0;
}

host::StoredAccount Run::AccountFor(const std::u16string& url, const std::string& what) {
    const auto accounts = Accounts();
    const host::StoredAccount* account = host::Accounts::Find(accounts, url);
    if (!account)
        Fail(kNotFound, what, "no place is known for this address; 'sphost place add URL' adds its site");
    return *account;
}

Site& Run::SiteFor(const std::u16string& url, const std::string& what) {
    host::StoredAccount account = AccountFor(url, what);
    for (const auto& site : m_sites) {
        if (site->account.id == account.id) return *site;
    }
    RequirePrivatePlace(account, what);
    // If the server asks for a token, it has refused the stored one.
    if (const auto token = m_host.DecryptForPlugin(host::Accounts::StoredTokenOf(account))) {
        m_host.oauth().NoteInUse(host::ToUtf8(host::Accounts::UrlOf(account.account.get())),
                                 host::ToUtf8(*token));
    }
    auto site = std::make_unique<Site>();
    site->account = std::move(account);
    Check(m_host.Bind(site->account.account.get(), cancel(), site->root), what);
    m_sites.push_back(std::move(site));
    return *m_sites.back();
}

void Run::RequirePrivatePlace(const host::StoredAccount& account, const std::string& what) {
    if (!host::Accounts::IsModern(account)) return;
    try {
        m_host.oauth().RequirePrivatePlace(host::ToUtf8(host::Accounts::UrlOf(account.account.get())));
    } catch (const host::Failure& failure) {
        Fail(failure.code(), what, failure.what());
    }
}

void Run::SaveAccounts() {
    for (const auto& site : m_sites) {
        try {
            m_host.accounts().Save(site->account);
        } catch (const host::Failure& failure) {
            m_host.profile().warn(failure.what());
        }
    }
}

ComPtr<TMK::IAFS_Name> Run::NameFor(const std::u16string& url, const std::string& what) {
    Site& site = SiteFor(url, what);
    ComPtr<TMK::IAFS_Name> name;
    Check(m_file_system->StringToName(url.c_str(), 0, site.root.get(), name.put()), what);
    return name;
}

ComPtr<TMK::IAFS_FileInfo> Run::FindInfo(TMK::IAFS_Name* name, const std::string& what) {
    ComPtr<TMK::IAFS_FileInfo> info;
    const HRESULT result = m_file_system->GetFileInfo(name, details(), cancel(), info.put());
    if (result == E_INVALIDARG || result == kNotFound || result == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)) {
        m_details->Clear();
        m_host.TakeMessage();
        return nullptr;
    }
    Check(result, what);
    return info;
}

ComPtr<TMK::IAFS_FileInfo> Run::InfoOf(TMK::IAFS_Name* name, const std::string& what) {
    auto info = FindInfo(name, what);
    if (!info) {
        Fail(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), what,
             "nothing was found at this address, or the server did not say");
    }
    return info;
}

ComPtr<TMK::IAFS_File> Run::Open(TMK::IAFS_Name* name, DWORD flags, const std::string& what) {
    ComPtr<TMK::IAFS_File> file;
    Check(m_file_system->OpenFile(name, flags, details(), cancel(), file.put()), what);
    return file;
}

void Run::Exec(TMK::IAFS_File* file, LPCWSTR command, const std::string& what) {
    Variant result;
    const Variant nothing;
    Check(file->Exec(command, nothing.get(), result.put(), details(), cancel()), what);
}

bool Run::IsCheckedOutToUser(TMK::IAFS_Name* name, const std::string& what) {
    Variant value;
    Check(m_file_system->get_Prop(name, u"CheckedOut", value.put()), what);
    return value.type() == VT_BOOL && value.get().boolVal != VARIANT_FALSE;
}

bool Run::IsCheckedOut(TMK::IAFS_File* file) {
    Variant value;
    const HRESULT result = file->get_Prop(u"CheckedOut", value.put());
    m_host.TakeMessage();
    return SUCCEEDED(result) && value.type() == VT_BOOL && value.get().boolVal != VARIANT_FALSE;
}

std::u16string Run::UrlOf(TMK::IAFS_Name* name) {
    Bstr url;
    Check(m_file_system->NameToString(name, 0, nullptr, url.put()), "name");
    return std::u16string(url.view());
}

void Run::RefuseUnsent(const std::u16string& url, const std::string& what) {
    using State = host::UnsentDocument::State;
    const auto unsent = m_host.cache()->Unsent(host::ToUtf8(url));
    if (!unsent || unsent->state == State::incomplete) return;
    RefuseOpen(url, what);
    Fail(host::kInUse, what, "earlier changes were not sent yet; 'sphost recover' sends or drops them");
}

void Run::RefuseOpen(const std::u16string& url, const std::string& what) {
    const auto unsent = m_host.cache()->Unsent(host::ToUtf8(url));
    if (unsent && unsent->state == host::UnsentDocument::State::editing)
        Fail(host::kInUse, what, "the document is open in another sphost; try again when that has ended");
}

void Run::Out(const std::string& text) {
    std::string_view left = text;
    while (!left.empty()) {
        const ssize_t written = write(STDOUT_FILENO, left.data(), left.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0)
            Fail(host::ResultOfErrno(errno), m_options.command, "can't write to standard output");
        left.remove_prefix(static_cast<std::size_t>(written));
    }
}

void Run::Say(const std::string& line) {
    if (!m_options.Has("json")) Out(line + "\n");
}

std::string ReadSecretLine(const std::string& what) {
    std::string line;
    char byte = 0;
    constexpr std::size_t kLongest = 64 * 1024;
    while (line.size() < kLongest) {
        const ssize_t got = read(STDIN_FILENO, &byte, 1);
        if (got < 0 && errno == EINTR && !host::InterruptFlag()) continue;
        if (got <= 0 || byte == '\n') break;
        line += byte;
    }
    while (line.ends_with('\r')) line.pop_back();
    if (line.empty()) throw CommandError{what, E_INVALIDARG, "standard input holds no line with the secret"};
    return line;
}

bool IsFolder(TMK::IAFS_FileInfo* info) {
    DWORD attributes = 0;
    return SUCCEEDED(info->get_Attributes(&attributes)) && (attributes & TMK::AFS_FileAttribute_Folder);
}

std::string What(const Options& options, const std::string& argument) {
    return options.command + " " + host::PlainLine(argument);
}

}  // namespace cli
