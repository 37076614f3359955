// A loaded library as its file's headers tell it.
#pragma once

#include <cstdint>
#include <set>
#include <string>

namespace testing_support {

struct Image {
    std::set<std::string> exports;
    std::set<std::string> imports;  // names of libraries in lower case
    bool moves = false;             // to any address of 64 bits
    bool runs_no_data = false;
    std::uint32_t timestamp = 0;
    std::uint64_t file_version = 0, product_version = 0;  // four numbers of 16 bits
};

Image Describe(void* library);

}  // namespace testing_support
