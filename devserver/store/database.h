// A thin layer over SQLite: statements prepared once, parameters bound by position.
// Owner: store/; any thread, with the database locked.
#pragma once
#include <sqlite3.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace devserver {

class Statement {
public:
    explicit Statement(sqlite3_stmt* statement, sqlite3* database)
        : m_statement(statement), m_database(database) {}
    Statement(Statement&& other) noexcept
        : m_statement(std::exchange(other.m_statement, nullptr)), m_database(other.m_database) {}
    Statement& operator=(const Statement&) = delete;
    ~Statement();

    // True while there is a row; throws std::runtime_error.
    bool Step();
    std::int64_t integer(int column) const { return sqlite3_column_int64(m_statement, column); }
    std::string text(int column) const;
    double real(int column) const { return sqlite3_column_double(m_statement, column); }
    bool IsNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }
    // Reads the row's columns in order into as many values.
    template <typename... Values>
    void Read(Values&... values) const {
        int column = 0;
        (ReadColumn(column++, values), ...);
    }

    void Bind(int index, std::int64_t value) { sqlite3_bind_int64(m_statement, index, value); }
    void Bind(int index, int value) { sqlite3_bind_int64(m_statement, index, value); }
    void Bind(int index, bool value) { sqlite3_bind_int64(m_statement, index, value ? 1 : 0); }
    void Bind(int index, std::string_view value) {
        sqlite3_bind_text(m_statement, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
    }
    void Bind(int index, const std::optional<double>& value) {
        value ? sqlite3_bind_double(m_statement, index, *value) : sqlite3_bind_null(m_statement, index);
    }
    void Bind(int index, std::nullptr_t) { sqlite3_bind_null(m_statement, index); }

private:
    void ReadColumn(int column, std::string& value) const { value = text(column); }
    void ReadColumn(int column, std::optional<double>& value) const {
        value = IsNull(column) ? std::nullopt : std::optional(real(column));
    }
    template <typename Number>
    void ReadColumn(int column, Number& value) const {
        value = static_cast<Number>(integer(column));
    }

    sqlite3_stmt* m_statement;
    sqlite3* m_database;
};

class Database {
public:
    explicit Database(const std::string& file);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Locked during an operation; the same thread may lock it again.
    void lock() { m_mutex.lock(); }
    void unlock() { m_mutex.unlock(); }
    void Execute(const char* script);
    // A statement ready to step; only one use of the same text may be open at a time.
    template <typename... Values>
    Statement query(const char* sql, const Values&... values) {
        Statement statement(Prepare(sql), m_database);
        int index = 0;
        (statement.Bind(++index, values), ...);
        return statement;
    }
    // Runs a statement to its end and returns the number of changed rows.
    template <typename... Values>
    int Run(const char* sql, const Values&... values) {
        {
            auto statement = query(sql, values...);
            while (statement.Step()) {
            }
        }
        return sqlite3_changes(m_database);
    }
    std::int64_t LastId() const { return sqlite3_last_insert_rowid(m_database); }

private:
    sqlite3_stmt* Prepare(const char* sql);

    std::recursive_mutex m_mutex;
    sqlite3* m_database = nullptr;
    std::unordered_map<std::string, sqlite3_stmt*> m_statements;
};

using DatabaseLock = std::lock_guard<Database>;

// Rolls back unless it is committed; a nested one is part of the outermost.
class Transaction {
public:
    explicit Transaction(Database& database);
    ~Transaction();
    void Commit();

private:
    Database& m_database;
    bool m_open = true;
};

}  // namespace devserver
