// Uploads in pieces: the bytes that have come, until they become a document.
// Owner: store/; any thread.
#include "store/store.h"

namespace devserver {

void Store::StartUpload(const std::string& id, const Upload& upload) {
    DatabaseLock lock(m_database);
    CancelUpload(id);
    m_database.Run("INSERT INTO uploads VALUES (?,?,?,?,?)", id, upload.item, upload.user, upload.blob,
                   upload.size);
}

std::optional<Upload> Store::FindUpload(const std::string& id) {
    DatabaseLock lock(m_database);
    auto row = m_database.query("SELECT item, user, blob, size FROM uploads WHERE id=?", id);
    if (!row.Step()) return std::nullopt;
    Upload result;
    row.Read(result.item, result.user, result.blob, result.size);
    return result;
}

void Store::AdvanceUpload(const std::string& id, std::int64_t size) {
    DatabaseLock lock(m_database);
    m_database.Run("UPDATE uploads SET size=? WHERE id=?", size, id);
}

Item Store::FinishUpload(const std::string& id, const User& user) {
    DatabaseLock lock(m_database);
    auto piece = FindUpload(id);
    if (!piece) throw StoreError(Fault::not_found, id);
    auto file = RequireFile(piece->item);
    RequireWritable(file, user);
    Transaction transaction(m_database);
    // The first content of an empty file belongs to the version that the file was made with.
    if (file.level != level::kCheckedOut && file.size > 0) {
        BeginVersion(file);
        file.comment.clear();
    }
    m_database.Run("DELETE FROM uploads WHERE id=?", id);
    file.editor = user.id;
    return ReplaceContent(file, piece->blob, piece->size, Now(), transaction);
}

void Store::CancelUpload(const std::string& id) {
    DatabaseLock lock(m_database);
    if (auto piece = FindUpload(id)) {
        m_database.Run("DELETE FROM uploads WHERE id=?", id);
        ReleaseBlob(piece->blob);
    }
}

}  // namespace devserver
