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

}  // namespace host
