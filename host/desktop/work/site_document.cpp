#include "host/desktop/work/site_document.h"

#include <QObject>

#include "host/cache/cache_store.h"
#include "host/desktop/front_end/text.h"
#include "host/jobs/address.h"

namespace desktop {

namespace {

using State = host::UnsentDocument::State;

// Asks what becomes of changes that an earlier run left unsent.
host::UnsentUse AskAboutUnsent(host::Job& job, const std::string& name, const std::string& what) {
    ComPtr<TMK::ITMK_TaskDialog> dialog;
    job.Check(job.host().instance()->CreateTaskDialog(dialog.put()), what);
    dialog->put_Id(u"editor.unsent.question");
    dialog->put_Style(TMK::TaskDialogStyle_Base | TMK::TaskDialogStyle_IconQuestion);
    dialog->put_Text(FromQt(QObject::tr("Earlier changes of <b>%1</b> were saved on this computer and not "
                                        "sent to the server.")
                                .arg(ToQt(host::PlainLine(name))))
                         .c_str());
    dialog->AddButton(FromQt(QObject::tr("&Open with these changes\n- save to send them")).c_str());
    dialog->AddButton(u"btn.cancel");
    dialog->put_DefaultButton(0);
    dialog->put_CancelButton(1);
    UINT pressed = 1;
    job.Check(dialog->DoModal(nullptr, &pressed), what);
    if (pressed != 0) job.Fail(host::kCanceled, what, "cancelled");
    return host::UnsentUse::take_up;
}

host::UnsentUse UseOfUnsent(host::Job& job, const std::string& url, const std::string& what) {
    const auto unsent = job.host().cache()->Unsent(url);
    if (!unsent || unsent->state == State::incomplete) return host::UnsentUse::refuse;
    if (unsent->state == State::editing)
        job.Fail(host::kInUse, what,
                 "the document is open in another window or program; close it there first");
    return AskAboutUnsent(job, host::ToUtf8(host::LastPart(host::ToUtf16(url))), what);
}

}  // namespace

std::unique_ptr<SiteDocument> SiteDocument::Open(host::Job& job, const std::string& address) {
    std::unique_ptr<SiteDocument> document(new SiteDocument);
    document->m_what = "open " + host::PlainLine(address);
    const std::string& what = document->m_what;
    const std::u16string url = host::ParseUrl(address);
    const host::DocumentTurn turn = job.TakeTurn(url, what);
    TMK::IAFS_AccountData* const account = job.SiteFor(url, what).account.account.get();
    document->m_site_url = host::Accounts::UrlOf(account);
    document->m_site_user = host::Accounts::UserOf(account);
    const auto name = job.NameFor(url, what);
    if (host::IsFolder(job.InfoOf(name.get(), what).get()))
        job.Fail(E_INVALIDARG, what, "this is a folder; open it in the pane of places");
    document->m_url = job.UrlOf(name.get());
    document->m_key_url = host::ToUtf8(document->m_url);
    const host::UnsentUse use = UseOfUnsent(job, document->m_key_url, what);
    document->m_has_unsent = use == host::UnsentUse::take_up;
    const host::UnsentPermission permission(*job.host().cache(), document->m_key_url, use);
    document->m_was_checked_out = job.IsCheckedOutToUser(name.get(), what);
    document->m_file =
        job.Open(name.get(),
                 TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_OpenExisting | TMK::AFS_OpenFile_UserOpen, what);
    try {
        document->Fetch(job);
    } catch (const host::JobError&) {
        document->GiveUp(job);
        throw;
    }
    return document;
}

void SiteDocument::GiveUp(host::Job& job) {
    job.IgnoreCancel();
    if (m_was_checked_out || !job.IsCheckedOut(m_file.get())) return;
    const Variant nothing;
    m_file->Exec(u"DiscardCheckOut", nothing.get(), nullptr, job.details(), job.cancel());
}

std::u16string SiteDocument::name() const {
    return std::u16string(host::LastPart(m_url));
}

void SiteDocument::Fetch(host::Job& job) {
    LONGLONG size = 0;
    m_file->GetSize(&size, job.details(), job.cancel());
    job.Check(m_file->SetPos(0, 0, nullptr), m_what);
    const auto progress = job.host().front_end().ShowProgress(static_cast<std::uint64_t>(size));
    job.Check(job.ReadThrough(m_file.get(), progress.get()), m_what);
    m_local_path = job.host().cache()->PathOf(job.host().cache()->Entry(m_key_url));
}

void SiteDocument::Save(host::Job& job, const std::function<void(const host::fs::path&)>& write) {
    const std::string what = "save " + host::PlainLine(host::EscapeUrl(m_url));
    const auto cache = job.host().cache();
    const host::DocumentTurn turn = job.TakeTurn(m_url, what);
    job.SiteFor(m_url, what);
    const host::fs::path target = cache->BeginEdit(m_key_url).path;
    try {
        write(target);
    } catch (...) {
        cache->FinishEdit(m_key_url);
        throw;
    }
    cache->FinishEdit(m_key_url);
    m_has_unsent = true;
    // A handle that outlived its check-in must not send without a question.
    job.Check(
        m_file->Reopen(TMK::AFS_OpenFile_Write | TMK::AFS_OpenFile_OpenExisting, job.details(), job.cancel()),
        what);
    job.MarkChanged(m_file.get(), target, what);
    job.Check(m_file->Flush(job.details(), job.cancel()), what);
    m_has_unsent = false;
    m_is_saved = true;
    job.Exec(m_file.get(), u"PerformAfterSave", what + " (it is saved; what follows a save failed)");
}

bool SiteDocument::HasEarlierCheckOut(host::Job& job) const {
    return m_was_checked_out && !m_is_saved && job.IsCheckedOut(m_file.get());
}

void SiteDocument::Close(host::Job& job, Closing closing, bool drop_unsent) {
    const std::string what = "close " + host::PlainLine(host::EscapeUrl(m_url));
    const host::DocumentTurn turn = job.TakeTurn(m_url, what);
    job.SiteFor(m_url, what);
    if (closing != Closing::keep_check_out) {
        const DWORD flags = closing == Closing::discard_check_out ? TMK::AFS_CloseFile_DiscardCheckOut
                                                                  : TMK::AFS_CloseFile_AllowUI;
        job.Check(m_file->Close(flags, job.details(), job.cancel()), what);
    }
    m_file.reset();
    if (drop_unsent && job.host().cache()->Unsent(m_key_url)) job.host().cache()->Drop(m_key_url);
}

}  // namespace desktop
