// The rows of a folder: what each of them shows, its five columns, and their order. Main thread.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hostapi/iafs.h"
#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

// One row. Texts of times and sizes are made when they are first shown.
struct ListItem {
    ComPtr<TMK::IAFS_Name> m_name;
    ComPtr<TMK::IAFS_ItemInfo> m_information;
    ComPtr<TMK::IUIX_Icon> m_icon;
    bool is_folder = false;
    bool is_item = true;       // false for the way up alone
    bool has_texts = false;    // those that are made late
    std::u16string title;      // of a file without its extension
    std::u16string extension;  // without the dot
    std::u16string created;
    std::u16string modified;
    std::u16string size_text;

    // What it is sorted by: times and the size as signed numbers, title and extension by their places among
    // those of all rows.
    int64_t created_time = 0;
    int64_t modified_time = 0;
    int64_t size = 0;
    uint32_t title_place = 0;
    uint32_t extension_place = 0;
};
using ListItems = std::vector<std::unique_ptr<ListItem>>;

// One line of the list's header.
class Column {
public:
    virtual ~Column() = default;

    // S_FALSE for nothing to show.
    virtual HRESULT GetItemText(ListItem& item, LPCWSTR* out_text, UINT* out_text_length,
                                DWORD* out_draw_text_flags) const;
    virtual HRESULT GetItemImage(const ListItem& item, TMK::IUIX_Icon** out_image, BYTE* out_opacity) const;
    virtual HRESULT GetItemImageSize(const ListItem& item, TMK::SIZE* out_size) const;
    // Below, equal or above: -1, 0, 1. The way up is first and folders are before files in either direction.
    virtual int Compare(const ListItem& first, const ListItem& second, bool ascending) const;
    // Orders two rows of one rank as Compare does, or tells nothing where it is the same. Where it tells rows
    // apart that Compare leaves equal, it does so by the text of another column, as SortItems would.
    virtual uint64_t GetSortNumber(const ListItem& item) const;
};

inline constexpr size_t kColumnsCount = 5;
enum ColumnIndex : size_t { kTitle, kExtension, kCreated, kModified, kSize };

// How a column appears in the header.
struct ColumnDescription {
    const char16_t* title_id;
    const char16_t* hint_id;
    double width;  // of the whole
};
extern const std::array<ColumnDescription, kColumnsCount> kColumnDescriptions;

std::array<std::unique_ptr<Column>, kColumnsCount> MakeColumns();

// Finds the places of titles and extensions, in the order of StrCmpLogicalW.
void PrepareForSorting(ListItems& items);
// By a column, with title and extension for those that it leaves equal. Equal rows keep their order.
void SortItems(ListItems& items, const std::array<std::unique_ptr<Column>, kColumnsCount>& columns,
               size_t column, bool ascending);
