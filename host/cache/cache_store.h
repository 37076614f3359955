// The local copies of all documents: their folders, their journal, the locks of writers, and what a crash
// left unsent. Owned by the host instance, shared by its caches; any thread.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/base/per_thread.h"
#include "host/cache/journal.h"
#include "host/profile/profile.h"
#include "platform/com_ptr.h"

namespace host {

class CacheEntry;

// A document whose local copy holds something that the server doesn't have.
struct UnsentDocument {
    enum class State {
        unsent,      // whole, and waiting to be sent
        incomplete,  // a save into the cache was interrupted; what was there before is untouched
        editing,     // open in another process right now
        missing,     // the local copy is gone
        aside,       // a local file that something else changed, set aside when its place was needed
    };
    State state;
    JournalEntry entry;
    fs::path path;
    std::uint64_t size = 0;
};

// What opening a document does with what waits to be sent of it.
enum class UnsentUse {
    refuse,     // opening fails
    take_up,    // the changes are what is opened
    supersede,  // a save replaces them
    bypass,     // the server's version is read, and the local copy left alone
};

// The local file that a program changes, and the lock on it, which the program may inherit to hold it longer
// than this process lives.
struct EditedFile {
    fs::path path;
    int lock;
};

// Hears how far a transfer between the server and a local copy is.
struct Transfer {
    bool is_upload;
    std::uint64_t done;
    std::uint64_t total;
};
using TransferWatch = std::function<void(const Transfer&)>;

class CacheStore {
public:
    // `folder` is made when missing. Throws a Failure.
    CacheStore(fs::path folder, Warn warn);

    // The journal entry of a document's URL; a new one when there is none.
    static std::string KeyOf(std::string_view url);
    JournalEntry Entry(std::string_view url);
    fs::path FolderOf(const JournalEntry& entry) const { return m_folder / entry.folder; }
    fs::path PathOf(const JournalEntry& entry) const { return FolderOf(entry) / entry.name; }
    fs::path WorkPathOf(const JournalEntry& entry) const { return FolderOf(entry) / ".work"; }
    fs::path LockPathOf(const JournalEntry& entry) const { return FolderOf(entry) / ".lock"; }
    // Says which document the folder belongs to, for the case that the journal gets lost.
    fs::path AddressPathOf(const JournalEntry& entry) const { return FolderOf(entry) / ".url"; }

    const fs::path& folder() const { return m_folder; }
    Journal& journal() { return m_journal; }
    const std::string& boot() const { return m_boot; }
    void warn(const std::string& line) const { m_profile_warn(line); }

    // Set before any document is opened.
    void WatchTransfers(TransferWatch watch) { m_watch = std::move(watch); }
    void NoteTransfer(const Transfer& transfer) const {
        if (m_watch) m_watch(transfer);
    }

    // The account that new entries of this thread belong to.
    void SetAccount(std::string url) { m_account.Set(std::move(url)); }

    // What earlier runs left unsent; interrupted runs are settled first.
    std::vector<UnsentDocument> Unsent();
    // The same for one document; nothing when all of it was sent.
    std::optional<UnsentDocument> Unsent(std::string_view url);

    void SetUnsentUse(std::string_view url, UnsentUse use);
    UnsentUse UseOf(const std::string& key) const;

    // Forgets a document and its local copy, but for files that were set aside. 0x80070020 while another
    // process has it open for writing.
    void Drop(std::string_view url);
    // Removes a file that was set aside.
    void DropAside(const UnsentDocument& document);
    // Discards a save that was interrupted in this process; the previous copy stays.
    void DiscardIncomplete(std::string_view url);

    // A save is about to make this document on the server, where it holds nothing until its content is sent.
    void NoteCreating(std::string_view url);
    // The empty document on the server is gone, or never was.
    void ForgetCreating(std::string_view url);

    // A program is about to change the local file of a document that is open here: journalled before it
    // returns. Throws a Failure.
    EditedFile BeginEdit(std::string_view url);
    // The program has ended; true when the content of the file changed, which is then journalled as unsent.
    bool FinishEdit(std::string_view url);

    // The content of a document that is open here becomes that of a person's own file, which is not copied.
    void LinkSource(std::string_view url, const fs::path& source);

    // The entries that are open in this process, one for each document.
    ComPtr<CacheEntry> OpenEntry(const std::string& key);
    void Register(const std::string& key, CacheEntry* entry);
    void Unregister(const std::string& key, CacheEntry* entry);

private:
    std::optional<UnsentDocument> Examine(JournalEntry entry);
    void SettleEdit(JournalEntry& entry);
    void SettleLateSave(JournalEntry& entry);
    void AddAside(std::vector<UnsentDocument>& documents);

    fs::path m_folder;
    Warn m_profile_warn;
    TransferWatch m_watch;
    Journal m_journal;
    std::string m_boot;
    mutable std::mutex m_mutex;
    PerThread<std::string> m_account;
    std::map<std::string, CacheEntry*> m_open;
    std::map<std::string, UnsentUse> m_uses;
};

// Opens a document with its unsent changes treated in this way as long as it lives.
class UnsentPermission {
public:
    UnsentPermission(CacheStore& store, std::string url, UnsentUse use)
        : m_store(store), m_url(std::move(url)) {
        m_store.SetUnsentUse(m_url, use);
    }
    ~UnsentPermission() { m_store.SetUnsentUse(m_url, UnsentUse::refuse); }
    UnsentPermission(const UnsentPermission&) = delete;
    UnsentPermission& operator=(const UnsentPermission&) = delete;

private:
    CacheStore& m_store;
    const std::string m_url;
};

// A safe file name for any URL, with its extension.
std::string LocalNameOf(std::string_view url);

}  // namespace host
