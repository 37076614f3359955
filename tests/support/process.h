// Child processes of tests: a program with its output in files, or a function in a copy of this process.
// Each ends with its object. One thread.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace testing_support {

struct ProcessOptions {
    std::vector<std::string> arguments = {};  // the program first
    std::map<std::string, std::string> environment = {};
    std::string input = {};
    std::filesystem::path out = {}, err = {};
};

class Process {
public:
    explicit Process(const ProcessOptions& options);
    // Runs `work` in a copy of this process; what it returns is the exit status.
    explicit Process(const std::function<int()>& work);
    ~Process();  // kills a child that still runs
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Id() const { return m_id; }
    bool IsRunning();
    void Signal(int number) const;
    // Exit status, or 128 and the signal's number. A child that doesn't end within the limit is killed:
    // status -1.
    int Wait(int limit_seconds = 120);
    // The most memory that a child which has ended held at once.
    long PeakKib() const { return m_peak_kib; }

private:
    bool Reap(int wait_options);

    pid_t m_id = -1;
    std::optional<int> m_status;
    long m_peak_kib = 0;
};

struct ProcessResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs a program to its end; its output files are made for that time if the options name none.
ProcessResult RunToEnd(ProcessOptions options);

// The same at a terminal, where a person types these lines; `out` is all that the terminal showed.
ProcessResult RunAtTerminal(const ProcessOptions& options, const std::string& typed = {});

// Where the built programs are.
std::string ProgramPath(const std::string& name);

// Waits up to a minute for `event`; whether it came.
bool Comes(const std::function<bool()>& event);

}  // namespace testing_support
