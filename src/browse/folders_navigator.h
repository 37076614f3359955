// The model behind the dialog: the current folder, its parent and its items, and the way to another folder.
// SetFolder runs on the dialog's task, everything else on its thread while no task runs; Stop is for both.
#pragma once

#include <atomic>
#include <functional>
#include <map>

#include "afs/file_system.h"

class FoldersNavigator {
public:
    // By the address of the name: only the very object that came out of the enumeration is found.
    struct ByAddress {
        bool operator()(const ComPtr<TMK::IAFS_Name>& a, const ComPtr<TMK::IAFS_Name>& b) const {
            return std::less<>()(a.get(), b.get());
        }
    };
    using Items = std::map<ComPtr<TMK::IAFS_Name>, ComPtr<TMK::IAFS_ItemInfo>, ByAddress>;
    using Filter = std::function<bool(TMK::IAFS_Name*)>;  // an empty one passes everything

    explicit FoldersNavigator(FileSystem* file_system) : m_file_system(file_system) {}
    FoldersNavigator(const FoldersNavigator&) = delete;
    FoldersNavigator& operator=(const FoldersNavigator&) = delete;

    // Goes to a folder, or to that of a file. S_FALSE for the null name, E_CANCELED when it was stopped.
    // Unless it succeeds, folder, parent and items stay as they were (but for the null name, which empties
    // the list).
    HRESULT SetFolder(TMK::IAFS_Name* folder_or_file_item, const Filter& filter);
    // Lets the step that runs be the last. For good.
    void Stop() { m_stop.exchange(1); }
    bool IsStopped() const { return m_stop.load() != 0; }

    const ComPtr<TMK::IAFS_Name>& GetFolder() const { return m_folder; }
    const ComPtr<TMK::IAFS_Name>& GetParent() const { return m_parent; }
    const Items& GetItems() const { return m_items; }
    // Why the list is empty when it could not be read, for a person.
    const std::u16string& GetUnreadReason() const { return m_unread_reason; }

private:
    struct Place {
        ComPtr<TMK::IAFS_Name> folder;
        ComPtr<TMK::IAFS_Name> parent;
        bool find_parent = false;
    };

    HRESULT Decide(TMK::IAFS_Name* folder_or_file_item, Place& place);
    HRESULT GetAttributes(TMK::IAFS_Name* item, DWORD& attributes, bool& is_child);
    HRESULT FindParent(Place& place);
    HRESULT Enumerate(TMK::IAFS_Name* folder, const Filter& filter, Items& items,
                      std::u16string& unread_reason);

    const ComPtr<FileSystem> m_file_system;
    ComPtr<TMK::IAFS_Name> m_folder;
    ComPtr<TMK::IAFS_Name> m_parent;
    Items m_items;
    std::u16string m_unread_reason;
    std::atomic<BYTE> m_stop{0};
};
