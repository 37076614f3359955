#include "host/browser/program/cookie_jar.h"

#include <QTimer>
#include <QWebEngineCookieStore>
#include <algorithm>

namespace browser {

namespace {

// No host can have this name, so no page can set a cookie for it.
const QString kMarkHost = QStringLiteral("settled.invalid");

QString WithoutDot(const QString& domain) {
    return domain.startsWith('.') ? domain.mid(1) : domain;
}

bool IsBelow(const QString& host, const QString& domain) {
    return host == domain || host.endsWith('.' + domain);
}

bool CoversPath(const QString& cookie_path, const QString& path) {
    if (!path.startsWith(cookie_path)) return false;
    return path.size() == cookie_path.size() || cookie_path.endsWith('/') || path[cookie_path.size()] == '/';
}

}  // namespace

CookieJar::CookieJar(QWebEngineCookieStore& store) : m_store(store) {
    QObject::connect(&store, &QWebEngineCookieStore::cookieAdded, &m_alive,
                     [this](const QNetworkCookie& cookie) { OnAdded(cookie); });
    QObject::connect(&store, &QWebEngineCookieStore::cookieRemoved, &m_alive,
                     [this](const QNetworkCookie& cookie) { OnRemoved(cookie); });
}

void CookieJar::Put(const QNetworkCookie& cookie) {
    QUrl origin;
    origin.setScheme(cookie.isSecure() ? "https" : "http");
    origin.setHost(WithoutDot(cookie.domain()));
    origin.setPath(cookie.path());
    QNetworkCookie put = cookie;
    // A cookie with a domain would go to all hosts below it.
    if (!cookie.domain().startsWith('.')) put.setDomain({});
    m_store.setCookie(put, origin);
}

void CookieJar::Delete(const QString& host) {
    const bool all_below = host.startsWith('.');
    const QString name = WithoutDot(host).toLower();
    const auto all = m_cookies;
    for (const QNetworkCookie& cookie : all) {
        const QString domain = WithoutDot(cookie.domain()).toLower();
        const bool goes_to_it = cookie.domain().startsWith('.') && IsBelow(name, domain);
        if (domain == name || goes_to_it || (all_below && IsBelow(domain, name)))
            m_store.deleteCookie(cookie);
    }
}

// The browser reports changes in their order, so all changes before a marker cookie are known once it is
// reported.
void CookieJar::WhenSettled(std::function<void()> then) {
    constexpr int kBusyTimeoutMs = 2000;
    const int mark = ++m_last_mark;
    m_waiting[mark] = std::move(then);
    QUrl origin;
    origin.setScheme("http");
    origin.setHost(kMarkHost);
    m_store.setCookie(QNetworkCookie("mark", QByteArray::number(mark)), origin);
    QTimer::singleShot(kBusyTimeoutMs, &m_alive, [this, mark] { Settle(mark); });
}

void CookieJar::Settle(int mark) {
    const auto found = m_waiting.find(mark);
    if (found == m_waiting.end()) return;
    const auto then = std::move(found->second);
    m_waiting.erase(found);
    then();
}

std::vector<QNetworkCookie> CookieJar::For(const QUrl& url) const {
    const QString host = url.host().toLower();
    const QString path = url.path().isEmpty() ? QStringLiteral("/") : url.path();
    std::vector<QNetworkCookie> result;
    std::copy_if(m_cookies.begin(), m_cookies.end(), std::back_inserter(result), [&](const auto& cookie) {
        const QString domain = cookie.domain().toLower();
        const bool is_for_host = domain.startsWith('.') ? IsBelow(host, WithoutDot(domain)) : host == domain;
        return is_for_host && CoversPath(cookie.path(), path) &&
               (!cookie.isSecure() || url.scheme() == "https");
    });
    return result;
}

void CookieJar::OnAdded(const QNetworkCookie& cookie) {
    if (WithoutDot(cookie.domain()) == kMarkHost) {
        Settle(cookie.value().toInt());
        return;
    }
    const auto same = std::find_if(m_cookies.begin(), m_cookies.end(),
                                   [&](const auto& known) { return known.hasSameIdentifier(cookie); });
    if (same == m_cookies.end()) {
        m_cookies.push_back(cookie);
    } else {
        *same = cookie;
    }
    if (on_change) on_change();
}

void CookieJar::OnRemoved(const QNetworkCookie& cookie) {
    const auto gone = std::remove_if(m_cookies.begin(), m_cookies.end(),
                                     [&](const auto& known) { return known.hasSameIdentifier(cookie); });
    if (gone == m_cookies.end()) return;
    m_cookies.erase(gone, m_cookies.end());
    if (on_change) on_change();
}

}  // namespace browser
