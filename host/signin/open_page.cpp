#include "host/signin/open_page.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "host/base/environment.h"
#include "host/base/spawn.h"

extern char** environ;

namespace host {

bool HasBrowser() {
    return IsAnySet({"BROWSER", "DISPLAY", "WAYLAND_DISPLAY"});
}

void OpenInBrowser(const std::string& url) {
    const char* const chosen = std::getenv("BROWSER");
    std::string program = chosen && *chosen ? chosen : "xdg-open";
    std::string address = url;
    std::array<char*, 3> words{program.data(), address.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t child = 0;
    posix_spawnp(&child, program.c_str(), &actions, SpawnAttributes().get(), words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
}

}  // namespace host
