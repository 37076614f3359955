#include "host/base/environment.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace host {

bool IsAnySet(std::initializer_list<const char*> variables) {
    return std::any_of(variables.begin(), variables.end(), [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value;
    });
}

bool IsProxySet() {
    return IsAnySet({"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
}

std::filesystem::path BesideProgram(std::string_view name) {
    std::array<char, 4096> path{};
    const ssize_t size = readlink("/proc/self/exe", path.data(), path.size() - 1);
    const std::string program(path.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    return std::filesystem::path(program).parent_path() / name;
}

std::filesystem::path BrowserProgramPath() {
    const char* chosen = std::getenv("SPHOST_BROWSER");
    return chosen && *chosen ? std::filesystem::path(chosen) : BesideProgram("sphost-browser");
}

}  // namespace host
