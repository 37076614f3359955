// How a file comes to life: binding or creating it, and what the preferences decide and ask on open.
#include "afs/document/file.h"
#include "afs/document/open_flags.h"
#include "base/failure.h"
#include "dialogs/message_box.h"

namespace {

constexpr const char16_t* kDontShowAgain = u"sp.check.dontShowThisMessageAgain";

// The document behind a name as the server has it now, and what a swallowed failure said.
struct BindOutcome {
    bool has_server_file = false;
    std::u16string why;
};

BindOutcome TryBind(Name& name) {
    BindOutcome outcome;
    try {
        outcome.has_server_file = name.BindObject(SharePoint::Web::BindObjectType::file, false) != nullptr;
    } catch (const Exception& failure) {
        outcome.why = failure.message;
    } catch (...) {
        outcome.why.clear();
    }
    return outcome;
}

}  // namespace

// A document is only ever created where the server has said that there is none: a failure of asking is asked
// again without swallowing what goes wrong.
void File::CreateOrBindIfNeeded(DWORD flags, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::CreateOrBindIfNeeded");
    const DWORD disposition = flags & Afs::OpenFlags::kDispositionMask;
    BindOutcome bound;
    // docs/compatibility.md: Creating always replaces without a look
    if (disposition != TMK::AFS_OpenFile_CreateAlways) {
        CHECK_THROW(!IsCanceled(cancel_flag), HResultException, E_CANCELED);
        bound = TryBind(*m_name);
        CHECK_THROW(!IsCanceled(cancel_flag), HResultException, E_CANCELED);
        const bool has_server_file = bound.has_server_file;
        if (disposition == TMK::AFS_OpenFile_OpenExisting) {
            CHECK_THROW(has_server_file, HResultException, E_SP_NOT_FOUND, bound.why);
        } else if (disposition == TMK::AFS_OpenFile_CreateNew) {
            CHECK_THROW(!has_server_file, HResultException, E_SP_EXISTS);
        } else {
            CHECK_THROW_TEXT(disposition == TMK::AFS_OpenFile_OpenAlways, u"disposition", HResultException,
                             E_INVALIDARG, u"Multiple create disposition modes are not supported");
        }
        CHECK_THROW_TEXT(
            has_server_file || m_name->GetSession()->GetWeb()->AsWeb()->IsFileKnownMissing(m_name->GetUrl()),
            u"has_server_file || IsFileKnownMissing", Exception,
            u"The server does not say whether the document is there, so nothing is created in its place. "
            u"Please try again.");
    } else {
        CHECK_THROW((flags & TMK::AFS_OpenFile_Write) != 0, HResultException, E_INVALIDARG,
                    u"Mode CreateAlways can be used only for writing");
    }
    CHECK_THROW(!IsCanceled(cancel_flag), HResultException, E_CANCELED);
    if (!bound.has_server_file) {
        m_name->SetObject(m_name->GetSession()->GetWeb()->AsWeb()->CreateFile(m_name->GetUrl()));
    }
    CHECK_THROW(m_name->GetObject()->AsFile() != nullptr, HResultException, E_INVALIDARG);
    TRACE_EXIT(u"");
}

ComPtr<File> File::CreateAndOpenFile(Name& name, DWORD new_open_flags,
                                     TMK::ITMK_ErrorDetails* out_error_details,
                                     TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::CreateAndOpenFile");
    CHECK_THROW(!IsCanceled(cancel_flag), HResultException, E_CANCELED);
    ComPtr<File> file(new File(name, Afs::OpenFlags::Normalize(new_open_flags)));
    file->CreateOrBindIfNeeded(file->m_flags, cancel_flag);
    file->m_document = name.GetSession()->GetOpenDocuments().Get(name.GetUrl());
    file->TakeVersion(file->VersionOnServer());
    LOG_LINE(Log::verbose, u"modified_time=%llu", file->m_modified_time);
    CHECK_RESULT_THROW(file->AcquireCache(out_error_details, cancel_flag));
    CHECK_THROW(!IsCanceled(cancel_flag), HResultException, E_CANCELED);
    std::u16string holder;
    file->m_check_out_state = file->ServerFile().GetCheckOutState(&holder);
    file->SetHolder(holder.empty() ? file->Information().m_checkout_user : holder);
    LOG_LINE(Log::verbose, u"check_out_state=%i", static_cast<uint32_t>(file->m_check_out_state.load()));
    file->CanEdit(false);
    if (file->DecideOnOpen() == OpenStep::check_out) {
        CHECK_THROW(!IsCanceled(cancel_flag), HResultException, E_CANCELED);
        file->CheckOut(false);
        file->m_check_out_state = CheckOutState::me;
    }
    TRACE_EXIT(u"");
    return file;
}

File::OpenStep File::DecideOnOpen() {
    TRACE_NAME("File::CreateAndOpenFile");
    const bool do_check_out = (m_flags & Afs::OpenFlags::kCheckOutMask) != 0;
    if (!m_can_edit) return DecideOnOpenWithoutRights(do_check_out);
    if (m_check_out_state == CheckOutState::me) return OpenStep::open;
    const bool other_user = m_check_out_state != CheckOutState::none;
    if (do_check_out) {
        CHECK_THROW_TEXT(!other_user, u"m_check_out_state != SharePoint::File::CheckOutState::other_user",
                         HResultException, E_SP_CHECKED_OUT_TO_OTHER,
                         Text(u"sp.msg.checkedOutToOtherOnOpen", Holder()));
        return OpenStep::check_out;
    }
    if ((m_flags & TMK::AFS_OpenFile_UserOpen) == 0) return OpenStep::open;
    if (other_user) {
        WarnOnOpen(u"sp.msg.warnOnOpenWithOthersCheckOut", Holder(), &Preferences::on_open_checked_out_other);
        return OpenStep::open;
    }
    if (Prefs().on_open_checked_out_none & Preferences::show_message_box) return AskForCheckOutOnOpen();
    return Prefs().on_open_checked_out_none & Preferences::check_out ? OpenStep::check_out : OpenStep::open;
}

File::OpenStep File::DecideOnOpenWithoutRights(bool do_check_out) {
    TRACE_NAME("File::CreateAndOpenFile");
    CHECK_THROW((m_flags & TMK::AFS_OpenFile_Write) == 0, HResultException, E_SP_NO_EDIT_RIGHTS,
                Text(u"sp.msg.errorOnOpenWithNoEditPermissionsNeedWriteAccess"));
    CHECK_THROW(m_check_out_state == CheckOutState::me || !do_check_out, HResultException,
                E_SP_NO_EDIT_RIGHTS, Text(u"sp.msg.errorOnOpenWithNoEditPermissionsNeedCheckOut"));
    WarnOnOpen(u"sp.msg.warnOnOpenWithNoEditPermissions", {},
               &Preferences::on_open_without_write_permissions);
    return OpenStep::open;
}

// Shown only where the preference says so; the check takes the question out of the preference.
void File::WarnOnOpen(const char16_t* text_id, const std::u16string& second,
                      uint32_t Preferences::*preference) {
    if ((Prefs().*preference & Preferences::show_message_box) == 0) return;
    bool dont_show = false;
    Ui::ShowMessageBox(m_inst.get(), Ui::kStyleWarning,
                       Ui::FormatPrompt(m_inst.get(), text_id, Title(), second), {u"btn.ok"}, -1, 0,
                       kDontShowAgain, &dont_show);
    if (!dont_show) return;
    DontAskAgain(preference, 0);
}

File::OpenStep File::AskForCheckOutOnOpen() {
    TRACE_NAME("File::CreateAndOpenFile");
    enum Button : UINT { open_button = 0, check_out_button = 1 };
    bool dont_show = false;
    const UINT pressed = Ui::ShowMessageBox(
        m_inst.get(), Ui::kStyleQuestion,
        Ui::FormatPrompt(m_inst.get(), u"sp.msg.askForCheckOutOnOpen", Title()),
        {u"sp.btn.open", u"sp.btn.openWithCheckOut", u"btn.cancel"}, -1, 0, kDontShowAgain, &dont_show);
    CHECK_THROW(pressed == open_button || pressed == check_out_button, HResultException, E_CANCELED);
    if (dont_show) {
        DontAskAgain(&Preferences::on_open_checked_out_none,
                     pressed == check_out_button ? uint32_t{Preferences::check_out} : 0u);
    }
    return pressed == check_out_button ? OpenStep::check_out : OpenStep::open;
}
