// PDF files for tests, made in a folder of their own that goes with them.
#pragma once

#include <QByteArray>
#include <QSizeF>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <functional>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFWriter.hh>
#include <string>
#include <vector>

namespace pages {

// Each page says its text, and has a red square in its upper left corner.
struct SamplePage {
    std::string text;
    QSizeF size{200, 300};
    int rotate = 0;
};

class SampleFiles {
public:
    QString Path(const QString& name) const { return m_folder.filePath(name); }
    QString Folder() const { return m_folder.path(); }
    QString Write(const QString& name, const std::vector<SamplePage>& pages,
                  const std::function<void(QPDF&)>& change = {},
                  const std::function<void(QPDFWriter&)>& how = {}) const;
    // Pages "Page 1", "Page 2" and so on.
    QString WriteNumbered(const QString& name, int pages) const;
    QString WriteBytes(const QString& name, const QByteArray& bytes) const;

private:
    QTemporaryDir m_folder;
};

// The same for QPDFWriter: enciphered, and a reader may do nothing but look.
void Encipher(QPDFWriter& writer, const char* user, const char* owner, bool may_change);

// What a file says to another reader: "TEXT" for each page, "TEXT/90" for a turned one.
QStringList PagesOf(const QString& path, const QString& password = {});

// Lets events happen until a condition holds; false after ten seconds.
bool WaitFor(const std::function<bool()>& condition);

}  // namespace pages
