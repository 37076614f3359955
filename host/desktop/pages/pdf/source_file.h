// An open file that several readers share without a common position. It stays readable when its name is
// given to another file. Owned by shared pointers; any thread.
#pragma once

#include <QIODevice>
#include <QString>
#include <ctime>
#include <memory>
#include <qpdf/InputSource.hh>

namespace pdf {

class SourceFile {
public:
    // Throws a Failure.
    static std::shared_ptr<const SourceFile> Open(const QString& path);
    // A nameless copy in a folder, which nobody else can change. Throws a Failure.
    std::shared_ptr<const SourceFile> Copy(const QString& folder) const;
    // Takes a descriptor; the name is for messages.
    SourceFile(int descriptor, QString name);
    ~SourceFile();
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    const QString& Name() const { return m_name; }
    qint64 Size() const { return m_size; }
    // Bytes from a position on, fewer only at the end. Throws a Failure.
    std::size_t Read(qint64 position, char* out_bytes, std::size_t size) const;
    // Throws a Failure when somebody has written into the file since it was opened.
    void CheckUnchanged() const;

private:
    const int m_descriptor;
    const QString m_name;
    qint64 m_size = 0;
    timespec m_changed{};
};

// Makes a file without a name in a folder. Throws a Failure.
int MakeNamelessFile(const QString& folder);

// Readers with positions of their own over a shared file.
std::shared_ptr<InputSource> MakeInput(std::shared_ptr<const SourceFile> file);
std::unique_ptr<QIODevice> MakeDevice(std::shared_ptr<const SourceFile> file);

}  // namespace pdf
