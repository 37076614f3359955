// The browser's one window: a page, with the name of its site in the title. Main thread only.
#pragma once

#include <QWebEnginePage>
#include <QWebEngineView>
#include <functional>
#include <optional>

class QAuthenticator;

namespace browser {

struct Fill {
    QString user;
    QString password;
};

class Page final : public QWebEnginePage {
public:
    using QWebEnginePage::QWebEnginePage;
    bool script_dialogs = true;
    std::function<void(const QUrl& url)> on_refused;

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool is_main_frame) override;
    // A page's messages may hold secrets, so they are not logged.
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString&, int,
                                  const QString&) override {}
    void javaScriptAlert(const QUrl& origin, const QString& text) override;
    bool javaScriptConfirm(const QUrl& origin, const QString& text) override;
    bool javaScriptPrompt(const QUrl& origin, const QString& text, const QString& otherwise,
                          QString* out_result) override;
};

class Window final : public QWebEngineView {
public:
    explicit Window(QWebEngineProfile& profile);
    ~Window() override;

    void Open(const QUrl& url);
    void SetShown(bool shown);
    // The first call sets the window's size; later the person does.
    void Suggest(int width, int height);
    void Set(const QString& setting, bool on);
    // Answers the first request for a password without asking the person.
    void FillOnce(Fill fill) { m_fill = std::move(fill); }

    std::function<void(const QUrl& url, bool success)> on_navigated;
    std::function<void(int width, int height)> on_resized;
    std::function<void()> on_closed;
    std::function<void(const QUrl& url)> on_refused;  // a page that is no http or https address

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void TryFill();
    void AnswerChallenge(const QUrl& url, QAuthenticator* answer);
    void ShowTitle();

    Page* m_page;
    bool m_wanted = true;  // nothing is shown before there is a page
    bool m_has_page = false;
    bool m_has_size = false;
    std::optional<Fill> m_fill;
};

}  // namespace browser
