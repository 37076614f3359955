#include "host/desktop/pages/pdf/source_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <QObject>
#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "host/desktop/pages/pdf/failure.h"

namespace pdf {

namespace {

QString SystemError() {
    return qt_error_string(errno);
}

// Reads ahead a little, since the parser takes single characters.
class Input final : public InputSource {
public:
    explicit Input(std::shared_ptr<const SourceFile> file)
        : m_file(std::move(file)), m_name(m_file->Name().toStdString()) {}

    std::string const& getName() const override { return m_name; }
    qpdf_offset_t tell() override { return m_position; }
    void rewind() override { m_position = 0; }
    void unreadCh(char) override { m_position = std::max<qint64>(m_position - 1, 0); }
    void seek(qpdf_offset_t offset, int whence) override {
        const qint64 from = whence == SEEK_SET ? 0 : whence == SEEK_END ? m_file->Size() : m_position;
        if (from + offset < 0) throw std::runtime_error("an offset before the beginning of the file");
        m_position = from + offset;
    }
    size_t read(char* out_bytes, size_t length) override {
        last_offset = m_position;
        const std::size_t got = ReadHere(out_bytes, length);
        m_position += static_cast<qint64>(got);
        return got;
    }
    qpdf_offset_t findAndSkipNextEOL() override {
        char byte = 0;
        while (ReadHere(&byte, 1) && byte != '\r' && byte != '\n') ++m_position;
        const qpdf_offset_t end_of_line = m_position;
        while (ReadHere(&byte, 1) && (byte == '\r' || byte == '\n')) ++m_position;
        return end_of_line;
    }

private:
    static constexpr std::size_t kWindow = 4096;

    std::size_t ReadHere(char* out_bytes, std::size_t length) {
        if (length >= kWindow) return m_file->Read(m_position, out_bytes, length);
        const auto held = static_cast<qint64>(m_window.size());
        if (m_position < m_start || m_position + static_cast<qint64>(length) > m_start + held) Fill();
        const auto skip = static_cast<std::size_t>(m_position - m_start);
        const std::size_t got = std::min(length, m_window.size() - std::min(skip, m_window.size()));
        std::copy_n(m_window.begin() + static_cast<std::ptrdiff_t>(got ? skip : 0), got, out_bytes);
        return got;
    }
    void Fill() {
        m_window.resize(kWindow);
        m_window.resize(m_file->Read(m_position, m_window.data(), kWindow));
        m_start = m_position;
    }

    const std::shared_ptr<const SourceFile> m_file;
    const std::string m_name;
    std::vector<char> m_window;
    qint64 m_start = 0;
    qint64 m_position = 0;
};

class Device final : public QIODevice {
public:
    explicit Device(std::shared_ptr<const SourceFile> file) : m_file(std::move(file)) {
        open(ReadOnly | Unbuffered);
    }
    qint64 size() const override { return m_file->Size(); }

protected:
    qint64 readData(char* out_bytes, qint64 size) override {
        try {
            return static_cast<qint64>(m_file->Read(pos(), out_bytes, static_cast<std::size_t>(size)));
        } catch (const Failure& failure) {
            setErrorString(failure.Sentence());
            return -1;
        }
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    const std::shared_ptr<const SourceFile> m_file;
};

}  // namespace

std::shared_ptr<const SourceFile> SourceFile::Open(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    if (QFileInfo(path).isDir())
        throw Failure(QObject::tr("%1 is a folder; choose a PDF document in it.").arg(name));
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw Failure(QObject::tr("%1 can't be opened: %2.").arg(name, SystemError()));
    return std::make_shared<SourceFile>(descriptor, name);
}

SourceFile::SourceFile(int descriptor, QString name) : m_descriptor(descriptor), m_name(std::move(name)) {
    struct stat status {};
    fstat(m_descriptor, &status);
    m_size = status.st_size;
    m_changed = status.st_mtim;
}

SourceFile::~SourceFile() {
    close(m_descriptor);
}

std::shared_ptr<const SourceFile> SourceFile::Copy(const QString& folder) const {
    const int copy = MakeNamelessFile(folder);
    std::vector<char> block(std::size_t{1} << 20);
    for (qint64 position = 0; position < m_size;) {
        const std::size_t got = Read(position, block.data(), block.size());
        if (got == 0) break;
        if (write(copy, block.data(), got) != static_cast<ssize_t>(got)) {
            const QString reason = SystemError();
            close(copy);
            throw Failure(QObject::tr("%1 can't be copied to %2: %3.").arg(m_name, folder, reason));
        }
        position += static_cast<qint64>(got);
    }
    return std::make_shared<SourceFile>(copy, m_name);
}

std::size_t SourceFile::Read(qint64 position, char* out_bytes, std::size_t size) const {
    std::size_t got = 0;
    while (got < size) {
        const ssize_t now =
            pread(m_descriptor, out_bytes + got, size - got, position + static_cast<qint64>(got));
        if (now < 0 && errno == EINTR) continue;
        if (now < 0) throw Failure(QObject::tr("%1 can't be read: %2.").arg(m_name, SystemError()));
        if (now == 0) break;
        got += static_cast<std::size_t>(now);
    }
    return got;
}

void SourceFile::CheckUnchanged() const {
    struct stat status {};
    fstat(m_descriptor, &status);
    const bool same_time =
        status.st_mtim.tv_sec == m_changed.tv_sec && status.st_mtim.tv_nsec == m_changed.tv_nsec;
    if (status.st_size == m_size && same_time) return;
    throw Failure(
        QObject::tr("%1 was changed by another program while it was open. Close it and open it again.")
            .arg(m_name));
}

int MakeNamelessFile(const QString& folder) {
    QByteArray name = QFile::encodeName(folder + QStringLiteral("/pages-XXXXXX"));
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0)
        throw Failure(QObject::tr("No temporary file can be made in %1: %2.").arg(folder, SystemError()));
    unlink(name.constData());
    return descriptor;
}

std::shared_ptr<InputSource> MakeInput(std::shared_ptr<const SourceFile> file) {
    return std::make_shared<Input>(std::move(file));
}

std::unique_ptr<QIODevice> MakeDevice(std::shared_ptr<const SourceFile> file) {
    return std::make_unique<Device>(std::move(file));
}

}  // namespace pdf
