// The command line: its options and commands, and their parsing.
// Owned by main; read by all commands.
#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/prompts/prompt_desk.h"

namespace cli {

// Wrong usage: exit status 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Options {
    std::string command;                        // "ls", "place add"
    std::vector<std::string> arguments;         // without the command
    std::vector<std::string> program;           // the words after "--"
    std::map<std::string, std::string> values;  // by name without dashes; "" for one that takes none
    std::map<std::string, std::vector<std::string>> lists;  // every value of an option that was repeated
    std::vector<std::pair<std::string, host::PromptAnswer>> answers;
    std::string information;  // what --help or --version prints in place of a command's run

    bool Has(const std::string& name) const { return values.contains(name); }
    std::vector<std::string> All(const std::string& name) const {
        const auto found = lists.find(name);
        return found == lists.end() ? std::vector<std::string>() : found->second;
    }
    std::optional<std::string> Value(const std::string& name) const {
        const auto found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }
};

// Throws a UsageError.
Options ParseOptions(const std::vector<std::string>& arguments);

}  // namespace cli
