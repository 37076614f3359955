#include "host/desktop/window/unsent_window.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

#include "host/desktop/bars/icons.h"
#include "host/desktop/front_end/text.h"
#include "host/desktop/window/busy_strip.h"
#include "host/desktop/window/questions.h"
#include "host/desktop/window/start_page.h"
#include "host/jobs/address.h"
#include "host/jobs/unsent.h"

namespace desktop {

namespace {

using State = host::UnsentDocument::State;

QString DescriptionOf(const host::UnsentDocument& document) {
    switch (document.state) {
        case State::unsent:
            return QObject::tr("saved here, not sent");
        case State::incomplete:
            return QObject::tr("a copying was interrupted; it can't be sent");
        case State::missing:
            return QObject::tr("the local copy is gone");
        case State::aside:
            return QObject::tr("changed by another program, kept as %1").arg(ToQt(document.path.string()));
        case State::editing:
            break;
    }
    return QObject::tr("open in another window or program");
}

bool MayOverwrite(host::Host& host, host::ServerVersion server, const std::string& url) {
    const QString name = NameOfAddress(ToQt(url)).toHtmlEscaped();
    return Ask(host, {.id = "sp.msg.outdatedFileOnWrite.question",
                      .text = server == host::ServerVersion::gone
                                  ? QObject::tr("<b>%1</b> is no longer on the server.").arg(name)
                                  : QObject::tr("The server has a newer version of <b>%1</b>.").arg(name),
                      .buttons = {server == host::ServerVersion::gone
                                      ? QuestionButton{"btn.overwrite", "&Make it again"}
                                      : QuestionButton{"sp.btn.overwrite",
                                                       "&Overwrite\n- CHANGES ON THE SERVER WILL BE LOST"},
                                  {"btn.cancel", "&Cancel"}},
                      .default_button = 1,
                      .is_warning = true}) == 0;
}

void SendOne(host::Job& job, const host::UnsentDocument& document) {
    const std::string url = host::EscapeUrl(host::ToUtf16(document.entry.url));
    const std::string what = "send " + url;
    const host::ServerVersion server = host::CompareWithServer(job, document, what).server;
    if (server == host::ServerVersion::newer && host::IsOnServer(job, document, what))
        return job.host().cache()->Drop(document.entry.url);
    if (server != host::ServerVersion::same && !MayOverwrite(job.host(), server, url))
        job.Fail(host::kCanceled, what, "cancelled");
    const auto file = host::Upload(job, document, server, what);
    job.Exec(file.get(), u"PerformAfterSave", what);
    job.Check(file->Close(TMK::AFS_CloseFile_AllowUI, job.details(), job.cancel()), what);
}

}  // namespace

UnsentWindow::UnsentWindow(Editor& editor, QWidget* parent)
    : QDialog(parent),
      m_editor(editor),
      m_list(new QListWidget),
      m_send(new QPushButton(tr("&Send"))),
      m_open(new QPushButton(tr("&Open"))),
      m_drop(new QPushButton(tr("&Drop…"))),
      m_busy(new BusyStrip) {
    setObjectName("unsentWindow");
    setWindowTitle(tr("Unsent and unsaved changes"));
    resize(620, 320);
    auto* const rows = new QVBoxLayout(this);
    auto* const hint =
        new QLabel(tr("These changes are on this computer only. Send them, open them to look, or drop "
                      "them; what is left here is offered again."));
    hint->setWordWrap(true);
    rows->addWidget(hint);
    m_list->setObjectName("unsent");
    m_list->setAccessibleName(windowTitle());
    rows->addWidget(m_list, 1);
    rows->addWidget(m_busy);
    auto* const row = new QHBoxLayout;
    auto* const later = new QPushButton(tr("&Later"));
    m_send->setObjectName("btn.send");
    m_open->setObjectName("btn.open");
    m_drop->setObjectName("btn.drop");
    later->setObjectName("btn.later");
    for (QPushButton* const button : {m_send, m_open, m_drop}) row->addWidget(button);
    row->addStretch(1);
    row->addWidget(later);
    rows->addLayout(row);
    connect(m_list, &QListWidget::currentRowChanged, this, &UnsentWindow::UpdateButtons);
    connect(m_send, &QPushButton::clicked, this, &UnsentWindow::Send);
    connect(m_open, &QPushButton::clicked, this, &UnsentWindow::OpenSelected);
    connect(m_drop, &QPushButton::clicked, this, &UnsentWindow::Drop);
    connect(later, &QPushButton::clicked, this, &QDialog::reject);
}

bool UnsentWindow::Load() {
    m_list->clear();
    m_unsent = m_editor.host.cache()->Unsent();
    // What is open in a window needs no help.
    std::erase_if(m_unsent, [](const auto& document) { return document.state == State::editing; });
    m_autosaves = m_editor.autosaves.Left();
    for (const auto& document : m_unsent) {
        const QString url = ToQt(host::EscapeUrl(host::ToUtf16(document.entry.url)));
        auto* const item = new QListWidgetItem(
            LineIcon("unsent"), tr("%1 – %2").arg(NameOfAddress(url), DescriptionOf(document)), m_list);
        item->setToolTip(url);
    }
    for (const auto& autosave : m_autosaves) {
        const QString time = QLocale().toString(
            QDateTime::fromString(autosave.time, Qt::ISODate).toLocalTime(), QLocale::ShortFormat);
        auto* const item = new QListWidgetItem(
            LineIcon("document"),
            tr("%1 – changed and not saved, kept at %2").arg(NameOfAddress(autosave.address), time), m_list);
        item->setToolTip(autosave.address);
    }
    if (m_list->count() > 0) m_list->setCurrentRow(0);
    UpdateButtons();
    return m_list->count() > 0;
}

void UnsentWindow::UpdateButtons() {
    const int row = m_list->currentRow();
    const int unsent = static_cast<int>(m_unsent.size());
    const bool is_sendable =
        row >= 0 && row < unsent && m_unsent[static_cast<std::size_t>(row)].state == State::unsent;
    m_send->setEnabled(is_sendable);
    m_open->setEnabled(is_sendable || row >= unsent);
    m_drop->setEnabled(row >= 0);
}

void UnsentWindow::Send() {
    const auto document = m_unsent[static_cast<std::size_t>(m_list->currentRow())];
    for (QWidget* const widget : std::initializer_list<QWidget*>{m_list, m_send, m_open, m_drop})
        widget->setEnabled(false);
    const auto progress =
        m_editor.worker.Start([document](host::Job& job) { SendOne(job, document); },
                              [this, window = QPointer(this)](const std::optional<JobFailure>& failure) {
                                  if (window) Finish(failure);
                              });
    m_busy->Begin(tr("Sending…"), progress);
}

void UnsentWindow::Finish(const std::optional<JobFailure>& failure) {
    m_busy->End();
    m_list->setEnabled(true);
    if (failure && !failure->is_canceled) ShowFailure(m_editor.host, tr("It is not sent"), failure->message);
    if (!Load()) accept();
}

void UnsentWindow::OpenSelected() {
    const auto row = static_cast<std::size_t>(m_list->currentRow());
    if (row < m_unsent.size()) {
        emit OpenRequested(ToQt(host::EscapeUrl(host::ToUtf16(m_unsent[row].entry.url))));
    } else {
        emit RestoreRequested(m_autosaves[row - m_unsent.size()]);
    }
    accept();
}

void UnsentWindow::Drop() {
    const auto row = static_cast<std::size_t>(m_list->currentRow());
    const bool is_dropped =
        Ask(m_editor.host, {.id = "editor.drop.question",
                            .text = tr("<b>These changes will be lost.</b>\n%1")
                                        .arg(m_list->currentItem()->text().toHtmlEscaped()),
                            .buttons = {{"btn.drop", "&Drop them"}, {"btn.cancel", "&Cancel"}},
                            .default_button = 1,
                            .is_warning = true}) == 0;
    if (!is_dropped) return;
    try {
        if (row >= m_unsent.size()) {
            m_editor.autosaves.Drop(m_autosaves[row - m_unsent.size()]);
        } else if (m_unsent[row].state == State::aside) {
            m_editor.host.cache()->DropAside(m_unsent[row]);
        } else {
            m_editor.host.cache()->Drop(m_unsent[row].entry.url);
        }
    } catch (const host::Failure& failure) {
        ShowFailure(m_editor.host, tr("It can't be dropped"), ToQt(failure.what()));
    }
    if (!Load()) accept();
}

}  // namespace desktop
