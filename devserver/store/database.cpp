#include "store/database.h"

#include <stdexcept>

namespace devserver {

Statement::~Statement() {
    if (!m_statement) return;
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
}

bool Statement::Step() {
    int result = sqlite3_step(m_statement);
    if (result == SQLITE_ROW) return true;
    if (result == SQLITE_DONE) return false;
    throw std::runtime_error(std::string("database: ") + sqlite3_errmsg(m_database));
}

std::string Statement::text(int column) const {
    auto bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
    return bytes ? std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)))
                 : std::string();
}

Database::Database(const std::string& file) {
    if (sqlite3_open_v2(file.c_str(), &m_database,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                        nullptr) != SQLITE_OK)
        throw std::runtime_error("cannot open the database " + file + ": " + sqlite3_errmsg(m_database));
    sqlite3_busy_timeout(m_database, 2000);
    Execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=ON;");
}

Database::~Database() {
    for (auto& [text, statement] : m_statements) sqlite3_finalize(statement);
    sqlite3_close(m_database);
}

void Database::Execute(const char* script) {
    char* message = nullptr;
    if (sqlite3_exec(m_database, script, nullptr, nullptr, &message) != SQLITE_OK) {
        std::string text = message ? message : "unknown";
        sqlite3_free(message);
        throw std::runtime_error("database: " + text);
    }
}

sqlite3_stmt* Database::Prepare(const char* sql) {
    auto& statement = m_statements[sql];
    if (!statement &&
        sqlite3_prepare_v3(m_database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
        throw std::runtime_error(std::string("database: ") + sqlite3_errmsg(m_database) + " in " + sql);
    return statement;
}

Transaction::Transaction(Database& database) : m_database(database) {
    m_database.Execute("SAVEPOINT change");
}

Transaction::~Transaction() {
    if (m_open) {
        try {
            m_database.Execute("ROLLBACK TO change; RELEASE change");
        } catch (const std::exception&) {
        }
    }
}

void Transaction::Commit() {
    m_database.Execute("RELEASE change");
    m_open = false;
}

}  // namespace devserver
