// Uploads in pieces: the bytes that have come, until they become a document.
// Owner: store/; any thread.
#include "store/store.h"

namespace devserver {

void Store::start_upload(const std::string& id, const Upload& upload) {
    DatabaseLock lock(m_database);
    cancel_upload(id);
    m_database.run("INSERT INTO uploads VALUES (?,?,?,?,?)", id, upload.item, upload.user, upload.blob,
                   upload.size);
}

std::optional<Upload> Store::upload(const std::string& id) {
    DatabaseLock lock(m_database);
    auto row = m_database.query("SELECT item, user, blob, size FROM uploads WHERE id=?", id);
    if (!row.step()) return std::nullopt;
    Upload result;
    row.read(result.item, result.user, result.blob, result.size);
    return result;
}

void Store::advance_upload(const std::string& id, std::int64_t size) {
    DatabaseLock lock(m_database);
    m_database.run("UPDATE uploads SET size=? WHERE id=?", size, id);
}

Item Store::finish_upload(const std::string& id, const User& user) {
    DatabaseLock lock(m_database);
    auto piece = upload(id);
    if (!piece) throw StoreError(Fault::not_found, id);
    auto file = require_file(piece->item);
    require_writable(file, user);
    Transaction transaction(m_database);
    // The first content of an empty file belongs to the version that the file was made with.
    if (file.level != level::checked_out && file.size > 0) {
        begin_version(file);
        file.comment.clear();
    }
    m_database.run("DELETE FROM uploads WHERE id=?", id);
    file.editor = user.id;
    return replace_content(file, piece->blob, piece->size, now(), transaction);
}

void Store::cancel_upload(const std::string& id) {
    DatabaseLock lock(m_database);
    if (auto piece = upload(id)) {
        m_database.run("DELETE FROM uploads WHERE id=?", id);
        release_blob(piece->blob);
    }
}

}  // namespace devserver
