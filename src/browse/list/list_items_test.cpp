// The order of rows and the texts of their columns.
#include "browse/list/list_items.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "base/text/encoding.h"
#include "browse/list/item_texts.h"
#include "platform/text.h"

namespace {

constexpr int64_t kDay = 864'000'000'000;

std::unique_ptr<ListItem> File(const std::u16string& title, const std::u16string& extension,
                               int64_t created = 0, int64_t modified = 0, int64_t size = 0) {
    auto item = std::make_unique<ListItem>();
    item->title = title;
    item->extension = extension;
    item->created_time = created;
    item->modified_time = modified;
    item->size = size;
    return item;
}

std::unique_ptr<ListItem> Folder(const std::u16string& title, int64_t created = 0, int64_t modified = 0) {
    auto item = File(title, u"", created, modified);
    item->is_folder = true;
    return item;
}

std::unique_ptr<ListItem> Up() {
    auto item = Folder(u"../");
    item->is_item = false;
    return item;
}

// "../ B/ a.txt": titles in their order.
std::string Order(const ListItems& items) {
    std::string order;
    for (const auto& item : items) {
        if (!order.empty()) order += ' ';
        order += ToUtf8(item->title);
        if (item->is_folder && item->is_item) order += '/';
        if (!item->extension.empty()) order += '.' + ToUtf8(item->extension);
    }
    return order;
}

struct OrderRow {
    const char* what;
    size_t column;
    bool ascending;
    const char* expected;
};

TEST(ListItems, EachColumnSortsBothWaysBehindTheRanks) {
    const OrderRow rows[] = {
        {"titles", kTitle, true, "../ A10/ b9/ file9.pdf file10.doc File10.pdf x.txt"},
        {"titles down", kTitle, false, "../ b9/ A10/ x.txt File10.pdf file10.doc file9.pdf"},
        {"extensions", kExtension, true, "../ A10/ b9/ file10.doc file9.pdf File10.pdf x.txt"},
        {"extensions down", kExtension, false, "../ b9/ A10/ x.txt File10.pdf file9.pdf file10.doc"},
        {"created", kCreated, true, "../ b9/ A10/ x.txt file9.pdf file10.doc File10.pdf"},
        {"created down", kCreated, false, "../ A10/ b9/ File10.pdf file10.doc file9.pdf x.txt"},
        {"modified", kModified, true, "../ A10/ b9/ file10.doc File10.pdf x.txt file9.pdf"},
        {"size", kSize, true, "../ A10/ b9/ File10.pdf x.txt file9.pdf file10.doc"},
        {"size down", kSize, false, "../ b9/ A10/ file10.doc file9.pdf x.txt File10.pdf"},
    };
    const auto columns = MakeColumns();
    for (const OrderRow& row : rows) {
        ListItems items;
        items.push_back(File(u"x", u"txt", 1 * kDay, 3 * kDay, 50));
        items.push_back(Folder(u"b9", 5 * kDay));
        items.push_back(File(u"File10", u"pdf", 9 * kDay, 2 * kDay, 0));
        items.push_back(Up());
        items.push_back(File(u"file9", u"pdf", 2 * kDay, 4 * kDay, 100));
        items.push_back(Folder(u"A10", 6 * kDay));
        items.push_back(File(u"file10", u"doc", 9 * kDay, 2 * kDay, 5'000'000'000));
        PrepareForSorting(items);
        SortItems(items, columns, row.column, row.ascending);
        EXPECT_EQ(Order(items), row.expected) << row.what;
    }
}

// By the definition of a column's key.
int CompareBy(size_t column, const ListItem& a, const ListItem& b) {
    const auto sign = [](int64_t x, int64_t y) { return (x > y) - (x < y); };
    switch (column) {
        case kTitle:
            return StrCmpLogicalW(a.title.c_str(), b.title.c_str());
        case kExtension:
            return StrCmpLogicalW(a.extension.c_str(), b.extension.c_str());
        case kCreated:
            return sign(a.created_time, b.created_time);
        case kModified:
            return sign(a.modified_time, b.modified_time);
        default:
            return sign(a.size, b.size);
    }
}

// The same by the definition: a stable sort that compares all rows with all of the rules.
TEST(ListItems, PreparedKeysChangeNothing) {
    const auto columns = MakeColumns();
    static constexpr size_t kTies[][2] = {{1, 1}, {0, 0}, {0, 1}, {0, 1}, {0, 1}};
    static const std::u16string parts[] = {u"a", u"B", u"\u00E9", u"10",        u"9",
                                           u"#", u"'", u"\u6587", u"long name "};
    std::minstd_rand random(3);
    for (size_t column = 0; column < kColumnsCount; ++column) {
        for (const bool ascending : {true, false}) {
            ListItems items;
            for (int i = 0; i < 400; ++i) {
                const std::u16string title = parts[random() % 9] + parts[random() % 9] + parts[random() % 9];
                const std::u16string extension = random() % 3 == 0 ? u"" : parts[random() % 4];
                // A time beyond the signed range is before all others.
                const int64_t time = random() % 9 == 0 ? -1 : static_cast<int64_t>(random() % 4);
                items.push_back(random() % 4 == 0
                                    ? Folder(title, time, time)
                                    : File(title, extension, time, static_cast<int64_t>(random() % 3), time));
            }
            std::vector<const ListItem*> expected;
            for (const auto& item : items) expected.push_back(item.get());
            std::stable_sort(expected.begin(), expected.end(), [&](const ListItem* a, const ListItem* b) {
                const auto rank = [](const ListItem& item) { return item.is_folder ? 1 : 2; };
                if (rank(*a) != rank(*b)) return rank(*a) < rank(*b);
                int order = CompareBy(column, *a, *b);
                for (const size_t tie : kTies[column])
                    if (order == 0) order = CompareBy(tie, *a, *b);
                return ascending ? order < 0 : order > 0;
            });
            PrepareForSorting(items);
            SortItems(items, columns, column, ascending);
            for (size_t i = 0; i < items.size(); ++i)
                ASSERT_EQ(items[i].get(), expected[i]) << column << " " << i;
        }
    }
}

TEST(ListItems, TextsAreThoseOfTheUser) {
    const auto columns = MakeColumns();
    const auto text = [&](ListItem& item, size_t column) {
        LPCWSTR shown = nullptr;
        UINT length = 0;
        DWORD flags = 0;
        EXPECT_EQ(columns[column]->GetItemText(item, &shown, &length, &flags), S_OK);
        return ToUtf8({shown, length});
    };
    const auto file = File(u"a #1", u"pdf", 133'485'408'000'000'000, 0, 5'400'000);
    EXPECT_EQ(text(*file, kTitle), "a #1");
    EXPECT_EQ(text(*file, kExtension), "pdf");
    EXPECT_NE(text(*file, kCreated).find("24"), std::string::npos) << text(*file, kCreated);
    EXPECT_NE(text(*file, kCreated).find(' '), std::string::npos);
    EXPECT_EQ(text(*file, kModified), "");
    EXPECT_EQ(text(*Folder(u"f"), kSize), "");
    for (const auto& [bytes, shown] :
         std::vector<std::pair<uint64_t, std::u16string>>{{0, u"0 KB"},
                                                          {1, u"1 KB"},
                                                          {1024, u"1 KB"},
                                                          {1025, u"2 KB"},
                                                          {1024 * 1024, u"1.0 MB"},
                                                          {5'400'000, u"5.1 MB"}}) {
        std::u16string found = FormatSize(bytes);
        std::replace(found.begin(), found.end(), u',', u'.');
        EXPECT_EQ(found, shown) << bytes;
    }
    UINT length = 0;
    DWORD flags = 0;
    EXPECT_EQ(columns[kTitle]->GetItemText(*file, nullptr, &length, &flags), E_POINTER);
}

}  // namespace
