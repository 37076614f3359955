// Resources embedded by the build are found again, whole.
#include "platform/resources.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

extern const ModuleResources g_test_resources;

namespace {

std::string FileBytes(const std::string& name) {
    std::ifstream file(VECTORS_FOLDER "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string ResourceBytes(WORD id, LPCWSTR type) {
    const HRSRC found = FindResourceW(&g_test_resources, MAKEINTRESOURCEW(id), type);
    if (!found) return {};
    const char* data = static_cast<const char*>(LockResource(LoadResource(&g_test_resources, found)));
    return {data, SizeofResource(&g_test_resources, found)};
}

TEST(Resources, BytesAreThoseOfTheFileOfThatTypeAndId) {
    EXPECT_EQ(ResourceBytes(102, u"XML"), FileBytes("extension.tsv"));
    EXPECT_EQ(ResourceBytes(7, u"XML"), FileBytes("logical.tsv"));
    EXPECT_EQ(ResourceBytes(7, u"PNG"), FileBytes("compare.tsv"));
    EXPECT_FALSE(ResourceBytes(102, u"XML").empty());
}

TEST(Resources, MissingOnesSayWhatIsMissing) {
    EXPECT_EQ(FindResourceW(&g_test_resources, MAKEINTRESOURCEW(9), u"XML"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_RESOURCE_NAME_NOT_FOUND);
    EXPECT_EQ(FindResourceW(&g_test_resources, MAKEINTRESOURCEW(7), u"GIF"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_RESOURCE_TYPE_NOT_FOUND);
    EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(7), u"XML"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_RESOURCE_DATA_NOT_FOUND);
}

}  // namespace
