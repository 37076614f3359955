#include "tests/support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "tests/support/temp_folder.h"

namespace testing_support {

namespace fs = std::filesystem;

namespace {

constexpr auto kPause = std::chrono::milliseconds(5);

void Redirect(const fs::path& path, int to, int flags) {
    const int file = open(path.c_str(), flags, 0600);
    if (file < 0 || dup2(file, to) < 0) _exit(127);
}

[[noreturn]] void Execute(const ProcessOptions& options) {
    for (const auto& [name, value] : options.environment) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> arguments;
    for (const std::string& argument : options.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

[[noreturn]] void RunProgram(const ProcessOptions& options, const fs::path& input) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setsid();  // no terminal: prompts count as closed
    Redirect(input, STDIN_FILENO, O_RDONLY);
    Redirect(options.out, STDOUT_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    Redirect(options.err, STDERR_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    Execute(options);
}

int ToExitStatus(int wait_status) {
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
}

}  // namespace

Process::Process(const ProcessOptions& options) {
    fs::path input = "/dev/null";
    if (!options.input.empty()) {
        input = options.out.string() + ".in";
        WriteText(input, options.input);
    }
    m_id = fork();
    if (m_id < 0) throw std::runtime_error("fork failed");
    if (m_id == 0) RunProgram(options, input);
}

Process::Process(const std::function<int()>& work) {
    m_id = fork();
    if (m_id < 0) throw std::runtime_error("fork failed");
    if (m_id != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        _exit(work());
    } catch (...) {
        _exit(126);
    }
}

Process::~Process() {
    if (m_status || m_id <= 0) return;
    kill(m_id, SIGKILL);
    Reap(0);
}

bool Process::Reap(int wait_options) {
    int status = 0;
    rusage usage{};
    if (wait4(m_id, &status, wait_options, &usage) != m_id) return false;
    m_status = ToExitStatus(status);
    m_peak_kib = usage.ru_maxrss;
    return true;
}

bool Process::IsRunning() {
    return !m_status && !Reap(WNOHANG);
}

void Process::Signal(int number) const {
    if (!m_status) kill(m_id, number);
}

int Process::Wait(int limit_seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(limit_seconds);
    while (IsRunning()) {
        if (std::chrono::steady_clock::now() > end) {
            kill(m_id, SIGKILL);
            Reap(0);
            m_status = -1;
            break;
        }
        std::this_thread::sleep_for(kPause);
    }
    return *m_status;
}

ProcessResult RunToEnd(ProcessOptions options) {
    const TempFolder folder;
    if (options.out.empty()) options.out = folder / "out";
    if (options.err.empty()) options.err = folder / "err";
    const int status = Process(options).Wait();
    return {status, ReadText(options.out), ReadText(options.err)};
}

ProcessResult RunAtTerminal(const ProcessOptions& options, const std::string& typed) {
    int terminal = -1;
    const pid_t id = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (id < 0) throw std::runtime_error("forkpty failed");
    if (id == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        Execute(options);
    }
    if (!typed.empty() && write(terminal, typed.data(), typed.size()) < 0) kill(id, SIGKILL);
    ProcessResult result;
    std::string block(4096, '\0');
    pollfd watched{terminal, POLLIN, 0};
    constexpr int kLimit = 60000;
    while (poll(&watched, 1, kLimit) > 0) {
        const ssize_t got = read(terminal, block.data(), block.size());
        if (got <= 0) break;
        result.out.append(block, 0, static_cast<std::size_t>(got));
    }
    if (watched.revents == 0) kill(id, SIGKILL);
    int status = 0;
    waitpid(id, &status, 0);
    close(terminal);
    result.status = ToExitStatus(status);
    return result;
}

std::string ProgramPath(const std::string& name) {
    return std::string(BIN_FOLDER) + "/" + name;
}

bool Comes(const std::function<bool()>& event) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!event()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

}  // namespace testing_support
