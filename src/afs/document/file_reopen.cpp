// Another mode on an open document, above all from reading to writing before a save: here the server's
// version is compared with the one that the user has been looking at.
#include "afs/document/file.h"
#include "afs/document/open_flags.h"
#include "base/failure.h"
#include "base/operation_scope.h"
#include "base/text/iso8601.h"
#include "dialogs/message_box.h"

HRESULT File::Reopen(DWORD new_open_flags, TMK::ITMK_ErrorDetails* out_error_details,
                     TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::Reopen");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        LOG_LINE(Log::verbose,
                 u"m_name='%s', flags=%ul, m_modified_time=%llu, out_error_details=%p, cancel_flag=%p",
                 MaskForLog(m_name->GetUrl()), new_open_flags, m_modified_time,
                 static_cast<const void*>(out_error_details), static_cast<const void*>(cancel_flag));
        const DWORD flags = Afs::OpenFlags::Normalize(new_open_flags);
        CreateOrBindIfNeeded(flags, cancel_flag);
        CanEdit(false);
        CheckRightsOnReopen(flags);
        if (flags & Afs::OpenFlags::kCheckOutMask) {
            if (!ConfirmConflict()) TRACE_RETURN(E_CANCELED);
            CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
            CheckOutForReopen(cancel_flag);
        }
        CheckForReopen(flags);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

void File::CheckRightsOnReopen(DWORD flags) {
    TRACE_NAME("File::Reopen");
    if (m_can_edit) return;
    CHECK_THROW((flags & TMK::AFS_OpenFile_CheckOut) == 0 || m_check_out_state == CheckOutState::me,
                HResultException, E_SP_NO_EDIT_RIGHTS,
                Text(u"sp.msg.errorOnReopenWithNoEditPermissionsNeedCheckOut"));
    CHECK_THROW((flags & TMK::AFS_OpenFile_Write) == 0, HResultException, E_SP_NO_EDIT_RIGHTS,
                Text(u"sp.msg.errorOnReopenWithNoEditPermissionsNeedWriteAccess"));
}

// True when the server has no other version, or when it may be overwritten.
bool File::ConfirmConflict() {
    TRACE_NAME("File::Reopen");
    const uint64_t server_time = Information().m_modified_time;
    const uint32_t preference = Prefs().on_save_conflict;
    if (!IsOutdated() || (preference & Preferences::overwrite)) return true;
    const std::u16string server_text = FormatLocalDateTime(server_time);
    CHECK_THROW((preference & Preferences::show_message_box) != 0, HResultException, E_SP_OUTDATED,
                Ui::FormatString(m_inst.get(), u"sp.msg.outdatedFileOnWrite",
                                 FormatLocalDateTime(m_modified_time), server_text));
    // docs/compatibility.md: Nobody is named in a conflict on a modern site
    const UINT pressed =
        Ui::ShowMessageBox(m_inst.get(), Ui::kStyleQuestion,
                           Ui::FormatPrompt(m_inst.get(), u"sp.msg.outdatedFileOnWrite.question",
                                            Information().m_modified_by, server_text),
                           {u"sp.btn.overwrite", u"sp.btn.cancelSaving"}, -1, 1);
    return pressed == 0;
}

void File::CheckOutForReopen(TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_NAME("File::Reopen");
    std::u16string holder;
    // docs/compatibility.md: After a refused save the information bar names nobody
    m_check_out_state = ServerFile().GetCheckOutState(&holder);
    if (holder.empty()) holder = Information().m_checkout_user;
    CHECK_THROW_TEXT(m_check_out_state == CheckOutState::none || m_check_out_state == CheckOutState::me,
                     u"m_check_out_state != SharePoint::File::CheckOutState::other_user", HResultException,
                     E_SP_CHECKED_OUT_TO_OTHER, Text(u"sp.msg.checkedOutToOtherOnSave", holder));
    if (m_check_out_state == CheckOutState::me) return;
    CHECK_THROW(!IsCanceled(cancel_flag), HResultException, E_CANCELED);
    CheckOut(false);
    m_check_out_state = CheckOutState::me;
    m_keep_checked_out = (Prefs().on_after_save & Preferences::check_out) != 0;
    LOG_LINE(Log::verbose, u"%s",
             m_keep_checked_out ? u"keep check out after save" : u"don't keep check out after save");
}

void File::CheckForReopen(DWORD flags) {
    TRACE_NAME("File::Reopen");
    LOG_LINE(Log::verbose, u"Cache CheckForReopenFile");
    const std::lock_guard lock(m_cache_lock);
    const auto files_cache = m_name->GetSession()->GetFilesCache();
    CHECK_THROW(files_cache != nullptr, Exception, u"File cache is not found");
    CHECK_RESULT_THROW(files_cache->CheckForReopenFile(this, flags));
    m_flags = flags;
    m_pos = 0;
}
