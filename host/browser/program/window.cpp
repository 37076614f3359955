#include "host/browser/program/window.h"

#include <QAuthenticator>
#include <QCloseEvent>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QNetworkProxy>
#include <QResizeEvent>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QWebEngineCertificateError>
#include <QWebEngineNewWindowRequest>
#include <QWebEngineProfile>
#include <QWebEngineSettings>

namespace browser {

namespace {

// The engine checks certificates by itself; additional authorities are known to Qt alone.
bool IsTrustedHere(const QWebEngineCertificateError& error) {
    if (error.type() != QWebEngineCertificateError::CertificateAuthorityInvalid) return false;
    return QSslCertificate::verify(error.certificateChain(), error.url().host()).isEmpty();
}

// Answers with the name and password in the proxy's address; without them the proxy's page is shown.
void AnswerProxy(const QUrl& url, QAuthenticator* answer, const QString&) {
    for (const QNetworkProxy& proxy : QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url))) {
        if (proxy.user().isEmpty()) continue;
        answer->setUser(proxy.user());
        answer->setPassword(proxy.password());
        return;
    }
}

}  // namespace

// A page can lead anywhere: to files of this machine, and to programs that a scheme starts.
bool Page::acceptNavigationRequest(const QUrl& url, NavigationType, bool is_main_frame) {
    const QString scheme = url.scheme();
    const bool is_web = scheme == "http" || scheme == "https" || url == QUrl("about:blank");
    const bool is_of_page = !is_main_frame && (scheme == "about" || scheme == "data" || scheme == "blob");
    if (is_web || is_of_page) return true;
    if (on_refused) on_refused(url);
    return false;
}

void Page::javaScriptAlert(const QUrl& origin, const QString& text) {
    if (script_dialogs) QWebEnginePage::javaScriptAlert(origin, text);
}

bool Page::javaScriptConfirm(const QUrl& origin, const QString& text) {
    return script_dialogs && QWebEnginePage::javaScriptConfirm(origin, text);
}

bool Page::javaScriptPrompt(const QUrl& origin, const QString& text, const QString& otherwise,
                            QString* out_result) {
    return script_dialogs && QWebEnginePage::javaScriptPrompt(origin, text, otherwise, out_result);
}

Window::Window(QWebEngineProfile& profile) : m_page(new Page(&profile, this)) {
    setPage(m_page);
    // The page is asked about these, too, and refuses them with a word.
    m_page->settings()->setUnknownUrlSchemePolicy(QWebEngineSettings::AllowAllUnknownUrlSchemes);
    m_page->on_refused = [this](const QUrl& url) {
        if (on_refused) on_refused(url);
    };
    connect(m_page, &QWebEnginePage::loadFinished, this, [this](bool success) {
        if (success) TryFill();
        // It may be replaced by another.
        if (const auto tell = on_navigated) tell(m_page->url(), success);
    });
    connect(m_page, &QWebEnginePage::titleChanged, this, [this] { ShowTitle(); });
    connect(m_page, &QWebEnginePage::urlChanged, this, [this] { ShowTitle(); });
    connect(m_page, &QWebEnginePage::windowCloseRequested, this, [this] { close(); });
    // A page that opens a window is shown in this one.
    connect(m_page, &QWebEnginePage::newWindowRequested, this,
            [this](QWebEngineNewWindowRequest& request) { m_page->setUrl(request.requestedUrl()); });
    connect(m_page, &QWebEnginePage::authenticationRequired, this,
            [this](const QUrl& url, QAuthenticator* answer) { AnswerChallenge(url, answer); });
    connect(m_page, &QWebEnginePage::proxyAuthenticationRequired, this, &AnswerProxy);
    connect(m_page, &QWebEnginePage::certificateError, this, [](QWebEngineCertificateError error) {
        if (IsTrustedHere(error)) {
            error.acceptCertificate();
        } else {
            error.rejectCertificate();
        }
    });
}

// The page must be deleted before the profile.
Window::~Window() {
    on_navigated = nullptr;
    on_closed = nullptr;
    setPage(nullptr);
    delete m_page;
}

void Window::Open(const QUrl& url) {
    m_has_page = true;
    setVisible(m_wanted);
    m_page->setUrl(url);
}

void Window::SetShown(bool shown) {
    m_wanted = shown;
    if (m_has_page) setVisible(shown);
}

void Window::Suggest(int width, int height) {
    if (m_has_size || width <= 0 || height <= 0) return;
    m_has_size = true;
    resize(width, height);
}

void Window::Set(const QString& setting, bool on) {
    if (setting == "scripts") page()->settings()->setAttribute(QWebEngineSettings::JavascriptEnabled, on);
    if (setting == "scriptDialogs") m_page->script_dialogs = on;
    if (setting == "contextMenus") setContextMenuPolicy(on ? Qt::DefaultContextMenu : Qt::NoContextMenu);
}

// The title shows which site asks for a password; a page can't change it.
void Window::ShowTitle() {
    const QUrl url = m_page->url();
    setWindowTitle((url.scheme() == "https" ? QString() : url.scheme() + "://") + url.host() + " - " +
                   m_page->title());
}

void Window::TryFill() {
    if (!m_fill) return;
    const QJsonArray words{m_fill->user, m_fill->password};
    const QString script = QStringLiteral(
        "(function(words) {"
        "  const password = document.querySelector('input[type=password]');"
        "  if (!password || !password.form) return false;"
        "  const user = password.form.querySelector('input[type=text],input[type=email],input:not([type])');"
        "  if (user) user.value = words[0];"
        "  password.value = words[1];"
        "  password.form.requestSubmit();"
        "  return true;"
        "})(%1)");
    m_page->runJavaScript(script.arg(QString::fromUtf8(QJsonDocument(words).toJson(QJsonDocument::Compact))),
                          [this](const QVariant& filled) {
                              if (filled.toBool()) m_fill.reset();
                          });
}

// A server's request for a name and a password, without a page.
void Window::AnswerChallenge(const QUrl& url, QAuthenticator* answer) {
    if (m_fill) {
        answer->setUser(m_fill->user);
        answer->setPassword(m_fill->password);
        m_fill.reset();
        return;
    }
    QDialog dialog(this);
    dialog.setWindowTitle(url.host());
    auto* const user = new QLineEdit(&dialog);
    auto* const password = new QLineEdit(&dialog);
    password->setEchoMode(QLineEdit::Password);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    auto* const layout = new QFormLayout(&dialog);
    layout->addRow("User name:", user);
    layout->addRow("Password:", password);
    layout->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    if (dialog.exec() != QDialog::Accepted) return;
    answer->setUser(user->text());
    answer->setPassword(password->text());
}

void Window::closeEvent(QCloseEvent* event) {
    event->accept();
    if (on_closed) on_closed();
}

void Window::resizeEvent(QResizeEvent* event) {
    QWebEngineView::resizeEvent(event);
    if (on_resized) on_resized(event->size().width(), event->size().height());
}

}  // namespace browser
