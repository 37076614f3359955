#include "host/jobs/job.h"

#include <fcntl.h>

#include <algorithm>
#include <chrono>

#include "host/jobs/address.h"
#include "host/jobs/error_text.h"

namespace host {

namespace {

constexpr HRESULT kNotFound = HRESULT_FROM_WIN32(1168);
constexpr std::chrono::milliseconds kCancelInterval{50};
constexpr std::size_t kBlock = 1u << 20;

}  // namespace

std::shared_ptr<Site> Sites::Find(const std::string& account_id) const {
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_sites.begin(), m_sites.end(),
                                    [&](const auto& site) { return site->account.id == account_id; });
    return found == m_sites.end() ? nullptr : *found;
}

void Sites::Add(std::shared_ptr<Site> site) {
    const std::lock_guard lock(m_mutex);
    m_sites.push_back(std::move(site));
}

void Sites::Remove(const std::string& account_id) {
    const auto released = Find(account_id);
    const std::lock_guard lock(m_mutex);
    std::erase(m_sites, released);
}

std::vector<std::shared_ptr<Site>> Sites::All() const {
    const std::lock_guard lock(m_mutex);
    return m_sites;
}

std::shared_ptr<std::timed_mutex> Sites::TurnOf(const std::string& document_key) {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_turns, [](const auto& turn) { return turn.second.expired(); });
    auto turn = m_turns[document_key].lock();
    if (!turn) m_turns[document_key] = turn = std::make_shared<std::timed_mutex>();
    return turn;
}

void Sites::Clear() {
    std::vector<std::shared_ptr<Site>> released;
    const std::lock_guard lock(m_mutex);
    released.swap(m_sites);
}

Job::Job(Host& host, std::shared_ptr<Sites> sites, const std::atomic<bool>* source, std::string no_place)
    : m_host(host),
      m_sites(std::move(sites)),
      m_no_place(std::move(no_place)),
      m_cancel(Make<CancelFlag>(source)),
      m_details(Make<ErrorDetails>()),
      m_file_system(host.FileSystem()) {}

void Job::Fail(HRESULT code, const std::string& what, const std::string& message) {
    throw JobError{what, code, message};
}

HRESULT Job::Check(HRESULT result, const std::string& what) {
    const std::string noted = m_host.TakeMessage();
    if (SUCCEEDED(result)) {
        // What a person should know of a success.
        if (const std::string told = m_details->Text(); !told.empty())
            m_host.front_end().Warn(what + ": " + told);
        m_details->Clear();
        return result;
    }
    std::string message = PlainLine(m_details->Text());
    if (message.empty()) message = PlainLine(noted);
    if (message.empty() || result == kCanceled) {
        message = FriendlyText(result);
        if (result == kCanceled && !noted.empty()) message += ": " + PlainLine(noted);
    }
    m_details->Clear();
    Fail(result, what, WordsFor(result, message));
}

StoredAccount Job::AccountFor(const std::u16string& url, const std::string& what) {
    const auto accounts = Accounts();
    const StoredAccount* account = Accounts::Find(accounts, url);
    if (!account) Fail(kNotFound, what, "no place is known for this address; " + m_no_place);
    return *account;
}

void Job::Lock(std::unique_lock<std::timed_mutex>& lock, const std::string& what) {
    // By the clock of the system, since ThreadSanitizer does not see a wait by the steady one.
    while (!lock.try_lock_until(std::chrono::system_clock::now() + kCancelInterval)) {
        if (IsCanceled(cancel())) Check(kCanceled, what);
    }
}

DocumentTurn Job::TakeTurn(const std::u16string& url, const std::string& what) {
    DocumentTurn turn{m_sites->TurnOf(CacheStore::KeyOf(ToUtf8(url))), {}};
    turn.lock = std::unique_lock(*turn.mutex, std::defer_lock);
    Lock(turn.lock, what);
    return turn;
}

Site& Job::SiteFor(const std::u16string& url, const std::string& what) {
    StoredAccount account = AccountFor(url, what);
    std::unique_lock binding(m_sites->binding(), std::defer_lock);
    Lock(binding, what);
    if (const auto site = m_sites->Find(account.id)) {
        TMK::IAFS_AccountData* const data = site->account.account.get();
        m_host.SetSite(Accounts::UrlOf(data), Accounts::UserOf(data));
        return *site;
    }
    RequirePrivatePlace(account, what);
    // If the server asks for a token, it has refused the stored one.
    if (const auto token = m_host.DecryptForPlugin(Accounts::StoredTokenOf(account))) {
        m_host.oauth().NoteInUse(ToUtf8(Accounts::UrlOf(account.account.get())), ToUtf8(*token));
    }
    auto site = std::make_shared<Site>();
    site->account = std::move(account);
    Check(m_host.Bind(site->account.account.get(), cancel(), site->root), what);
    m_sites->Add(site);
    return *site;
}

void Job::RequirePrivatePlace(const StoredAccount& account, const std::string& what) {
    if (!Accounts::IsModern(account)) return;
    try {
        m_host.oauth().RequirePrivatePlace(ToUtf8(Accounts::UrlOf(account.account.get())));
    } catch (const Failure& failure) {
        Fail(failure.code(), what, failure.what());
    }
}

void Job::SaveAccounts() {
    // A job that is binding now stores all of them when it ends.
    const std::unique_lock binding(m_sites->binding(), std::try_to_lock);
    if (!binding) return;
    for (const auto& site : m_sites->All()) {
        try {
            m_host.accounts().Save(site->account);
        } catch (const Failure& failure) {
            m_host.profile().warn(failure.what());
        }
    }
}

ComPtr<TMK::IAFS_Name> Job::NameFor(const std::u16string& url, const std::string& what) {
    Site& site = SiteFor(url, what);
    ComPtr<TMK::IAFS_Name> name;
    Check(m_file_system->StringToName(url.c_str(), 0, site.root.get(), name.put()), what);
    return name;
}

ComPtr<TMK::IAFS_FileInfo> Job::FindInfo(TMK::IAFS_Name* name, const std::string& what) {
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

ComPtr<TMK::IAFS_FileInfo> Job::InfoOf(TMK::IAFS_Name* name, const std::string& what) {
    auto info = FindInfo(name, what);
    if (!info) {
        const std::string too_long = TooLongText(UrlOf(name));
        Fail(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), what,
             too_long.empty() ? "nothing was found at this address, or the server did not say" : too_long);
    }
    return info;
}

ComPtr<TMK::IAFS_File> Job::Open(TMK::IAFS_Name* name, DWORD flags, const std::string& what) {
    ComPtr<TMK::IAFS_File> file;
    Check(m_file_system->OpenFile(name, flags, details(), cancel(), file.put()), what);
    return file;
}

void Job::Exec(TMK::IAFS_File* file, LPCWSTR command, const std::string& what) {
    Variant result;
    const Variant nothing;
    Check(file->Exec(command, nothing.get(), result.put(), details(), cancel()), what);
}

bool Job::IsCheckedOutToUser(TMK::IAFS_Name* name, const std::string& what) {
    Variant value;
    Check(m_file_system->get_Prop(name, u"CheckedOut", value.put()), what);
    return value.type() == VT_BOOL && value.get().boolVal != VARIANT_FALSE;
}

bool Job::IsCheckedOut(TMK::IAFS_File* file) {
    Variant value;
    const HRESULT result = file->get_Prop(u"CheckedOut", value.put());
    m_host.TakeMessage();
    return SUCCEEDED(result) && value.type() == VT_BOOL && value.get().boolVal != VARIANT_FALSE;
}

std::u16string Job::UrlOf(TMK::IAFS_Name* name) {
    Bstr url;
    Check(m_file_system->NameToString(name, 0, nullptr, url.put()), "name");
    return std::u16string(url.view());
}

std::string Job::TextOf(TMK::IAFS_Name* name, LPCWSTR property) {
    Variant value;
    const HRESULT result = m_file_system->get_Prop(name, property, value.put());
    m_host.TakeMessage();
    return SUCCEEDED(result) && value.type() == VT_BSTR ? ToUtf8(FromWide(value.bstrVal)) : std::string();
}

HRESULT Job::ReadThrough(TMK::IAFS_File* file, ProgressDisplay* progress) {
    const auto block = std::make_unique<char[]>(kBlock);
    std::uint64_t position = 0;
    LONGLONG got = 0;
    do {
        const HRESULT result = file->Read(block.get(), kBlock, &got, details(), cancel());
        if (FAILED(result)) return result;
        position += static_cast<std::uint64_t>(got);
        if (progress) progress->Show(position);
    } while (got > 0);
    return S_OK;
}

void Job::MarkChanged(TMK::IAFS_File* file, const fs::path& local_path, const std::string& what) {
    const Descriptor local = OpenFile(local_path, O_RDONLY);
    char byte = 0;
    const bool is_empty = ReadAt(local.get(), local_path, &byte, 1, 0) == 0;
    Check(file->SetPos(0, 0, nullptr), what);
    Check(file->Write(&byte, 1, nullptr, details(), cancel()), what);
    if (is_empty) Check(file->SetSize(0, details(), cancel()), what);
}

bool IsFolder(TMK::IAFS_FileInfo* info) {
    DWORD attributes = 0;
    return SUCCEEDED(info->get_Attributes(&attributes)) && (attributes & TMK::AFS_FileAttribute_Folder);
}

}  // namespace host
