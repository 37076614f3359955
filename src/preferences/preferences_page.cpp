#include "preferences/preferences_page.h"

#include "dialogs/template_dialog.h"
#include "preferences/advanced_preferences_dialog.h"
#include "preferences/combo_items.h"

using namespace TMK;

namespace Ui {
namespace {

constexpr ComboItem kWhenOpen[] = {{u"$$$.sp.cbitem.whenOpenDocumentCheckoutNone.open", 0},
                                   {u"$$$.sp.cbitem.whenOpenDocumentCheckoutNone.checkOut", 8},
                                   {u"$$$.sp.cbitem.whenOpenDocumentCheckoutNone.ask", 1}};
constexpr ComboItem kSaveConflict[] = {{u"$$$.sp.cbitem.whenSaveConflict.cancel", 0},
                                       {u"$$$.sp.cbitem.whenSaveConflict.overwrite", 32},
                                       {u"$$$.sp.cbitem.whenSaveConflict.ask", 1}};
constexpr ComboItem kAfterSave[] = {{u"$$$.sp.cbitem.afterSave.checkIn", 16},
                                    {u"$$$.sp.cbitem.afterSave.checkInCheckOut", 24},
                                    {u"$$$.sp.cbitem.afterSave.keepCheckOut", 8},
                                    {u"$$$.sp.cbitem.afterSave.ask", 1}};
constexpr ComboItem kCloseNeedCheckIn[] = {{u"$$$.sp.cbitem.closeNeedCheckIn.checkIn", 16},
                                           {u"$$$.sp.cbitem.closeNeedCheckIn.checkInCheckOut", 24},
                                           {u"$$$.sp.cbitem.closeNeedCheckIn.keepCheckOut", 8},
                                           {u"$$$.sp.cbitem.closeNeedCheckIn.ask", 1}};
constexpr ComboItem kCloseWithoutCheckIn[] = {{u"$$$.sp.cbitem.closeDoesNotNeedCheckIn.discardCheckOut", 0},
                                              {u"$$$.sp.cbitem.closeDoesNotNeedCheckIn.keepCheckOut", 8},
                                              {u"$$$.sp.cbitem.closeDoesNotNeedCheckIn.ask", 1}};
constexpr ComboItem kCheckInType[] = {{u"$$$.sp.cbitem.defaultCheckInType.minor", 0},
                                      {u"$$$.sp.cbitem.defaultCheckInType.major", 1},
                                      {u"$$$.sp.cbitem.defaultCheckInType.overwrite", 2}};

// A combo box owns the bits of its mask.
struct ComboRow {
    const char16_t* control;
    uint32_t Preferences::*field;
    uint32_t mask;
    std::span<const ComboItem> items;
};
constexpr ComboRow kCombos[] = {
    {u"cb.whenOpenDocumentCheckoutNone", &Preferences::on_open_checked_out_none, 9, kWhenOpen},
    {u"cb.whenSaveConflict", &Preferences::on_save_conflict, 33, kSaveConflict},
    {u"cb.afterSave", &Preferences::on_after_save, 25, kAfterSave},
    {u"cb.closeNeedCheckIn", &Preferences::on_close_checked_out_need_check_in, 25, kCloseNeedCheckIn},
    {u"cb.closeDoesNotNeedCheckIn", &Preferences::on_close_checked_out_no_need_check_in, 9,
     kCloseWithoutCheckIn},
    {u"cb.defaultCheckInType", &Preferences::default_check_in_type, ~0u, kCheckInType},
};

struct CheckRow {
    const char16_t* control;
    uint32_t Preferences::*field;
    uint32_t bit;
};
constexpr CheckRow kChecks[] = {
    {u"check.whenOpenDocumentCheckOutNoneDisableEditing", &Preferences::on_open_checked_out_none,
     Preferences::disable_editing_ui},
    {u"check.whenOpenCheckOutOtherShowWarning", &Preferences::on_open_checked_out_other,
     Preferences::show_message_box},
    {u"check.whenOpenDocumentCheckOutOtherDisableEditing", &Preferences::on_open_checked_out_other,
     Preferences::disable_editing_ui},
    {u"check.whenOpenNoPermissionsShowWarning", &Preferences::on_open_without_write_permissions,
     Preferences::show_message_box},
    {u"check.whenOpenNoPermissionsDisableEditing", &Preferences::on_open_without_write_permissions,
     Preferences::disable_editing_ui},
    {u"check.showHiddenItems", &Preferences::show_hidden_items, 1},
};

class PreferencesPage final : public TemplateDialog<PreferencesPage>, public IUIX_PropPage {
    using Base = TemplateDialog<PreferencesPage>;

public:
    explicit PreferencesPage(PluginContext& plugin) : TemplateDialog(plugin) {}

    HRESULT QueryInterface(const IID& iid, void** out) override { return Base::QueryInterface(iid, out); }
    ULONG AddRef() override { return Base::AddRef(); }
    ULONG Release() override { return Base::Release(); }
    void* QueryFurther(const IID& iid) {
        return iid == IUIX_PropPage::kIid ? static_cast<IUIX_PropPage*>(this) : nullptr;
    }

    HRESULT get_Template(LPCVOID* out_template, DWORD* out_size) override;
    HRESULT Apply() override;
    HRESULT HandleEvent(UIX_Event& event);

private:
    HRESULT OnCreate();
    HRESULT ShowValues();
    HRESULT TakeValues();

    Preferences m_preferences;  // what is shown; the live record until Apply is another one
};

HRESULT PreferencesPage::get_Template(LPCVOID* out_template, DWORD* out_size) {
    TRACE_ENTRY("PreferencesPage::get_Template");
    CHECK_RETURN(out_template != nullptr && out_size != nullptr, E_POINTER);
    const ResourceData templates = FindResourceData(IDR_DIALOGS_XML, u"XML");
    *out_template = templates.data;
    *out_size = templates.size;
    TRACE_RETURN(S_OK);
}

HRESULT PreferencesPage::HandleEvent(UIX_Event& event) {
    if (event.nCode == UIX_Event_InitDialog) return OnCreate();
    if (!IsClick(event)) return S_OK;
    if (IsFrom(event, u"btn.resetPreferences")) {
        m_preferences = Preferences();
        return ShowValues();
    }
    if (IsFrom(event, u"btn.advancedPreferences"))
        AdvancedPreferencesDialog::Show(m_plugin, GetFirstHWND(), m_preferences);
    return S_OK;
}

HRESULT PreferencesPage::OnCreate() {
    TRACE_NAME("PreferencesPage::OnCreate");
    m_preferences = m_plugin.m_preferences_manager.Get();
    for (const ComboRow& row : kCombos) {
        const auto combo = Get<IUIX_Combo>(row.control);
        CHECK_RETURN(combo != nullptr, E_FAIL);
        CHECK_RESULT(FillCombo(*combo, row.items));
    }
    if (const auto picture = Get<IUIX_Picture>(u"img.sharepoint")) picture->put_Icon(m_plugin.m_icon.get());
    return ShowValues();
}

HRESULT PreferencesPage::ShowValues() {
    TRACE_NAME("PreferencesPage::ShowValues");
    for (const ComboRow& row : kCombos) {
        const auto combo = Get<IUIX_Combo>(row.control);
        CHECK_RETURN(combo != nullptr, E_FAIL);
        CHECK_RESULT(SelectValue(*combo, row.items, m_preferences.*row.field & row.mask));
    }
    for (const CheckRow& row : kChecks) {
        const auto check = Get<IUIX_Check>(row.control);
        CHECK_RETURN(check != nullptr, E_FAIL);
        CHECK_RESULT(check->put_Checked(m_preferences.*row.field & row.bit ? VARIANT_TRUE : VARIANT_FALSE));
    }
    const auto comment = GetControl(u"ed.defaultCheckInComment");
    CHECK_RETURN(comment != nullptr, E_FAIL);
    return comment->put_Text(m_preferences.default_check_in_message.c_str());
}

HRESULT PreferencesPage::TakeValues() {
    TRACE_NAME("PreferencesPage::Apply");
    for (const ComboRow& row : kCombos) {
        const auto combo = Get<IUIX_Combo>(row.control);
        CHECK_RETURN(combo != nullptr, E_FAIL);
        uint32_t& field = m_preferences.*row.field;
        if (const auto value = SelectedValue(*combo)) field = (field & ~row.mask) | *value;
    }
    for (const CheckRow& row : kChecks) {
        const auto check = Get<IUIX_Check>(row.control);
        CHECK_RETURN(check != nullptr, E_FAIL);
        VARIANT_BOOL checked = VARIANT_FALSE;
        CHECK_RESULT(check->get_Checked(&checked));
        uint32_t& field = m_preferences.*row.field;
        field = checked != VARIANT_FALSE ? field | row.bit : field & ~row.bit;
    }
    const auto comment = GetControl(u"ed.defaultCheckInComment");
    CHECK_RETURN(comment != nullptr, E_FAIL);
    Bstr text;
    CHECK_RESULT(comment->get_Text(text.put()));
    m_preferences.default_check_in_message = text.str();
    return S_OK;
}

HRESULT PreferencesPage::Apply() {
    TRACE_ENTRY("PreferencesPage::Apply");
    try {
        CHECK_RESULT(TakeValues());
        m_plugin.m_preferences_manager.Change([this](Preferences& all) {
            all = m_preferences;
            Log::ApplyPreferences(static_cast<int32_t>(all.log_level),
                                  static_cast<int32_t>(all.days_to_store_logs));
        });
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

}  // namespace

ComPtr<IUnknown> CreatePreferencesPage(PluginContext& plugin) {
    const auto page = MakeObject<PreferencesPage>(plugin);
    return ComPtr<IUnknown>(static_cast<IUIX_PropPage*>(page.get()));
}

}  // namespace Ui
