// Names: what is picked in the list, what is typed, and what the OK button makes of both.
#include "afs/names/enumeration.h"
#include "base/failure.h"
#include "base/text/ignore_case.h"
#include "browse/dialog.h"
#include "browse/typed_names.h"

using namespace TMK;

namespace Ui {
namespace {

constexpr char16_t kQuote = u'"';

// The parts in quotes of a text that begins with one, or else the text itself. A last quote may be missing.
std::vector<std::u16string> SplitQuoted(std::u16string_view text) {
    if (!text.starts_with(kQuote)) return {std::u16string(text)};
    std::vector<std::u16string> parts;
    for (size_t open = 0; open < text.size(); open = text.find(kQuote, open)) {
        const size_t close = std::min(text.find(kQuote, open + 1), text.size());
        const std::u16string_view part = TrimBlanks(text.substr(open + 1, close - open - 1));
        if (!part.empty()) parts.emplace_back(part);
        open = std::min(close + 1, text.size());
    }
    return parts;
}

bool IsFolder(IAFS_ItemInfo& information) {
    DWORD attributes = 0;
    return SUCCEEDED(information.get_Attributes(&attributes)) && (attributes & AFS_FileAttribute_Folder) != 0;
}

}  // namespace

HRESULT Dialog::GetTitle(IAFS_Name* name, std::u16string& title) const {
    TRACE_NAME("Ui::Dialog::GetTitle");
    ComPtr<IAFS_FileInfo> info;
    CHECK_RESULT_TEXT(m_file_system->GetFileInfo(name, nullptr, nullptr, info.put()),
                      u"m_file_system->GetFileInfo(name, nullptr, nullptr, &info)");
    Bstr text;
    CHECK_RESULT_TEXT(info->get_Title(text.put()), u"info->get_Title(&item_title)");
    title = text.str();
    return S_OK;
}

HRESULT Dialog::OnListSelectionChanged() {
    TRACE_NAME("Ui::Dialog::OnListSelectionChanged");
    FolderItemsList::Names folders;
    FolderItemsList::Names files;
    CHECK_RESULT_TEXT(m_list->GetSelection(files, folders), u"m_list->GetSelection(folders, files)");
    std::u16string names;
    for (const ComPtr<IAFS_Name>& file : files) {
        std::u16string title;
        CHECK_RESULT(GetTitle(file.get(), title));
        if (files.size() == 1) {
            names = title;
        } else {
            names += (names.empty() ? u"" : u" ") + (kQuote + title + kQuote);
        }
    }
    if (!files.empty()) SetText(u"ed.name", names);
    Enable(u"btn.ok", !files.empty() || !folders.empty() || !GetText(u"ed.name").empty());
    UpdateCommandBar();
    return S_OK;
}

HRESULT Dialog::OnNameChanged() {
    TRACE_NAME("Ui::Dialog::OnNameChanged");
    if (m_is_navigating) return S_OK;
    FolderItemsList::Names folders;
    FolderItemsList::Names files;
    CHECK_RESULT_TEXT(m_list->GetSelection(files, folders), u"m_list->GetSelection(folders, files)");
    Enable(u"btn.ok", !GetText(u"ed.name").empty() || !files.empty() || !folders.empty());
    return S_OK;
}

HRESULT Dialog::OnFilterComboSelectionChanged() {
    TRACE_NAME("Ui::Dialog::OnFilterComboSelectionChanged");
    if (m_is_navigating) return S_OK;
    if (!m_open) {
        std::u16string name = GetText(u"ed.name");
        if (!name.empty() && m_filter->AddFilterExtension(name, {})) SetText(u"ed.name", name);
    }
    CHECK_RESULT(m_list->Refresh());
    UpdateCommandBar();
    return S_OK;
}

Dialog::NamedItems Dialog::GetSelectedFolderFromList() {
    TRACE_NAME("Ui::Dialog::GetSelectedFolderFromList");
    FolderItemsList::Names folders;
    FolderItemsList::Names files;
    if (FAILED(m_list->GetSelection(files, folders))) {
        LOG_LINE(Log::verbose, u"WARNING: Failed to get selection from list");
        return {};
    }
    for (const ComPtr<IAFS_Name>& folder : folders) {
        ComPtr<IAFS_FileInfo> info;
        DWORD attributes = 0;
        Bstr title;
        if (FAILED(m_file_system->GetFileInfo(folder.get(), nullptr, nullptr, info.put())) ||
            FAILED(info->get_Attributes(&attributes))) {
            LOG_LINE(Log::warning, u"Failed to get attributes from selected item");
        } else if (FAILED(info->get_Title(title.put()))) {
            LOG_LINE(Log::warning, u"get_Title failed");
        } else {
            return {{title.str(), folder, info}};
        }
    }
    LOG_LINE(Log::verbose, u"No folders selected");
    return {};
}

Dialog::NamedItems Dialog::GetNamesFromNameEditControl() {
    TRACE_NAME("Ui::Dialog::GetNamesFromNameEditControl");
    const std::u16string text = GetText(u"ed.name");
    const std::u16string_view trimmed = TrimBlanks(text);
    if (trimmed.empty()) {
        LOG_LINE(Log::verbose, u"Edit is empty");
        return {};
    }
    NamedItems names;
    for (const std::u16string& typed : SplitQuoted(trimmed)) {
        NamedItem item{typed};
        m_filter->AddFilterExtension(item.title, m_parameters->m_default_ext);
        AddDefaultExtension(item.title);
        FindItem(item, typed);
        names.push_back(std::move(item));
    }
    return names;
}

// A folder has the name as it was typed; a document the completed one.
void Dialog::FindItem(NamedItem& item, const std::u16string& typed) const {
    TRACE_NAME("Ui::Dialog::GetNamesFromNameEditControl");
    for (const auto& [name, information] : m_navigator->GetItems()) {
        Bstr title;
        if (const HRESULT result = information->get_Title(title.put()); FAILED(result)) {
            LOG_LINE(Log::warning, u"get_Title failed with result %d", result);
            continue;
        }
        const bool is_typed_folder = EqualIgnoringCase(title.view(), typed) && IsFolder(*information);
        if (!is_typed_folder && !EqualIgnoringCase(title.view(), item.title)) continue;
        item = {title.str(), name, information};
        if (is_typed_folder) return;
    }
}

void Dialog::AddDefaultExtension(std::u16string& name) const {
    TRACE_NAME("Ui::Dialog::AddDefaultExtension");
    const std::u16string& default_ext = m_parameters->m_default_ext;
    if (default_ext.empty()) return;
    if (EqualIgnoringCase(SplitExtension(name).extension, default_ext)) {
        LOG_LINE(Log::information, u"Name has extension, it is same as default extensions - adding nothing");
        return;
    }
    LOG_LINE(Log::information,
             u"Name either has no extension or it's different from default - adding default '%s'",
             default_ext);
    if (!name.ends_with(u'.')) name += u'.';
    name += default_ext;
}

bool Dialog::MayReplace(const std::u16string& title) {
    return 0 == Ask(kStyleQuestion, FormatPrompt(m_tmk_instance.get(), u"sp.msg.saveReplace", title),
                    {u"sp.btn.saveReplace", u"btn.cancel"});
}

HRESULT Dialog::Open() {
    TRACE_ENTRY("Ui::Dialog::Open");
    CHECK_RETURN(m_navigator != nullptr && m_list != nullptr, E_FAIL);
    if (m_is_navigating) TRACE_RETURN(S_FALSE);
    NamedItems names = GetSelectedFolderFromList();
    if (names.empty()) names = GetNamesFromNameEditControl();
    if (names.empty()) {
        LOG_LINE(Log::information, u"S_FALSE - nothing to open");
        return S_FALSE;
    }
    bool entered_folder = false;
    CHECK_RESULT(AskForReplacing(names, entered_folder));
    if (entered_folder) TRACE_RETURN(S_OK);
    ComPtr<IAFS_NamesCollection> files_names;
    CHECK_RESULT_TEXT(NamesCollection::Create(files_names.put()), u"NamesCollection::Create(files_names)");
    CHECK_RESULT(AddNames(names, *files_names));
    m_files_to_open = std::move(files_names);
    TRACE_RETURN(S_OK);
}

// A folder among the names means going there, whatever else is there.
HRESULT Dialog::AskForReplacing(NamedItems& names, bool& entered_folder) {
    TRACE_NAME("Ui::Dialog::Open");
    for (const NamedItem& item : names) {
        if (!item.name || !IsFolder(*item.information)) continue;
        entered_folder = true;
        return SetFolder(ComPtr<IAFS_Name>(item.name).get(), true);
    }
    if ((m_parameters->m_flags & DialogParameters::confirm_overwrite) == 0) return S_OK;
    for (auto item = names.begin(); item != names.end();) {
        Bstr item_title;
        if (item->name) {
            CHECK_RESULT_TEXT(item->information->get_Title(item_title.put()),
                              u"name_it->second.second->get_Title(&item_title)");
        }
        item = item->name && !MayReplace(item_title.str()) ? names.erase(item) : item + 1;
    }
    return S_OK;
}

HRESULT Dialog::AddNames(NamedItems& names, IAFS_NamesCollection& files_names) {
    TRACE_NAME("Ui::Dialog::Open");
    ITMK_Inst* const inst = m_tmk_instance.get();
    for (NamedItem& item : names) {
        if (!item.name && m_open) {
            Ask(kStyleWarning, FormatPrompt(inst, u"sp.msg.fileNotFound", item.title), {u"btn.close"});
            continue;
        }
        if (!item.name && item.title.find_first_of(kForbiddenInNames) != std::u16string::npos) {
            Ask(kStyleWarning, FormatPrompt(inst, u"sp.msg.invalidFileName", item.title, kForbiddenInNames),
                {u"btn.close"});
            continue;
        }
        if (!item.name) {
            CHECK_RESULT_TEXT(
                m_file_system->StringToName(item.title.c_str(), 0, m_navigator->GetFolder().get(),
                                            item.name.put()),
                u"m_file_system->StringToName(name.first, 0, m_navigator->GetFolder(), &name.second.first)");
        }
        CHECK_RESULT_TEXT(files_names.Add(item.name.get()), u"files_names.Add(name.second.first)");
    }
    return S_OK;
}

}  // namespace Ui
