#include "auth/tickets.h"

#include "base/clock.h"
#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

#define SELECT_DEVICE_CODE \
    "SELECT user_code, client, scope, expires, last_poll, interval, user, denied FROM device_codes WHERE "

DeviceCode ReadDeviceCode(const Statement& row) {
    DeviceCode record;
    row.Read(record.user_code, record.client, record.scope, record.expires, record.last_poll, record.interval,
             record.user, record.denied);
    return record;
}

}  // namespace

Tickets::Tickets(Database& database) : m_database(database) {
    DatabaseLock lock(m_database);
    m_database.Execute(R"sql(
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

void Tickets::PutToken(const std::string& value, const std::string& kind, const Token& token) {
    DatabaseLock lock(m_database);
    m_database.Run("DELETE FROM tokens WHERE expires < ?", Now() - 86400);
    m_database.Run("INSERT OR REPLACE INTO tokens VALUES (?,?,?,?,?,?)", Sha256Hex(value), kind, token.user,
                   token.expires, token.scope, token.client);
}

std::optional<Token> Tickets::token(const std::string& value, const std::string& kind) {
    DatabaseLock lock(m_database);
    auto row = m_database.query("SELECT user, expires, scope, client FROM tokens WHERE hash=? AND kind=?",
                                Sha256Hex(value), kind);
    if (!row.Step()) return std::nullopt;
    Token result;
    row.Read(result.user, result.expires, result.scope, result.client);
    return result;
}

bool Tickets::DropToken(const std::string& value) {
    DatabaseLock lock(m_database);
    return m_database.Run("DELETE FROM tokens WHERE hash=?", Sha256Hex(value)) > 0;
}

void Tickets::ExpireTokens(const std::string& kind) {
    DatabaseLock lock(m_database);
    m_database.Run("UPDATE tokens SET expires=? WHERE kind=?", Now() - 1, kind);
}

void Tickets::PutDeviceCode(const std::string& code, const DeviceCode& record) {
    DatabaseLock lock(m_database);
    m_database.Run("DELETE FROM device_codes WHERE expires < ?", Now() - 3600);
    m_database.Run("INSERT OR REPLACE INTO device_codes VALUES (?,?,?,?,?,?,?,?,?)", Sha256Hex(code),
                   record.user_code, record.client, record.scope, record.expires, record.last_poll,
                   record.interval, record.user, record.denied);
}

std::optional<DeviceCode> Tickets::FindDeviceCode(const std::string& code) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(SELECT_DEVICE_CODE "hash=?", Sha256Hex(code));
    if (!row.Step()) return std::nullopt;
    return ReadDeviceCode(row);
}

std::optional<DeviceCode> Tickets::DeviceCodeByUserCode(const std::string& user_code) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(SELECT_DEVICE_CODE "user_code=?", ToUpper(user_code));
    if (!row.Step()) return std::nullopt;
    return ReadDeviceCode(row);
}

void Tickets::DecideDeviceCode(const std::string& user_code, Id user, bool denied) {
    DatabaseLock lock(m_database);
    m_database.Run("UPDATE device_codes SET user=?, denied=? WHERE user_code=?", user, denied, user_code);
}

void Tickets::NoteDevicePoll(const std::string& code, Seconds last_poll, int interval) {
    DatabaseLock lock(m_database);
    m_database.Run("UPDATE device_codes SET last_poll=?, interval=? WHERE hash=?", last_poll, interval,
                   Sha256Hex(code));
}

bool Tickets::DropDeviceCode(const std::string& code) {
    DatabaseLock lock(m_database);
    return m_database.Run("DELETE FROM device_codes WHERE hash=?", Sha256Hex(code)) > 0;
}

void Tickets::PutAuthorizationCode(const std::string& code, const AuthorizationCode& grant) {
    DatabaseLock lock(m_database);
    m_database.Run("DELETE FROM authorization_codes WHERE expires <= ?", Now());
    m_database.Run("INSERT OR REPLACE INTO authorization_codes VALUES (?,?,?,?,?,?,?)", Sha256Hex(code),
                   grant.client, grant.scope, grant.redirect_uri, grant.challenge, grant.user, grant.expires);
}

std::optional<AuthorizationCode> Tickets::TakeAuthorizationCode(const std::string& code) {
    DatabaseLock lock(m_database);
    auto row = m_database.query(
        "SELECT client, scope, redirect_uri, challenge, user, expires FROM authorization_codes WHERE hash=? "
        "AND expires > ?",
        Sha256Hex(code), Now());
    if (!row.Step()) return std::nullopt;
    AuthorizationCode grant;
    row.Read(grant.client, grant.scope, grant.redirect_uri, grant.challenge, grant.user, grant.expires);
    m_database.Run("DELETE FROM authorization_codes WHERE hash=?", Sha256Hex(code));
    return grant;
}

}  // namespace devserver
