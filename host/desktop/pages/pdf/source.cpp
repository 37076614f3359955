#include "host/desktop/pages/pdf/source.h"

#include <unistd.h>

#include <QDir>
#include <QObject>
#include <array>
#include <atomic>
#include <cstdio>
#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>
#include <qpdf/QUtil.hh>
#include <string_view>
#include <utility>

#include "host/desktop/pages/pdf/failure.h"

namespace pdf {

namespace {

quint64 NextId() {
    static std::atomic<quint64> last{0};
    return ++last;
}

// Readers look for the mark in the first kilobyte, since mail programs put lines before it.
void CheckIsPdf(const SourceFile& file) {
    if (file.Size() == 0)
        throw Failure(QObject::tr("%1 is empty. Get it again from where it came from.").arg(file.Name()));
    std::array<char, 1024> beginning{};
    const std::string_view text(beginning.data(), file.Read(0, beginning.data(), beginning.size()));
    if (text.find("%PDF-") == std::string_view::npos) {
        throw Failure(
            QObject::tr("%1 is not a PDF document. Open it with another program.").arg(file.Name()));
    }
}

QRectF ToRect(QPDFObjectHandle box, const QRectF& otherwise) {
    if (!box.isRectangle()) return otherwise;
    const auto corners = box.getArrayAsRectangle();
    return QRectF(QPointF(corners.llx, corners.lly), QPointF(corners.urx, corners.ury)).normalized();
}

QString InfoText(QPDF& parsed, const char* key) {
    QPDFObjectHandle info = parsed.getTrailer().getKey("/Info");
    if (!info.isDictionary() || !info.getKey(key).isString()) return {};
    return QString::fromStdString(info.getKey(key).getUTF8Value());
}

bool HasSignature(QPDF& parsed) {
    if (parsed.getRoot().getKey("/Perms").isDictionary()) return true;
    QPDFAcroFormDocumentHelper form(parsed);
    if (!form.hasAcroForm()) return false;
    for (QPDFFormFieldObjectHelper& field : form.getFormFields()) {
        if (field.getFieldType() == "/Sig" && field.getInheritableFieldValue("/V").isDictionary())
            return true;
    }
    return false;
}

QString ReasonOf(const QPDFExc& error, const QString& name) {
    const QString detail = QString::fromStdString(error.getMessageDetail());
    if (error.getErrorCode() == qpdf_e_unsupported) {
        return QObject::tr("%1 is protected in a way that this editor doesn't know (%2).").arg(name, detail);
    }
    return QObject::tr("%1 is damaged and can't be repaired (%2). Get it again from where it came from.")
        .arg(name, detail);
}

}  // namespace

Source::Source() : m_id(NextId()) {}

SourcePtr Source::Open(const QString& path, const OpenOptions& options) {
    const QString folder = options.scratch_folder.isEmpty() ? QDir::tempPath() : options.scratch_folder;
    const std::shared_ptr<Source> source(new Source);
    source->m_file = SourceFile::Open(path);
    CheckIsPdf(*source->m_file);
    if (options.copy) source->m_file = source->m_file->Copy(folder);
    try {
        std::unique_ptr<QPDF> parsed = source->Unlock(options);
        if (!parsed) return nullptr;
        source->Describe(*parsed);
        if (parsed->anyWarnings()) source->Repair(std::move(parsed), folder);
    } catch (const QPDFExc& error) {
        throw Failure(ReasonOf(error, source->Name()));
    }
    return source;
}

std::unique_ptr<QPDF> Source::Load() const {
    m_file->CheckUnchanged();
    return Parse(m_password_bytes);
}

std::unique_ptr<QPDF> Source::Parse(const std::string& password) const {
    auto parsed = std::make_unique<QPDF>();
    parsed->setSuppressWarnings(true);
    parsed->processInputSource(MakeInput(m_file), password.c_str());
    return parsed;
}

// Null when the person cancels.
std::unique_ptr<QPDF> Source::Unlock(const OpenOptions& options) {
    PasswordQuestion question{.document = Name()};
    for (std::optional<QString> password = QString();; question.last_was_wrong = true) {
        if (std::unique_ptr<QPDF> parsed = TryPassword(*password)) return parsed;
        if (!options.ask_password)
            throw Failure(QObject::tr("%1 can't be opened without its password.").arg(Name()));
        password = options.ask_password(question);
        if (!password) return nullptr;
    }
}

// Older documents take their passwords in other encodings than newer ones.
std::unique_ptr<QPDF> Source::TryPassword(const QString& password) {
    for (const std::string& bytes : QUtil::possible_repaired_encodings(password.toStdString())) {
        try {
            std::unique_ptr<QPDF> parsed = Parse(bytes);
            m_password = password;
            m_password_bytes = bytes;
            return parsed;
        } catch (const QPDFExc& error) {
            if (error.getErrorCode() != qpdf_e_password) throw;
        }
    }
    return nullptr;
}

Source::Paper Source::PaperOf(QPDFPageObjectHelper page) {
    constexpr QRectF kLetter(0, 0, 612, 792);
    QRectF media = ToRect(page.getMediaBox(), kLetter);
    if (media.isEmpty()) media = kLetter;
    const QRectF cropped = media & ToRect(page.getCropBox(), media);
    QPDFObjectHandle rotate = page.getAttribute("/Rotate", false);
    const int rotation = rotate.isInteger() ? rotate.getIntValueAsInt() % 360 / 90 * 90 : 0;
    return {cropped.isEmpty() ? media : cropped, (rotation + 360) % 360};
}

QSizeF Source::PageSize(int page) const {
    const Paper& paper = m_pages[static_cast<std::size_t>(page)];
    return paper.rotation % 180 != 0 ? paper.box.size().transposed() : paper.box.size();
}

// The engine mirrors the page's plane at the height of the shown page, and leaves out its box and its turn.
QTransform Source::FromTextPlace(int page) const {
    const Paper& paper = m_pages[static_cast<std::size_t>(page)];
    QTransform transform;
    if (paper.rotation == 90) transform.translate(paper.box.height(), 0);
    if (paper.rotation == 180) transform.translate(paper.box.width(), paper.box.height());
    if (paper.rotation == 270) transform.translate(0, paper.box.width());
    transform.rotate(paper.rotation);
    transform.translate(-paper.box.left(), paper.box.bottom() - PageSize(page).height());
    return transform;
}

void Source::Describe(QPDF& parsed) {
    for (const QPDFPageObjectHelper& page : QPDFPageDocumentHelper(parsed).getAllPages())
        m_pages.push_back(PaperOf(page));
    if (m_pages.empty())
        throw Failure(QObject::tr("%1 has no pages. Get it again from where it came from.").arg(Name()));
    m_title = InfoText(parsed, "/Title");
    m_author = InfoText(parsed, "/Author");
    m_is_encrypted = parsed.isEncrypted();
    m_is_signed = HasSignature(parsed);
    if (!m_is_encrypted || parsed.ownerPasswordMatched()) return;
    m_allowed = {.change_pages = parsed.allowModifyAssembly(),
                 .change_info = parsed.allowModifyOther(),
                 .copy = parsed.allowExtractAll(),
                 .print = parsed.allowPrintLowRes()};
}

// From here on the repaired file is read, so that what draws and what saves see the same pages.
void Source::Repair(std::unique_ptr<QPDF> damaged, const QString& folder) {
    const int descriptor = MakeNamelessFile(folder);
    FILE* const file = fdopen(dup(descriptor), "wb");
    QPDFWriter writer(*damaged);
    writer.setOutputFile("repaired copy", file, true);
    try {
        writer.write();
    } catch (...) {
        close(descriptor);
        throw;
    }
    m_file = std::make_shared<SourceFile>(descriptor, Name());
    m_was_repaired = true;
}

}  // namespace pdf
