#include "browse/folder_items_list.h"

#include <set>

#include "base/failure.h"
#include "browse/list/file_icons.h"
#include "browse/list/list_items.h"
#include "dialogs/message_box.h"

// The base of those who answer for the rows of a list.
template <typename Class>
class uiListCallbacksOverride : public cCoClassUnknownT<Class, TMK::IUIX_ListCallbacks> {};

class FolderItemsList::Impl final : public uiListCallbacksOverride<FolderItemsList::Impl> {
public:
    explicit Impl(Parts parts);
    void Detach() { m_list->put_Callbacks(nullptr); }

    void Clear();
    HRESULT Refresh();
    HRESULT SetColumnSorting(size_t column_index, bool ascending);
    // Calls `work` with each selected row.
    template <typename Work>
    HRESULT ForSelected(Work&& work);

    HRESULT List_OnGetItemText(const TMK::UIX_ListItemID* item_id, LPCWSTR* out_text, UINT* out_text_length,
                               DWORD* out_draw_text_flags) override;
    HRESULT List_OnGetItemImageSize(const TMK::UIX_ListItemID* item_id, TMK::SIZE* out_size) override;
    HRESULT List_OnGetItemImage(const TMK::UIX_ListItemID* item_id, TMK::IUIX_Icon** out_image,
                                BYTE* out_opacity) override;
    HRESULT List_OnHdrItemClicked(LONG column, LONG button) override;
    HRESULT List_OnItemClick(LONG row, VARIANT_BOOL double_click) override;

    Parts m_parts;
    ComPtr<TMK::IUIX_List> m_list;

private:
    struct Sorting {
        size_t column = 0;
        bool ascending = true;
    };

    void InsertColumns();
    Sorting GetSorting();
    HRESULT AddWayUp();
    HRESULT AddItem(TMK::IAFS_Name* name, TMK::IAFS_ItemInfo* information);
    HRESULT SetIcon(ListItem& item, const char16_t* extension);
    void Sort();
    void SortKeepingSelection();
    bool IsRow(const TMK::UIX_ListItemID* item_id) const;

    Ui::FilesIconProvider m_icons_provider;
    bool m_has_way_up = false;
    std::array<std::unique_ptr<Column>, kColumnsCount> m_columns = MakeColumns();
    ListItems m_items;
};

FolderItemsList::Impl::Impl(Parts parts) : m_parts(std::move(parts)), m_icons_provider(m_parts.ui.get()) {
    TRACE_NAME("FolderItemsList::Impl::Impl");
    CHECK_THROW_TEXT(m_parts.list_object, u"list_object != nullptr", HResultException, E_INVALIDARG);
    m_list = m_parts.list_object.as<TMK::IUIX_List>();
    CHECK_THROW_TEXT(m_list, u"m_list != nullptr", HResultException, E_NOINTERFACE);
    InsertColumns();
    CHECK_RESULT_THROW(m_list->put_Callbacks(this));
}

void FolderItemsList::Impl::InsertColumns() {
    TRACE_NAME("FolderItemsList::Impl::Impl");
    RECT list_rect{};
    CHECK_RESULT_THROW_TEXT(m_parts.list_object->GetClientRect(&list_rect),
                            u"list_object->get_ClientRect(&list_rect)");
    const LONG width = list_rect.right - list_rect.left;
    for (const ColumnDescription& column : kColumnDescriptions) {
        const std::u16string title = Ui::FormatString(m_parts.inst.get(), column.title_id);
        const std::u16string hint = Ui::FormatString(m_parts.inst.get(), column.hint_id);
        CHECK_RESULT_THROW(m_list->InsertColumn(-1, title.c_str(), hint.c_str(), nullptr,
                                                static_cast<LONG>(width * column.width), 0));
    }
    SetColumnSorting(kTitle, true);
}

HRESULT FolderItemsList::Impl::SetColumnSorting(size_t column_index, bool ascending) {
    return m_list->SetColumn(static_cast<LONG>(column_index), TMK::UIX_ListColumn_Style, nullptr, nullptr,
                             nullptr, 0,
                             ascending ? TMK::UIX_ListColumn_Ascending : TMK::UIX_ListColumn_Descending,
                             TMK::UIX_ListColumn_SortMask, 0);
}

FolderItemsList::Impl::Sorting FolderItemsList::Impl::GetSorting() {
    for (size_t column = 0; column < kColumnsCount; ++column) {
        DWORD style = 0;
        if (SUCCEEDED(m_list->GetColumnStyle(static_cast<LONG>(column), &style)) &&
            (style & TMK::UIX_ListColumn_SortMask) != 0) {
            return {column, (style & TMK::UIX_ListColumn_Ascending) != 0};
        }
    }
    return {};
}

void FolderItemsList::Impl::Clear() {
    m_list->DeleteAllItems();
    m_items.clear();
}

HRESULT FolderItemsList::Impl::Refresh() {
    TRACE_ENTRY("FolderItemsList::Refresh");
    Clear();
    CHECK_RESULT(AddWayUp());
    const FoldersNavigator::Items& items = m_parts.navigator->GetItems();
    m_items.reserve(items.size() + 1);
    for (const auto& [name, information] : items) CHECK_RESULT(AddItem(name.get(), information.get()));
    PrepareForSorting(m_items);
    Sort();
    for (size_t i = 0; i < m_items.size(); ++i)
        CHECK_RESULT_TEXT(m_list->InsertItem(-1, 0, 0), u"m_impl->m_list->InsertItem(-1, 0, 0)");
    TRACE_EXIT(static_cast<uint64_t>(m_items.size()));
    return S_OK;
}

HRESULT FolderItemsList::Impl::AddWayUp() {
    TRACE_NAME("FolderItemsList::Refresh");
    const ComPtr<TMK::IAFS_Name>& parent_folder = m_parts.navigator->GetParent();
    m_has_way_up = parent_folder != nullptr;
    if (!m_has_way_up) return S_OK;
    ComPtr<TMK::IAFS_FileInfo> file_info;
    CHECK_RESULT_TEXT(
        m_parts.file_system->GetFileInfo(parent_folder.get(), nullptr, nullptr, file_info.put()),
        u"m_file_system->GetFileInfo(parent_folder, nullptr, nullptr, &file_info)");
    auto item = std::make_unique<ListItem>();
    CHECK_RESULT(SetIcon(*item, u"../"));
    item->m_name = parent_folder;
    item->m_information = file_info;
    item->is_folder = true;
    item->is_item = false;
    item->title = u"../";
    m_items.push_back(std::move(item));
    return S_OK;
}

HRESULT FolderItemsList::Impl::SetIcon(ListItem& item, const char16_t* extension) {
    TRACE_NAME("FolderItemsList::Refresh");
    CHECK_RESULT_TEXT(m_icons_provider.GetIcon(item.m_icon.put(), extension),
                      u"m_icons_provider.GetIcon(&icon, extension)");
    return S_OK;
}

HRESULT FolderItemsList::Impl::AddItem(TMK::IAFS_Name* name, TMK::IAFS_ItemInfo* information) {
    TRACE_NAME("FolderItemsList::Refresh");
    DWORD attributes = 0;
    CHECK_RESULT_TEXT(information->get_Attributes(&attributes), u"item.second->get_Attributes(&attributes)");
    Bstr shown;
    CHECK_RESULT_TEXT(information->get_Title(shown.put()), u"item.second->get_Title(&title)");
    const std::u16string title = shown.str();
    const bool is_folder = (attributes & TMK::AFS_FileAttribute_Folder) != 0;
    if (m_parts.is_hidden && m_parts.is_hidden(title, attributes)) return S_OK;
    if (!is_folder && m_parts.filter && !m_parts.filter->IsValid(name)) return S_OK;
    auto item = std::make_unique<ListItem>();
    item->m_name = ComPtr<TMK::IAFS_Name>(name);
    item->m_information = ComPtr<TMK::IAFS_ItemInfo>(information);
    item->is_folder = is_folder;
    if (is_folder) {
        item->title = title;
        CHECK_RESULT(SetIcon(*item, u"./"));
    } else {
        SplitName split = SplitExtension(title);
        CHECK_RESULT(SetIcon(*item, (u'.' + split.extension).c_str()));
        item->title = std::move(split.base);
        item->extension = std::move(split.extension);
        ULONGLONG size = 0;
        CHECK_RESULT(information->get_Size(&size));
        item->size = static_cast<int64_t>(size);
    }
    ULONGLONG time = 0;
    CHECK_RESULT(information->get_CreationTime(&time));
    item->created_time = static_cast<int64_t>(time);
    CHECK_RESULT(information->get_LastWriteTime(&time));
    item->modified_time = static_cast<int64_t>(time);
    m_items.push_back(std::move(item));
    return S_OK;
}

void FolderItemsList::Impl::Sort() {
    const Sorting sorting = GetSorting();
    SortItems(m_items, m_columns, sorting.column, sorting.ascending);
}

void FolderItemsList::Impl::SortKeepingSelection() {
    std::set<const ListItem*> selected;
    ForSelected([&](const ListItem& item) {
        selected.insert(&item);
        return S_OK;
    });
    Sort();
    m_list->SelectItem(-1, VARIANT_FALSE);
    for (size_t row = 0; row < m_items.size() && !selected.empty(); ++row)
        if (selected.erase(m_items[row].get()) != 0) m_list->SelectItem(static_cast<LONG>(row), VARIANT_TRUE);
}

template <typename Work>
HRESULT FolderItemsList::Impl::ForSelected(Work&& work) {
    TRACE_NAME("FolderItemsList::GetSelection");
    for (LONG row = 0;; ++row) {
        LONG next = -1;
        CHECK_RESULT_TEXT(m_list->GetNextSelected(row, &next), u"m_list->GetNextSelected(row, &next)");
        if (next < 0 || static_cast<size_t>(next) >= m_items.size()) return S_OK;
        row = next;
        CHECK_RESULT(work(*m_items[static_cast<size_t>(row)]));
    }
}

bool FolderItemsList::Impl::IsRow(const TMK::UIX_ListItemID* item_id) const {
    return item_id && item_id->nItem >= 0 && static_cast<size_t>(item_id->nItem) < m_items.size() &&
           item_id->nColumn >= 0 && static_cast<size_t>(item_id->nColumn) < kColumnsCount;
}

HRESULT FolderItemsList::Impl::List_OnGetItemText(const TMK::UIX_ListItemID* item_id, LPCWSTR* out_text,
                                                  UINT* out_text_length, DWORD* out_draw_text_flags) {
    TRACE_NAME("FolderItemsList::List_OnGetItemText");
    try {
        CHECK_RETURN(IsRow(item_id), E_INVALIDARG);
        ListItem& item = *m_items[static_cast<size_t>(item_id->nItem)];
        return m_columns[static_cast<size_t>(item_id->nColumn)]->GetItemText(item, out_text, out_text_length,
                                                                             out_draw_text_flags);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FolderItemsList::Impl::List_OnGetItemImageSize(const TMK::UIX_ListItemID* item_id,
                                                       TMK::SIZE* out_size) {
    TRACE_NAME("FolderItemsList::List_OnGetItemImageSize");
    CHECK_RETURN(IsRow(item_id), E_INVALIDARG);
    const ListItem& item = *m_items[static_cast<size_t>(item_id->nItem)];
    return m_columns[static_cast<size_t>(item_id->nColumn)]->GetItemImageSize(item, out_size);
}

HRESULT FolderItemsList::Impl::List_OnGetItemImage(const TMK::UIX_ListItemID* item_id,
                                                   TMK::IUIX_Icon** out_image, BYTE* out_opacity) {
    TRACE_NAME("FolderItemsList::List_OnGetItemImage");
    CHECK_RETURN(IsRow(item_id), E_INVALIDARG);
    const ListItem& item = *m_items[static_cast<size_t>(item_id->nItem)];
    return m_columns[static_cast<size_t>(item_id->nColumn)]->GetItemImage(item, out_image, out_opacity);
}

HRESULT FolderItemsList::Impl::List_OnHdrItemClicked(LONG column, LONG button) {
    TRACE_ENTRY("FolderItemsList::List_OnHdrItemClicked");
    try {
        if (button > 1) TRACE_RETURN(S_OK);
        CHECK_RETURN(column >= 0 && static_cast<size_t>(column) < kColumnsCount, E_INVALIDARG);
        const auto clicked = static_cast<size_t>(column);
        const Sorting before = GetSorting();
        CHECK_RESULT(m_list->SetColumn(static_cast<LONG>(before.column), TMK::UIX_ListColumn_Style, nullptr,
                                       nullptr, nullptr, 0, 0, TMK::UIX_ListColumn_SortMask, 0));
        CHECK_RESULT(SetColumnSorting(clicked, clicked != before.column || !before.ascending));
        SortKeepingSelection();
        m_list->RedrawItems(0, -1);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FolderItemsList::Impl::List_OnItemClick(LONG row, VARIANT_BOOL double_click) {
    TRACE_ENTRY("FolderItemsList::List_OnItemClick");
    try {
        CHECK_RETURN(row >= 0 && static_cast<size_t>(row) < m_items.size(), E_INVALIDARG);
        const ComPtr<TMK::IAFS_Name> name = m_items[static_cast<size_t>(row)]->m_name;
        CHECK_RETURN(name != nullptr, E_INVALIDARG);
        if (double_click != VARIANT_FALSE) CHECK_RESULT(m_parts.on_confirmed(name.get()));
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

FolderItemsList::FolderItemsList(Parts parts) : m_impl(MakeObject<Impl>(std::move(parts))) {}

FolderItemsList::~FolderItemsList() {
    m_impl->Detach();
}

void FolderItemsList::Clear() {
    m_impl->Clear();
}

HRESULT FolderItemsList::Refresh() {
    return m_impl->Refresh();
}

HRESULT FolderItemsList::GetSelection(Names& files, Names& folders) {
    TRACE_NAME("FolderItemsList::GetSelection");
    files.clear();
    folders.clear();
    return m_impl->ForSelected([&](const ListItem& item) {
        ComPtr<TMK::IAFS_FileInfo> info;
        DWORD attributes = 0;
        CHECK_RESULT_TEXT(
            m_impl->m_parts.file_system->GetFileInfo(item.m_name.get(), nullptr, nullptr, info.put()),
            u"m_file_system->GetFileInfo(item.m_name, nullptr, nullptr, &info)");
        CHECK_RESULT(info->get_Attributes(&attributes));
        ((attributes & TMK::AFS_FileAttribute_Folder) != 0 ? folders : files).push_back(item.m_name);
        return S_OK;
    });
}

HRESULT FolderItemsList::GetSelection(Names& items) {
    items.clear();
    return m_impl->ForSelected([&](const ListItem& item) {
        if (item.is_item) items.push_back(item.m_name);
        return S_OK;
    });
}

void FolderItemsList::SetNotice(const std::u16string& text, const std::u16string& button) {
    m_impl->m_list->SetNotice(text.empty() ? nullptr : text.c_str(),
                              button.empty() ? nullptr : button.c_str());
}
