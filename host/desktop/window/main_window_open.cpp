// Opening documents, places, and what earlier runs left.
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMimeData>
#include <QPointer>
#include <QTabWidget>

#include "host/base/failure.h"
#include "host/desktop/bars/theme.h"
#include "host/desktop/front_end/text.h"
#include "host/desktop/window/main_window.h"
#include "host/desktop/window/place_window.h"
#include "host/desktop/window/places_pane.h"
#include "host/desktop/window/preferences_window.h"
#include "host/desktop/window/questions.h"
#include "host/desktop/window/site_dialogs.h"
#include "host/desktop/window/unsent_window.h"
#include "host/jobs/address.h"
#include "host/jobs/places.h"

namespace desktop {

namespace {

// What people mean by a path that starts with "~", or by "file://".
QString PathOf(QString text) {
    if (text.startsWith("file://")) return QUrl(text).toLocalFile();
    if (text.startsWith("~/")) text.replace(0, 1, QDir::homePath());
    return QFileInfo(text).absoluteFilePath();
}

// The site that a document's address is probably of: /sites/NAME, /teams/NAME, or the server.
QString SiteOf(const QString& address) {
    const QUrl url(address);
    const QStringList parts = url.path().split('/', Qt::SkipEmptyParts);
    const bool is_below = parts.size() > 1 && (parts[0] == "sites" || parts[0] == "teams");
    QUrl site;
    site.setScheme(url.scheme());
    site.setAuthority(url.authority());
    if (is_below) site.setPath("/" + parts[0] + "/" + parts[1]);
    return site.toString();
}

}  // namespace

void MainWindow::OpenAddress(const QString& address) {
    QString text = address.trimmed();
    if (text.isEmpty()) return;
    if (!text.contains("://") || text.startsWith("file://")) {
        text = PathOf(text);
        if (!QFileInfo(text).isFile()) return ShowFailure(m_editor.host, tr("There is no such file"), text);
    } else {
        try {
            text = ToQt(host::EscapeUrl(host::ParseUrl(text.toStdString())));
        } catch (const host::Failure& failure) {
            return ShowFailure(m_editor.host, tr("This is no address of a document"), ToQt(failure.what()));
        }
        if (!HasPlace(text)) {
            const bool adds =
                Ask(m_editor.host,
                    {.id = "editor.noPlace.question",
                     .text = tr("<b>No place is known for this address.</b>\nAdd its site, and "
                                "sign in there?"),
                     .buttons = {{"btn.addPlace", "&Add the site…"}, {"btn.cancel", "&Cancel"}}}) == 0;
            if (adds) AddPlace(SiteOf(text), text);
            return;
        }
    }
    for (int i = 0; i < m_tabs->count(); ++i)
        if (TabAt(i)->address().compare(text, Qt::CaseInsensitive) == 0) return m_tabs->setCurrentIndex(i);
    AddTab(new DocumentTab(m_editor, m_actions, text));
}

void MainWindow::Restore(const Autosave& autosave) {
    AddTab(new DocumentTab(m_editor, m_actions, autosave.address, autosave));
}

bool MainWindow::HasPlace(const QString& address) {
    const auto accounts = m_editor.host.accounts().Load(m_editor.host.FileSystem().get());
    return host::Accounts::Find(accounts, host::ParseUrl(address.toStdString())) != nullptr;
}

void MainWindow::BrowseForFile() {
    const QStringList paths =
        QFileDialog::getOpenFileNames(this, tr("Open"), {}, tr("PDF documents (*.pdf);;All files (*)"));
    for (const QString& path : paths) OpenAddress(path);
}

void MainWindow::OpenFromAnywhere() {
    const auto place = AskWhere(m_editor.host, tr("Open"), this);
    if (place) place->url.isEmpty() ? BrowseForFile() : OpenFrom(place->url);
}

void MainWindow::OpenFrom(const QString& site) {
    const auto progress = ShowSiteDialog(
        m_editor, {.site = site},
        [this, window = QPointer(this)] {
            if (window) m_busy->End();
        },
        [this, window = QPointer(this)](const QStringList& addresses,
                                        const std::optional<JobFailure>& failure) {
            if (!window) return;
            if (failure && !failure->is_canceled)
                return ShowFailure(m_editor.host, tr("The site can't be shown"), failure->message);
            for (const QString& address : addresses) OpenAddress(address);
        });
    m_busy->Begin(tr("Connecting to %1…").arg(site), progress);
}

void MainWindow::SaveAs() {
    const QPointer<DocumentTab> tab(CurrentTab());
    const auto place = AskWhere(m_editor.host, tr("Save As"), this);
    if (!place || !tab) return;
    if (place->url.isEmpty()) {
        const QString path =
            QFileDialog::getSaveFileName(this, tr("Save As"), tab->Name(), tr("PDF documents (*.pdf)"));
        if (!path.isEmpty() && tab) tab->SaveAs(path);
        return;
    }
    const auto progress = ShowSiteDialog(
        m_editor, {.saves = true, .site = place->url, .file_name = tab->Name()},
        [this, window = QPointer(this)] {
            if (window) m_busy->End();
        },
        [this, window = QPointer(this), tab](const QStringList& addresses,
                                             const std::optional<JobFailure>& failure) {
            if (!window || !tab) return;
            if (failure && !failure->is_canceled)
                return ShowFailure(m_editor.host, tr("The site can't be shown"), failure->message);
            if (!addresses.isEmpty()) tab->SaveAs(addresses.first());
        });
    m_busy->Begin(tr("Connecting to %1…").arg(place->url), progress);
}

// The document of before is left as it was saved last.
void MainWindow::GoOnAs(DocumentTab* tab, const QString& address) {
    tab->Leave([this, address, tab = QPointer(tab)](bool is_closed) {
        if (is_closed && tab) RemoveTab(tab);
        OpenAddress(address);
    });
}

void MainWindow::AddPlaceByWindow() {
    m_editor.worker.Start([](host::Job& job) { host::AddPlaceByWindow(job, "add a place"); },
                          [this, window = QPointer(this)](const std::optional<JobFailure>& failure) {
                              if (!window) return;
                              m_places->Reload();
                              if (failure && !failure->is_canceled)
                                  ShowFailure(m_editor.host, tr("The site can't be added"), failure->message);
                          });
}

void MainWindow::AddPlace(const QString& address, const QString& then_open) {
    const auto place = AskForPlace(address, this);
    if (!place) return;
    const std::string what = "add " + host::PlainLine(place->address);
    const auto progress = m_editor.worker.Start(
        [=](host::Job& job) {
            host::AccountDetails details;
            details.url = host::ParseUrl(place->address);
            details.is_modern = place->is_modern;
            host::AddPlace(job, details, what, [&] {
                const bool any = !place->sign_in.authority.empty() || !place->sign_in.client_id.empty();
                if (any) job.host().oauth().SetOverride(host::ToUtf8(details.url), place->sign_in);
            });
        },
        [=, this, window = QPointer(this)](const std::optional<JobFailure>& failure) {
            if (!window) return;
            m_busy->End();
            m_places->Reload();
            if (failure && !failure->is_canceled)
                return ShowFailure(m_editor.host, tr("The site can't be added"), failure->message);
            if (failure) return ShowMessage(tr("Cancelled"));
            ShowMessage(tr("Added %1").arg(ToQt(place->address)));
            if (!then_open.isEmpty()) OpenAddress(then_open);
        });
    m_busy->Begin(tr("Adding %1…").arg(ToQt(place->address)), progress);
}

void MainWindow::RemovePlace(const QString& address) {
    const std::u16string url = host::ParseUrl(address.toStdString());
    for (int i = 0; i < m_tabs->count(); ++i) {
        const std::string open = TabAt(i)->address().toStdString();
        if (open.starts_with(address.toStdString() + "/"))
            return ShowMessage(tr("Close the documents of this place first"));
    }
    const bool is_sure =
        Ask(m_editor.host, {.id = "editor.removePlace.question",
                            .text = tr("Remove the place <b>%1</b>? Its sign-in is forgotten; "
                                       "nothing changes on the server.")
                                        .arg(ToQt(url).toHtmlEscaped()),
                            .buttons = {{"btn.remove", "&Remove"}, {"btn.cancel", "&Cancel"}},
                            .default_button = 1}) == 0;
    if (!is_sure) return;
    m_editor.worker.Start(
        [url, sites = m_editor.sites](host::Job& job) {
            for (const auto& account : job.Accounts()) {
                if (!host::IsSameSite(host::Accounts::UrlOf(account.account.get()), url)) continue;
                sites->Remove(account.id);
                host::RemovePlace(job, account);
                return;
            }
        },
        [this, window = QPointer(this)](const std::optional<JobFailure>& failure) {
            if (!window) return;
            if (failure) ShowFailure(m_editor.host, tr("The place can't be removed"), failure->message);
            m_places->Reload();
        });
}

void MainWindow::OfferUnsent() {
    auto* const window = new UnsentWindow(m_editor, this);
    window->setAttribute(Qt::WA_DeleteOnClose);
    connect(window, &UnsentWindow::OpenRequested, this, &MainWindow::OpenAddress);
    connect(window, &UnsentWindow::RestoreRequested, this, &MainWindow::Restore);
    if (window->Load()) return window->open();
    delete window;
}

void MainWindow::KeepUnsaved() {
    for (int i = 0; i < m_tabs->count(); ++i) TabAt(i)->KeepForNextStart();
}

void MainWindow::ShowUnsent() {
    OfferUnsent();
    if (!findChild<UnsentWindow*>()) ShowMessage(tr("Everything is saved and sent"));
}

void MainWindow::ShowPreferences() {
    PreferencesWindow window(
        m_editor,
        {.shows_pages = m_shows_thumbnails,
         .shows_places = !m_places->isHidden(),
         .is_dark = m_is_dark,
         .has_menus = m_bars == Bars::menus,
         .language = m_editor.language.current(),
         .autosave_seconds = m_editor.autosave_ms / 1000},
        [this](const EditorPreferences& wanted) { UsePreferences(wanted); }, this);
    window.exec();
}

void MainWindow::UsePreferences(const EditorPreferences& wanted) {
    m_shows_thumbnails = wanted.shows_pages;
    for (int i = 0; i < m_tabs->count(); ++i) TabAt(i)->ShowThumbnails(m_shows_thumbnails);
    m_places->setVisible(wanted.shows_places);
    if (wanted.is_dark != m_is_dark) UseDark(wanted.is_dark);
    if (wanted.language != m_editor.language.current()) UseLanguage(wanted.language);
    m_editor.autosave_ms = wanted.autosave_seconds * 1000;
    m_editor.state.SetText("autosave", QString::number(wanted.autosave_seconds));
    const Bars bars = wanted.has_menus ? Bars::menus : Bars::ribbon;
    if (bars != m_bars) UseBars(bars);
    m_actions.Update();
}

// Once the command that asks for it has ended: its button goes with the bars.
void MainWindow::UseBars(Bars bars) {
    m_editor.state.SetFlag("menus", bars == Bars::menus);
    const auto use = [this, bars] {
        SetBars(bars);
        m_actions.Update();
    };
    QMetaObject::invokeMethod(this, use, Qt::QueuedConnection);
}

void MainWindow::UseDark(bool is_dark) {
    m_is_dark = is_dark;
    m_is_dark ? UseDarkLook() : UseLightLook();
    m_editor.state.SetText("look", m_is_dark ? "dark" : "light");
    for (int i = 0; i < m_tabs->count(); ++i)
        if (const host::Document* const document = TabAt(i)->document())
            TabAt(i)->info_bar().Show(document->info_bar());
    m_actions.Update();
}

void MainWindow::UseLanguage(const QString& code) {
    try {
        m_editor.language.Use(code, true);
    } catch (const host::Failure& failure) {
        ShowMessage(ToQt(failure.what()));
    }
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    for (const QUrl& url : event->mimeData()->urls()) OpenAddress(url.toString());
    event->acceptProposedAction();
}

}  // namespace desktop
