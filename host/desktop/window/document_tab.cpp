#include "host/desktop/window/document_tab.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLineEdit>
#include <QPointer>
#include <QSplitter>
#include <QVBoxLayout>

#include "host/base/failure.h"
#include "host/desktop/front_end/text.h"
#include "host/desktop/pages/page_actions.h"
#include "host/desktop/pages/pdf/failure.h"
#include "host/desktop/window/questions.h"
#include "host/jobs/address.h"

namespace desktop {

namespace {

constexpr int kThumbnailsWidth = 170;
constexpr int kViewWidth = 900;

bool IsUrl(const QString& address) {
    return address.contains("://");
}

}  // namespace

// What opening brings from the worker.
struct DocumentTab::Loaded {
    std::shared_ptr<SiteDocument> site;
    pdf::SourcePtr source;
};

DocumentTab::DocumentTab(Editor& editor, CommandActions& actions, const QString& address,
                         std::optional<desktop::Autosave> restored)
    : m_editor(editor),
      m_address(address),
      m_restored(std::move(restored)),
      m_info_bar(new InfoBarView(actions, editor.host.catalogue())),
      m_busy(new BusyStrip),
      m_splitter(new QSplitter) {
    setObjectName("document");
    auto* const rows = new QVBoxLayout(this);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(0);
    rows->addWidget(m_info_bar);
    rows->addWidget(m_busy);
    rows->addWidget(m_splitter, 1);
    m_splitter->setChildrenCollapsible(false);
    m_autosave_timer.setSingleShot(true);
    m_autosave_timer.setInterval(editor.autosave_ms);
    connect(&m_autosave_timer, &QTimer::timeout, this, &DocumentTab::Autosave);
    connect(m_busy, &BusyStrip::Canceled, this, [this] {
        emit Message(tr("Cancelled"));
        if (m_stage != Stage::opening) return;
        m_is_given_up = true;
        emit Gone();
    });
}

DocumentTab::~DocumentTab() {
    if (m_progress) m_progress->is_canceled = true;
    DropPdf();
    if (m_document_view) m_editor.host.workbench().Close(*m_document_view);
}

QString DocumentTab::Name() const {
    if (m_site) return ToQt(m_site->name());
    if (!IsUrl(m_address)) return QFileInfo(m_address).fileName();
    try {
        return ToQt(host::LastPart(host::ParseUrl(m_address.toStdString())));
    } catch (const host::Failure&) {
        return m_address;
    }
}

void DocumentTab::SetStage(Stage stage) {
    m_stage = stage;
    if (stage == Stage::open) {
        m_busy->End();
        m_progress.reset();
    }
    emit Changed();
}

// Asks on the main thread, from a worker.
std::function<std::optional<QString>(const pdf::PasswordQuestion&)> DocumentTab::PasswordAsker() {
    return [tab = QPointer(this), &front_end = m_editor.front_end](const pdf::PasswordQuestion& question) {
        std::optional<QString> password;
        front_end.main_thread().Run(
            [&] {
                bool is_given = false;
                const QString label = question.last_was_wrong ? tr("The password was wrong. Password for %1:")
                                                              : tr("%1 is protected. Password:");
                const QString text = QInputDialog::getText(tab, tr("Password"), label.arg(question.document),
                                                           QLineEdit::Password, {}, &is_given);
                if (is_given) password = text;
                return S_OK;
            },
            true);
        return password;
    };
}

void DocumentTab::Open() {
    const auto loaded = std::make_shared<Loaded>();
    const bool is_url = IsUrl(m_address);
    const std::string address = m_address.toStdString();
    const QString path = m_restored ? ToQt(m_restored->pdf.string()) : m_address;
    pdf::OpenOptions options;
    options.ask_password = PasswordAsker();
    options.copy = m_restored.has_value();
    const bool takes_local = is_url && !m_restored;
    m_progress = m_editor.worker.Start(
        [=](host::Job& job) {
            if (is_url) loaded->site = SiteDocument::Open(job, address);
            loaded->source =
                pdf::Source::Open(takes_local ? ToQt(loaded->site->local_path().string()) : path, options);
        },
        [=, this, tab = QPointer(this), &worker = m_editor.worker](const std::optional<JobFailure>& failure) {
            if (tab && !m_is_given_up && !failure && loaded->source) return FinishOpening(loaded, failure);
            if (const auto site = loaded->site)
                worker.Start([site](host::Job& job) { site->GiveUp(job); }, [site](const auto&) {});
            if (tab && !m_is_given_up) FinishOpening(loaded, failure);
        });
    m_busy->Begin(tr("Opening %1…").arg(Name()), m_progress);
}

void DocumentTab::FinishOpening(std::shared_ptr<Loaded> loaded, const std::optional<JobFailure>& failure) {
    m_busy->End();
    m_progress.reset();
    if (!loaded->source) {
        const QPointer<DocumentTab> alive(this);
        if (failure && !failure->is_canceled)
            ShowFailure(m_editor.host, tr("%1 can't be opened").arg(Name()), failure->message);
        if (alive) emit Gone();
        return;
    }
    m_site = loaded->site;
    m_is_changed_otherwise = m_restored.has_value() || (m_site && m_site->has_unsent());
    ShowPdf(loaded->source);
    Register();
    m_stage = Stage::open;
    if (m_restored) m_editor.autosaves.Drop(*m_restored);
    emit Opened();
    emit Changed();
    if (m_is_changed_otherwise) Autosave();
    if (loaded->source->WasRepaired()) emit Message(tr("%1 was damaged and has been repaired").arg(Name()));
}

// The widgets refer to the document, and its undo stack tells of its end.
void DocumentTab::DropPdf() {
    delete std::exchange(m_view, nullptr);
    delete std::exchange(m_thumbnails, nullptr);
    if (!m_pdf) return;
    m_pdf->Undo().disconnect(this);
    m_pdf->disconnect(this);
    m_pdf.reset();
}

void DocumentTab::ShowPdf(pdf::SourcePtr source) {
    DropPdf();
    m_pdf = std::make_unique<pdf::Document>(std::move(source));
    m_thumbnails = new pages::ThumbnailPane(*m_pdf);
    m_thumbnails->setVisible(m_shows_thumbnails);
    m_view = new pages::PageView(*m_pdf);
    m_splitter->addWidget(m_thumbnails);
    m_splitter->addWidget(m_view);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setSizes({kThumbnailsWidth, kViewWidth});
    m_view->SetFit(pages::Fit::Width);
    m_view->setFocus();
    // The window has keys of its own for these, which work everywhere.
    for (const char* name : {"page.rotateLeft", "page.rotateRight"})
        m_thumbnails->Actions().Named(name)->setShortcut({});
    connect(m_thumbnails, &pages::ThumbnailPane::PageActivated, m_view, &pages::PageView::GoToPage);
    connect(m_view, &pages::PageView::CurrentPageChanged, m_thumbnails, &pages::ThumbnailPane::ShowCurrent);
    connect(m_view, &pages::PageView::CurrentPageChanged, this, &DocumentTab::PageChanged);
    connect(m_view, &pages::PageView::ZoomChanged, this, &DocumentTab::PageChanged);
    connect(m_view, &pages::PageView::SelectionChanged, this, &DocumentTab::Changed);
    connect(m_thumbnails, &pages::ThumbnailPane::SelectedPagesChanged, this, &DocumentTab::Changed);
    connect(&m_thumbnails->Actions(), &pages::PageActions::InsertRequested, this, &DocumentTab::InsertPages);
    connect(&m_thumbnails->Actions(), &pages::PageActions::Failed, this, &DocumentTab::Message);
    connect(m_pdf.get(), &pdf::Document::PagesChanged, this, &DocumentTab::PageChanged);
    connect(m_pdf.get(), &pdf::Document::EditableChanged, this, &DocumentTab::Changed);
    connect(&m_pdf->Undo(), &QUndoStack::indexChanged, this, [this] {
        if (m_document) m_document->SetModified(IsModified());
        if (IsModified() && !m_autosave_timer.isActive()) m_autosave_timer.start();
        emit Changed();
    });
    m_thumbnails->ShowCurrent(0);
}

void DocumentTab::Register() {
    host::DocumentActions actions;
    actions.reload = [this] { return Reload(); };
    actions.save = [this](TMK::IAFS_Name* destination, DWORD, TMK::ITMK_ProgressMon*) {
        return destination ? E_NOTIMPL : SaveAndWait();
    };
    m_document =
        host::Make<host::Document>(m_site ? ComPtr<TMK::IAFS_File>(m_site->file()) : nullptr, actions);
    m_document->SetModified(m_is_changed_otherwise);
    host::Workbench& workbench = m_editor.host.workbench();
    UseSite();
    m_document_view = workbench.Open(m_document);
    workbench.StartedViewing(*m_document_view);
    UpdateRestriction();
}

void DocumentTab::UseSite() {
    if (m_site) m_site->UseSite(m_editor.host);
}

void DocumentTab::UpdateRestriction() {
    if (!m_document || !m_pdf) return;
    DWORD mask = 0;
    m_document->core().GetPermissions(TMK::TMK_PermissionSource_Restricted, TMK::TMK_PermissionKind_Mask,
                                      &mask);
    m_pdf->SetRestricted(mask != 0);
}

void DocumentTab::ShowThumbnails(bool shown) {
    m_shows_thumbnails = shown;
    if (m_thumbnails) m_thumbnails->setVisible(shown);
}

void DocumentTab::InsertPages(int before) {
    const QString path = QFileDialog::getOpenFileName(this, tr("Insert Pages of a File"), {},
                                                      tr("PDF documents (*.pdf);;All files (*)"));
    if (path.isEmpty()) return;
    const auto source = std::make_shared<pdf::SourcePtr>();
    pdf::OpenOptions options;
    options.ask_password = PasswordAsker();
    m_editor.worker.Start([=](host::Job&) { *source = pdf::Source::Open(path, options); },
                          [=, this, tab = QPointer(this)](const std::optional<JobFailure>& failure) {
                              if (!tab || !m_pdf) return;
                              if (failure) return emit Message(failure->message);
                              if (!*source) return;
                              try {
                                  m_pdf->Insert(*source, std::min(before, m_pdf->PageCount()));
                              } catch (const pdf::Failure& refused) {
                                  emit Message(refused.Sentence());
                              }
                          });
}

}  // namespace desktop
