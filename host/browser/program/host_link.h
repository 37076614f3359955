// The connection to sphost: one JSON object a line, in both directions, on one socket. Main thread only.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QSocketNotifier>
#include <functional>

namespace browser {

class HostLink {
public:
    explicit HostLink(int descriptor);

    // False when sphost has closed its end.
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
