// sphost as a process with a profile and a temporary folder (for the log) of its own. One thread.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/dev_server.h"
#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace testing_support {

class Sphost {
public:
    Sphost();
    ProcessResult Run(const std::vector<std::string>& arguments, const std::string& input = {}) const;
    // At a terminal, where a person types `typed`; `out` is all that it shows.
    ProcessResult RunAtTerminal(const std::vector<std::string>& arguments,
                                const std::string& typed = {}) const;
    // Starts and lets run.
    std::unique_ptr<Process> Start(const std::vector<std::string>& arguments,
                                   const std::string& input = {}) const;
    // What the run that was started last has printed so far.
    std::string LastOutput() const;
    std::string LastError() const;
    // Adds the server's site as a place, signed in by a device code that the server approves at once.
    void AddPlaceByCode(const DevServer& server) const;
    // The same as `user`: with a token on a modern site, by name and password on an older one.
    void AddPlace(const DevServer& server, const std::string& user) const;
    const std::filesystem::path& Profile() const { return m_profile; }
    const TempFolder& Folder() const { return m_folder; }
    std::map<std::string, std::string> environment;
    // What stands before the program in its command line, e.g. a program that sets limits.
    std::vector<std::string> prefix;
    // What `recover --json` lists: URL and state, with what the server has.
    std::string Unsent() const { return Run({"recover", "--json"}).out; }
    // All text of the trace logs that runs have left.
    std::string TraceLog() const;

private:
    ProcessOptions Options(const std::vector<std::string>& arguments, const std::string& input) const;

    TempFolder m_folder;
    std::filesystem::path m_profile;
    mutable std::filesystem::path m_last_output, m_last_error;
};

}  // namespace testing_support
