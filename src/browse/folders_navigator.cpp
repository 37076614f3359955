#include "browse/folders_navigator.h"

#include "afs/names/enumeration.h"
#include "base/failure.h"

HRESULT FoldersNavigator::SetFolder(TMK::IAFS_Name* folder_or_file_item, const Filter& filter) {
    TRACE_ENTRY("FoldersNavigator::SetFolder");
    if (!folder_or_file_item) {
        LOG_LINE(Log::information, u"Navigating to null folder - reset");
        m_parent.reset();
        m_items.clear();
        m_unread_reason.clear();
        TRACE_RETURN(S_FALSE);
    }
    Place place;
    CHECK_RESULT(Decide(folder_or_file_item, place));
    if (place.find_parent) CHECK_RESULT(FindParent(place));
    Items items;
    std::u16string unread_reason;
    CHECK_RESULT(Enumerate(place.folder.get(), filter, items, unread_reason));
    CHECK_RETURN(!m_stop, E_CANCELED);
    LOG_LINE(Log::information, u"Enumeration is complete");
    m_folder = std::move(place.folder);
    m_parent = std::move(place.parent);
    m_items = std::move(items);
    m_unread_reason = std::move(unread_reason);
    TRACE_RETURN(S_OK);
}

HRESULT FoldersNavigator::Decide(TMK::IAFS_Name* folder_or_file_item, Place& place) {
    TRACE_NAME("FoldersNavigator::SetFolder");
    VARIANT_BOOL are_equal = VARIANT_FALSE;
    CHECK_RETURN(!m_stop, E_CANCELED);
    CHECK_RESULT_TEXT(m_file_system->NamesAreEqual(m_folder.get(), folder_or_file_item, &are_equal),
                      u"m_file_system->NamesAreEqual(m_folder, folder_or_file_item, &are_equal)");
    if (are_equal != VARIANT_FALSE) {
        LOG_LINE(Log::information, u"Navigating to the same folder - just refresh");
        place = {m_folder, m_parent};
        return S_OK;
    }
    DWORD attributes = 0;
    bool is_child = false;
    CHECK_RESULT(GetAttributes(folder_or_file_item, attributes, is_child));
    const bool is_folder = (attributes & TMK::AFS_FileAttribute_Folder) != 0;
    const ComPtr<TMK::IAFS_Name> item(folder_or_file_item);
    if (is_folder && is_child) {
        LOG_LINE(Log::information, u"Navigating to child folder - use current folder as parent");
        place = {item, m_folder};
    } else if (is_folder) {
        LOG_LINE(Log::information, u"Navigating to unrelated folder");
        place = {item, {}, true};
    } else if (is_child) {
        LOG_LINE(Log::information,
                 u"Navigating to child file - keep current folder and parent and just refresh");
        place = {m_folder, m_parent};
    } else {
        LOG_LINE(Log::information, u"Navigating to unrelated file - use file's parent folder instead");
        CHECK_RETURN(!m_stop, E_CANCELED);
        CHECK_RESULT_TEXT(m_file_system->NameGetParent(folder_or_file_item, place.folder.put()),
                          u"m_file_system->NameGetParent(folder_or_file_item, &folder)");
        place.find_parent = true;
    }
    return S_OK;
}

HRESULT FoldersNavigator::GetAttributes(TMK::IAFS_Name* item, DWORD& attributes, bool& is_child) {
    TRACE_NAME("FoldersNavigator::SetFolder");
    const auto found = m_items.find(ComPtr<TMK::IAFS_Name>(item));
    is_child = found != m_items.end();
    ComPtr<TMK::IAFS_ItemInfo> information = is_child ? found->second : ComPtr<TMK::IAFS_ItemInfo>();
    if (!information) {
        ComPtr<TMK::IAFS_FileInfo> asked;
        CHECK_RETURN(!m_stop, E_CANCELED);
        CHECK_RESULT_TEXT(m_file_system->GetFileInfo(item, nullptr, nullptr, asked.put()),
                          u"m_file_system->GetFileInfo(folder_or_file_item, nullptr, nullptr, &information)");
        information = asked;
    }
    CHECK_RESULT(information->get_Attributes(&attributes));
    return S_OK;
}

// What shows the parent later finds it bound, and asks the server nothing.
HRESULT FoldersNavigator::FindParent(Place& place) {
    TRACE_NAME("FoldersNavigator::SetFolder");
    CHECK_RETURN(!m_stop, E_CANCELED);
    const HRESULT result = m_file_system->NameGetParent(place.folder.get(), place.parent.put());
    if (SUCCEEDED(result) && !place.parent) return S_OK;
    ComPtr<TMK::IAFS_FileInfo> information;
    if (SUCCEEDED(result)) CHECK_RETURN(!m_stop, E_CANCELED);
    if (FAILED(result) ||
        FAILED(m_file_system->GetFileInfo(place.parent.get(), nullptr, nullptr, information.put()))) {
        LOG_LINE(Log::warning, u"Failed to get parent folder - assume root");
        place.parent.reset();
    }
    return S_OK;
}

HRESULT FoldersNavigator::Enumerate(TMK::IAFS_Name* folder, const Filter& filter, Items& items,
                                    std::u16string& unread_reason) {
    TRACE_NAME("FoldersNavigator::SetFolder");
    ComPtr<TMK::IAFS_EnumFolder> enum_folder;
    CHECK_RETURN(!m_stop, E_CANCELED);
    CHECK_RESULT_TEXT(m_file_system->EnumFolder(folder, 0, nullptr, enum_folder.put()),
                      u"m_file_system->EnumFolder(new_folder, nullptr, nullptr, &enum_folder)");
    unread_reason = static_cast<EnumFolder&>(*enum_folder).GetUnreadReason();
    for (;;) {
        ComPtr<TMK::IAFS_EnumFolderItem> enum_item;
        CHECK_RETURN(!m_stop, E_CANCELED);
        CHECK_RESULT_TEXT(enum_folder->Next(enum_item.put()), u"enum_folder->Next(&enum_item)");
        if (!enum_item) return S_OK;
        ComPtr<TMK::IAFS_Name> name;
        CHECK_RESULT_TEXT(enum_item->get_Name(name.put()), u"enum_item->get_Name(&name)");
        if (filter && !filter(name.get())) continue;
        items.insert_or_assign(std::move(name), std::move(enum_item));
    }
}
