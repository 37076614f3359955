// The journal of the files cache: the state of each document's local copy, kept in SQLite so that it survives
// a kill at any moment. Shared by all processes on one profile; any thread.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/base/posix_file.h"

namespace host {

struct JournalEntry {
    std::string key;      // the document's URL, folded
    std::string folder;   // below the cache folder
    std::string name;     // of the local file in it
    std::string account;  // URL of the account
    std::string url;
    std::uint64_t base_time = 0;  // of the server's version that the local copy began as, Windows file time
    std::uint64_t base_size = 0;
    bool complete = false;  // the local file is a whole version of the server, or newer
    bool dirty = false;     // it holds changes that were not sent
    bool writing = false;   // a save into the work file has begun
    bool editing = false;   // a program may be changing the local file
    // What the local file was when this program last wrote or examined it: stamps, separated by blanks, of
    // which it has one, and the hash of its content if that is known.
    std::string known_stamps;
    std::string known_hash;
    std::int64_t since = 0;  // seconds since 1970 of the oldest change that was not sent
    std::string boot;        // the boot in which the local file was completed
    bool created = false;    // a save has made the document on the server, which holds nothing yet
};

class Journal {
public:
    // Opens or makes the file. Throws a Failure; a damaged journal is left as it is.
    explicit Journal(fs::path file);

    std::optional<JournalEntry> Find(const std::string& key);
    std::vector<JournalEntry> All();
    // On disk when it returns.
    void Put(const JournalEntry& entry);
    // The same for what has to survive a kill, but no failing machine.
    void PutQuickly(const JournalEntry& entry);
    void Remove(const std::string& key);
    // Runs `work` while no other process changes the journal; undone when it throws.
    void Transaction(const std::function<void()>& work);

private:
    struct Closer {
        void operator()(sqlite3* database) const { sqlite3_close(database); }
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

    void Open();
    void MakeReady();
    int Version();
    void OpenWithoutRoom();
    void Execute(const char* sql);
    Statement Prepare(const char* sql);
    bool Step(sqlite3_stmt* statement);
    [[noreturn]] void ThrowError();

    fs::path m_file;
    std::recursive_mutex m_mutex;
    std::unique_ptr<sqlite3, Closer> m_database;
    int m_depth = 0;
};

}  // namespace host
