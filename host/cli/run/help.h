// The help of the program and of each command. Main thread.
#pragma once

#include <CLI/CLI.hpp>

namespace cli {

// Writes the options as the parser knows them, with what the tables say about a command. The program's own
// help names all commands and prompts.
class Help : public CLI::Formatter {
public:
    Help();
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
};

// "place add" for the parser of that command; empty for the program's.
std::string CommandOf(const CLI::App* app);

// The groups of options.
inline constexpr const char* kOwnGroup = "Options";
inline constexpr const char* kCommonGroup = "Common options";

}  // namespace cli
