#include "host/base/environment.h"

#include <algorithm>
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
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::filesystem::path BrowserProgramPath() {
    const char* chosen = std::getenv("SPHOST_BROWSER");
    return chosen && *chosen ? std::filesystem::path(chosen) : BesideProgram("sphost-browser");
}

}  // namespace host
