// One piece of work on documents of sites, and the plug-in calls that all of them share: a command of sphost,
// an opening or a saving in the editor. Used by one thread, a worker; the sites are for any thread.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/base/failure.h"
#include "host/base/host_objects.h"
#include "host/core/host.h"

namespace host {

// A failure of a job: the attempt, the result code, and the reason.
struct JobError {
    std::string what;
    HRESULT code;
    std::string message;
};

// A site that is bound: its account, and the name of its root.
struct Site {
    StoredAccount account;
    ComPtr<TMK::IAFS_Name> root;
};

// The sites that are bound, one for each account. One binding at a time.
class Sites {
public:
    std::shared_ptr<Site> Find(const std::string& account_id) const;
    void Add(std::shared_ptr<Site> site);
    void Remove(const std::string& account_id);
    std::vector<std::shared_ptr<Site>> All() const;
    void Clear();
    std::timed_mutex& binding() { return m_binding; }
    // Held by the job that works on a document; the same for everybody who names it.
    std::shared_ptr<std::timed_mutex> TurnOf(const std::string& document_key);

private:
    mutable std::mutex m_mutex;
    std::timed_mutex m_binding;
    std::vector<std::shared_ptr<Site>> m_sites;
    std::map<std::string, std::weak_ptr<std::timed_mutex>> m_turns;
};

// One job at a time works on a document.
struct DocumentTurn {
    std::shared_ptr<std::timed_mutex> mutex;
    std::unique_lock<std::timed_mutex> lock;
};

class Job {
public:
    // Cancelled as well when `source` is set, which outlives it. `no_place` says what a person does about an
    // address that belongs to no place.
    Job(Host& host, std::shared_ptr<Sites> sites, const std::atomic<bool>* source, std::string no_place);

    Host& host() { return m_host; }
    TMK::ITMK_CancelFlag* cancel() { return m_cancel.get(); }
    TMK::ITMK_ErrorDetails* details() { return m_details.get(); }
    TMK::IAFS_FileSys* file_system() { return m_file_system.get(); }
    // Lets what follows run to its end, also after a cancel: it cleans up.
    void IgnoreCancel() { m_cancel = Make<CancelFlag>(); }

    // Returns a success, after warning of what the plug-in says about it; throws a JobError with the best
    // known message for a failure.
    HRESULT Check(HRESULT result, const std::string& what);
    [[noreturn]] static void Fail(HRESULT code, const std::string& what, const std::string& message);

    std::vector<StoredAccount> Accounts() { return m_host.accounts().Load(file_system()); }
    // The account that a URL belongs to; a JobError when there is none.
    StoredAccount AccountFor(const std::u16string& url, const std::string& what);
    // A JobError for a place of access tokens over plain http that nobody has agreed to.
    void RequirePrivatePlace(const StoredAccount& account, const std::string& what);
    // Binds to the site of a URL, once for each account.
    Site& SiteFor(const std::u16string& url, const std::string& what);
    // Waits until no other job works on the document; a JobError when it is cancelled meanwhile.
    DocumentTurn TakeTurn(const std::u16string& url, const std::string& what);
    // A new name, without anything known from the server.
    ComPtr<TMK::IAFS_Name> NameFor(const std::u16string& url, const std::string& what);
    // Null when nothing is there; other failures are JobErrors.
    ComPtr<TMK::IAFS_FileInfo> FindInfo(TMK::IAFS_Name* name, const std::string& what);
    ComPtr<TMK::IAFS_FileInfo> InfoOf(TMK::IAFS_Name* name, const std::string& what);
    ComPtr<TMK::IAFS_File> Open(TMK::IAFS_Name* name, DWORD flags, const std::string& what);
    void Exec(TMK::IAFS_File* file, LPCWSTR command, const std::string& what);
    bool IsCheckedOutToUser(TMK::IAFS_Name* name, const std::string& what);
    // The same of an open document; no when it can't be told.
    bool IsCheckedOut(TMK::IAFS_File* file);
    std::u16string UrlOf(TMK::IAFS_Name* name);
    // What the plug-in last heard of a document, by the name of a property; empty when it knows nothing.
    std::string TextOf(TMK::IAFS_Name* name, LPCWSTR property);
    // Stores the accounts as binding has changed them.
    void SaveAccounts();

    // Reads an open document to its end, which completes its local copy; `progress` may be null.
    HRESULT ReadThrough(TMK::IAFS_File* file, ProgressDisplay* progress = nullptr);
    // The plug-in sends a document only after a write; this marks the local copy as changed.
    void MarkChanged(TMK::IAFS_File* file, const fs::path& local_path, const std::string& what);

private:
    void Lock(std::unique_lock<std::timed_mutex>& lock, const std::string& what);

    Host& m_host;
    const std::shared_ptr<Sites> m_sites;
    const std::string m_no_place;
    ComPtr<CancelFlag> m_cancel;
    ComPtr<ErrorDetails> m_details;
    ComPtr<TMK::IAFS_FileSys> m_file_system;
};

bool IsFolder(TMK::IAFS_FileInfo* info);

}  // namespace host
