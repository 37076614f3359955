#include "host/desktop/pages/pdf/writer.h"

#include <QFileInfo>
#include <QObject>
#include <QSaveFile>
#include <exception>
#include <map>
#include <qpdf/Pipeline.hh>
#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>
#include <set>
#include <vector>

#include "host/desktop/pages/pdf/failure.h"
#include "host/desktop/pages/pdf/metadata.h"

namespace pdf {

namespace {

// A parsed source with what its pages are copied with.
struct Parsed {
    explicit Parsed(const Source& source)
        : document(source.Load()),
          form(std::make_unique<QPDFAcroFormDocumentHelper>(*document)),
          pages(QPDFPageDocumentHelper(*document).getAllPages()) {}

    std::unique_ptr<QPDF> document;
    std::unique_ptr<QPDFAcroFormDocumentHelper> form;
    std::vector<QPDFPageObjectHelper> pages;
};

// The main source's file, with the pages of a state in it.
class Assembly {
public:
    explicit Assembly(const State& state) : m_state(state), m_main(*state.main) {
        if (!IsInOrder()) ArrangePages();
        Rotate();
        SetInfo();
    }

    QPDF& Document() { return *m_main.document; }

private:
    bool IsInOrder() const {
        if (m_state.pages.size() != m_state.main->PageCount()) return false;
        for (int i = 0; i < m_state.pages.size(); ++i) {
            if (m_state.pages[i].source != m_state.main || m_state.pages[i].index != i) return false;
        }
        return true;
    }

    void ArrangePages() {
        QPDFPageDocumentHelper pages(Document());
        pages.pushInheritedAttributesToPage();
        for (auto page = m_main.pages.rbegin(); page != m_main.pages.rend(); ++page) pages.removePage(*page);
        std::set<int> kept;
        for (const Page& page : m_state.pages) {
            if (page.source == m_state.main && kept.insert(page.index).second) {
                pages.addPage(m_main.pages[static_cast<std::size_t>(page.index)], false);
            } else {
                AddCopy(pages, page);
            }
        }
        DropUnused(kept);
    }

    // Form fields of a copy become fields of their own.
    void AddCopy(QPDFPageDocumentHelper& pages, const Page& page) {
        Parsed& from = ParsedOf(page.source);
        QPDFPageObjectHelper original = from.pages[static_cast<std::size_t>(page.index)];
        pages.addPage(original.shallowCopyPage(), false);
        QPDFObjectHandle copy = Document().getAllPages().back();
        m_main.form->fixCopiedAnnotations(copy, original.getObjectHandle(), *from.form);
    }

    // A deleted page would stay in the file if a bookmark or a form field still led to it.
    void DropUnused(const std::set<int>& kept) {
        std::set<QPDFObjGen> gone_fields;
        for (int index = 0; index < static_cast<int>(m_main.pages.size()); ++index) {
            if (kept.contains(index)) continue;
            QPDFPageObjectHelper page = m_main.pages[static_cast<std::size_t>(index)];
            for (QPDFFormFieldObjectHelper& field : m_main.form->getFormFieldsForPage(page))
                gone_fields.insert(field.getTopLevelField().getObjectHandle().getObjGen());
            Document().replaceObject(page.getObjectHandle().getObjGen(), QPDFObjectHandle::newNull());
        }
        if (gone_fields.empty()) return;
        for (const QPDFPageObjectHelper& page : QPDFPageDocumentHelper(Document()).getAllPages()) {
            for (QPDFFormFieldObjectHelper& field : m_main.form->getFormFieldsForPage(page))
                gone_fields.erase(field.getTopLevelField().getObjectHandle().getObjGen());
        }
        m_main.form->removeFormFields(gone_fields);
    }

    void Rotate() {
        std::vector<QPDFPageObjectHelper> pages = QPDFPageDocumentHelper(Document()).getAllPages();
        for (int i = 0; i < m_state.pages.size(); ++i) {
            const int rotation = m_state.pages[i].rotation;
            if (rotation != 0) pages[static_cast<std::size_t>(i)].rotatePage(rotation, true);
        }
    }

    void SetInfo() {
        if (m_state.title != m_state.main->Title()) SetTitle(Document(), m_state.title);
        if (m_state.author != m_state.main->Author()) SetAuthor(Document(), m_state.author);
    }

    Parsed& ParsedOf(const SourcePtr& source) {
        if (source == m_state.main) return m_main;
        return m_others.try_emplace(source, *source).first->second;
    }

    const State& m_state;
    Parsed m_main;
    std::map<SourcePtr, Parsed> m_others;  // stay until the file is written, which reads their streams
};

class FilePipeline final : public Pipeline {
public:
    explicit FilePipeline(QSaveFile& file) : Pipeline("file", nullptr), m_file(file) {}
    void write(unsigned char const* data, size_t size) override {
        if (m_file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) < 0)
            throw Failure(m_file.errorString());
    }
    void finish() override {}

private:
    QSaveFile& m_file;
};

struct Cancelled {};

class Progress final : public QPDFWriter::ProgressReporter {
public:
    explicit Progress(std::function<bool(int)> tell) : m_tell(std::move(tell)) {}
    void reportProgress(int percent) override {
        if (!m_tell(percent)) throw Cancelled{};
    }

private:
    const std::function<bool(int)> m_tell;
};

void WriteTo(QSaveFile& file, Assembly& assembly, const WriteOptions& options) {
    FilePipeline pipeline(file);
    QPDFWriter writer(assembly.Document());
    writer.setOutputPipeline(&pipeline);
    if (options.deterministic_id && !assembly.Document().isEncrypted()) writer.setDeterministicID(true);
    if (options.progress) writer.registerProgressReporter(std::make_shared<Progress>(options.progress));
    writer.write();
}

}  // namespace

bool Write(const State& state, const QString& path, const WriteOptions& options) {
    const QString name = QFileInfo(path).fileName();
    try {
        Assembly assembly(state);
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly)) throw Failure(file.errorString());
        WriteTo(file, assembly, options);
        if (!file.commit()) throw Failure(file.errorString());
    } catch (const Cancelled&) {
        return false;
    } catch (const std::exception& error) {
        throw Failure(QObject::tr("%1 could not be saved: %2").arg(name, QString::fromUtf8(error.what())));
    }
    return true;
}

}  // namespace pdf
