// What the user or the host asks of the document's workflow: check out, check in, discard, and the step after
// a save.
#include "afs/document/file.h"
#include "base/failure.h"
#include "base/main_thread.h"
#include "base/operation_scope.h"
#include "base/text/ignore_case.h"
#include "base/text/iso8601.h"
#include "dialogs/message_box.h"

namespace {

constexpr DWORD kStyleCheckIn = 0x100C0200;
constexpr DWORD kReloadMode = 2;

}  // namespace

HRESULT File::Exec(LPCWSTR command, const VARIANT& data, VARIANT* out_value,
                   TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::Exec");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN(command != nullptr, E_INVALIDARG);
        LOG_LINE(Log::verbose, u"%s", command);
        if (EqualIgnoringCase(command, u"PerformAfterSave")) {
            PerformAfterSave();
        } else if (EqualIgnoringCase(command, u"CheckInWithUi")) {
            CheckInWithUi(false, nullptr);
        } else if (EqualIgnoringCase(command, u"CheckIn")) {
            CheckIn(Prefs().default_check_in_message, Prefs().default_check_in_type, false);
        } else if (EqualIgnoringCase(command, u"CheckOut")) {
            CheckOut(true);
        } else if (EqualIgnoringCase(command, u"DiscardCheckOut")) {
            DiscardCheckOut();
        } else if (EqualIgnoringCase(command, u"ReopenCacheFile")) {
            ReopenCacheFile(data);
        } else if (EqualIgnoringCase(command, u"ResetCache")) {
            ResetCache();
        } else if (EqualIgnoringCase(command, u"GetFields")) {
            GetFields(out_value);
        } else if (EqualIgnoringCase(command, u"SetFields")) {
            SetFields(data);
        } else {
            THROW_TRACED(HResultException, E_INVALIDARG,
                         std::u16string(u"Unsupported command \"") + command + u"\"");
        }
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

void File::CheckOut(bool check_outdated) {
    TRACE_ENTRY("File::CheckOut");
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    CHECK_THROW(CanEdit(false), HResultException, E_SP_NO_EDIT_RIGHTS,
                Text(u"sp.msg.errorOnCheckOutNoEditPermissions"));
    if (check_outdated) m_name->GetObject()->UpdateInformation();
    if (check_outdated && IsOutdated()) {
        if (!ConfirmOutdatedCheckOut()) {
            TRACE_EXIT(u"cancelled by user");
            return;
        }
        ReloadDocument();
    }
    LOG_LINE(Log::verbose, u"checking out from cached state=%i",
             static_cast<uint32_t>(m_check_out_state.load()));
    CHECK_THROW_TEXT(ServerFile().CheckOut(), u"m_name->GetObject()->AsFile()->CheckOut()", HResultException,
                     E_FAIL, Text(u"sp.msg.checkOutFailed"));
    CountWorkflowStep();
    m_check_out_state = CheckOutState::me;
    SetHolder({});
    TellStateChanged();
    TRACE_EXIT(u"");
}

bool File::ConfirmOutdatedCheckOut() {
    ComPtr<TMK::ITMK_Document> document;
    m_inst->FindDocumentByFile(this, document.put());
    VARIANT_BOOL changed = VARIANT_FALSE;
    const bool modified = document && SUCCEEDED(document->get_Modified(&changed)) && changed != VARIANT_FALSE;
    const std::u16string server_text = FormatLocalDateTime(Information().m_modified_time);
    const char16_t* const text_id = modified ? u"sp.msg.outdatedModifiedFileOnCheckout.question"
                                             : u"sp.msg.outdatedFileOnCheckout.question";
    const std::vector<const char16_t*> buttons =
        modified ? std::vector{u"sp.btn.reloadLostYourChangesAndCheckOut", u"sp.btn.cancelOutdatedCheckOut"}
                 : std::vector{u"sp.btn.reloadAndCheckOut", u"sp.btn.cancelCheckOut"};
    return Ui::ShowMessageBox(
               m_inst.get(), modified ? Ui::kStyleWarning : Ui::kStyleQuestion,
               Ui::FormatPrompt(m_inst.get(), text_id, Information().m_modified_by, server_text), buttons, -1,
               1) == 0;
}

void File::ReloadDocument() {
    TRACE_NAME("File::CheckOut");
    const HRESULT result =
        CallOnMainThread(m_inst.get(), [inst = m_inst, self = ComPtr<File>(this)]() -> HRESULT {
            ComPtr<TMK::ITMK_Document> document;
            const HRESULT found = inst->FindDocumentByFile(self.get(), document.put());
            return document ? inst->ReloadDocument(document.get(), 0, kReloadMode, 0) : found;
        });
    LOG_LINE(Log::verbose, u"ThreadSafeCall::Call()=(HRESULT)%d", result);
    CHECK_RESULT_THROW(result);
}

void File::DiscardCheckOut() {
    TRACE_ENTRY("File::DiscardCheckOut");
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    LOG_LINE(Log::verbose, u"discarding check out from cached state=%i",
             static_cast<uint32_t>(m_check_out_state.load()));
    const SharePoint::File::DiscardResult result = ServerFile().DiscardCheckOut();
    CHECK_THROW(result != SharePoint::File::dcrNoCheckedInVersion, HResultException, E_FAIL,
                Text(u"sp.msg.DiscardCheckoutFailedNoCheckedIn"));
    CHECK_THROW(result != SharePoint::File::dcrFail, HResultException, E_FAIL,
                Text(u"sp.msg.discardCheckOutFailed"));
    CountWorkflowStep();
    m_check_out_state = CheckOutState::none;
    SetHolder({});
    TellStateChanged();
    TRACE_EXIT(u"");
}

// A server that has no columns to tell, as 2010, can have them filled on its own page alone.
SharePoint::FieldsData File::LoadRequiredFields() {
    TRACE_NAME("File::LoadRequiredFields");
    try {
        return ServerFile().LoadFields();
    } catch (const Http::HttpException& failure) {
        if (failure.status != 404) throw;
        THROW_TRACED(HResultException, E_FAIL, Text(u"sp.msg.CheckInFailedRequiredPropertiesUnsupported"));
    }
}

// Lets the person fill what the check-in was refused for; nothing but that person ends the rounds.
void File::FillRequiredFields() {
    TRACE_NAME("File::CheckIn");
    const SharePoint::FieldsData fields = LoadRequiredFields();
    CHECK_THROW(!fields.has_unsupported_required, HResultException, E_FAIL,
                Text(u"sp.msg.CheckInFailedRequiredPropertiesUnsupported"));
    Ui::ShowMessageBox(m_inst.get(), Ui::kStyleWarning,
                       Ui::FormatPrompt(m_inst.get(), u"sp.msg.CheckInRequiredProperties"), {u"btn.ok"});
    CHECK_THROW(SUCCEEDED(EditFields(nullptr, fields)), HResultException, E_FAIL,
                Text(u"sp.msg.CheckInFailedRequiredProperties"));
}

void File::CheckIn(const std::u16string& comment, uint32_t type, bool keep_checked_out) {
    TRACE_ENTRY("File::CheckIn");
    SharePoint::File::CheckInResult result;
    do {
        LOG_LINE(Log::verbose, u"calling server check in");
        result = ServerFile().CheckIn(comment, type);
        CHECK_THROW(result != SharePoint::File::cirFail, HResultException, E_FAIL,
                    Text(u"sp.msg.checkInFailed"));
        if (result == SharePoint::File::cirRequiredProperties) FillRequiredFields();
    } while (result == SharePoint::File::cirRequiredProperties);
    m_document->m_need_checkin = false;
    m_check_out_state = CheckOutState::none;
    SetHolder({});
    // The record from before: what somebody else saves from now on is not one's own.
    if (!m_is_outdated) TakeVersion(VersionOnServer());
    CountWorkflowStep();
    if (keep_checked_out) {
        LOG_LINE(Log::verbose, u"check out after check in");
        CheckOut(false);
    } else {
        TellStateChanged();
    }
    TRACE_EXIT(u"");
}

uint32_t File::CheckInWithUi(bool on_close, bool* out_dont_show) {
    TRACE_ENTRY("File::CheckInWithUi");
    enum Button : UINT { check_in_button = 0, check_in_and_keep_button = 1 };
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    LOG_LINE(Log::verbose, u"asking user about check in");
    UINT radio = Prefs().default_check_in_type < 2 ? Prefs().default_check_in_type : 2;
    std::u16string comment = Prefs().default_check_in_message;
    const char16_t* const text_id =
        on_close ? u"sp.msg.askForCheckInOnClose" : u"sp.msg.checkInDialogMessage";
    const UINT pressed = Ui::ShowMessageBox(
        m_inst.get(), kStyleCheckIn, Ui::FormatPrompt(m_inst.get(), text_id, Title()),
        {u"sp.btn.checkIn", u"sp.btn.checkInAndKeepCkeckedOut", u"sp.btn.keepCkeckedOut"}, -1, 0,
        out_dont_show ? u"sp.check.dontShowThisMessageAgain" : nullptr, out_dont_show,
        Ui::RadioList{{u"sp.checkInDialog.typeRaio.Minor", u"sp.checkInDialog.typeRaio.Major",
                       u"sp.checkInDialog.typeRaio.Overwrite"},
                      &radio},
        Ui::EditField{u"sp.lb.checkInComment", &comment});
    if (pressed != check_in_button && pressed != check_in_and_keep_button) {
        TRACE_EXIT(static_cast<uint32_t>(Preferences::check_out));
        return Preferences::check_out;
    }
    const uint32_t type = radio > 2 ? 1 : radio;
    ChangePreferences([&](Preferences& all) {
        all.default_check_in_type = type;
        all.default_check_in_message = comment;
    });
    const bool keep = pressed == check_in_and_keep_button;
    CheckIn(comment, type, keep);
    const uint32_t choice = keep ? Preferences::check_in | Preferences::check_out : Preferences::check_in;
    TRACE_EXIT(choice);
    return choice;
}

void File::PerformAfterSave() {
    TRACE_ENTRY("File::PerformAfterSave");
    if (m_suppress_after_save) return;
    const uint32_t preference = Prefs().on_after_save;
    if (preference & Preferences::show_message_box) {
        bool dont_show = false;
        const uint32_t choice = CheckInWithUi(false, &dont_show);
        if (dont_show) DontAskAgain(&Preferences::on_after_save, choice);
    } else if (preference & Preferences::check_in) {
        CheckIn(Prefs().default_check_in_message, Prefs().default_check_in_type,
                (preference & Preferences::check_out) != 0);
    }
    TRACE_EXIT(u"");
}
