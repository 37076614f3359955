// A PDF file as it was opened: its pages' sizes and what may be done with it. Nothing changes it; edits are
// a State over sources. Owned by shared pointers; any thread.
#pragma once

#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QTransform>
#include <functional>
#include <memory>
#include <optional>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <vector>

#include "host/desktop/pages/pdf/source_file.h"

namespace pdf {

struct PasswordQuestion {
    QString document;  // its file name
    bool last_was_wrong = false;
};

struct OpenOptions {
    // Asked on the thread that opens; nothing cancels. Without it an enciphered document is refused.
    std::function<std::optional<QString>(const PasswordQuestion&)> ask_password{};
    // For a file that others write into while it is open: work on a nameless copy.
    bool copy = false;
    QString scratch_folder{};  // for copies; the system's temporary folder unless set
};

// What the author of an enciphered document lets a reader do.
struct Permissions {
    bool change_pages = true;
    bool change_info = true;
    bool copy = true;
    bool print = true;
};

class Source {
public:
    // Null when the person cancels the password. Throws a Failure with one sentence.
    static std::shared_ptr<const Source> Open(const QString& path, const OpenOptions& options = {});

    quint64 Id() const { return m_id; }  // never used twice
    const QString& Name() const { return m_file->Name(); }
    const std::shared_ptr<const SourceFile>& File() const { return m_file; }
    const QString& Password() const { return m_password; }
    int PageCount() const { return static_cast<int>(m_pages.size()); }
    // In points, as a reader shows the page.
    QSizeF PageSize(int page) const;
    // From where the engine says that text is to where it is shown.
    QTransform FromTextPlace(int page) const;
    const QString& Title() const { return m_title; }
    const QString& Author() const { return m_author; }
    const Permissions& Allowed() const { return m_allowed; }
    bool IsEncrypted() const { return m_is_encrypted; }
    bool IsSigned() const { return m_is_signed; }
    bool WasRepaired() const { return m_was_repaired; }

    // The file parsed afresh, for one writer alone. Throws.
    std::unique_ptr<QPDF> Load() const;

private:
    // The part of the page's plane that is shown, and how far it is turned clockwise then.
    struct Paper {
        QRectF box;
        int rotation;
    };

    Source();
    std::unique_ptr<QPDF> Parse(const std::string& password) const;
    std::unique_ptr<QPDF> Unlock(const OpenOptions& options);
    std::unique_ptr<QPDF> TryPassword(const QString& password);
    static Paper PaperOf(QPDFPageObjectHelper page);
    void Describe(QPDF& parsed);
    void Repair(std::unique_ptr<QPDF> damaged, const QString& folder);

    const quint64 m_id;
    std::shared_ptr<const SourceFile> m_file;
    QString m_password;
    std::string m_password_bytes;  // in the encoding that the document takes
    std::vector<Paper> m_pages;
    QString m_title;
    QString m_author;
    Permissions m_allowed;
    bool m_is_encrypted = false;
    bool m_is_signed = false;
    bool m_was_repaired = false;
};

using SourcePtr = std::shared_ptr<const Source>;

}  // namespace pdf
