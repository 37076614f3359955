#include "host/cli/run/help.h"

#include <algorithm>

#include "host/cli/run/command_table.h"

namespace cli {

namespace {

constexpr std::size_t kColumn = 30;

std::string Line(const std::string& start, const std::string& text) {
    std::stringstream line;
    CLI::detail::format_help(line, start, text, kColumn);
    return line.str();
}

const CLI::App* RootOf(const CLI::App* app) {
    while (app->get_parent()) app = app->get_parent();
    return app;
}

std::string CommandLines(std::string_view prefix) {
    std::string text = "\nCommands:\n";
    for (const CommandRow& row : Commands()) {
        if (std::string_view(row.name).starts_with(prefix))
            text += Line(std::string(row.name) + " " + row.usage, row.help);
    }
    return text;
}

template <class Wanted>
std::string PromptLines(Wanted wanted) {
    std::string text;
    for (const PromptRow& row : Prompts()) {
        if (wanted(row)) text += Line(row.id, row.buttons);
    }
    return text.empty() ? text : "\nPrompts, and the buttons that --answer presses:\n" + text;
}

std::string ExampleLine(const std::string& example) {
    return "\nExample:\n  " + example + "\n";
}

}  // namespace

std::string CommandOf(const CLI::App* app) {
    if (!app->get_parent()) return {};
    const std::string before = CommandOf(app->get_parent());
    return before + (before.empty() ? "" : " ") + app->get_name();
}

Help::Help() {
    column_width(kColumn);
}

std::string Help::make_help(const CLI::App* app, std::string, CLI::AppFormatMode) const {
    const std::string name = CommandOf(app);
    const CommandRow* command = FindRow(Commands(), name);
    std::string text;
    if (command) {
        text = std::string("sphost ") + command->name + " " + command->usage + "\n  " + command->help + "\n";
        text += make_groups(app, CLI::AppFormatMode::Normal) + ExampleLine(command->example);
        const auto& asked = command->prompts;
        text += PromptLines([&](const PromptRow& row) {
            return std::any_of(asked.begin(), asked.end(), [&](std::string_view id) { return id == row.id; });
        });
    } else {
        text = "sphost [OPTION...] COMMAND ...\n" + CommandLines(name) +
               "\n'sphost COMMAND --help' tells more. Options may stand before and behind a command. Behind "
               "-- nothing "
               "is\nan option: a name that begins with a dash, or the command line of 'edit'.\n" +
               ExampleLine("sphost ls \"https://host/sites/team/Shared Documents\"") +
               PromptLines([](const PromptRow&) { return true; });
    }
    const auto common = RootOf(app)->get_options(
        [](const CLI::Option* option) { return option->get_group() == kCommonGroup; });
    text += make_group(kCommonGroup, false, {common.begin(), common.end()});
    return text + "\nExit status: 0 done, 1 failed, 2 wrong usage, 3 cancelled, 4 no (detect).\n";
}

}  // namespace cli
