// The cookies that the browser holds right now, as it tells of them one by one. Main thread only.
#pragma once

#include <QNetworkCookie>
#include <QObject>
#include <QUrl>
#include <functional>
#include <map>
#include <vector>

class QWebEngineCookieStore;

namespace browser {

class CookieJar {
public:
    explicit CookieJar(QWebEngineCookieStore& store);
    CookieJar(const CookieJar&) = delete;
    CookieJar& operator=(const CookieJar&) = delete;

    void Put(const QNetworkCookie& cookie);
    // Of a host, with those of domains above that go to it, too; or, with a leading dot, of a domain and all
    // below it.
    void Delete(const QString& host);
    // Runs `then` once everything that has happened to cookies until now is known here.
    void WhenSettled(std::function<void()> then);

    const std::vector<QNetworkCookie>& All() const { return m_cookies; }
    // Those that a request for this address takes along.
    std::vector<QNetworkCookie> For(const QUrl& url) const;

    std::function<void()> on_change;

private:
    void OnAdded(const QNetworkCookie& cookie);
    void OnRemoved(const QNetworkCookie& cookie);
    void Settle(int mark);

    QWebEngineCookieStore& m_store;
    std::vector<QNetworkCookie> m_cookies;
    std::map<int, std::function<void()>> m_waiting;  // by mark
    int m_last_mark = 0;
    QObject m_alive;  // what is connected ends with it
};

}  // namespace browser
