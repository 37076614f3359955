#include "auth/tickets.h"

#include "base/clock.h"
#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

#define SELECT_DEVICE_CODE \
    "SELECT user_code, client, scope, expires, last_poll, interval, user, denied FROM device_codes WHERE "

DeviceCode read_device_code(const Statement& row) {
    DeviceCode record;
    row.read(record.user_code, record.client, record.scope, record.expires, record.last_poll, record.interval,
             record.user, record.denied);
    return record;
}

}  // namespace

Tickets::Tickets(Database& database) : m_database(database) {
    DatabaseLock lock(m_database);
    m_database.execute(R"sql(
CREATE TABLE IF NOT EXISTS tokens (
    hash TEXT PRIMARY KEY, kind TEXT NOT NULL, user INTEGER NOT NULL, expires INTEGER NOT NULL,
    scope TEXT NOT NULL, client TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS device_codes (
    hash TEXT PRIMARY KEY, user_code TEXT NOT NULL, client TEXT NOT NULL, scope TEXT NOT NULL,
    expires INTEGER NOT NULL, last_poll INTEGER NOT NULL, interval INTEGER NOT NULL, user INTEGER NOT NULL,
    denied INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS authorization_codes (
    hash TEXT PRIMARY KEY, client TEXT NOT NULL, scope TEXT NOT NULL, redirect_uri TEXT NOT NULL,
    challenge TEXT NOT NULL, user INTEGER NOT NULL, expires INTEGER NOT NULL);
)sql");
}

void Tickets::put_token(const std::string& value, const std::string& kind, const Token& token) {
    DatabaseLock lock(m_database);
    m_database.run("DELETE FROM tokens WHERE expires < ?", now() - 86400);
    m_database.run("INSERT OR REPLACE INTO tokens VALUES (?,?,?,?,?,?)", sha256_hex(value), kind, token.user,
                   token.expires, token.scope, token.client);
}

std::optional<Token> Tickets::token(const std::string& value, const std::string& kind) {
    DatabaseLock lock(m_database);
    auto row = m_database.query("SELECT user, expires, scope, client FROM tokens WHERE hash=? AND kind=?",
                                sha256_hex(value), kind);
    if (!row.step()) return std::nullopt;
    Token result;
    row.read(result.user, result.expires, result.scope, result.client);
    return result;
}

bool Tickets::drop_token(const std::string& value) {
    DatabaseLock lock(m_database);
    return m_database.run("DELETE FROM tokens WHERE hash=?", sha256_hex(value)) > 0;
}

void Tickets::expire_tokens(const std::string& kind) {
    DatabaseLock lock(m_database);
    m_database.run("UPDATE tokens SET expires=? WHERE kind=?", now() - 1, kind);
}

void Tickets::put_device_code(const std::string& code, const DeviceCode& record) {
    DatabaseLock lock(m_database);
    m_database.run("DELETE FROM device_codes WHERE expires < ?", now() - 3600);
    m_database.run("INSERT OR REPLACE INTO device_codes VALUES (?,?,?,?,?,?,?,?,?)", sha256_hex(code),
                   record.user_code, record.client, record.scope, record.expires, record.last_poll,
                   record.interval, record.user, record.denied);
}

std::optional<DeviceCode> Tickets::device_code(const std::string& code) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(SELECT_DEVICE_CODE "hash=?", sha256_hex(code));
    if (!row.step()) return std::nullopt;
    return read_device_code(row);
}

std::optional<DeviceCode> Tickets::device_code_by_user_code(const std::string& user_code) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(SELECT_DEVICE_CODE "user_code=?", to_upper(user_code));
    if (!row.step()) return std::nullopt;
    return read_device_code(row);
}

void Tickets::decide_device_code(const std::string& user_code, Id user, bool denied) {
    DatabaseLock lock(m_database);
    m_database.run("UPDATE device_codes SET user=?, denied=? WHERE user_code=?", user, denied, user_code);
}

void Tickets::note_device_poll(const std::string& code, Seconds last_poll, int interval) {
    DatabaseLock lock(m_database);
    m_database.run("UPDATE device_codes SET last_poll=?, interval=? WHERE hash=?", last_poll, interval,
                   sha256_hex(code));
}

bool Tickets::drop_device_code(const std::string& code) {
    DatabaseLock lock(m_database);
    return m_database.run("DELETE FROM device_codes WHERE hash=?", sha256_hex(code)) > 0;
}

void Tickets::put_authorization_code(const std::string& code, const AuthorizationCode& grant) {
    DatabaseLock lock(m_database);
    m_database.run("DELETE FROM authorization_codes WHERE expires <= ?", now());
    m_database.run("INSERT OR REPLACE INTO authorization_codes VALUES (?,?,?,?,?,?,?)", sha256_hex(code),
                   grant.client, grant.scope, grant.redirect_uri, grant.challenge, grant.user, grant.expires);
}

std::optional<AuthorizationCode> Tickets::take_authorization_code(const std::string& code) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(
        "SELECT client, scope, redirect_uri, challenge, user, expires FROM authorization_codes WHERE hash=? "
        "AND expires > ?",
        sha256_hex(code), now());
    if (!row.step()) return std::nullopt;
    AuthorizationCode grant;
    row.read(grant.client, grant.scope, grant.redirect_uri, grant.challenge, grant.user, grant.expires);
    m_database.run("DELETE FROM authorization_codes WHERE hash=?", sha256_hex(code));
    return grant;
}

}  // namespace devserver
