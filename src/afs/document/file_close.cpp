// What happens on the server when a document that is checked out to the user is closed.
#include "afs/document/file.h"
#include "base/failure.h"
#include "base/operation_scope.h"
#include "dialogs/message_box.h"

namespace {

constexpr char16_t kStateNotTold[] =
    u"The server does not say whether the document is checked out to you, so nothing was checked in or "
    u"discarded. If it is still checked out, check it in or discard the check-out yourself.";

}  // namespace

HRESULT File::Close(DWORD flags, TMK::ITMK_ErrorDetails* out_error_details,
                    TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::Close");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN(m_name->GetObject() != nullptr && m_name->GetObject()->AsFile() != nullptr,
                     E_SP_NOT_FOUND);
        const CheckOutState state = ServerFile().GetCheckOutState(nullptr);
        if (state != CheckOutState::me) {
            LOG_LINE(Log::verbose, u"file is not checked out to me, skip check-in / discard");
            if (state == CheckOutState::unknown || !m_name->GetObject()->IsInformationCurrent())
                TellPerson(out_error_details, kStateNotTold);
            TRACE_RETURN(S_OK);
        }
        CloseDecision decision{(flags & TMK::AFS_CloseFile_CheckIn) != 0,
                               (flags & TMK::AFS_CloseFile_DiscardCheckOut) != 0};
        const bool allow_ui = (flags & TMK::AFS_CloseFile_AllowUI) != 0;
        LOG_LINE(Log::verbose,
                 u"flags=%i (check_in=%i, discard_check_out=%i, allow_ui=%i), m_need_checkin=%i", flags,
                 decision.check_in, decision.discard_check_out, allow_ui, m_document->m_need_checkin.load());
        CHECK_RETURN(decision.check_in != decision.discard_check_out || allow_ui, E_INVALIDARG);
        if (!decision.check_in && !decision.discard_check_out) decision = DecideOnClose();
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        if (decision.discard_check_out) {
            DiscardCheckOut();
        } else if (decision.check_in) {
            CheckIn(Prefs().default_check_in_message, Prefs().default_check_in_type,
                    (Prefs().on_close_checked_out_need_check_in & Preferences::check_out) != 0);
        }
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

File::CloseDecision File::DecideOnClose() {
    TRACE_NAME("File::Close");
    if (!m_document->m_need_checkin) {
        const uint32_t preference = Prefs().on_close_checked_out_no_need_check_in;
        if (preference & Preferences::show_message_box) return AskForDiscardOnClose();
        const bool discard = (preference & Preferences::check_out) == 0;
        LOG_LINE(Log::verbose, u"discard checked-out based on auto-preferences: %i", discard);
        return {false, discard};
    }
    const uint32_t preference = Prefs().on_close_checked_out_need_check_in;
    if (preference & Preferences::show_message_box) {
        LOG_LINE(Log::verbose, u"check-in with UI");
        bool dont_show = false;
        const uint32_t choice = CheckInWithUi(true, &dont_show);
        if (dont_show) DontAskAgain(&Preferences::on_close_checked_out_need_check_in, choice);
        return {false, false};
    }
    const bool check_in = (preference & Preferences::check_in) != 0;
    LOG_LINE(Log::verbose, u"check-in based on auto-preferences: check_in=%i, keep_check_out=%i", check_in,
             (preference & Preferences::check_out) != 0);
    return {check_in, false};
}

File::CloseDecision File::AskForDiscardOnClose() {
    TRACE_NAME("File::Close");
    bool dont_show = false;
    const UINT pressed =
        Ui::ShowMessageBox(m_inst.get(), Ui::kStyleQuestion,
                           Ui::FormatPrompt(m_inst.get(), u"sp.msg.askForDiscardCheckOutOnClose", Title()),
                           {u"sp.btn.discardCheckOut", u"sp.btn.keepCkeckedOut"}, -1, 0,
                           u"sp.check.dontShowThisMessageAgain", &dont_show);
    const bool discard = pressed == 0;
    LOG_LINE(Log::verbose, u"discard checked-out UI result: %i", discard);
    if (dont_show) {
        DontAskAgain(&Preferences::on_close_checked_out_no_need_check_in,
                     discard ? 0u : uint32_t{Preferences::check_out});
    }
    return {false, discard};
}
