// The rows of a folder in the dialog: sorting by a column, beside a plain sort of the same keys laid out in
// advance, and the memory of a row.
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <random>

#include "base/text/encoding.h"
#include "bench/report.h"
#include "browse/list/list_items.h"

namespace {

constexpr unsigned kRows = 100'000;
constexpr double kMostTimes = 1.2;

// What a plain sort needs of a row and nothing else.
struct Key {
    uint64_t number;
    uint32_t rank;
    uint32_t index;
    bool operator<(const Key& other) const {
        if (rank != other.rank) return rank < other.rank;
        if (number != other.number) return number < other.number;
        return index < other.index;
    }
};

std::unique_ptr<ListItem> MakeRow(unsigned i, std::minstd_rand& random) {
    static const char16_t* const kExtensions[] = {u"pdf", u"docx", u"xlsx", u"txt"};
    auto item = std::make_unique<ListItem>();
    item->is_folder = i % 50 == 0;
    item->title = u"Quarterly report " + Widen(std::to_string(random() % kRows)) + u" final";
    if (!item->is_folder) item->extension = kExtensions[random() % 4];
    item->created_time = 133'000'000'000'000'000 + static_cast<int64_t>(random()) * 1'000'000;
    item->modified_time = item->created_time + static_cast<int64_t>(random());
    item->size = item->is_folder ? 0 : static_cast<int64_t>(random());
    return item;
}

bool MeasureMemory(ListItems& items) {
    std::minstd_rand random(1);
    items.reserve(kRows);
    const size_t before = mallinfo2().uordblks;
    for (unsigned i = 0; i < kRows; ++i) items.push_back(MakeRow(i, random));
    PrepareForSorting(items);
    malloc_trim(0);
    const double bytes = static_cast<double>(mallinfo2().uordblks - before) / kRows + sizeof(items[0]);
    return bench::Line("memory of a row", bench::Fixed(bytes, 0, " bytes"), "", "", "at most 512 bytes",
                       bytes <= 512);
}

bool MeasureSort(ListItems& items, size_t column, const char* name, unsigned rounds) {
    const auto columns = MakeColumns();
    std::minstd_rand random(2);
    const auto sort = [&] {
        std::shuffle(items.begin(), items.end(), random);
        return bench::Time([&] { SortItems(items, columns, column, true); });
    };
    const auto sort_keys = [&] {
        std::shuffle(items.begin(), items.end(), random);
        std::vector<Key> keys;
        keys.reserve(items.size());
        for (const auto& item : items)
            keys.push_back({columns[column]->GetSortNumber(*item), item->is_folder ? 1u : 2u,
                            static_cast<uint32_t>(keys.size())});
        return bench::Time([&] { std::sort(keys.begin(), keys.end()); });
    };
    const bench::Pair times = bench::Alternate(rounds, sort, sort_keys);
    const double ratio = times.measured / times.floor;
    return bench::Line(std::string("sorting 100,000 rows by ") + name,
                       bench::Fixed(times.measured * 1000, 1, " ms"),
                       bench::Fixed(times.floor * 1000, 1, " ms"), bench::Fixed(ratio, 2),
                       "at most " + bench::Fixed(kMostTimes, 1), ratio <= kMostTimes);
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned rounds = bench::Option(argc, argv, "--rounds", 15);
    return bench::ExitStatus("rows_bench", [&] {
        ListItems items;
        bool holds = MeasureMemory(items);
        holds &= MeasureSort(items, kSize, "size", rounds);
        holds &= MeasureSort(items, kModified, "time", rounds);
        holds &= MeasureSort(items, kExtension, "extension", rounds);
        holds &= MeasureSort(items, kTitle, "title", rounds);
        return holds;
    });
}
