#include "platform/shell.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "utf8.h"

extern char** environ;

namespace {

constexpr int kOpened = 33;
constexpr int kNoSuchFile = 2;
constexpr int kRefused = 5;
constexpr int kNoProgram = 31;
constexpr int kPatienceMs = 3000;

// The answer comes through the pipe as the script's third descriptor, so that nobody has to wait for a
// program that stays open.
constexpr char kInBackground[] = R"(w=$1; shift
( sh -c "$w" sh "$@" </dev/null >/dev/null 2>&1 3>&-; printf '%s\n' "$?" >&3 ) &)";
constexpr char kOpen[] = R"(exec xdg-open "$1")";
// The file manager of the session, asked by either tool; without one the folder is opened.
constexpr char kSelect[] = R"(m=org.freedesktop.FileManager1; p=/org/freedesktop/FileManager1
gdbus call --session --timeout 2 --dest "$m" --object-path "$p" --method "$m.ShowItems" "['$1']" '' ||
dbus-send --session --print-reply --reply-timeout=2000 --dest="$m" "$p" "$m.ShowItems" array:string:"$1" string: ||
exec xdg-open "$2")";

std::string ToNative(std::u16string_view path) {
    std::string native = platform::ToUtf8(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

bool Exists(const std::string& path) {
    struct stat found {};
    return !path.empty() && stat(path.c_str(), &found) == 0;
}

bool IsPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' ||
           c == '.' || c == '-' || c == '_';
}

std::string ToFileUrl(const std::string& path) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string url = "file://";
    for (const char c : path) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (IsPlain(c)) {
            url += c;
        } else {
            url += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return url;
}

// What the script ended with, as far as that is known in time; 0 for one that still runs.
int AwaitStatus(int answer) {
    pollfd wait{answer, POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&wait, 1, kPatienceMs);
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0) return 0;
    std::array<char, 16> text{};
    const ssize_t size = read(answer, text.data(), text.size() - 1);
    return size > 0 ? std::atoi(text.data()) : 127;
}

int Run(const char* script, std::vector<std::string> arguments) {
    std::array<int, 2> answer{};
    if (pipe2(answer.data(), O_CLOEXEC) != 0) return kRefused;
    std::vector<std::string> words{"sh", "-c", kInBackground, "sh", script};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, answer[1], 3);
    posix_spawn_file_actions_addclosefrom_np(&actions, 4);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK);
    pid_t child = 0;
    const int started = posix_spawnp(&child, "sh", &actions, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(answer[1]);
    int status = 127;
    if (started == 0) {
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
        status = AwaitStatus(answer[0]);
    }
    close(answer[0]);
    return status;
}

// The exit status of xdg-open, or of a shell that could not find it.
int ToResult(int status) {
    switch (status) {
        case 0:
            return kOpened;
        case 2:
            return kNoSuchFile;
        case 3:
        case 126:
        case 127:
            return kNoProgram;
        default:
            return kRefused;
    }
}

int Open(const std::string& path) {
    return Exists(path) ? ToResult(Run(kOpen, {path})) : kNoSuchFile;
}

int Select(std::u16string_view parameters) {
    constexpr std::u16string_view kStart = u"/select,\"";
    if (!parameters.starts_with(kStart) || !parameters.ends_with(u'"')) return kRefused;
    const std::string path =
        ToNative(parameters.substr(kStart.size(), parameters.size() - kStart.size() - 1));
    if (!Exists(path)) return kNoSuchFile;
    return ToResult(Run(kSelect, {ToFileUrl(path), path.substr(0, path.rfind('/') + 1)}));
}

}  // namespace

extern "C" {

BOOL PathFileExistsW(LPCWSTR path) {
    return path && Exists(ToNative(path)) ? TRUE : FALSE;
}

HINSTANCE ShellExecuteW(HWND, LPCWSTR operation, LPCWSTR file, LPCWSTR parameters, LPCWSTR, INT) {
    const bool opens = !operation || std::u16string_view(operation) == u"open";
    int result = kRefused;
    if (opens && file && std::u16string_view(file) == u"explorer") {
        result = Select(parameters ? parameters : u"");
    } else if (opens && file) {
        result = Open(ToNative(file));
    }
    return reinterpret_cast<HINSTANCE>(static_cast<std::intptr_t>(result));
}

}  // extern "C"
