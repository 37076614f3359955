#include "host/cache/journal.h"

#include <sys/stat.h>

#include "host/base/failure.h"

namespace host {

namespace {

constexpr int kVersion = 2;
constexpr int kBusyTimeoutMs = 15000;

constexpr char kColumns[] =
    "key,folder,name,account,url,base_time,base_size,complete,dirty,writing,editing,edit_stamp,edit_hash,"
    "since,boot,created";

std::string TextAt(sqlite3_stmt* row, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(row, column)))
                : std::string();
}

JournalEntry EntryOf(sqlite3_stmt* row) {
    JournalEntry entry;
    entry.key = TextAt(row, 0);
    entry.folder = TextAt(row, 1);
    entry.name = TextAt(row, 2);
    entry.account = TextAt(row, 3);
    entry.url = TextAt(row, 4);
    entry.base_time = static_cast<std::uint64_t>(sqlite3_column_int64(row, 5));
    entry.base_size = static_cast<std::uint64_t>(sqlite3_column_int64(row, 6));
    entry.complete = sqlite3_column_int(row, 7) != 0;
    entry.dirty = sqlite3_column_int(row, 8) != 0;
    entry.writing = sqlite3_column_int(row, 9) != 0;
    entry.editing = sqlite3_column_int(row, 10) != 0;
    entry.known_stamps = TextAt(row, 11);
    entry.known_hash = TextAt(row, 12);
    entry.since = sqlite3_column_int64(row, 13);
    entry.boot = TextAt(row, 14);
    entry.created = sqlite3_column_int(row, 15) != 0;
    return entry;
}

void BindText(sqlite3_stmt* statement, int index, const std::string& text) {
    sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

}  // namespace

void Journal::ThrowError() {
    const int code = m_database ? sqlite3_errcode(m_database.get()) : SQLITE_CANTOPEN;
    std::string reason = m_database ? sqlite3_errmsg(m_database.get()) : "out of memory";
    HRESULT result = E_FAIL;
    const int system_error = m_database ? sqlite3_system_errno(m_database.get()) : 0;
    if (code == SQLITE_FULL || (code == SQLITE_IOERR && (system_error == ENOSPC || system_error == EDQUOT))) {
        result = kDiskFull;
        reason = "the disk is full";
    }
    if (code == SQLITE_BUSY || code == SQLITE_LOCKED) result = kInUse;
    if (code == SQLITE_READONLY || code == SQLITE_CANTOPEN || code == SQLITE_PERM) result = E_ACCESSDENIED;
    if (code == SQLITE_CORRUPT || code == SQLITE_NOTADB) result = kBadData;
    throw Failure(result, "the journal " + m_file.string() + " can't be used: " + reason);
}

Journal::Journal(fs::path file) : m_file(std::move(file)) {
    Open();
    try {
        MakeReady();
    } catch (const Failure& failure) {
        if (failure.code() != kDiskFull) throw;
        OpenWithoutRoom();
    }
}

void Journal::Open() {
    sqlite3* raw = nullptr;
    const mode_t saved = umask(077);
    const int opened = sqlite3_open_v2(
        m_file.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
    umask(saved);
    m_database.reset(raw);
    if (opened != SQLITE_OK) ThrowError();
    sqlite3_busy_timeout(raw, kBusyTimeoutMs);
}

int Journal::Version() {
    const auto version = Prepare("PRAGMA user_version");
    Step(version.get());
    return sqlite3_column_int(version.get(), 0);
}

void Journal::MakeReady() {
    Execute("PRAGMA journal_mode=WAL");
    Execute("PRAGMA synchronous=FULL");
    if (Version() == kVersion) return;
    Transaction([&] {
        const int found = Version();
        if (found > kVersion)
            throw Failure(kBadData, "the journal " + m_file.string() + " is of a newer version");
        if (found == 0) {
            Execute(
                "CREATE TABLE document(key TEXT PRIMARY KEY, folder TEXT NOT NULL, name TEXT NOT NULL,"
                " account TEXT NOT NULL, url TEXT NOT NULL, base_time INTEGER NOT NULL, base_size INTEGER "
                "NOT "
                "NULL,"
                " complete INTEGER NOT NULL, dirty INTEGER NOT NULL, writing INTEGER NOT NULL,"
                " editing INTEGER NOT NULL, edit_stamp TEXT NOT NULL, edit_hash TEXT NOT NULL,"
                " since INTEGER NOT NULL, boot TEXT NOT NULL)");
        }
        if (found < kVersion) {
            Execute("ALTER TABLE document ADD COLUMN created INTEGER NOT NULL DEFAULT 0");
            Execute("PRAGMA user_version=2");
        }
    });
}

// On a full disk there is no room for the memory that processes share; a single process reads without it.
void Journal::OpenWithoutRoom() {
    Open();
    Execute("PRAGMA locking_mode=EXCLUSIVE");
    if (Version() != kVersion)
        throw Failure(kDiskFull, "the journal " + m_file.string() + " can't be made: the disk is full");
}

void Journal::Execute(const char* sql) {
    if (sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) ThrowError();
}

Journal::Statement Journal::Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_database.get(), sql, -1, &statement, nullptr) != SQLITE_OK) ThrowError();
    return Statement(statement);
}

bool Journal::Step(sqlite3_stmt* statement) {
    const int result = sqlite3_step(statement);
    if (result != SQLITE_ROW && result != SQLITE_DONE) ThrowError();
    return result == SQLITE_ROW;
}

void Journal::Transaction(const std::function<void()>& work) {
    const std::lock_guard lock(m_mutex);
    if (m_depth > 0) {
        work();
        return;
    }
    Execute("BEGIN IMMEDIATE");
    ++m_depth;
    try {
        work();
        Execute("COMMIT");
        --m_depth;
    } catch (...) {
        --m_depth;
        sqlite3_exec(m_database.get(), "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

std::optional<JournalEntry> Journal::Find(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    const auto statement =
        Prepare((std::string("SELECT ") + kColumns + " FROM document WHERE key=?").c_str());
    BindText(statement.get(), 1, key);
    if (!Step(statement.get())) return std::nullopt;
    return EntryOf(statement.get());
}

std::vector<JournalEntry> Journal::All() {
    const std::lock_guard lock(m_mutex);
    const auto statement =
        Prepare((std::string("SELECT ") + kColumns + " FROM document ORDER BY url").c_str());
    std::vector<JournalEntry> entries;
    while (Step(statement.get())) entries.push_back(EntryOf(statement.get()));
    return entries;
}

void Journal::Put(const JournalEntry& entry) {
    const std::lock_guard lock(m_mutex);
    const auto statement = Prepare((std::string("INSERT OR REPLACE INTO document(") + kColumns +
                                    ") VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)")
                                       .c_str());
    int index = 0;
    const auto text = [&](const std::string& value) { BindText(statement.get(), ++index, value); };
    const auto number = [&](std::int64_t value) { sqlite3_bind_int64(statement.get(), ++index, value); };
    text(entry.key);
    text(entry.folder);
    text(entry.name);
    text(entry.account);
    text(entry.url);
    number(static_cast<std::int64_t>(entry.base_time));
    number(static_cast<std::int64_t>(entry.base_size));
    number(entry.complete);
    number(entry.dirty);
    number(entry.writing);
    number(entry.editing);
    text(entry.known_stamps);
    text(entry.known_hash);
    number(entry.since);
    text(entry.boot);
    number(entry.created);
    Step(statement.get());
}

void Journal::PutQuickly(const JournalEntry& entry) {
    const std::lock_guard lock(m_mutex);
    Execute("PRAGMA synchronous=NORMAL");
    Put(entry);
    Execute("PRAGMA synchronous=FULL");
}

void Journal::Remove(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    const auto statement = Prepare("DELETE FROM document WHERE key=?");
    BindText(statement.get(), 1, key);
    Step(statement.get());
}

}  // namespace host
