// $filter, $orderby, $skip and $top over feeds.
// Owner: rest/; a request's thread alone.
#include <algorithm>

#include "base/text.h"
#include "rest/filter.h"
#include "rest/resource.h"

namespace devserver::rest {
namespace {

// Sortable text of a value; numbers are padded.
std::string SortKey(const Entity& entity, const std::string& name) {
    auto value = PropertyOf(entity, name);
    bool numeric = value.kind == Value::Kind::int32 || value.kind == Value::Kind::int64;
    if (!numeric) return ToLower(value.text);
    auto digits = std::to_string(value.number);
    return std::string(24 - std::min<std::size_t>(24, digits.size()), '0') + digits;
}

Feed Ordered(const Feed& feed, const std::string& order) {
    auto words = Split(Trim(Split(order, ',')[0]), ' ');
    bool descending = words.size() > 1 && EqualsIgnoringCase(words.back(), "desc");
    std::vector<std::pair<std::string, Entity>> rows;
    for (Entity entity; feed.next(entity); entity = {}) {
        auto key = SortKey(entity, words[0]);
        rows.emplace_back(std::move(key), std::move(entity));
    }
    std::stable_sort(rows.begin(), rows.end(), [descending](const auto& a, const auto& b) {
        return descending ? b.first < a.first : a.first < b.first;
    });
    return FeedOf(std::move(rows), [](const auto& row) { return row.second; });
}

}  // namespace

Feed ApplyFeedOptions(const Context& context, Feed feed) {
    const auto& query = context.request.query;
    if (HasQuery(query, "$filter")) {
        auto test = ParseFilter(QueryValue(query, "$filter"));
        feed.next = [next = feed.next, test](Entity& entity) {
            while (next(entity)) {
                if (test(entity)) return true;
                entity = {};
            }
            return false;
        };
    }
    if (HasQuery(query, "$orderby")) feed = Ordered(feed, QueryValue(query, "$orderby"));
    auto skip = std::make_shared<std::int64_t>(ParseInteger(QueryValue(query, "$skip")).value_or(0));
    auto left = std::make_shared<std::int64_t>(ParseInteger(QueryValue(query, "$top")).value_or(INT64_MAX));
    feed.next = [next = feed.next, skip, left](Entity& entity) {
        for (; *skip > 0; --*skip) {
            Entity skipped;
            if (!next(skipped)) return false;
        }
        return *left > 0 && (--*left, next(entity));
    };
    return feed;
}

}  // namespace devserver::rest
