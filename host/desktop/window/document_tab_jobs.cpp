// Saving, closing, reloading and the copies of unsaved changes.
#include <QFileInfo>
#include <QPointer>
#include <QTemporaryDir>

#include "host/desktop/front_end/text.h"
#include "host/desktop/pages/pdf/failure.h"
#include "host/desktop/pages/pdf/writer.h"
#include "host/desktop/window/document_tab.h"
#include "host/desktop/window/questions.h"
#include "host/jobs/address.h"
#include "host/jobs/upload.h"

namespace desktop {

namespace {

void WriteState(host::Job& job, const pdf::State& state, const QString& path) {
    pdf::WriteOptions options;
    options.progress = [&job](int) { return !host::IsCanceled(job.cancel()); };
    if (!pdf::Write(state, path, options)) job.Fail(host::kCanceled, "save", "cancelled");
}

// Asks, on a worker, about a check-out from before the document was opened.
SiteDocument::Closing AskAboutCheckOut(host::Host& host, const QString& name) {
    const unsigned pressed = Ask(
        host, {.id = "editor.earlierCheckOut.question",
               .text = QObject::tr("<b>%1</b> was checked out to you before you opened it, and you have not "
                                   "changed it now.")
                           .arg(name.toHtmlEscaped()),
               .buttons = {{"btn.keep", "&Keep checked out\n- what was saved and not checked in stays yours"},
                           {"btn.discard", "&Discard check-out\n- THE SERVER GOES BACK TO THE LAST CHECK-IN"},
                           {"btn.cancel", "&Cancel"}}});
    if (pressed == 2) throw host::JobError{"close", host::kCanceled, "cancelled"};
    return pressed == 0 ? SiteDocument::Closing::keep_check_out : SiteDocument::Closing::discard_check_out;
}

}  // namespace

bool DocumentTab::ConfirmSaving() {
    const QStringList warnings = m_pdf->SaveWarnings();
    if (warnings.isEmpty()) return true;
    return Ask(m_editor.host, {.id = "editor.saveWarning.question",
                               .text = warnings.join("\n").toHtmlEscaped(),
                               .buttons = {{"btn.save", "&Save"}, {"btn.cancel", "&Cancel"}},
                               .default_button = 1,
                               .is_warning = true}) == 0;
}

void DocumentTab::WriteInto(host::Job& job, const pdf::State& state) {
    if (!m_site) return WriteState(job, state, m_address);
    m_site->Save(job, [&](const host::fs::path& path) { WriteState(job, state, ToQt(path.string())); });
}

bool DocumentTab::FinishSaving(const pdf::State& state, const std::optional<JobFailure>& failure) {
    // What failed after the upload is told, and the document is saved all the same.
    const bool is_saved = !failure || (m_site && !m_site->has_unsent());
    if (is_saved) {
        m_is_changed_otherwise = false;
        m_pdf->MarkSaved(state);
        m_document->SetModified(m_pdf->IsModified());
        m_autosave_timer.stop();
        if (m_autosave && !m_pdf->IsModified()) m_autosave->Remove();
        emit Message(tr("Saved %1").arg(Name()));
    }
    SetStage(Stage::open);
    if (failure && failure->is_canceled) emit Message(tr("%1 is not saved").arg(Name()));
    if (failure && !failure->is_canceled)
        ShowFailure(m_editor.host,
                    is_saved ? tr("%1 is saved").arg(Name()) : tr("%1 is not saved").arg(Name()),
                    failure->message);
    return is_saved;
}

void DocumentTab::Save(Done done) {
    if (!done) done = [](bool) {};
    if (m_stage != Stage::open || !ConfirmSaving()) return done(false);
    SetStage(Stage::saving);
    const auto state = std::make_shared<const pdf::State>(m_pdf->Snapshot());
    m_progress =
        m_editor.worker.Start([this, state](host::Job& job) { WriteInto(job, *state); },
                              [=, this, tab = QPointer(this)](const std::optional<JobFailure>& failure) {
                                  if (!tab) return done(false);
                                  const bool is_saved = FinishSaving(*state, failure);
                                  done(is_saved);
                              });
    m_busy->Begin(tr("Saving %1…").arg(Name()), m_progress);
}

HRESULT DocumentTab::SaveAndWait() {
    bool has_ended = false;
    bool is_saved = false;
    Save([&](bool saved) {
        has_ended = true;
        is_saved = saved;
    });
    m_editor.front_end.main_thread().PumpUntil([&] { return has_ended; });
    return is_saved ? S_OK : host::kCanceled;
}

void DocumentTab::RunBeside(const QString& text, Worker::Work work, std::function<void()> done) {
    const auto progress = m_editor.worker.Start(
        std::move(work), [=, this, tab = QPointer(this)](const std::optional<JobFailure>& failure) {
            if (!tab) return;
            if (m_stage == Stage::open) m_busy->End();
            if (!failure) return done();
            if (!failure->is_canceled) ShowFailure(m_editor.host, tr("This did not work"), failure->message);
        });
    m_busy->Begin(text, progress);
}

void DocumentTab::SaveCopy(const QString& path) {
    const auto state = std::make_shared<const pdf::State>(m_pdf->Snapshot());
    RunBeside(
        tr("Saving a copy…"), [=](host::Job& job) { WriteState(job, *state, path); },
        [=, this] { emit Message(tr("Saved a copy as %1").arg(path)); });
}

void DocumentTab::SaveAs(const QString& address) {
    if (m_stage != Stage::open) return;
    if (address.compare(m_address, Qt::CaseInsensitive) == 0) return Save();
    if (!ConfirmSaving()) return;
    const auto state = std::make_shared<const pdf::State>(m_pdf->Snapshot());
    SetStage(Stage::saving);
    m_progress = m_editor.worker.Start(
        [=](host::Job& job) {
            if (!address.contains("://")) return WriteState(job, *state, address);
            const QTemporaryDir folder;
            const QString copy = folder.filePath("document.pdf");
            WriteState(job, *state, copy);
            const std::string to = address.toStdString();
            host::UploadFile(job, host::ParseUrl(to), copy.toStdString(), "save as " + host::PlainLine(to));
        },
        [=, this, tab = QPointer(this)](const std::optional<JobFailure>& failure) {
            if (!tab) return;
            SetStage(Stage::open);
            if (!failure) return emit SavedAs(address);
            if (failure->is_canceled) return emit Message(tr("%1 is not saved").arg(Name()));
            ShowFailure(m_editor.host, tr("%1 is not saved").arg(Name()), failure->message);
        });
    m_busy->Begin(tr("Saving %1…").arg(Name()), m_progress);
}

HRESULT DocumentTab::Reload() {
    if (!m_site) return E_NOTIMPL;
    const auto site = m_site;
    pdf::SourcePtr source;
    pdf::OpenOptions options;
    options.ask_password = PasswordAsker();
    const QPointer<DocumentTab> alive(this);
    const auto failure = m_editor.worker.RunAndWait([&](host::Job& job) {
        site->UseSite(job.host());
        site->Fetch(job);
        source = pdf::Source::Open(ToQt(site->local_path().string()), options);
    });
    if (!alive) return E_ABORT;
    if (failure) {
        ShowFailure(m_editor.host, tr("%1 can't be read again").arg(Name()), failure->message);
        return failure->code;
    }
    if (!source) return host::kCanceled;
    const int page = m_view->CurrentPage();
    m_is_changed_otherwise = false;
    ShowPdf(source);
    m_view->GoToPage(std::min(page, m_pdf->PageCount() - 1));
    UpdateRestriction();
    if (m_autosave) m_autosave->Remove();
    emit Changed();
    return S_OK;
}

void DocumentTab::RequestClose(Done done) {
    if (m_stage == Stage::opening) {
        m_is_given_up = true;
        if (m_progress) m_progress->is_canceled = true;
        emit Message(tr("Cancelled"));
        return done(true);
    }
    if (m_stage != Stage::open) {
        emit Message(tr("%1 is being saved; it can be closed when that has ended").arg(Name()));
        return done(false);
    }
    if (IsModified()) return AskUnsaved(done);
    CloseDocument(done, false);
}

void DocumentTab::AskUnsaved(const Done& done) {
    const QPointer<DocumentTab> alive(this);
    const unsigned pressed =
        Ask(m_editor.host,
            {.id = "editor.unsaved.question",
             .text = tr("<b>%1</b> has changes that are not saved.").arg(Name().toHtmlEscaped()),
             .buttons = {{"btn.save", "&Save"}, {"btn.dontSave", "&Don't save"}, {"btn.cancel", "&Cancel"}},
             .is_warning = true});
    if (!alive || pressed == 2) return done(false);
    if (pressed == 1) return CloseDocument(done, true);
    Save([=, this](bool is_saved) {
        if (!is_saved) return done(false);
        CloseDocument(done, false);
    });
}

void DocumentTab::CloseDocument(const Done& done, bool drop_changes) {
    if (!m_site) return done(true);
    SetStage(Stage::closing);
    const auto site = m_site;
    const QString name = Name();
    m_progress = m_editor.worker.Start(
        [=](host::Job& job) {
            const auto closing = site->HasEarlierCheckOut(job) ? AskAboutCheckOut(job.host(), name)
                                                               : SiteDocument::Closing::by_preferences;
            site->Close(job, closing, drop_changes);
        },
        [=, this, tab = QPointer(this)](const std::optional<JobFailure>& failure) {
            if (!tab) return done(true);
            if (!failure) return done(true);
            SetStage(Stage::open);
            if (failure->is_canceled) return done(false);
            const unsigned pressed = Ask(
                m_editor.host, {.id = "editor.closeFailed.question",
                                .text = tr("<b>%1 can't be closed properly</b>\n%2")
                                            .arg(name.toHtmlEscaped(), failure->message.toHtmlEscaped()),
                                .buttons = {{"btn.closeAnyway",
                                             "Close any&way\n- the document stays as it is on the server"},
                                            {"btn.cancel", "&Keep it open"}},
                                .default_button = 1,
                                .is_warning = true});
            done(pressed == 0);
        });
    m_busy->Begin(tr("Closing %1…").arg(name), m_progress);
}

void DocumentTab::Autosave() {
    if (!IsModified() || m_is_autosaving) return;
    if (!m_autosave) m_autosave = m_editor.autosaves.Begin();
    m_is_autosaving = true;
    const auto state = std::make_shared<const pdf::State>(m_pdf->Snapshot());
    const std::shared_ptr<AutosaveFile> file = m_autosave;
    const QString address = m_address;
    const bool is_site = m_site != nullptr;
    m_editor.worker.Start(
        [=](host::Job&) {
            pdf::Write(*state, ToQt(file->pdf().string()));
            file->Describe(address, is_site);
        },
        [=, this, tab = QPointer(this)](const std::optional<JobFailure>& failure) {
            if (!tab) return;
            m_is_autosaving = false;
            if (failure) emit Message(tr("Unsaved changes can't be kept: %1").arg(failure->message));
            if (!IsModified()) return m_autosave->Remove();
            if (m_pdf->Snapshot().revision != state->revision) m_autosave_timer.start();
        });
}

void DocumentTab::KeepForNextStart() {
    if (m_autosave) m_autosave->Keep();
}

}  // namespace desktop
