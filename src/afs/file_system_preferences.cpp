// The preferences for hosts that show no preferences page: what is in use, and the change of one.
#include <variant>

#include "afs/file_system.h"
#include "base/failure.h"
#include "base/main_thread.h"
#include "base/plugin_context.h"
#include "base/text/split.h"
#include "base/url.h"

namespace {

constexpr LONG kAnyNumber = INT32_MAX;
constexpr LONG kFlag = 1;
constexpr char16_t kSeparator = u'|';

struct PreferenceRow {
    const char16_t* name;
    std::variant<uint32_t Preferences::*, bool Preferences::*, std::u16string Preferences::*,
                 std::vector<std::u16string> Preferences::*>
        field;
    LONG largest = kAnyNumber;  // of a number
    bool is_flag = false;       // a number that is shown as true or false
};

// In the order in which people see them.
const PreferenceRow kRows[] = {
    {u"on_open_without_write_permissions", &Preferences::on_open_without_write_permissions},
    {u"on_open_checked_out_none", &Preferences::on_open_checked_out_none},
    {u"on_open_checked_out_me", &Preferences::on_open_checked_out_me},
    {u"on_open_checked_out_other", &Preferences::on_open_checked_out_other},
    {u"on_after_save", &Preferences::on_after_save},
    {u"on_save_conflict", &Preferences::on_save_conflict},
    {u"on_close_checked_out_need_check_in", &Preferences::on_close_checked_out_need_check_in},
    {u"on_close_checked_out_no_need_check_in", &Preferences::on_close_checked_out_no_need_check_in},
    {u"days_to_store_logs", &Preferences::days_to_store_logs},
    {u"log_level", &Preferences::log_level, 4},
    {u"default_check_in_type", &Preferences::default_check_in_type, 2},
    {u"default_check_in_message", &Preferences::default_check_in_message},
    {u"hide_paths", &Preferences::hide_paths},
    {u"hidden_paths", &Preferences::hidden_paths},
    {u"api_version", &Preferences::api_version, 1},
    {u"show_hidden_items", &Preferences::show_hidden_items, kFlag, true},
};

Variant ReadValue(const Preferences& preferences, const PreferenceRow& row) {
    if (const auto* number = std::get_if<uint32_t Preferences::*>(&row.field)) {
        const uint32_t value = preferences.**number;
        return row.is_flag ? Variant(value != 0) : Variant(static_cast<LONG>(value));
    }
    if (const auto* flag = std::get_if<bool Preferences::*>(&row.field)) return Variant(preferences.**flag);
    if (const auto* text = std::get_if<std::u16string Preferences::*>(&row.field))
        return Variant(std::u16string_view(preferences.**text));
    std::vector<std::u16string> list =
        preferences.*std::get<std::vector<std::u16string> Preferences::*>(row.field);
    return Variant(std::u16string_view(JoinStrings(list, kSeparator)));
}

// Throws HResultException E_INVALIDARG for a value of another kind or out of range.
void WriteValue(Preferences& preferences, const PreferenceRow& row, const VARIANT& value) {
    TRACE_NAME("FileSystem::Exec");
    if (const auto* number = std::get_if<uint32_t Preferences::*>(&row.field)) {
        const VARTYPE type = row.is_flag ? VT_BOOL : VT_I4;
        CHECK_THROW(value.vt == type, HResultException, E_INVALIDARG);
        const LONG wanted = row.is_flag ? value.boolVal != VARIANT_FALSE : value.lVal;
        CHECK_THROW(wanted >= 0 && wanted <= row.largest, HResultException, E_INVALIDARG);
        preferences.** number = static_cast<uint32_t>(wanted);
        return;
    }
    if (const auto* flag = std::get_if<bool Preferences::*>(&row.field)) {
        CHECK_THROW(value.vt == VT_BOOL, HResultException, E_INVALIDARG);
        preferences.** flag = value.boolVal != VARIANT_FALSE;
        return;
    }
    CHECK_THROW(value.vt == VT_BSTR, HResultException, E_INVALIDARG);
    const std::u16string text(value.bstrVal ? value.bstrVal : u"");
    if (const auto* line = std::get_if<std::u16string Preferences::*>(&row.field)) {
        preferences.** line = text;
    } else {
        preferences.*std::get<std::vector<std::u16string> Preferences::*>(row.field) =
            SplitString(text, kSeparator);
    }
}

const PreferenceRow& FindRow(std::u16string_view name) {
    TRACE_NAME("FileSystem::Exec");
    for (const PreferenceRow& row : kRows)
        if (name == row.name) return row;
    THROW_TRACED(HResultException, E_INVALIDARG);
}

}  // namespace

HRESULT FileSystem::GetPreferences(VARIANT* out_value) {
    TRACE_ENTRY("FileSystem::GetPreferences");
    CHECK_RETURN(m_plugin != nullptr && m_plugin->m_tmk_inst != nullptr, E_FAIL);
    std::vector<Variant> values;
    CHECK_RESULT_TEXT(CallOnMainThread(m_plugin->m_tmk_inst.get(),
                                       [&] {
                                           const Preferences& all =
                                               m_plugin->m_preferences_manager.m_preferences;
                                           for (const PreferenceRow& row : kRows) {
                                               values.emplace_back(row.name);
                                               values.push_back(ReadValue(all, row));
                                               values.emplace_back(row.largest);
                                           }
                                           return S_OK;
                                       }),
                      u"CallOnMainThread");
    SAFEARRAY* const array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(values.size()));
    CHECK_RETURN(array != nullptr, E_OUTOFMEMORY);
    out_value->vt = VT_ARRAY | VT_VARIANT;
    out_value->parray = array;
    void* elements = nullptr;
    CHECK_RESULT(SafeArrayAccessData(array, &elements));
    for (size_t i = 0; i < values.size(); ++i) static_cast<VARIANT*>(elements)[i] = values[i].detach();
    CHECK_RESULT(SafeArrayUnaccessData(array));
    TRACE_RETURN(S_OK);
}

HRESULT FileSystem::SetPreference(const VARIANT& name, const VARIANT& value) {
    TRACE_ENTRY("FileSystem::SetPreference");
    CHECK_RETURN(name.vt == VT_BSTR && name.bstrVal != nullptr, E_INVALIDARG);
    CHECK_RETURN(m_plugin != nullptr && m_plugin->m_tmk_inst != nullptr, E_FAIL);
    const PreferenceRow& row = FindRow(name.bstrVal);
    Preferences changed;
    WriteValue(changed, row, value);  // refuses before anything is changed
    CHECK_RESULT_TEXT(CallOnMainThread(m_plugin->m_tmk_inst.get(),
                                       [&] {
                                           PreferencesManager& manager = m_plugin->m_preferences_manager;
                                           WriteValue(manager.m_preferences, row, value);
                                           manager.Save();
                                           return S_OK;
                                       }),
                      u"CallOnMainThread");
    TRACE_RETURN(S_OK);
}
