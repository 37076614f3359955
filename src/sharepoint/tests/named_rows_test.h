// Tables of rows for parameterised tests: each row has a member `name`, which a failing test shows.
#pragma once

#include <gtest/gtest.h>

#include <string>

struct NameOfRow {
    template <typename Row>
    std::string operator()(const testing::TestParamInfo<Row>& info) const {
        return info.param.name;
    }
};
