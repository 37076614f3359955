#include "host/browser/program/host_link.h"

#include <sys/socket.h>

#include <QJsonDocument>
#include <cerrno>

namespace browser {

HostLink::HostLink(int descriptor) : m_descriptor(descriptor), m_notifier(descriptor, QSocketNotifier::Read) {
    QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { Read(); });
}

bool HostLink::Send(const QJsonObject& message) {
    const QByteArray line = QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
    for (qsizetype sent = 0; sent < line.size();) {
        const ssize_t now = send(m_descriptor, line.constData() + sent,
                                 static_cast<std::size_t>(line.size() - sent), MSG_NOSIGNAL);
        if (now < 0 && errno == EINTR) continue;
        if (now <= 0) return false;
        sent += now;
    }
    return true;
}

void HostLink::Read() {
    char bytes[16384];
    const ssize_t got = recv(m_descriptor, bytes, sizeof(bytes), 0);
    if (got < 0 && errno == EINTR) return;
    if (got <= 0) {
        m_notifier.setEnabled(false);
        if (on_end) on_end();
        return;
    }
    m_pending.append(bytes, got);
    for (qsizetype end = m_pending.indexOf('\n'); end >= 0; end = m_pending.indexOf('\n')) {
        const QByteArray line = m_pending.left(end);
        m_pending.remove(0, end + 1);
        if (on_message) on_message(QJsonDocument::fromJson(line).object());
    }
}

}  // namespace browser
