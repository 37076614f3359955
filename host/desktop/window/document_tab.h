// One document in the window: opened, shown, changed, saved, closed. A document of a site goes through the
// plug-in; a file does not. Main thread only; what takes long runs on workers.
#pragma once

#include <QTimer>
#include <QWidget>
#include <memory>

#include "host/desktop/bars/info_bar_view.h"
#include "host/desktop/pages/page_view.h"
#include "host/desktop/pages/thumbnail_pane.h"
#include "host/desktop/window/busy_strip.h"
#include "host/desktop/window/editor.h"
#include "host/desktop/work/site_document.h"

class QSplitter;

namespace desktop {

class DocumentTab final : public QWidget {
    Q_OBJECT
public:
    // `address` is a URL or a path. With `restored`, a copy of unsaved changes, these are what is shown. The
    // editor and the actions outlive it.
    DocumentTab(Editor& editor, CommandActions& actions, const QString& address,
                std::optional<Autosave> restored = {});
    ~DocumentTab() override;

    // Ends with Opened, or with Gone when it failed or was cancelled.
    void Open();
    enum class Stage { opening, open, saving, closing };
    Stage stage() const { return m_stage; }
    bool IsBusy() const { return m_stage != Stage::open; }
    bool IsModified() const { return m_pdf && (m_pdf->IsModified() || m_is_changed_otherwise); }
    const QString& address() const { return m_address; }
    QString Name() const;

    // `done` hears whether it is saved.
    using Done = std::function<void(bool)>;
    void Save(Done done = {});
    // As the plug-in asks for it: returns when it is done, while the main thread goes on.
    HRESULT SaveAndWait();
    void SaveCopy(const QString& path);
    // Under another address or path; SavedAs tells that it is there. This tab keeps the document of before.
    void SaveAs(const QString& address);
    // Closes without its changes, which are saved elsewhere.
    void Leave(Done done) { CloseDocument(done, true); }
    // Work that leaves the document alone, with progress and Cancel.
    void RunBeside(
        const QString& text, Worker::Work work, std::function<void()> done = [] {});
    // With every question; `done` hears whether it may go.
    void RequestClose(Done done);
    // What is unsaved stays for the next start.
    void KeepForNextStart();

    pdf::Document* pdf() const { return m_pdf.get(); }  // null until it is open
    pages::PageView* view() const { return m_view; }
    pages::ThumbnailPane* thumbnails() const { return m_thumbnails; }
    void ShowThumbnails(bool shown);
    InfoBarView& info_bar() { return *m_info_bar; }
    host::Document* document() const { return m_document.get(); }
    host::DocumentView* document_view() const { return m_document_view.get(); }
    // Sign-ins of the next commands on the main thread are for its site.
    void UseSite();
    // The permissions that plug-ins leave have changed.
    void UpdateRestriction();

signals:
    void SavedAs(const QString& address);
    void Opened();
    // It is closed, failed to open, or was given up; the tab is to be removed.
    void Gone();
    // Name, modified mark, busy state, or what can be done.
    void Changed();
    void PageChanged();
    void Message(const QString& text);

private:
    struct Loaded;
    void SetStage(Stage stage);
    void Load(host::Job& job, Loaded& loaded);
    void FinishOpening(std::shared_ptr<Loaded> loaded, const std::optional<JobFailure>& failure);
    void DropPdf();
    void ShowPdf(pdf::SourcePtr source);
    void Register();
    HRESULT Reload();
    std::function<std::optional<QString>(const pdf::PasswordQuestion&)> PasswordAsker();
    void InsertPages(int before);

    bool ConfirmSaving();
    void WriteInto(host::Job& job, const pdf::State& state);
    bool FinishSaving(const pdf::State& state, const std::optional<JobFailure>& failure);
    void AskUnsaved(const Done& done);
    void CloseDocument(const Done& done, bool drop_changes);
    void Autosave();

    Editor& m_editor;
    QString m_address;
    const std::optional<desktop::Autosave> m_restored;
    Stage m_stage = Stage::opening;
    bool m_is_given_up = false;
    bool m_is_changed_otherwise = false;  // restored or unsent changes, which the pages don't know of
    std::shared_ptr<Progress> m_progress;

    InfoBarView* m_info_bar;
    BusyStrip* m_busy;
    QSplitter* m_splitter;
    pages::PageView* m_view = nullptr;
    pages::ThumbnailPane* m_thumbnails = nullptr;
    bool m_shows_thumbnails = true;

    std::shared_ptr<SiteDocument> m_site;  // null for a file
    std::unique_ptr<pdf::Document> m_pdf;
    ComPtr<host::Document> m_document;
    ComPtr<host::DocumentView> m_document_view;
    std::shared_ptr<AutosaveFile> m_autosave;  // shared with a copy under way
    QTimer m_autosave_timer;
    bool m_is_autosaving = false;
};

}  // namespace desktop
