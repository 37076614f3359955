#include "host/desktop/pages/testing/sample_files.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QPdfDocument>
#include <QPdfSelection>
#include <QThread>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

namespace pages {

namespace {

QPDFObjectHandle MakePage(QPDF& document, const SamplePage& page) {
    const std::string width = std::to_string(page.size.width());
    const std::string height = std::to_string(page.size.height());
    const std::string square = "1 0 0 rg 0 " + std::to_string(page.size.height() - 40) + " 40 40 re f 0 g ";
    const std::string text =
        "BT /F1 18 Tf 20 " + std::to_string(page.size.height() / 2) + " Td (" + page.text + ") Tj ET";
    QPDFObjectHandle object = QPDFObjectHandle::parse(
        "<< /Type /Page /MediaBox [0 0 " + width + " " + height + "] /Rotate " + std::to_string(page.rotate) +
        " /Resources << /Font << /F1 << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >> >> >>");
    object.replaceKey("/Contents", QPDFObjectHandle::newStream(&document, square + text));
    return document.makeIndirectObject(object);
}

}  // namespace

QString SampleFiles::Write(const QString& name, const std::vector<SamplePage>& pages,
                           const std::function<void(QPDF&)>& change,
                           const std::function<void(QPDFWriter&)>& how) const {
    QPDF document;
    document.emptyPDF();
    for (const SamplePage& page : pages) document.addPage(MakePage(document, page), false);
    if (change) change(document);
    const QByteArray path = QFile::encodeName(Path(name));  // the writer keeps no copy
    QPDFWriter writer(document, path.constData());
    if (how) how(writer);
    writer.write();
    return Path(name);
}

QString SampleFiles::WriteNumbered(const QString& name, int pages) const {
    std::vector<SamplePage> numbered;
    for (int page = 1; page <= pages; ++page) numbered.push_back({"Page " + std::to_string(page)});
    return Write(name, numbered);
}

QString SampleFiles::WriteBytes(const QString& name, const QByteArray& bytes) const {
    QFile file(Path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("a sample file can't be written");
    return Path(name);
}

void Encipher(QPDFWriter& writer, const char* user, const char* owner, bool may_change) {
    writer.setR6EncryptionParameters(user, owner, true, may_change, may_change, may_change, may_change,
                                     may_change, may_change ? qpdf_r3p_full : qpdf_r3p_none, true);
}

QStringList PagesOf(const QString& path, const QString& password) {
    QPDF parsed;
    parsed.processFile(QFile::encodeName(path).constData(), password.toUtf8().constData());
    QPdfDocument reader;
    reader.setPassword(password);
    reader.load(path);
    QStringList pages;
    int at = 0;
    for (QPDFPageObjectHelper& page : QPDFPageDocumentHelper(parsed).getAllPages()) {
        QString text = reader.getAllText(at++).text().trimmed();
        QPDFObjectHandle rotate = page.getAttribute("/Rotate", false);
        if (rotate.isInteger() && rotate.getIntValue() != 0)
            text += QStringLiteral("/%1").arg(rotate.getIntValue());
        pages.append(text);
    }
    return pages;
}

bool WaitFor(const std::function<bool()>& condition) {
    const QDeadlineTimer deadline(10000);
    while (!condition()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return true;
}

}  // namespace pages
