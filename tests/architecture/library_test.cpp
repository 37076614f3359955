// Holds the built library against the architecture: what it exports and what it links.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string Output(const std::string& command) {
    std::string output;
    FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return output;
    std::array<char, 4096> buffer;
    while (const size_t size = fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), size);
    pclose(pipe);
    return output;
}

TEST(Library, ExportsOneFunction) {
    std::istringstream symbols(Output("nm -D --defined-only " PLUGIN_FILE));
    std::set<std::string> exported;
    for (std::string address, kind, name; symbols >> address >> kind >> name;) exported.insert(name);
    EXPECT_EQ(exported, std::set<std::string>{"TMKE_GetPlugin"});
}

TEST(Library, LinksNoWindowLibraryNoServerLibraryAndNoDatabase) {
    const std::string needed = Output("readelf -d " PLUGIN_FILE);
    ASSERT_NE(needed.find("NEEDED"), std::string::npos);
    for (const char* name : {"Qt", "boost", "sqlite"})
        EXPECT_EQ(needed.find(name), std::string::npos) << needed;
}

}  // namespace
