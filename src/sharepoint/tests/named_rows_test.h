// Tables of rows for parameterised tests: each row is a struct of the test file's unnamed namespace with a
// member `name`, which a failing test shows.
#pragma once

#include <gtest/gtest.h>

#include <concepts>
#include <ostream>
#include <string>

struct NameOfRow {
    template <typename Row>
    std::string operator()(const testing::TestParamInfo<Row>& info) const {
        return info.param.name;
    }
};

// Unnamed like the rows' own namespace, where the printing of parameters looks for it.
namespace {

template <typename Row>
concept NamedRow = requires(const Row& row) {
    { row.name } -> std::convertible_to<const char*>;
};

template <NamedRow Row>
std::ostream& operator<<(std::ostream& stream, const Row& row) {
    return stream << row.name;
}

}  // namespace
