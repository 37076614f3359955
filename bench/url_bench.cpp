// CompareUrls: pairs a second, and allocations, counted in malloc's place.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "base/url.h"
#include "bench/report.h"
#include "platform/text.h"
#include "platform/url.h"

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);

namespace {
std::atomic<unsigned long> g_allocations{0};
}

extern "C" void* malloc(size_t size) {
    ++g_allocations;
    return __libc_malloc(size);
}
extern "C" void* calloc(size_t count, size_t size) {
    ++g_allocations;
    return __libc_calloc(count, size);
}
extern "C" void* realloc(void* block, size_t size) {
    ++g_allocations;
    return __libc_realloc(block, size);
}

namespace {

struct Urls {
    const char16_t *first, *second;
    CompareUrlsResult expected;
};

constexpr Urls kUrls[] = {
    {u"https://example.com/sites/team/Shared%20Documents/Plans/2026/report.pdf",
     u"https://EXAMPLE.com/sites/Team/Shared%20Documents/plans/2026/Report.pdf", CompareUrlsResult::equal},
    {u"https://example.com/sites/team", u"https://example.com/sites/team/Shared%20Documents/report.pdf",
     CompareUrlsResult::url1_is_parent},
    {u"https://example.com/sites/team/a.pdf", u"https://example.com/sites/team/b.pdf",
     CompareUrlsResult::different},
    {u"https://example.com/sites/team/Gr\u00F6\u00DFen/a.pdf",
     u"https://example.com/sites/team/gr\u00D6\u00DFen/A.pdf", CompareUrlsResult::equal},
};

// What no comparison can do without: both addresses taken apart, and their ends compared.
double TimeFloor(unsigned pairs) {
    const auto crack = [](const char16_t* url) {
        URL_COMPONENTSW parts{};
        parts.dwStructSize = sizeof(parts);
        parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
        InternetCrackUrlW(url, 0, 0, &parts);
        return std::u16string_view(parts.lpszUrlPath, parts.dwUrlPathLength);
    };
    unsigned long equal = 0;
    const std::clock_t from = std::clock();
    for (unsigned i = 0; i < pairs; ++i) {
        const Urls& urls = kUrls[i % std::size(kUrls)];
        const std::u16string_view first = crack(urls.first), second = crack(urls.second);
        equal +=
            CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, first.data(), static_cast<int>(first.size()),
                           second.data(), static_cast<int>(second.size())) == CSTR_EQUAL;
    }
    const double seconds = static_cast<double>(std::clock() - from) / CLOCKS_PER_SEC;
    return equal > 0 ? seconds : 0;
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned count = bench::Option(argc, argv, "--count", 4'000'000);
    unsigned long wrong = 0;
    const auto compare = [&](unsigned pairs) {
        for (unsigned i = 0; i < pairs; ++i) {
            const Urls& urls = kUrls[i % std::size(kUrls)];
            wrong += CompareUrls(urls.first, urls.second) != urls.expected;
        }
    };
    for (const Urls& urls : kUrls) {
        const CompareUrlsResult result = CompareUrls(urls.first, urls.second);
        if (result != urls.expected)
            std::fprintf(stderr, "url_bench: pair %td gives %d\n", &urls - kUrls, static_cast<int>(result));
    }
    // Counted around the calls alone, after one allocation that shows that counting works.
    const unsigned long before = g_allocations;
    std::free(std::malloc(argc > 0 ? 64 : 32));
    const bool counts = g_allocations > before;
    const unsigned long start = g_allocations;
    const std::clock_t from = std::clock();  // of this process: what else the machine does doesn't count
    compare(count);
    const double seconds = static_cast<double>(std::clock() - from) / CLOCKS_PER_SEC;
    const unsigned long allocations = g_allocations - start;
    if (wrong > 0 || !counts) {
        std::fprintf(stderr, "url_bench: %lu wrong results, counting %s\n", wrong,
                     counts ? "works" : "fails");
        return 2;
    }
    const double floor_seconds = TimeFloor(count);
    const bool fast =
        bench::Line("CompareUrls, a pair", bench::Fixed(seconds / count * 1e9, 0, "ns"),
                    bench::Fixed(floor_seconds / count * 1e9, 0, "ns"),
                    bench::Fixed(seconds / floor_seconds, 2), "<= 2.80", seconds <= 2.8 * floor_seconds);
    const bool lean = bench::Line("CompareUrls, allocations", std::to_string(allocations), "-",
                                  std::to_string(allocations), "0", allocations == 0);
    return fast && lean ? 0 : 1;
}
