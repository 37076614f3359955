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
    return Upload{row.integer(0), row.integer(1), row.text(2), row.integer(3)};
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
    DatabaseLock lock(m_database);
    if (auto piece = upload(id)) {
        m_database.run("DELETE FROM uploads WHERE id=?", id);
        release_blob(piece->blob);
    }
}

}  // namespace devserver
