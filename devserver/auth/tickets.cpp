// The store's short-lived things: tokens, device codes, uploads in pieces.
// Owner: store/; any thread.
#include "base/crypto.h"
#include "base/text.h"
#include "store/store.h"

namespace devserver {

void Store::put_token(const std::string& value, const std::string& kind, const Token& token) {
    Lock lock(m_mutex);
    m_database.run("DELETE FROM tokens WHERE expires < ?", now() - 86400);
    m_database.run("INSERT OR REPLACE INTO tokens VALUES (?,?,?,?,?,?)", sha256_hex(value), kind, token.user,
                   token.expires, token.scope, token.client);
}

std::optional<Token> Store::token(const std::string& value, const std::string& kind) {
    Lock lock(m_mutex);
    auto row = m_database.query("SELECT user, expires, scope, client FROM tokens WHERE hash=? AND kind=?",
                                sha256_hex(value), kind);
    if (!row.step()) return std::nullopt;
    return Token{row.integer(0), row.integer(1), row.text(2), row.text(3)};
}

bool Store::drop_token(const std::string& value) {
    Lock lock(m_mutex);
    auto hash = sha256_hex(value);
    bool known = m_database.query("SELECT 1 FROM tokens WHERE hash=?", hash).step();
    m_database.run("DELETE FROM tokens WHERE hash=?", hash);
    return known;
}

void Store::expire_tokens(const std::string& kind) {
    Lock lock(m_mutex);
    m_database.run("UPDATE tokens SET expires=? WHERE kind=?", now() - 1, kind);
}

void Store::put_device_code(const std::string& code, const DeviceCode& record) {
    Lock lock(m_mutex);
    m_database.run("DELETE FROM device_codes WHERE expires < ?", now() - 3600);
    m_database.run("INSERT OR REPLACE INTO device_codes VALUES (?,?,?,?,?,?,?,?,?)", sha256_hex(code),
                   record.user_code, record.client, record.scope, record.expires, record.last_poll,
                   record.interval, record.user, record.denied);
    m_database.run("INSERT OR REPLACE INTO settings VALUES (?, ?)", "device:" + record.user_code, code);
}

std::optional<DeviceCode> Store::device_code(const std::string& code) {
    Lock lock(m_mutex);
    auto row = m_database.query(
        "SELECT user_code, client, scope, expires, last_poll, interval, user, denied FROM device_codes WHERE "
        "hash=?",
        sha256_hex(code));
    if (!row.step()) return std::nullopt;
    DeviceCode record;
    record.user_code = row.text(0);
    record.client = row.text(1);
    record.scope = row.text(2);
    record.expires = row.integer(3);
    record.last_poll = row.integer(4);
    record.interval = static_cast<int>(row.integer(5));
    record.user = row.integer(6);
    record.denied = row.integer(7) != 0;
    return record;
}

std::optional<std::string> Store::pending_user_code(const std::string& user_code) {
    Lock lock(m_mutex);
    auto row = m_database.query("SELECT value FROM settings WHERE name=?", "device:" + to_upper(user_code));
    if (!row.step()) return std::nullopt;
    return row.text(0);
}

void Store::decide_device_code(const std::string& code, Id user, bool denied) {
    Lock lock(m_mutex);
    m_database.run("UPDATE device_codes SET user=?, denied=? WHERE hash=?", user, denied, sha256_hex(code));
}

void Store::note_device_poll(const std::string& code, Seconds last_poll, int interval) {
    Lock lock(m_mutex);
    m_database.run("UPDATE device_codes SET last_poll=?, interval=? WHERE hash=?", last_poll, interval,
                   sha256_hex(code));
}

bool Store::drop_device_code(const std::string& code) {
    Lock lock(m_mutex);
    auto record = device_code(code);
    if (!record) return false;
    m_database.run("DELETE FROM settings WHERE name=?", "device:" + record->user_code);
    m_database.run("DELETE FROM device_codes WHERE hash=?", sha256_hex(code));
    return true;
}

void Store::put_authorization_code(const std::string& code, const AuthorizationCode& grant) {
    Lock lock(m_mutex);
    m_database.run("DELETE FROM authorization_codes WHERE expires <= ?", now());
    m_database.run("INSERT OR REPLACE INTO authorization_codes VALUES (?,?,?,?,?,?,?)", sha256_hex(code),
                   grant.client, grant.scope, grant.redirect_uri, grant.challenge, grant.user, grant.expires);
}

std::optional<AuthorizationCode> Store::take_authorization_code(const std::string& code) {
    Lock lock(m_mutex);
    auto row = m_database.query(
        "SELECT client, scope, redirect_uri, challenge, user, expires FROM authorization_codes WHERE hash=? "
        "AND expires > ?",
        sha256_hex(code), now());
    if (!row.step()) return std::nullopt;
    AuthorizationCode grant{row.text(0), row.text(1),    row.text(2),
                            row.text(3), row.integer(4), row.integer(5)};
    m_database.run("DELETE FROM authorization_codes WHERE hash=?", sha256_hex(code));
    return grant;
}

void Store::start_upload(const std::string& id, const Upload& upload) {
    Lock lock(m_mutex);
    cancel_upload(id);
    m_database.run("INSERT INTO uploads VALUES (?,?,?,?,?)", id, upload.item, upload.user, upload.blob,
                   upload.size);
}

std::optional<Upload> Store::upload(const std::string& id) {
    Lock lock(m_mutex);
    auto row = m_database.query("SELECT item, user, blob, size FROM uploads WHERE id=?", id);
    if (!row.step()) return std::nullopt;
    return Upload{row.integer(0), row.integer(1), row.text(2), row.integer(3)};
}

void Store::advance_upload(const std::string& id, std::int64_t size) {
    Lock lock(m_mutex);
    m_database.run("UPDATE uploads SET size=? WHERE id=?", size, id);
}

Item Store::finish_upload(const std::string& id, const User& user) {
    Lock lock(m_mutex);
    auto piece = upload(id);
    if (!piece) throw StoreError(Fault::not_found, id);
    auto file = require_file(piece->item);
    require_writable(file, user);
    Transaction transaction(m_database);
    auto old_blob = file.blob;
    // A first content that comes in pieces belongs to the version that the empty file was made with.
    if (file.level != level::checked_out && file.size > 0) {
        push_version(file);
        bool minor = library_of(file).minor_versions;
        file.ui_version = minor ? file.ui_version + 1 : (file.major() + 1) * 512;
        file.level = minor ? level::draft : level::published;
        file.comment.clear();
    }
    file.blob = piece->blob;
    file.size = piece->size;
    file.modified = now();
    file.editor = user.id;
    ++file.etag;
    ++file.content_tag;
    save(file);
    m_database.run("DELETE FROM uploads WHERE id=?", id);
    transaction.commit();
    release_blob(old_blob);
    return require_item(file.id);
}

void Store::cancel_upload(const std::string& id) {
    Lock lock(m_mutex);
    if (auto piece = upload(id)) {
        m_database.run("DELETE FROM uploads WHERE id=?", id);
        release_blob(piece->blob);
    }
}

}  // namespace devserver
