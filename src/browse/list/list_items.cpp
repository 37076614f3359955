#include "browse/list/list_items.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "browse/list/item_texts.h"
#include "platform/text.h"

namespace {

constexpr LONG kIconSide = 16;
constexpr BYTE kOpaque = 255;

constexpr size_t kRanks = 3;

int Rank(const ListItem& item) {
    if (!item.is_folder) return 2;
    return item.is_item ? 1 : 0;
}

template <typename T>
int CompareNumbers(T first, T second) {
    return (first > second) - (first < second);
}

int Directed(int order, bool ascending) {
    return ascending ? order : -order;
}

HRESULT GiveText(std::u16string_view text, LPCWSTR* out_text, UINT* out_text_length) {
    *out_text = text.data();
    *out_text_length = static_cast<UINT>(text.size());
    return S_OK;
}

// A signed number as one that compares unsigned.
uint64_t ToUnsigned(int64_t number) {
    return static_cast<uint64_t>(number) ^ (uint64_t{1} << 63);
}

// Bytes that compare like the texts by StrCmpLogicalW.
std::string MakeKey(std::u16string_view text) {
    constexpr DWORD kFlags = LCMAP_SORTKEY | NORM_IGNORECASE | SORT_DIGITSASNUMBERS;
    const auto make = [&](char* bytes, size_t size) {
        return LCMapStringW(LOCALE_USER_DEFAULT, kFlags, text.data(), static_cast<int>(text.size()),
                            reinterpret_cast<LPWSTR>(bytes), static_cast<int>(size));
    };
    std::array<char, 256> usual;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    if (const int size = make(usual.data(), usual.size()); size > 0 || text.empty())
        return {usual.data(), static_cast<size_t>(size)};
    std::string key(static_cast<size_t>(make(nullptr, 0)), '\0');
    make(key.data(), key.size());
    return key;
}

// The places of a text of all rows; equal texts share one.
void SetPlaces(ListItems& items, std::u16string ListItem::*text, uint32_t ListItem::*place) {
    struct Text {
        std::string key;
        uint32_t place = 0;
    };
    std::unordered_map<std::u16string_view, Text> texts;
    for (const auto& item : items) texts.try_emplace((*item).*text);
    std::vector<Text*> ordered;
    ordered.reserve(texts.size());
    for (auto& [spelling, one] : texts) {
        one.key = MakeKey(spelling);
        ordered.push_back(&one);
    }
    std::sort(ordered.begin(), ordered.end(), [](const Text* a, const Text* b) { return a->key < b->key; });
    const Text* before = nullptr;
    for (Text* one : ordered) {
        one->place = before ? before->place + (before->key == one->key ? 0 : 1) : 0;
        before = one;
    }
    for (const auto& item : items) (*item).*place = texts.find((*item).*text)->second.place;
}

// Two places as one number.
uint64_t Join(uint32_t first, uint32_t second) {
    return (uint64_t{first} << 32) | second;
}

class ColumnTitle final : public Column {
public:
    HRESULT GetItemText(ListItem& item, LPCWSTR* out_text, UINT* out_text_length,
                        DWORD* out_draw_text_flags) const override {
        if (Column::GetItemText(item, out_text, out_text_length, out_draw_text_flags) == E_POINTER)
            return E_POINTER;
        *out_draw_text_flags = TMK::UIX_DrawText_EndEllipsis;
        return GiveText(item.title, out_text, out_text_length);
    }
    HRESULT GetItemImage(const ListItem& item, TMK::IUIX_Icon** out_image, BYTE* out_opacity) const override {
        if (Column::GetItemImage(item, out_image, out_opacity) == E_POINTER) return E_POINTER;
        if (!item.m_icon) return S_FALSE;
        *out_image = item.m_icon.copy();
        *out_opacity = kOpaque;
        return S_OK;
    }
    HRESULT GetItemImageSize(const ListItem& item, TMK::SIZE* out_size) const override {
        if (Column::GetItemImageSize(item, out_size) == E_POINTER) return E_POINTER;
        if (!item.m_icon) return S_FALSE;
        *out_size = {kIconSide, kIconSide};
        return S_OK;
    }
    int Compare(const ListItem& first, const ListItem& second, bool ascending) const override {
        if (const int rank = Column::Compare(first, second, ascending)) return rank;
        return Directed(CompareNumbers(first.title_place, second.title_place), ascending);
    }
    uint64_t GetSortNumber(const ListItem& item) const override {
        return Join(item.title_place, item.extension_place);
    }
};

class ColumnExtension final : public Column {
public:
    HRESULT GetItemText(ListItem& item, LPCWSTR* out_text, UINT* out_text_length,
                        DWORD* out_draw_text_flags) const override {
        if (Column::GetItemText(item, out_text, out_text_length, out_draw_text_flags) == E_POINTER)
            return E_POINTER;
        return GiveText(item.extension, out_text, out_text_length);
    }
    int Compare(const ListItem& first, const ListItem& second, bool ascending) const override {
        if (const int rank = Column::Compare(first, second, ascending)) return rank;
        return Directed(CompareNumbers(first.extension_place, second.extension_place), ascending);
    }
    uint64_t GetSortNumber(const ListItem& item) const override {
        return Join(item.extension_place, item.title_place);
    }
};

// Times and sizes: a number of the row, and a text that is made when it is first shown.
class ColumnNumber final : public Column {
public:
    using Number = int64_t ListItem::*;
    using Text = std::u16string ListItem::*;
    ColumnNumber(Number number, Text text, DWORD draw_text_flags)
        : m_number(number), m_text(text), m_draw_text_flags(draw_text_flags) {}

    HRESULT GetItemText(ListItem& item, LPCWSTR* out_text, UINT* out_text_length,
                        DWORD* out_draw_text_flags) const override {
        if (Column::GetItemText(item, out_text, out_text_length, out_draw_text_flags) == E_POINTER)
            return E_POINTER;
        MakeTexts(item);
        *out_draw_text_flags = m_draw_text_flags;
        return GiveText(item.*m_text, out_text, out_text_length);
    }
    int Compare(const ListItem& first, const ListItem& second, bool ascending) const override {
        if (const int rank = Column::Compare(first, second, ascending)) return rank;
        return Directed(CompareNumbers(first.*m_number, second.*m_number), ascending);
    }
    uint64_t GetSortNumber(const ListItem& item) const override { return ToUnsigned(item.*m_number); }

private:
    static void MakeTexts(ListItem& item) {
        if (item.has_texts) return;
        item.created = FormatTime(static_cast<uint64_t>(item.created_time));
        item.modified = FormatTime(static_cast<uint64_t>(item.modified_time));
        if (!item.is_folder) item.size_text = FormatSize(static_cast<uint64_t>(item.size));
        item.has_texts = true;
    }

    Number m_number;
    Text m_text;
    DWORD m_draw_text_flags;
};

}  // namespace

const std::array<ColumnDescription, kColumnsCount> kColumnDescriptions = {{
    {u"sp.ls.column.title", u"sp.ls.column.title.hint", 0.4},
    {u"sp.ls.column.extension", u"sp.ls.column.extension.hint", 0.1},
    {u"sp.ls.column.created", u"sp.ls.column.created.hint", 0.2},
    {u"sp.ls.column.modified", u"sp.ls.column.modified.hint", 0.2},
    {u"sp.ls.column.size", u"sp.ls.column.size.hint", 0.1},
}};

HRESULT Column::GetItemText(ListItem&, LPCWSTR* out_text, UINT* out_text_length,
                            DWORD* out_draw_text_flags) const {
    if (!out_text || !out_text_length || !out_draw_text_flags) return E_POINTER;
    *out_text = nullptr;
    *out_text_length = 0;
    *out_draw_text_flags = 0;
    return S_FALSE;
}

HRESULT Column::GetItemImage(const ListItem&, TMK::IUIX_Icon** out_image, BYTE* out_opacity) const {
    if (!out_image || !out_opacity) return E_POINTER;
    *out_image = nullptr;
    *out_opacity = 0;
    return S_FALSE;
}

HRESULT Column::GetItemImageSize(const ListItem&, TMK::SIZE* out_size) const {
    if (!out_size) return E_POINTER;
    *out_size = {};
    return S_FALSE;
}

int Column::Compare(const ListItem& first, const ListItem& second, bool) const {
    return CompareNumbers(Rank(first), Rank(second));
}

uint64_t Column::GetSortNumber(const ListItem&) const {
    return 0;
}

std::array<std::unique_ptr<Column>, kColumnsCount> MakeColumns() {
    return {std::make_unique<ColumnTitle>(), std::make_unique<ColumnExtension>(),
            std::make_unique<ColumnNumber>(&ListItem::created_time, &ListItem::created, 0),
            std::make_unique<ColumnNumber>(&ListItem::modified_time, &ListItem::modified, 0),
            std::make_unique<ColumnNumber>(&ListItem::size, &ListItem::size_text, TMK::UIX_DrawText_Right)};
}

void PrepareForSorting(ListItems& items) {
    SetPlaces(items, &ListItem::title, &ListItem::title_place);
    SetPlaces(items, &ListItem::extension, &ListItem::extension_place);
}

void SortItems(ListItems& items, const std::array<std::unique_ptr<Column>, kColumnsCount>& columns,
               size_t column, bool ascending) {
    // What decides nearly always lies side by side; the rows themselves are looked at for ties.
    struct Entry {
        uint64_t number;
        uint32_t index;
    };
    const Column& sorted = *columns[column];
    std::array<std::vector<Entry>, kRanks> ranks;
    ranks.back().reserve(items.size());
    for (uint32_t index = 0; index < items.size(); ++index) {
        const uint64_t number = sorted.GetSortNumber(*items[index]);
        ranks[static_cast<size_t>(Rank(*items[index]))].push_back({ascending ? number : ~number, index});
    }
    const bool is_whole =
        column == kTitle || column == kExtension;  // the number has title and extension in it
    const auto is_before = [&](const Entry& a, const Entry& b) {
        if (a.number != b.number) return a.number < b.number;
        if (is_whole) return a.index < b.index;
        const ListItem& first = *items[a.index];
        const ListItem& second = *items[b.index];
        for (const size_t tie : {kTitle, kExtension})
            if (const int order = columns[tie]->Compare(first, second, ascending)) return order < 0;
        return a.index < b.index;
    };
    ListItems ordered;
    ordered.reserve(items.size());
    for (std::vector<Entry>& entries : ranks) {
        std::sort(entries.begin(), entries.end(), is_before);
        for (const Entry& entry : entries) ordered.push_back(std::move(items[entry.index]));
    }
    items = std::move(ordered);
}
