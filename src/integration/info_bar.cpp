// What the editor shows of a document's state: its information bar, and whether its editing is switched off.
#include "base/failure.h"
#include "base/plugin_context.h"
#include "dialogs/message_box.h"
#include "integration/document_objects.h"
#include "integration/events_handler.h"

namespace {

// All but printing (4), copying (0x10), extraction for accessibility (0x200) and printing in high quality
// (0x800).
constexpr DWORD document_edit_permissions =
    ~(DWORD{TMK::TMK_Permission_Print} | TMK::TMK_Permission_Copy | TMK::TMK_Permission_Accessibility |
      TMK::TMK_Permission_PrintHighQuality);
static_assert(document_edit_permissions == 0xFFFFF5EB);

constexpr const char16_t* kCheckOut = u"sp.cmd.checkOut";
constexpr const char16_t* kCheckIn = u"sp.cmd.checkIn";
constexpr const char16_t* kDiscard = u"sp.cmd.discardCheckOut";
constexpr const char16_t* kEnableEditing = u"sp.cmd.enableEditing";
constexpr const char16_t* kProperties = u"sp.cmd.fileProperties";

struct InfoBarRow {
    std::u16string text_id;
    std::vector<const char16_t*> buttons;
    const char16_t* trace = u"";
};

const InfoBarRow kMine{u"sp.ibar.checkedOutToMe",
                       {kCheckIn, kDiscard, kProperties},
                       u"file has write permissions, checked out to me"};
// Without editing, and with it.
const InfoBarRow kOfOther[] = {
    {u"sp.ibar.checkedOutToOtherNoEditing",
     {kEnableEditing, kProperties},
     u"file has write permissions, checked out to other user, editing UI disabled"},
    {u"sp.ibar.checkedOutToOtherEditing",
     {kProperties},
     u"file has write permissions, checked out to other user, editing UI enabled"}};
// docs/compatibility.md: Misspelt words
const InfoBarRow kNotCheckedOut[] = {{u"sp.ibar.notCheckedOutNoEditing",
                                      {kCheckOut, kEnableEditing, kProperties},
                                      u"file has write permissions, not checked out, editing UI disabled"},
                                     {u"sp.ibar.notCheckedOutEditing",
                                      {kCheckOut, kProperties},
                                      u"file has write permissions, not checked out, editing UI enabled"}};
const InfoBarRow kNoRights[] = {
    {u"sp.ibar.cannotEditNoEditing",
     {kEnableEditing, kProperties},
     u"file has no write permissions, editing UI disabled"},
    {u"sp.ibar.cannotEditEditing", {kProperties}, u"file has no write permissions, editing UI enabled"}};
const InfoBarRow kUnknown{};

// The row of a file, and the name of the person who has it checked out.
const InfoBarRow& RowOf(File& file, bool editing, std::u16string& out_holder) {
    const size_t column = editing ? 1 : 0;
    if (!file.CanEdit(true)) return kNoRights[column];
    File::CheckOutState state{};
    file.GetCheckedOutState(state, &out_holder);
    switch (state) {
        case File::CheckOutState::none:
            return kNotCheckedOut[column];
        case File::CheckOutState::other_user:
            return kOfOther[column];
        case File::CheckOutState::me:
            return kMine;
        default:
            return kUnknown;
    }
}

}  // namespace

HRESULT EventsHandler::SetDocumentEditState(TMK::ITMK_Document* i_document, EditState state) {
    TRACE_ENTRY("EventsHandler::SetDocumentEditState");
    try {
        CHECK_RETURN(i_document != nullptr, E_FAIL);
        document_objects objects;
        CHECK_RESULT(GetDocumentObjects(m_plugin, i_document, objects));
        if (!objects.file) {
            LOG_LINE(Log::verbose, u"not SharePoint document");
            TRACE_RETURN(S_FALSE);
        }
        bool allow_editing = state == EditState::enable;
        if (state == EditState::auto_detect) {
            allow_editing = DetectAllowEditing(*objects.file);
        } else {
            LOG_LINE(Log::verbose,
                     allow_editing ? u"enable editing from argument" : u"disable editing from argument");
        }
        CHECK_RESULT(
            objects.core_document->SetRestrictedPermissions(allow_editing ? 0 : document_edit_permissions));
        objects.core_document->NotifyChange(TMK::TMK_Change_Properties, TMK::TMK_ChangedProperty_Permissions,
                                            0);
        objects.core_document->NotifyChange(TMK::TMK_Change_Properties, TMK::TMK_ChangedProperty_Title, 0);
        ComPtr<TMK::IUIX_CmdManager> manager;
        CHECK_RESULT(GetManager(manager));
        CHECK_RESULT(manager->UpdateCmdItems(TMK::UIX_UpdateCmdItems_State, 0));
        CHECK_RESULT(UpdateInfoBar(i_document));
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

// docs/compatibility.md: No preference hides the information bar
bool EventsHandler::DetectAllowEditing(File& file) const {
    TRACE_NAME("EventsHandler::SetDocumentEditState");
    const Preferences preferences = m_plugin->m_preferences_manager.Get();
    const auto disables = [](uint32_t actions) { return (actions & Preferences::disable_editing_ui) != 0; };
    File::CheckOutState checkout_state{};
    file.GetCheckedOutState(checkout_state, nullptr);
    const bool can_edit = file.CanEdit(true);
    const bool disable_editing_on_not_checked_out = disables(preferences.on_open_checked_out_none);
    const bool disable_editing_on_checked_out_to_other = disables(preferences.on_open_checked_out_other);
    const bool disable_editing_on_no_write_permissions =
        disables(preferences.on_open_without_write_permissions);
    LOG_LINE(Log::information,
             u"auto-detecting edit state from checkout_state=%i, can_edit=%i, "
             u"disable_editing_on_not_checked_out=%i, disable_editing_on_checked_out_to_other=%i, "
             u"disable_editing_on_no_write_permissions=%i",
             static_cast<uint32_t>(checkout_state), can_edit, disable_editing_on_not_checked_out,
             disable_editing_on_checked_out_to_other, disable_editing_on_no_write_permissions);
    if (checkout_state == File::CheckOutState::none && disable_editing_on_not_checked_out) return false;
    if (checkout_state == File::CheckOutState::other_user && disable_editing_on_checked_out_to_other)
        return false;
    return can_edit || !disable_editing_on_no_write_permissions;
}

HRESULT EventsHandler::GetDocumentEditState(TMK::ITMK_Document* i_document, bool& is_document_is_edit_state) {
    TRACE_ENTRY("EventsHandler::GetDocumentEditState");
    CHECK_RETURN(i_document != nullptr, E_FAIL);
    document_objects objects;
    CHECK_RESULT(GetDocumentObjects(m_plugin, i_document, objects));
    CHECK_RETURN(objects.core_document != nullptr, S_FALSE);
    DWORD restricted = 0;
    CHECK_RESULT(objects.core_document->GetPermissions(TMK::TMK_PermissionSource_Restricted,
                                                       TMK::TMK_PermissionKind_Mask, &restricted));
    is_document_is_edit_state = restricted == 0;
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::UpdateInfoBar(TMK::ITMK_Document* i_document) {
    TRACE_ENTRY("EventsHandler::UpdateInfoBar");
    try {
        if (!i_document) TRACE_RETURN(S_FALSE);
        CHECK_RETURN(m_plugin != nullptr, E_UNEXPECTED);
        ComPtr<TMK::IUIX_InfoBar> info_bar;
        CHECK_RESULT_TEXT(i_document->get_InfoBar(info_bar.put()), u"i_document->get_InfoBar(&info_bar)");
        if (!info_bar) {
            LOG_LINE(Log::verbose, u"infobar is null");
            TRACE_RETURN(S_OK);
        }
        document_objects objects;
        CHECK_RESULT(GetDocumentObjects(m_plugin, i_document, objects));
        const DWORD type = m_plugin->m_info_bar_id;
        if (!objects.file) {
            info_bar->RemoveSpan(type);
            LOG_LINE(Log::verbose, u"not SharePoint document");
            TRACE_RETURN(S_OK);
        }
        ComPtr<TMK::IUIX_InfoBarSpan> span;
        CHECK_RESULT_TEXT(info_bar->FindSpan(type, span.put()), u"info_bar->FindSpan(type, &span)");
        if (!span) {
            LOG_LINE(Log::verbose, u"adding span");
            CHECK_RESULT_TEXT(info_bar->AddSpan(type, span.put()), u"info_bar->AddSpan(type, &span)");
            CHECK_RETURN(span != nullptr, E_FAIL);
        }
        bool editing = false;
        CHECK_RESULT(GetDocumentEditState(i_document, editing));
        CHECK_RESULT(FillSpan(objects, *span, *info_bar, editing));
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT EventsHandler::FillSpan(const document_objects& objects, TMK::IUIX_InfoBarSpan& span,
                                TMK::IUIX_InfoBar& info_bar, bool editing) {
    TRACE_NAME("EventsHandler::UpdateInfoBar");
    std::u16string holder;
    const InfoBarRow& row = RowOf(*objects.file, editing, holder);
    LOG_LINE(Log::verbose, u"%s", row.trace);
    if (row.text_id.empty()) {
        LOG_LINE(Log::verbose, u"infobar data text is empty, removing span");
        return info_bar.RemoveSpan(m_plugin->m_info_bar_id);
    }
    CHECK_RESULT(span.ClearButtons());
    const std::u16string text = Ui::FormatString(m_inst.get(), row.text_id.c_str(), holder);
    CHECK_RESULT(span.put_Text(text.c_str()));
    for (const char16_t* const button : row.buttons) {
        DWORD id = 0;
        CHECK_RESULT(m_inst->Str2ID(button, VARIANT_TRUE, &id));
        CHECK_RESULT(span.InsertCmdButton(-1, id));
    }
    return S_OK;
}
