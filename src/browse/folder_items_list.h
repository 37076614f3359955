// The list in the middle of the dialog: the items of the navigator's folder as rows, sorted, and which of
// them the user has picked. Main thread, on items that the navigator has finished gathering.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "browse/folders_navigator.h"
#include "browse/list/names_filter.h"
#include "hostapi/itmk.h"

class FolderItemsList {
public:
    using Names = std::vector<ComPtr<TMK::IAFS_Name>>;
    using OnConfirmed = std::function<HRESULT(TMK::IAFS_Name*)>;
    // Whether a row is out of sight, by title and attributes.
    using IsHidden = std::function<bool(const std::u16string& title, DWORD attributes)>;

    struct Parts {
        ComPtr<TMK::ITMK_Inst> inst;
        ComPtr<TMK::IUIX_Inst> ui;
        ComPtr<FileSystem> file_system;
        std::shared_ptr<FoldersNavigator> navigator;
        ComPtr<TMK::IUIX_Obj> list_object;
        std::shared_ptr<NamesFilter> filter;  // may be null
        IsHidden is_hidden;                   // may be empty
        OnConfirmed on_confirmed;             // a double click or Enter on a row
    };

    // Throws HResultException without a list.
    explicit FolderItemsList(Parts parts);
    ~FolderItemsList();
    FolderItemsList(const FolderItemsList&) = delete;
    FolderItemsList& operator=(const FolderItemsList&) = delete;

    void Clear();
    HRESULT Refresh();
    // The way up counts as a folder.
    HRESULT GetSelection(Names& files, Names& folders);
    // The way up is left out.
    HRESULT GetSelection(Names& items);
    // A text in the place of the rows, with a button; an empty text ends it.
    void SetNotice(const std::u16string& text, const std::u16string& button);

private:
    class Impl;
    ComPtr<Impl> m_impl;
};
