// Copies of unsaved changes in the profile, for the next start after a crash. A copy is locked as long as its
// editor lives, so that no other one offers it. Main thread, but for what a copy writes.
#pragma once

#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "host/base/posix_file.h"
#include "host/profile/profile.h"

namespace desktop {

struct Autosave {
    std::string id;
    QString address;  // of the document: escaped, or a path
    bool is_site_document = false;
    QString time;  // ISO 8601
    host::fs::path pdf;
};

// The copy of one open document, removed by its destructor.
class AutosaveFile {
public:
    AutosaveFile(host::fs::path folder, std::string id);
    ~AutosaveFile();
    AutosaveFile(const AutosaveFile&) = delete;
    AutosaveFile& operator=(const AutosaveFile&) = delete;

    const host::fs::path& pdf() const { return m_pdf; }
    // The written copy belongs to this document. Any thread. Throws a Failure.
    void Describe(const QString& address, bool is_site_document) const;
    // There is nothing unsaved any more.
    void Remove() const;
    // It is left for the next start.
    void Keep() { m_is_kept = true; }

private:
    const host::fs::path m_folder;
    const std::string m_id;
    const host::fs::path m_pdf;
    std::optional<host::FileLock> m_lock;
    bool m_is_kept = false;
};

class Autosaves {
public:
    explicit Autosaves(const host::Profile& profile);
    std::unique_ptr<AutosaveFile> Begin() const;
    // Those of editors that have ended without saving.
    std::vector<Autosave> Left() const;
    void Drop(const Autosave& autosave) const;

private:
    const host::fs::path m_folder;
};

}  // namespace desktop
