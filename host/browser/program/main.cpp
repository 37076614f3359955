// sphost-browser: the browser window of a sign-in. sphost starts it with a socket as its standard input and
// tells it what to show; sphost stores the cookies, the browser writes nothing to disk. Main thread.
#include <unistd.h>

#include <QApplication>
#include <QDateTime>
#include <QJsonArray>
#include <QNetworkProxyFactory>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTimer>
#include <QWebEngineCookieStore>
#include <QWebEngineProfile>
#include <cstdio>
#include <memory>

#include "host/browser/program/cookie_jar.h"
#include "host/browser/program/host_link.h"
#include "host/browser/program/window.h"

namespace browser {
namespace {

QJsonObject ToJson(const QNetworkCookie& cookie) {
    QJsonObject json{{"name", QString::fromUtf8(cookie.name())},
                     {"value", QString::fromUtf8(cookie.value())},
                     {"domain", cookie.domain()},
                     {"path", cookie.path()},
                     {"secure", cookie.isSecure()},
                     {"httpOnly", cookie.isHttpOnly()}};
    if (!cookie.isSessionCookie()) json["expires"] = cookie.expirationDate().toSecsSinceEpoch();
    return json;
}

QNetworkCookie FromJson(const QJsonObject& json) {
    QNetworkCookie cookie(json["name"].toString().toUtf8(), json["value"].toString().toUtf8());
    cookie.setDomain(json["domain"].toString());
    cookie.setPath(json["path"].toString());
    cookie.setSecure(json["secure"].toBool());
    cookie.setHttpOnly(json["httpOnly"].toBool());
    if (json.contains("expires"))
        cookie.setExpirationDate(QDateTime::fromSecsSinceEpoch(json["expires"].toInteger()));
    return cookie;
}

template <class Cookies>
QJsonArray ToJsonArray(const Cookies& cookies) {
    QJsonArray array;
    for (const QNetworkCookie& cookie : cookies) array.append(ToJson(cookie));
    return array;
}

class Program {
public:
    explicit Program(std::optional<Fill> fill) : m_link(STDIN_FILENO), m_jar(*m_profile.cookieStore()) {
        m_window = std::make_unique<Window>(m_profile);
        if (fill) m_window->FillOnce(std::move(*fill));
        m_window->on_resized = [this](int width, int height) {
            Send({{"event", "resized"}, {"width", width}, {"height", height}});
        };
        m_window->on_refused = [this](const QUrl& url) {
            Send({{"event", "refused"}, {"url", url.toString(QUrl::FullyEncoded)}});
        };
        m_window->on_closed = [this] { Send({{"event", "closed"}}); };
        m_later.setSingleShot(true);
        m_later.setInterval(100);
        QObject::connect(&m_later, &QTimer::timeout, &m_later, [this] { SendAll(); });
        m_jar.on_change = [this] { m_later.start(); };
        m_link.on_message = [this](const QJsonObject& message) { Do(message); };
        m_link.on_end = [] { QCoreApplication::quit(); };
    }

private:
    void Send(const QJsonObject& message) {
        if (!m_link.Send(message)) QCoreApplication::quit();
    }
    // Sends the cookies that sphost stores.
    void SendAll() {
        m_later.stop();
        if (m_started) Send({{"event", "store"}, {"cookies", ToJsonArray(m_jar.All())}});
    }
    // The engine reports no cookies before its first page.
    void Start(const QJsonArray& cookies) {
        m_window->on_navigated = [this, cookies](const QUrl&, bool) {
            ListenToPages();
            for (const auto& cookie : cookies) m_jar.Put(FromJson(cookie.toObject()));
            m_jar.WhenSettled([this] {
                m_later.stop();  // the only changes are the ones that came from sphost
                m_started = true;
                Send({{"event", "ready"}});
            });
        };
        m_window->page()->setUrl(QUrl("about:blank"));
    }
    void ListenToPages() {
        m_window->on_navigated = [this](const QUrl& url, bool success) {
            Send({{"event", "navigated"}, {"url", url.toString(QUrl::FullyEncoded)}, {"success", success}});
        };
    }
    void Do(const QJsonObject& message) {
        const QString what = message["do"].toString();
        if (what == "start") Start(message["cookies"].toArray());
        if (what == "navigate") m_window->Open(QUrl(message["url"].toString()));
        if (what == "visible") m_window->SetShown(message["on"].toBool());
        if (what == "size") m_window->Suggest(message["width"].toInt(), message["height"].toInt());
        if (what == "set") m_window->Set(message["what"].toString(), message["on"].toBool());
        if (what == "cookies") {
            m_jar.WhenSettled([this] {
                Send({{"event", "cookies"}, {"cookies", ToJsonArray(m_jar.For(m_window->url()))}});
            });
        }
        if (what == "delete") m_jar.Delete(message["host"].toString());
        if (what == "end") {
            m_window->on_closed = nullptr;
            m_jar.WhenSettled([this] {
                SendAll();
                QCoreApplication::quit();
            });
        }
    }

    HostLink m_link;
    QWebEngineProfile m_profile;  // without a name it writes nothing to disk
    CookieJar m_jar;
    QTimer m_later;
    bool m_started = false;
    std::unique_ptr<Window> m_window;  // destroyed before the profile, which its page uses
};

// Adds the authorities of SSL_CERT_FILE to the system's.
void TrustMore() {
    const QString file = qEnvironmentVariable("SSL_CERT_FILE");
    if (file.isEmpty()) return;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.addCaCertificates(QSslCertificate::fromPath(file));
    QSslConfiguration::setDefaultConfiguration(configuration);
}

std::optional<Fill> ParseFill(const QStringList& arguments) {
    const qsizetype at = arguments.indexOf("--fill");
    if (at < 0 || at + 1 >= arguments.size()) return std::nullopt;
    Fill fill;
    for (const QString& part : arguments[at + 1].split(',')) {
        if (part.startsWith("user=")) fill.user = part.mid(5);
        if (part.startsWith("password=")) fill.password = part.mid(9);
    }
    return fill;
}

}  // namespace
}  // namespace browser

int main(int count, char** words) {
    // The engine refuses to run in its sandbox as root.
    if (geteuid() == 0) qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        std::fputs("sphost-browser: there is no display to show a window on\n", stderr);
        return 3;
    }
    QApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    const QApplication application(count, words);
    browser::TrustMore();
    QNetworkProxyFactory::setUseSystemConfiguration(true);
    // It ends with sphost's connection: after the window is closed there are still cookies to send.
    QApplication::setQuitOnLastWindowClosed(false);
    browser::Program program(browser::ParseFill(QApplication::arguments()));
    return QApplication::exec();
}
