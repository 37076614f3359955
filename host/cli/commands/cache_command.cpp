// cache: what local copies there are, dropping them, and the limits on them.
// The command's worker thread.
#include <array>
#include <charconv>
#include <limits>

#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/jobs/address.h"

namespace cli {

namespace {

// In the order of the enumerators.
constexpr std::array<const char*, 3> kStateNames{"kept", "unsent", "open"};

std::optional<std::uint64_t> ParseNumber(std::string_view text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// "500M", "2G", or bytes.
std::uint64_t ParseSize(std::string_view text) {
    constexpr std::string_view kUnits = "KMGT";
    const std::size_t unit = text.empty() ? std::string_view::npos : kUnits.find(text.back());
    const unsigned shift = unit == std::string_view::npos ? 0 : 10 * (static_cast<unsigned>(unit) + 1);
    const auto number = ParseNumber(shift ? text.substr(0, text.size() - 1) : text);
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    if (!number || *number > kMost >> shift)
        throw UsageError("--max-size takes a size such as 500M or 2G, not '" + std::string(text) + "'");
    return *number << shift;
}

std::int64_t ParseDays(const std::string& text) {
    const auto number = ParseNumber(text);
    if (!number || *number > 36500)
        throw UsageError("--max-age takes a number of days up to 36500, not '" + text + "'");
    return static_cast<std::int64_t>(*number);
}

std::string AddressOf(const host::LocalCopy& copy) {
    return host::EscapeUrl(host::ToUtf16(copy.url));
}

host::CacheLimits ChangeLimits(Run& run) {
    const Options& options = run.options();
    const host::Profile& profile = run.host().profile();
    host::CacheLimits limits = host::CacheLimits::Load(profile);
    if (const auto size = options.Value("max-size")) limits.bytes = ParseSize(*size);
    if (const auto age = options.Value("max-age")) limits.days = ParseDays(*age);
    if (options.Has("max-size") || options.Has("max-age")) limits.Save(profile);
    return limits;
}

std::string CountText(std::size_t count, std::uint64_t size) {
    return std::to_string(count) + (count == 1 ? " local copy, " : " local copies, ") + std::to_string(size) +
           " bytes";
}

void Show(Run& run, const std::vector<host::LocalCopy>& copies, const host::CacheLimits& limits) {
    JsonText json;
    json.StartObject().Key("copies").StartArray();
    std::uint64_t size = 0;
    for (const host::LocalCopy& copy : copies) {
        const char* const state = kStateNames[static_cast<std::size_t>(copy.state)];
        const std::string used = host::FormatUnixTime(copy.used);
        size += copy.size;
        json.StartObject().Key("url").String(AddressOf(copy)).Key("state").String(state);
        json.Key("size").Number(static_cast<std::int64_t>(copy.size)).Key("used").Text(used);
        json.Key("path").String(copy.path.string()).EndObject();
        run.Say(AddressOf(copy) + "  " + state + ", " + std::to_string(copy.size) + " bytes, last opened " +
                used);
    }
    json.EndArray().Key("size").Number(static_cast<std::int64_t>(size));
    json.Key("maxSize").Number(static_cast<std::int64_t>(limits.bytes)).Key("maxAge").Number(limits.days);
    json.EndObject();
    if (run.options().Has("json")) run.Out(json.Take());
    run.Say(CountText(copies.size(), size) + "; kept are at most " + std::to_string(limits.bytes) +
            " bytes, opened within " + std::to_string(limits.days) + " days");
}

}  // namespace

std::string WhyItStays(const host::LocalCopy& copy) {
    return AddressOf(copy) + " stays: " +
           (copy.state == host::LocalCopy::State::unsent
                ? "changes of it were not sent yet; 'sphost recover' sends or drops them"
                : "it is open in another sphost");
}

void Cache(Run& run) {
    host::CacheStore& store = *run.host().cache();
    const host::CacheLimits limits = ChangeLimits(run);
    if (!run.options().Has("clear")) return Show(run, CopiesIn(store), limits);
    const auto dropped = host::DropCopies(store, [](const host::LocalCopy&) { return true; });
    for (const host::LocalCopy& copy : dropped.kept) run.Say(WhyItStays(copy));
    run.Say("dropped " + CountText(dropped.count, dropped.size));
    if (run.options().Has("json")) Show(run, CopiesIn(store), limits);
}

}  // namespace cli
