// What the dialog changes on the server: folders are made, items deleted.
#include "base/failure.h"
#include "base/failure_text.h"
#include "base/plugin_context.h"
#include "base/text/ignore_case.h"
#include "base/text/number_format.h"
#include "browse/dialog.h"
#include "browse/dialog_progress.h"
#include "browse/typed_names.h"

using namespace TMK;

namespace Ui {
namespace {

constexpr const char16_t* kFolderNameQuestion = u"sp.addFolder.question.edit.title";
constexpr DWORD kInputStyle = TaskDialogStyle_Base | TaskDialogStyle_Input;

// Texts that differ by what an item is.
struct KindTexts {
    const char16_t* file;
    const char16_t* folder;
    const char16_t* unknown;
};
constexpr KindTexts kQuestions{u"sp.delete.question.file", u"sp.delete.question.folder",
                               u"sp.delete.question.unknown"};
constexpr KindTexts kProgressTexts{u"sp.delete.progress.text.file", u"sp.delete.progress.text.folder",
                                   u"sp.delete.progress.text.unknown"};
// docs/compatibility.md: A folder's failed deletion has no text of its own
constexpr KindTexts kErrors{u"sp.delete.error.file", u"sp.delete.folder.error", u"sp.delete.error.unknown"};

const char16_t* Choose(const KindTexts& texts, IAFS_ItemInfo* information) {
    DWORD attributes = 0;
    if (!information || FAILED(information->get_Attributes(&attributes))) return texts.unknown;
    return (attributes & AFS_FileAttribute_Folder) != 0 ? texts.folder : texts.file;
}

// The message, and what the server or the system says about it.
PromptText WithReason(PromptText message, const std::u16string& reason) {
    if (!reason.empty()) message.text += u"\n" + reason;
    return message;
}

bool Contains(const std::vector<std::u16string>& titles, const std::u16string& name) {
    for (const std::u16string& title : titles)
        if (EqualIgnoringCase(title, name)) return true;
    return false;
}

}  // namespace

// A person hears of it, since a click that does nothing would be a riddle.
bool Dialog::RefuseSecondChange(const PromptText& message) {
    if (!IsTaskRunning()) return false;
    AsyncStart([] {}, "");
    Ask(kStyleWarning, message, {u"btn.close"});
    return true;
}

HRESULT Dialog::CreateFolder() {
    TRACE_ENTRY("Ui::Dialog::CreateFolder");
    CHECK_RETURN(m_navigator != nullptr, E_FAIL);
    std::u16string name = u"New folder";
    if (RefuseSecondChange(FormatPrompt(m_tmk_instance.get(), u"sp.addFolder.error.message", name)))
        TRACE_RETURN(S_FALSE);
    std::vector<std::u16string> titles;
    for (const auto& [item, information] : m_navigator->GetItems()) {
        Bstr title;
        if (SUCCEEDED(information->get_Title(title.put()))) titles.push_back(title.str());
    }
    if (!AskForFolderName(titles, name)) {
        LOG_LINE(Log::verbose, u"Creation is not confirmed by user");
        TRACE_RETURN(S_FALSE);
    }
    RunChange([this, name, folder = m_navigator->GetFolder()](DialogProgress& progress) {
        return SUCCEEDED(CreateFolderNow(folder.get(), name, progress));
    });
    TRACE_RETURN(S_OK);
}

bool Dialog::AskForFolderName(const std::vector<std::u16string>& titles, std::u16string& name) {
    ITMK_Inst* const inst = m_tmk_instance.get();
    PromptText text{kFolderNameQuestion, {}};
    DWORD style = kInputStyle;
    for (;;) {
        const UINT pressed =
            ShowMessageBox(inst, style, text, {u"sp.addFolder.question.button.create", u"btn.cancel"}, -1, 0,
                           nullptr, nullptr, std::nullopt, EditField{kFolderNameQuestion, &name});
        if (pressed != 0) return false;
        const std::u16string wanted(TrimBlanks(name));
        if (wanted.empty()) {
            text = FormatPrompt(inst, u"sp.addFolder.question.error.emptyFolderName");
        } else if (wanted.find_first_of(kForbiddenInNames) != std::u16string::npos) {
            text = FormatPrompt(inst, u"sp.addFolder.question.error.invalidFolderName", wanted);
        } else if (Contains(titles, wanted)) {
            text = FormatPrompt(inst, u"sp.addFolder.question.error.alreadyExists", wanted);
        } else {
            name = wanted;
            return true;
        }
        style = kInputStyle | TaskDialogStyle_IconWarning;
    }
}

// Runs `work` on the task, within the host's window of progress; shows the folder anew when it gives true.
bool Dialog::RunChange(std::function<bool(DialogProgress&)> work) {
    const auto progress = std::make_shared<DialogProgress>();
    BeginBusy();
    const auto run = [this, progress, work = std::move(work)] {
        TRACE_NAME("Ui::Dialog::RunChange");
        bool is_done = false;
        try {
            is_done = work(*progress);
        } catch (...) {
            FailureToResult(trace_function, nullptr);
        }
        AsyncComplete(
            [this, progress, is_done] {
                progress->End();
                EndBusy();
                if (m_end_pending || !m_list) return S_OK;
                FillUi();
                return is_done ? Refresh() : S_OK;
            },
            "");
    };
    if (AsyncStart(run, "")) return true;
    EndBusy();
    return false;
}

HRESULT Dialog::CreateFolderNow(IAFS_Name* folder, const std::u16string& name, DialogProgress& progress) {
    TRACE_NAME("Ui::Dialog::CreateFolder");
    ITMK_Inst* const inst = m_tmk_instance.get();
    const PluginContext* const plugin = m_file_system->GetPlugin();
    const auto reason = MakeObject<FailureText>();
    const auto work = [&]() -> HRESULT {
        CHECK_RETURN(plugin != nullptr, E_FAIL);
        CHECK_RESULT(progress.Start(plugin->m_aux_inst.get(), m_window,
                                    FormatString(inst, u"sp.addFolder.progress.title"),
                                    FormatString(inst, u"sp.addFolder.progress.text", name)));
        ComPtr<IAFS_Name> new_folder;
        CHECK_RESULT_TEXT(m_file_system->StringToName(name.c_str(), 0, folder, new_folder.put()),
                          u"m_file_system->StringToName(name, 0, folder, &new_folder)");
        CHECK_RESULT_TEXT(
            m_file_system->CreateFolder(new_folder.get(), 0, reason.get(), progress.GetCancelFlag()),
            u"m_file_system->CreateFolder(new_folder, 0, details, cancel_flag)");
        return S_OK;
    };
    const HRESULT result = work();
    if (FAILED(result) && result != E_CANCELED) {
        Ask(kStyleWarning,
            WithReason(FormatPrompt(inst, u"sp.addFolder.error.message", name), reason->m_text),
            {u"btn.close"});
    }
    return result;
}

PromptText Dialog::DeleteQuestion(const NamedItems& items) const {
    ITMK_Inst* const inst = m_tmk_instance.get();
    if (items.size() > 1) {
        return FormatPrompt(inst, u"sp.delete.question.multi", FormatNumber(std::to_string(items.size())));
    }
    return FormatPrompt(inst, Choose(kQuestions, items.front().information.get()), items.front().title);
}

HRESULT Dialog::Delete() {
    TRACE_ENTRY("Ui::Dialog::Delete");
    CHECK_RETURN(m_navigator != nullptr, E_FAIL);
    if (RefuseSecondChange(FormatPrompt(m_tmk_instance.get(), u"sp.delete.error.unknown")))
        TRACE_RETURN(S_FALSE);
    FolderItemsList::Names names;
    CHECK_RESULT_TEXT(m_list->GetSelection(names), u"m_list->GetSelection(items)");
    if (names.empty()) {
        LOG_LINE(Log::verbose, u"Delete is called for empty selection");
        TRACE_RETURN(S_FALSE);
    }
    NamedItems items;
    for (const ComPtr<IAFS_Name>& name : names) {
        NamedItem item{{}, name};
        ComPtr<IAFS_FileInfo> information;
        if (SUCCEEDED(m_file_system->GetFileInfo(name.get(), nullptr, nullptr, information.put()))) {
            item.information = information;
            GetTitle(name.get(), item.title);
        }
        items.push_back(std::move(item));
    }
    if (Ask(kStyleQuestion, DeleteQuestion(items), {u"sp.btn.delete.text", u"btn.cancel"}) != 0) {
        LOG_LINE(Log::verbose, u"Deletion is not confirmed by user");
        TRACE_RETURN(S_FALSE);
    }
    RunChange(
        [this, items = std::move(items)](DialogProgress& progress) { return DeleteNow(items, progress); });
    TRACE_RETURN(S_OK);
}

// True when the folder is to be shown anew. A failure is told, and the next item is tried.
bool Dialog::DeleteNow(const NamedItems& items, DialogProgress& progress) {
    TRACE_NAME("Ui::Dialog::Delete");
    ITMK_Inst* const inst = m_tmk_instance.get();
    const PluginContext* const plugin = m_file_system->GetPlugin();
    if (!plugin || FAILED(progress.Start(plugin->m_aux_inst.get(), m_window,
                                         FormatString(inst, u"sp.delete.progress.title")))) {
        Ask(kStyleWarning, FormatPrompt(inst, u"sp.delete.error.unknown"), {u"btn.close"});
        return false;
    }
    const std::u16string total = FormatNumber(std::to_string(items.size()));
    size_t position = 0;
    for (const NamedItem& item : items) {
        if (progress.IsCanceled()) break;
        progress.Show(FormatString(inst, Choose(kProgressTexts, item.information.get()), item.title),
                      FormatString(inst, u"sp.delete.progress.status",
                                   FormatNumber(std::to_string(++position)), total));
        const auto reason = MakeObject<FailureText>();
        const HRESULT result = m_file_system->Delete(item.name.get(), reason.get(), progress.GetCancelFlag());
        if (result == E_CANCELED) break;
        if (SUCCEEDED(result)) continue;
        LOG_LINE(Log::error, u"m_file_system->Delete(name, details, cancel_flag)=(HRESULT)%d", result);
        Ask(kStyleWarning,
            WithReason(FormatPrompt(inst, Choose(kErrors, item.information.get()), item.title),
                       reason->m_text),
            {u"btn.close"});
    }
    return true;
}

}  // namespace Ui
