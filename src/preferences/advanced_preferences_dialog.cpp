#include "preferences/advanced_preferences_dialog.h"

#include <algorithm>
#include <charconv>

#include "base/main_thread.h"
#include "base/text/encoding.h"
#include "base/text/split.h"
#include "base/url.h"
#include "dialogs/message_box.h"
#include "dialogs/template_dialog.h"
#include "platform/shell.h"
#include "preferences/combo_items.h"

using namespace TMK;

namespace Ui::AdvancedPreferencesDialog {
namespace {

constexpr uintptr_t kHighestShellError = 32;
constexpr uint32_t kMostDays = INT32_MAX;
constexpr ComboItem kLogLevels[] = {{u"$$$.sp.cbitem.logLevel.none", 0},
                                    {u"$$$.sp.cbitem.logLevel.error", 1},
                                    {u"$$$.sp.cbitem.logLevel.warning", 2},
                                    {u"$$$.sp.cbitem.logLevel.information", 3},
                                    {u"$$$.sp.cbitem.logLevel.verbose", 4}};

std::u16string TextOf(IUIX_Obj& control) {
    Bstr text;
    control.get_Text(text.put());
    return text.str();
}

bool IsChecked(IUIX_Check& check) {
    VARIANT_BOOL checked = VARIANT_FALSE;
    check.get_Checked(&checked);
    return checked != VARIANT_FALSE;
}

std::u16string Trimmed(const std::u16string& line) {
    constexpr std::u16string_view kBlanks = u"\r\t ";
    const size_t first = line.find_first_not_of(kBlanks);
    if (first == std::u16string::npos) return {};
    return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::u16string> SplitLines(const std::u16string& text) {
    std::vector<std::u16string> lines;
    for (const std::u16string& line : SplitString(text, u'\n'))
        if (std::u16string trimmed = Trimmed(line); !trimmed.empty()) lines.push_back(std::move(trimmed));
    return lines;
}

// 0 for an empty text; the highest number for more than that.
uint32_t ToNumber(const std::u16string& text) {
    const std::string digits = ToUtf8(text);
    uint32_t number = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return std::min(read.ec == std::errc::result_out_of_range ? kMostDays : number, kMostDays);
}

class AdvancedPreferencesDialogImpl final : public TemplateDialog<AdvancedPreferencesDialogImpl> {
public:
    AdvancedPreferencesDialogImpl(PluginContext& plugin, Preferences& preferences)
        : TemplateDialog(plugin), m_preferences(preferences) {}

    HRESULT DoModal(HWND parent) {
        TRACE_ENTRY("AdvancedPreferencesDialogImpl::DoModal");
        return RunModal(trace_function, u"AdvancedPreferencesDialog", 0, parent);
    }

    HRESULT HandleEvent(UIX_Event& event) {
        if (event.nCode == UIX_Event_ShowModal) return OnShowModal();
        if (!IsClick(event)) return S_OK;
        if (IsFrom(event, u"btn.ok")) return OnOk();
        if (IsFrom(event, u"btn.cancel")) EndModal(kDialogCancel);
        if (IsFrom(event, u"check.hidePaths")) return ShowHiddenPathsState();
        if (IsFrom(event, u"btn.openLog")) OnOpenLog();
        if (IsFrom(event, u"btn.openLogFolder")) OnOpenLogFolder();
        if (IsFrom(event, u"btn.clearLogs")) return OnClearLogs();
        return S_OK;
    }

private:
    HRESULT OnShowModal();
    HRESULT ShowHiddenPathsState();
    HRESULT ShowLog();
    HRESULT OnOk();
    HRESULT OnClearLogs();
    void OnOpenLog();
    void OnOpenLogFolder();
    void TellFailure(const std::u16string& path);
    HRESULT Enable(const char16_t* id, bool enabled);

    Preferences& m_preferences;
};

HRESULT AdvancedPreferencesDialogImpl::OnShowModal() {
    TRACE_NAME("AdvancedPreferencesDialogImpl::OnShowModal");
    const auto levels = Get<IUIX_Combo>(u"cb.logLevel");
    const auto days = Get<IUIX_Edit>(u"ed.numberOfDaysToStoreLogs");
    const auto days_text = GetControl(u"ed.numberOfDaysToStoreLogs");
    const auto hide = Get<IUIX_Check>(u"check.hidePaths");
    const auto paths = GetControl(u"ed.hiddenPaths");
    CHECK_RETURN(levels && days && days_text && hide && paths, E_FAIL);
    CHECK_RESULT(FillCombo(*levels, kLogLevels));
    CHECK_RESULT(days->put_AllowedChars(u"0123456789"));
    CHECK_RESULT(hide->put_Checked(m_preferences.hide_paths ? VARIANT_TRUE : VARIANT_FALSE));
    CHECK_RESULT(paths->put_Text(JoinStrings(m_preferences.hidden_paths, u'\n').c_str()));
    CHECK_RESULT(ShowHiddenPathsState());
    CHECK_RESULT(SelectValue(*levels, kLogLevels, m_preferences.log_level));
    CHECK_RESULT(days_text->put_Text(Widen(std::to_string(m_preferences.days_to_store_logs)).c_str()));
    return ShowLog();
}

HRESULT AdvancedPreferencesDialogImpl::Enable(const char16_t* id, bool enabled) {
    TRACE_NAME("AdvancedPreferencesDialogImpl::OnShowModal");
    const ComPtr<IUIX_Obj> control = GetControl(id);
    CHECK_RETURN(control != nullptr, E_FAIL);
    return control->put_Enabled(enabled ? VARIANT_TRUE : VARIANT_FALSE);
}

HRESULT AdvancedPreferencesDialogImpl::ShowHiddenPathsState() {
    TRACE_NAME("AdvancedPreferencesDialogImpl::OnShowModal");
    const auto hide = Get<IUIX_Check>(u"check.hidePaths");
    CHECK_RETURN(hide != nullptr, E_FAIL);
    return Enable(u"ed.hiddenPaths", IsChecked(*hide));
}

HRESULT AdvancedPreferencesDialogImpl::ShowLog() {
    TRACE_NAME("AdvancedPreferencesDialogImpl::OnShowModal");
    const ComPtr<IUIX_Obj> field = GetControl(u"ed.currenLogFile");
    CHECK_RETURN(field != nullptr, E_FAIL);
    const std::u16string path = Log::CurrentPath();
    CHECK_RESULT(field->put_Text(path.c_str()));
    const bool has_folder = !Log::Folder().empty() && PathFileExistsW(Log::Folder().c_str());
    CHECK_RESULT(Enable(u"btn.openLog", !path.empty() && PathFileExistsW(path.c_str())));
    CHECK_RESULT(Enable(u"btn.openLogFolder", has_folder));
    return Enable(u"btn.clearLogs", has_folder);
}

HRESULT AdvancedPreferencesDialogImpl::OnOk() {
    TRACE_NAME("AdvancedPreferencesDialogImpl::OnOk");
    const auto levels = Get<IUIX_Combo>(u"cb.logLevel");
    const auto hide = Get<IUIX_Check>(u"check.hidePaths");
    const auto paths = GetControl(u"ed.hiddenPaths");
    const auto days = GetControl(u"ed.numberOfDaysToStoreLogs");
    CHECK_RETURN(levels && hide && paths && days, E_FAIL);
    m_preferences.hide_paths = IsChecked(*hide);
    m_preferences.hidden_paths = SplitLines(TextOf(*paths));
    m_preferences.log_level = SelectedValue(*levels).value_or(m_preferences.log_level);
    m_preferences.days_to_store_logs = ToNumber(TextOf(*days));
    EndModal(kDialogOk);
    return S_OK;
}

// docs/compatibility.md: The sweep looks for another stem
HRESULT AdvancedPreferencesDialogImpl::OnClearLogs() {
    Log::Close();
    Log::Sweep(0);
    return ShowLog();
}

void AdvancedPreferencesDialogImpl::OnOpenLog() {
    TRACE_NAME("AdvancedPreferencesDialogImpl::OnOpenLog");
    const std::u16string path = Log::CurrentPath();
    const auto result =
        reinterpret_cast<uintptr_t>(ShellExecuteW(nullptr, u"open", path.c_str(), u"", u"", SW_SHOWNORMAL));
    if (result > kHighestShellError) return;
    LOG_LINE(Log::error, u"ShellExecuteW(nullptr, L\"open\", L\"%s\", L\"\", L\"\", SW_SHOWNORMAL)==%llu",
             path, static_cast<uint64_t>(result));
    TellFailure(path);
}

void AdvancedPreferencesDialogImpl::OnOpenLogFolder() {
    TRACE_NAME("AdvancedPreferencesDialogImpl::OnOpenLogFolder");
    const std::u16string path = Log::CurrentPath();
    const bool has_file = !path.empty() && PathFileExistsW(path.c_str());
    const std::u16string program = has_file ? u"explorer" : Log::Folder();
    const std::u16string arguments = has_file ? u"/select,\"" + path + u"\"" : u"";
    const auto result = reinterpret_cast<uintptr_t>(
        ShellExecuteW(nullptr, u"open", program.c_str(), arguments.c_str(), u"", SW_SHOWNORMAL));
    if (result > kHighestShellError) return;
    LOG_LINE(Log::error,
             u"ShellExecuteW(nullptr, L\"open\", L\"explorer\", L\"%s\", L\"\", SW_SHOWNORMAL)==%llu",
             arguments, static_cast<uint64_t>(result));
    TellFailure(Log::Folder());
}

void AdvancedPreferencesDialogImpl::TellFailure(const std::u16string& path) {
    ITMK_Inst* const inst = m_plugin.m_tmk_inst.get();
    ShowMessageBox(inst, kStyleWarning, FormatPrompt(inst, u"sp.msg.openFailed", path), {});
}

}  // namespace

HRESULT Show(PluginContext& plugin, HWND parent, Preferences& preferences) {
    TRACE_ENTRY("Ui::AdvancedPreferencesDialog::Show");
    return CallOnMainThread(plugin.m_tmk_inst.get(), [&] {
        const auto dialog = MakeObject<AdvancedPreferencesDialogImpl>(plugin, preferences);
        return dialog->DoModal(parent);
    });
}

}  // namespace Ui::AdvancedPreferencesDialog
