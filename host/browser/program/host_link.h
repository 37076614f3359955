// The line to sphost: a JSON object a line in each direction on one socket. Main thread only.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QSocketNotifier>
#include <functional>

namespace browser {

class HostLink {
public:
    explicit HostLink(int descriptor);

    // False when nobody listens any more.
    bool Send(const QJsonObject& message);

    std::function<void(const QJsonObject&)> on_message;
    std::function<void()> on_end;

private:
    void Read();

    const int m_descriptor;
    QByteArray m_pending;
    QSocketNotifier m_notifier;
};

}  // namespace browser
