// The part of an address after "/_api/": segments with their arguments, aliases resolved.
// Owner: odata/; a request's thread alone.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"

namespace devserver::odata {

struct Literal {
    enum class Kind { null, text, number, boolean, guid, json };
    Kind kind = Kind::null;
    std::string text;
};

struct Argument {
    std::string name;  // empty when given by position
    Literal value;
};

struct Segment {
    std::string name;
    bool called = false;  // has parentheses
    std::vector<Argument> arguments;

    bool Is(std::string_view wanted) const { return EqualsIgnoringCase(name, wanted); }
    // The argument of this name, or the one at `position` without a name; null when it isn't given.
    const Literal* argument(std::string_view wanted, std::size_t position = 0) const;
    std::string text(std::string_view wanted, std::size_t position = 0) const;
    bool boolean(std::string_view wanted, bool otherwise, std::size_t position = 0) const;
};

// `raw_path` is undecoded; throws ApiError 400 for what doesn't parse.
std::vector<Segment> ParseSegments(std::string_view raw_path, const QueryParameters& query);
// One literal of an address or an alias.
Literal ParseLiteral(std::string_view text, const QueryParameters& query);

}  // namespace devserver::odata
