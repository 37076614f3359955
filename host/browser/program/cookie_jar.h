// The browser's present cookies, collected from its notifications. Main thread only.
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
    // Deletes the cookies that a host gets; with a leading dot, those of a domain and all hosts below it.
    void Delete(const QString& host);
    // Runs `then` once all changes of cookies until now have arrived here.
    void WhenSettled(std::function<void()> then);

    const std::vector<QNetworkCookie>& All() const { return m_cookies; }
    // The cookies that a request for this address carries.
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
    QObject m_alive;  // the connections end with it
};

}  // namespace browser
