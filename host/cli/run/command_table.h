// The commands, options and prompts of sphost, for the parser and the help. Read-only; any thread.
#pragma once

#include <array>
#include <string_view>
#include <vector>

namespace cli {

struct OptionRow {
    const char* name;
    const char* value;  // the kind of value, null for none
    const char* help;
    const char* letters = "";  // the short forms
};

struct CommandRow {
    const char* name;
    const char* usage;
    const char* help;
    std::size_t fewest;  // arguments
    std::size_t most;
    std::vector<const char*> options;
    const char* example;
    std::vector<const char*> prompts;  // the text ids of what it may ask
};

struct PromptRow {
    const char* id;
    const char* buttons;
};

const std::vector<CommandRow>& Commands();
const std::vector<OptionRow>& CommonOptions();
// What single commands take.
const std::vector<OptionRow>& OwnOptions();
const std::vector<PromptRow>& Prompts();

template <class Rows>
auto FindRow(const Rows& rows, std::string_view name) -> decltype(&*rows.begin()) {
    for (const auto& row : rows) {
        if (row.name == name) return &row;
    }
    return nullptr;
}

}  // namespace cli
